#pragma once
// Matrices and comparisons for the tests of the front kernels.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "sparse/kernels/FrontKernels.h"

namespace kerneltest {

using Vessa::Matrix::kernels::KernelLevel;

/// What must not be read or written is filled with this and compared afterwards.
inline double Poison() {
  return std::numeric_limits<double>::quiet_NaN();
}

/// Column-major array with a leading dimension larger than its rows; the gap holds poison.
struct Array {
  int rows, columns;
  std::ptrdiff_t ld;
  std::vector<double> value;

  Array(int r, int c, int gap = 3)
      : rows(r), columns(c), ld(r + gap), value(static_cast<std::size_t>(ld * c + 1), Poison()) {}
  double* Data() { return value.data(); }
  const double* Data() const { return value.data(); }
  double& operator()(int i, int j) { return value[static_cast<std::size_t>(i + j * ld)]; }
  double operator()(int i, int j) const { return value[static_cast<std::size_t>(i + j * ld)]; }
};

inline Array RandomArray(int rows, int columns, std::mt19937& generator) {
  Array a(rows, columns);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int j = 0; j < columns; ++j)
    for (int i = 0; i < rows; ++i) a(i, j) = uniform(generator);
  return a;
}

inline std::vector<double> RandomVector(int n, std::mt19937& generator) {
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> x(static_cast<std::size_t>(n));
  for (double& v : x) v = uniform(generator);
  return x;
}

/// Lower trapezoid (m × k) of a diagonally dominant symmetric matrix; poison above its diagonal. Diagonal
/// entries take the signs of negativeEvery: every such one negative (0: none).
inline Array DominantFront(int m, int k, std::mt19937& generator, int negativeEvery = 0) {
  Array a = RandomArray(m, k, generator);
  for (int j = 0; j < k; ++j) {
    for (int i = 0; i < j; ++i) a(i, j) = Poison();
    const bool negative = negativeEvery > 0 && j % negativeEvery == negativeEvery - 1;
    a(j, j) = (m + 2.0 + a(j, j)) * (negative ? -1.0 : 1.0);
  }
  return a;
}

/// Same values, NaN equal to NaN.
inline ::testing::AssertionResult SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!(a[i] == b[i] || (std::isnan(a[i]) && std::isnan(b[i]))))
      return ::testing::AssertionFailure() << "position " << i << ": " << a[i] << " and " << b[i];
  return ::testing::AssertionSuccess();
}

/// |a − b| ≤ bound everywhere, NaN only where both have it (poison kept).
inline ::testing::AssertionResult Close(const std::vector<double>& a, const std::vector<double>& b,
                                        double bound) {
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::isnan(a[i]) && std::isnan(b[i])) continue;
    if (!(std::fabs(a[i] - b[i]) <= bound))
      return ::testing::AssertionFailure() << "position " << i << ": " << a[i] << " and " << b[i]
                                           << ", differ by " << std::fabs(a[i] - b[i]) << " > " << bound;
  }
  return ::testing::AssertionSuccess();
}

/// Runs a test at each level that this processor has and puts the best one back.
class AtEveryLevel : public ::testing::TestWithParam<int> {
protected:
  void SetUp() override {
    if (!Vessa::Matrix::kernels::SetKernelLevel(static_cast<KernelLevel>(GetParam())))
      GTEST_SKIP() << "this processor does not have level " << GetParam();
  }
  void TearDown() override {
    Vessa::Matrix::kernels::SetKernelLevel(Vessa::Matrix::kernels::BestKernelLevel());
  }
};

inline std::string LevelName(const ::testing::TestParamInfo<int>& info) {
  return info.param == 0 ? "Baseline" : info.param == 1 ? "Avx2" : "Avx512";
}

}  // namespace kerneltest
