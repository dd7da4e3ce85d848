#pragma once
#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include "support/Terms.h"

/// Seeded random matrices, the same on every platform (the standard's distributions are not).
namespace test_support {

/// Numbers from a Mersenne Twister with a seed that every test states.
class RandomNumbers {
public:
  explicit RandomNumbers(unsigned seed) : m_engine(seed) {}
  /// Uniform in [0, 1).
  double Unit() { return m_engine() / 4294967296.0; }
  /// Uniform in [-1, 1).
  double Signed() { return 2.0 * Unit() - 1.0; }
  /// Uniform in low..high, both included.
  int Integer(int low, int high) { return low + static_cast<int>(Unit() * (high - low + 1)); }

private:
  std::mt19937 m_engine;
};

inline std::vector<double> RandomVector(int n, unsigned seed) {
  RandomNumbers random(seed);
  std::vector<double> v(n);
  for (double& x : v) x = random.Signed();
  return v;
}

/// Random symmetric pattern with values in [-1, 1): the whole diagonal and about `perRow` off-diagonal terms
/// per row, each place once. Not definite, possibly singular.
inline std::vector<Term> RandomSymmetric(int n, int perRow, unsigned seed) {
  RandomNumbers random(seed);
  std::map<std::pair<int, int>, double> places;
  for (int i = 1; i <= n; ++i) places[{i, i}] = random.Signed();
  for (int k = 0; n > 1 && k < n * perRow / 2; ++k) {
    const int i = random.Integer(1, n), j = random.Integer(1, n);
    if (i != j) places[{std::min(i, j), std::max(i, j)}] = random.Signed();
  }
  std::vector<Term> terms;
  for (const auto& place : places) terms.push_back({place.first.first, place.first.second, place.second});
  return terms;
}

/// Puts |diagonal| = (sum of the row's absolute off-diagonal values) · (1 + margin) + margin on the diagonal,
/// with the sign that sign(i) returns: no factorisation needs pivoting and the inertia is the count of the
/// signs.
template <class Sign>
void MakeDominant(int n, std::vector<Term>& terms, double margin, Sign sign) {
  std::vector<double> sum(n + 1, 0.0);
  for (const Term& t : terms)
    if (t.i != t.j) sum[t.i] += std::fabs(t.value), sum[t.j] += std::fabs(t.value);
  for (Term& t : terms)
    if (t.i == t.j) t.value = sign(t.i) * (sum[t.i] * (1.0 + margin) + margin);
}

/// Random sparse symmetric positive definite matrix (strictly diagonally dominant).
inline std::vector<Term> RandomSpd(int n, int perRow, unsigned seed) {
  std::vector<Term> terms = RandomSymmetric(n, perRow, seed);
  MakeDominant(n, terms, 0.1, [](int) { return 1.0; });
  return terms;
}

/// Random sparse symmetric matrix with `negative` negative eigenvalues, factorable without pivoting.
inline std::vector<Term> RandomIndefinite(int n, int perRow, int negative, unsigned seed) {
  std::vector<Term> terms = RandomSymmetric(n, perRow, seed);
  std::vector<int> order(n + 1);
  for (int i = 0; i <= n; ++i) order[i] = i;
  RandomNumbers random(seed + 1);
  for (int i = n; i > 1; --i) std::swap(order[i], order[random.Integer(1, i)]);
  std::vector<double> sign(n + 1, 1.0);
  for (int k = 1; k <= negative; ++k) sign[order[k]] = -1.0;
  MakeDominant(n, terms, 0.1, [&](int i) { return sign[i]; });
  return terms;
}

/// Heights 1..min(j, tallest) of the columns j = 1..n of a profile matrix (diagonal counted); element 0 is
/// unused.
inline std::vector<int> RandomProfile(int n, int tallest, unsigned seed) {
  RandomNumbers random(seed);
  std::vector<int> height(n + 1, 0);
  for (int j = 1; j <= n; ++j) height[j] = random.Integer(1, std::min(j, tallest));
  return height;
}

/// Terms that fill a profile completely, strictly diagonally dominant with the given sign per column.
template <class Sign>
std::vector<Term> FillProfile(const std::vector<int>& height, unsigned seed, Sign sign) {
  RandomNumbers random(seed);
  const int n = static_cast<int>(height.size()) - 1;
  std::vector<Term> terms;
  for (int j = 1; j <= n; ++j)
    for (int i = j - height[j] + 1; i <= j; ++i) terms.push_back({i, j, random.Signed()});
  MakeDominant(n, terms, 0.1, sign);
  return terms;
}

inline std::vector<Term> FillProfile(const std::vector<int>& height, unsigned seed) {
  return FillProfile(height, seed, [](int) { return 1.0; });
}

}  // namespace test_support
