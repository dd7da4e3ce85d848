#include <gtest/gtest.h>

#include "skyline/Profiles.h"
#include "support/DenseReference.h"
#include "support/ScaledError.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

namespace {

class SolveSizes : public ::testing::TestWithParam<int> {};

CVector VectorOf(const std::vector<double>& v) {
  CVector x(static_cast<int>(v.size()));
  for (std::size_t k = 0; k < v.size(); ++k) x.ElementAtIndex(static_cast<int>(k)) = v[k];
  return x;
}

}  // namespace

TEST_P(SolveSizes, DefiniteProfileIsSolvedToBackwardError) {
  const int n = GetParam();
  const std::vector<int> height = ts::RandomProfile(n, n, 7);
  const std::vector<Term> terms = ts::FillProfile(height, 11);
  CSkyLine matrix = MakeSkyline(height, terms);
  const std::vector<double> b = ts::RandomVector(n, 3);
  CVector x = VectorOf(b);
  std::vector<int> zeroDofs;

  ASSERT_TRUE(matrix.Reduce(0, zeroDofs));
  matrix.BackSubs(x);

  EXPECT_TRUE(ts::Solves(n, terms, x.Array(), b.data()));
}

TEST_P(SolveSizes, SturmModeCountsTheNegativeEigenvalues) {
  const int n = GetParam();
  const std::vector<int> height = ts::RandomProfile(n, n, 5);
  const std::vector<Term> terms = ts::FillProfile(height, 13, [](int i) { return i % 3 ? 1.0 : -1.0; });
  CSkyLine matrix = MakeSkyline(height, terms);
  std::vector<int> zeroDofs;

  ASSERT_TRUE(matrix.Reduce(1, zeroDofs));

  int negative = 0;
  for (int i = 1; i <= n; ++i) negative += matrix.GetAt(i, i) < 0.0;
  EXPECT_EQ(negative, n / 3);
}

TEST_P(SolveSizes, FactorsAgreeWithTheDenseOnes) {
  const int n = GetParam();
  const std::vector<int> height = ts::RandomProfile(n, n, 17);
  const std::vector<Term> terms = ts::FillProfile(height, 19);
  CSkyLine matrix = MakeSkyline(height, terms);
  std::vector<int> zeroDofs;

  ASSERT_TRUE(matrix.Reduce(0, zeroDofs));

  const ts::Ldlt dense = ts::FactorWithoutPivoting(ts::DenseOf(n, terms));
  for (int j = 1; j <= n; ++j) {
    EXPECT_NEAR(matrix.GetAt(j, j), static_cast<double>(dense.d[j - 1]), 1e-13 * std::fabs(dense.d[j - 1]));
    for (int i = j - 1; i > j - matrix.ColHeight(j); --i)
      EXPECT_NEAR(matrix.GetAt(i, j), static_cast<double>(dense.l(j - 1, i - 1)), 1e-14);
  }
}

INSTANTIATE_TEST_SUITE_P(Small, SolveSizes, ::testing::Range(1, 41));
INSTANTIATE_TEST_SUITE_P(AroundBlocks, SolveSizes, ::testing::Values(63, 64, 65, 127, 128, 129, 200));
