#pragma once
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <utility>
#include <vector>

#include "support/RandomMatrix.h"
#include "support/Terms.h"

/// Random small structures with what is known about them: the ground of the property tests.
namespace properties {

/// How many structures a property is tried on: VEMATRIX_PROPERTY_RUNS, or else the standard number.
inline int Runs(int standard) {
  const char* wanted = std::getenv("VEMATRIX_PROPERTY_RUNS");
  return wanted != nullptr ? std::atoi(wanted) : standard;
}

/// Springs between single-dof nodes and to the ground.
struct SpringNetwork {
  int n = 0;
  std::vector<test_support::Term> terms;  ///< upper triangle of K, every diagonal term, duplicates added up
  std::vector<int> loose;                 ///< 1-based dofs that no spring touches
  std::vector<int> part;       ///< part number of each dof (from 0); a loose dof is a part of its own
  std::vector<bool> grounded;  ///< by part: whether a spring holds it to the ground

  int numFloatingParts() const {
    int count = 0;
    for (const bool held : grounded) count += held ? 0 : 1;
    return count;
  }
};

/// Uniform integer in [0, bound) by a plain linear congruence, the same on every platform.
class Dice {
public:
  explicit Dice(unsigned seed) : m_state(6364136223846793005ull * (seed + 1ull) + 1442695040888963407ull) {}
  int Below(int bound) {
    m_state = 6364136223846793005ull * m_state + 1442695040888963407ull;
    return static_cast<int>((m_state >> 33) % static_cast<unsigned long long>(bound));
  }
  /// In [0, 1), a multiple of 2^-20.
  double Unit() { return Below(1 << 20) / 1048576.0; }

private:
  unsigned long long m_state;
};

/// @param floating  whether parts may be left without a ground spring
inline SpringNetwork MakeSpringNetwork(unsigned seed, bool floating) {
  Dice dice(seed);
  SpringNetwork network;
  const int n = network.n = 1 + dice.Below(40);
  std::vector<double> diagonal(static_cast<std::size_t>(n), 0.0);
  std::vector<int> parent(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) parent[static_cast<std::size_t>(i)] = i;
  const auto root = [&](int i) {
    while (parent[static_cast<std::size_t>(i)] != i) i = parent[static_cast<std::size_t>(i)];
    return i;
  };
  // Stiffness over three orders of magnitude, in N/m.
  const auto stiffness = [&] { return std::ldexp(1.0 + dice.Unit(), dice.Below(10)); };

  const int springs = dice.Below(3 * n + 1);
  for (int s = 0; s < springs; ++s) {
    int i = dice.Below(n), j = dice.Below(n);
    if (i == j) continue;
    if (i > j) std::swap(i, j);
    const double k = stiffness();
    diagonal[static_cast<std::size_t>(i)] += k;
    diagonal[static_cast<std::size_t>(j)] += k;
    network.terms.push_back({i + 1, j + 1, -k});
    parent[static_cast<std::size_t>(root(i))] = root(j);
  }

  std::vector<int> number(static_cast<std::size_t>(n), -1);
  for (int i = 0; i < n; ++i) {
    int& part = number[static_cast<std::size_t>(root(i))];
    if (part < 0) {
      part = static_cast<int>(network.grounded.size());
      network.grounded.push_back(false);
    }
    network.part.push_back(part);
  }
  std::vector<bool> touched(static_cast<std::size_t>(n), false);
  for (const auto& t : network.terms) {
    touched[static_cast<std::size_t>(t.i) - 1] = touched[static_cast<std::size_t>(t.j) - 1] = true;
  }
  for (int i = 0; i < n; ++i) {
    const int part = network.part[static_cast<std::size_t>(i)];
    const bool wanted = !floating && !network.grounded[static_cast<std::size_t>(part)];
    if (wanted || dice.Below(4) == 0) {
      const double k = stiffness();
      diagonal[static_cast<std::size_t>(i)] += k;
      network.grounded[static_cast<std::size_t>(part)] = true;
      touched[static_cast<std::size_t>(i)] = true;
    }
  }
  for (int i = 0; i < n; ++i) {
    network.terms.push_back({i + 1, i + 1, diagonal[static_cast<std::size_t>(i)]});
    if (!touched[static_cast<std::size_t>(i)]) network.loose.push_back(i + 1);
  }
  return network;
}

/// The same terms with every place once, as the residual helpers want them.
inline std::vector<test_support::Term> Merged(int n, const std::vector<test_support::Term>& terms) {
  return test_support::TermsOfLower(test_support::LowerTriangle(n, terms));
}

/// n loads in [-1, 1).
inline std::vector<double> RandomLoad(int n, unsigned seed) {
  Dice dice(seed ^ 0x5bd1e995u);
  std::vector<double> load(static_cast<std::size_t>(n));
  for (double& f : load) f = 2.0 * dice.Unit() - 1.0;
  return load;
}

/// A random permutation of 1..n: number[i - 1] is the new number of dof i.
inline std::vector<int> RandomNumbering(int n, unsigned seed) {
  std::vector<int> number(static_cast<std::size_t>(n));
  std::iota(number.begin(), number.end(), 1);
  Dice dice(seed);
  for (int i = n - 1; i > 0; --i) {
    std::swap(number[static_cast<std::size_t>(i)], number[static_cast<std::size_t>(dice.Below(i + 1))]);
  }
  return number;
}

/// The terms of the renumbered structure, upper triangle again.
inline std::vector<test_support::Term> Renumbered(const std::vector<test_support::Term>& terms,
                                                  const std::vector<int>& number) {
  std::vector<test_support::Term> renumbered;
  for (const test_support::Term& t : terms) {
    const int i = number[static_cast<std::size_t>(t.i) - 1], j = number[static_cast<std::size_t>(t.j) - 1];
    renumbered.push_back({std::min(i, j), std::max(i, j), t.value});
  }
  return renumbered;
}

}  // namespace properties
