#pragma once
#include <gtest/gtest.h>

#include <Eigen/SparseCore>
#include <algorithm>
#include <cmath>
#include <vector>

#include "support/Terms.h"

/// How good a solution is, whatever the condition of the matrix: the scaled residual, computed in long
/// double.
namespace test_support {

/// ||A·x − b|| / (||A||·||x|| + ||b||) in the infinity norm, for n unknowns and the upper-triangle terms of A
/// (each place once); NaN when anything is NaN, 0 for an exact solution.
inline double ScaledError(int n, const std::vector<Term>& terms, const double* x, const double* b) {
  std::vector<long double> residual(n), rowSum(n, 0.0L);
  for (int i = 0; i < n; ++i) residual[i] = -static_cast<long double>(b[i]);
  for (const Term& t : terms) {
    const int i = t.i - 1, j = t.j - 1;
    residual[i] += static_cast<long double>(t.value) * x[j];
    rowSum[i] += std::fabs(t.value);
    if (i == j) continue;
    residual[j] += static_cast<long double>(t.value) * x[i];
    rowSum[j] += std::fabs(t.value);
  }
  long double r = 0.0L, a = 0.0L, xNorm = 0.0L, bNorm = 0.0L;
  const auto raise = [](long double& norm, long double v) {
    if (!(std::fabs(v) <= norm)) norm = std::fabs(v);  // a NaN is taken over and stays
  };
  for (int i = 0; i < n; ++i) {
    raise(r, residual[i]);
    raise(a, rowSum[i]);
    raise(xNorm, x[i]);
    raise(bNorm, b[i]);
    if (std::isnan(residual[i])) return static_cast<double>(residual[i]);
  }
  return r == 0.0L ? 0.0 : static_cast<double>(r / (a * xNorm + bNorm));
}

/// The same for a matrix that stores its lower triangle.
inline double ScaledError(const Eigen::SparseMatrix<double, 0, int>& lower, const double* x,
                          const double* b) {
  return ScaledError(static_cast<int>(lower.rows()), TermsOfLower(lower), x, b);
}

inline ::testing::AssertionResult WithinBound(double error, double bound) {
  if (error <= bound) return ::testing::AssertionSuccess() << "scaled error " << error;
  return ::testing::AssertionFailure() << "scaled error " << error << " exceeds " << bound;
}

/// EXPECT_TRUE(Solves(...)): the scaled error is at most `factor`·n·eps; a failure prints the error found.
inline ::testing::AssertionResult Solves(int n, const std::vector<Term>& terms, const double* x,
                                         const double* b, double factor = 4.0) {
  return WithinBound(ScaledError(n, terms, x, b), factor * std::max(n, 1) * 2.220446049250313e-16);
}

inline ::testing::AssertionResult Solves(const Eigen::SparseMatrix<double, 0, int>& lower, const double* x,
                                         const double* b, double factor = 4.0) {
  return Solves(static_cast<int>(lower.rows()), TermsOfLower(lower), x, b, factor);
}

}  // namespace test_support
