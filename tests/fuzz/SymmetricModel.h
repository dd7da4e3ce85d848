#pragma once
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "Choices.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"
#include "support/Terms.h"

namespace fuzz {

using test_support::Real;

/// A symmetric matrix beside the one under test: its upper triangle in long double, and for every place the
/// sum of the absolute values that were added there, against which rounding is measured. Dofs from 1.
class SymmetricModel {
public:
  explicit SymmetricModel(int n = 0) : m_value(n), m_size(n) {}
  int order() const { return m_value.n; }

  void add(int i, int j, double v) {
    at(m_value, i, j) += v;
    at(m_size, i, j) += std::fabs(static_cast<Real>(v));
  }
  void set(int i, int j, double v) {
    at(m_value, i, j) = v;
    at(m_size, i, j) = std::fabs(static_cast<Real>(v));
  }
  void scale(double f) {
    for (Real& v : m_value.a) v *= f;
    for (Real& s : m_size.a) s *= std::fabs(static_cast<Real>(f));
  }
  /// this -= s * other
  void shift(const SymmetricModel& other, double s) {
    for (std::size_t k = 0; k < m_value.a.size(); ++k) {
      m_value.a[k] -= s * other.m_value.a[k];
      m_size.a[k] += std::fabs(s) * other.m_size.a[k];
    }
  }
  /// The dof held apart: its row and column 0, its diagonal 1.
  void decouple(int dof) {
    for (int k = 1; k <= order(); ++k) set(std::min(dof, k), std::max(dof, k), k == dof ? 1.0 : 0.0);
  }

  /// Equal in every value, NaN equal to NaN.
  bool sameValues(const SymmetricModel& other) const {
    if (order() != other.order()) return false;
    for (std::size_t k = 0; k < m_value.a.size(); ++k) {
      const Real a = m_value.a[k], b = other.m_value.a[k];
      if (a != b && (a == a || b == b)) return false;
    }
    return true;
  }

  Real value(int i, int j) const { return m_value(std::min(i, j) - 1, std::max(i, j) - 1); }
  /// Sum of the absolute values added at (i, j).
  Real size(int i, int j) const { return m_size(std::min(i, j) - 1, std::max(i, j) - 1); }

  /// Whether all sums are far from overflow; beyond, double and long double cannot be compared.
  bool finite() const {
    return std::all_of(m_size.a.begin(), m_size.a.end(), [](Real s) { return s <= 1e290L; });
  }

  /// Factors without pivoting, all pivots above 1e-6 of the largest diagonal and none of the sums cancelled:
  /// -1 when that is not so, else the number of negative pivots.
  int negativePivots() const {
    const int n = order();
    if (!finite()) return -1;
    Real largest = 0;
    for (int i = 1; i <= n; ++i) largest = std::max(largest, std::fabs(value(i, i)));
    if (n > 0 && (largest < 1e-30L || largest > 1e30L)) return -1;
    for (const Real& s : m_size.a)
      if (s > 1e3L * largest) return -1;
    const test_support::Ldlt factor = test_support::FactorWithoutPivoting(dense());
    int negative = 0;
    for (const Real& pivot : factor.d) {
      if (!(std::fabs(pivot) > 1e-6L * largest) || std::fabs(pivot) > 1e6L * largest) return -1;
      negative += pivot < 0;
    }
    for (const Real& multiplier : factor.l.a)
      if (std::fabs(multiplier) > 1e4L) return -1;
    return negative;
  }
  /// Positive definite by a wide margin: every method must solve it.
  bool wellConditioned() const { return negativePivots() == 0; }

  /// The full matrix, 0-based.
  test_support::Dense dense() const {
    test_support::Dense full(m_value);
    for (int i = 0; i < full.n; ++i)
      for (int j = 0; j < i; ++j) full(i, j) = full(j, i);
    return full;
  }

  /// Aborts unless A x = f up to rounding: |A x - f| <= 1e-12 (|A| |x| + |f|), x and f 0-based.
  void checkSolution(const double* x, const double* f, const char* what) const {
    Real normA = 0, normX = 0, normF = 0, normR = 0;
    for (int i = 1; i <= order(); ++i) {
      Real row = 0, residual = f[i - 1];
      for (int j = 1; j <= order(); ++j) {
        row += std::fabs(value(i, j));
        residual -= value(i, j) * x[j - 1];
      }
      normA = std::max(normA, row);
      normX = std::max(normX, std::fabs(static_cast<Real>(x[i - 1])));
      normF = std::max(normF, std::fabs(static_cast<Real>(f[i - 1])));
      if (normR == normR && !(std::fabs(residual) <= normR)) normR = std::fabs(residual);  // a NaN stays
    }
    if (!(normR <= 1e-12L * (normA * normX + normF)))
      contradiction("%s: order %d, residual %Lg of norms %Lg, %Lg, %Lg", what, order(), normR, normA, normX,
                    normF);
  }

  /// Aborts unless y = A x up to the rounding of a double sum; nothing when the matrix is not finite.
  void checkProduct(const double* x, const double* y, const char* what, Real tolerance = 1e-14L) const {
    if (!finite()) return;
    for (int i = 1; i <= order(); ++i) {
      Real sum = 0, scale = 0;
      for (int j = 1; j <= order(); ++j) {
        sum += value(i, j) * x[j - 1];
        scale += size(i, j) * std::fabs(static_cast<Real>(x[j - 1]));
      }
      const Real error = std::fabs(sum - static_cast<Real>(y[i - 1]));
      if (!(error <= tolerance * scale + 1e-300L))
        contradiction("%s: order %d, row %d is %.17g, expected %.17Lg of size %.3Lg", what, order(), i,
                      y[i - 1], sum, scale);
    }
  }

  /// Aborts unless `found` is the value at (i, j) up to the rounding of its sum.
  void checkTerm(int i, int j, double found, const char* what) const {
    if (!finite()) return;
    const Real error = std::fabs(value(i, j) - static_cast<Real>(found));
    if (!(error <= 1e-14L * size(i, j) + 1e-300L))
      contradiction("%s: (%d, %d) is %.17g, expected %.17Lg", what, i, j, found, value(i, j));
  }

private:
  static Real& at(test_support::Dense& m, int i, int j) { return m(i - 1, j - 1); }
  test_support::Dense m_value, m_size;
};

/// Terms of a matrix that factors without pivoting, its inertia drawn: for orders that single terms would
/// not fill. Every diagonal term is there, each place once.
inline std::vector<test_support::Term> drawDominantTerms(Choices& choices, int n) {
  const unsigned seed = static_cast<unsigned>(choices.byte());
  const int perRow = choices.below(6);
  if (n > 0 && choices.oneIn(3)) {
    return test_support::RandomIndefinite(n, perRow, choices.below(n + 1), seed);
  }
  return test_support::RandomSpd(n, perRow, seed);
}

/// n loads.
inline std::vector<double> drawLoads(Choices& choices, int n) {
  std::vector<double> f(static_cast<std::size_t>(n) + 1);  // one more, so that data() is never null
  for (int i = 0; i < n; ++i) f[static_cast<std::size_t>(i)] = choices.load();
  return f;
}

/// Equal, or both NaN.
inline bool same(double a, double b) {
  return a == b || (a != a && b != b);
}

}  // namespace fuzz
