// The reference kernels against a product formed by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "sparse/kernels/FrontKernels.h"

namespace {
using namespace Vessa::Matrix::kernels;

// A = L·D·Lᵀ with L = [1; 0.5 1; -2 3 1; 1 1 2 1], D = (4, -2, 8, 1); lower triangle, column-major.
std::vector<double> SmallMatrix() {
  return {4, 2, -8, 4, 0, -1, -10, 0, 0, 0, 6, 2, 0, 0, 0, 35};
}

TEST(ReferenceFactorFront, WholeMatrixGivesTheFactorsItWasMadeOf) {
  std::vector<double> a = SmallMatrix();
  std::vector<double> d(4);
  PivotRule rule;
  rule.mode = PivotRule::Sturm;
  PivotStats stats;

  ASSERT_TRUE(reference::FactorFront(a.data(), 4, 4, 4, d.data(), rule, 100, stats));

  EXPECT_EQ(d, (std::vector<double>{4, -2, 8, 1}));
  EXPECT_EQ(a, (std::vector<double>{1, 0.5, -2, 1, 0, 1, 3, 1, 0, 0, 1, 2, 0, 0, 0, 1}));
  EXPECT_EQ(stats.numNegative, 1);
  EXPECT_EQ(stats.minPivot, -2);
  EXPECT_EQ(stats.minIndex, 101);
  EXPECT_EQ(stats.maxPivot, 8);
  EXPECT_EQ(stats.maxIndex, 102);
}

TEST(ReferenceFactorFront, PanelAndTrailingUpdateEqualTheWholeFactorisation) {
  std::vector<double> a = SmallMatrix();
  std::vector<double> d(4);
  PivotRule rule;
  rule.mode = PivotRule::Indefinite;
  PivotStats stats;

  ASSERT_TRUE(reference::FactorFront(a.data(), 4, 4, 2, d.data(), rule, 0, stats));
  reference::UpdateTrailing(a.data() + 2, 4, d.data(), 2, 2, a.data() + 2 + 2 * 4, 4, 0, 2);
  ASSERT_TRUE(reference::FactorFront(a.data() + 2 + 2 * 4, 4, 2, 2, d.data() + 2, rule, 2, stats));

  EXPECT_EQ(d, (std::vector<double>{4, -2, 8, 1}));
  EXPECT_EQ(a, (std::vector<double>{1, 0.5, -2, 1, 0, 1, 3, 1, 0, 0, 1, 2, 0, 0, 0, 1}));
}

TEST(ReferenceFactorFront, PositiveDefiniteModeStopsAtTheNegativePivot) {
  std::vector<double> a = SmallMatrix();
  std::vector<double> d(4);
  PivotStats stats;

  EXPECT_FALSE(reference::FactorFront(a.data(), 4, 4, 4, d.data(), PivotRule(), 100, stats));

  EXPECT_EQ(stats.failure, PivotFailure::NotPositive);
  EXPECT_EQ(stats.failureIndex, 101);
  EXPECT_EQ(stats.failureValue, -2);
}

TEST(ReferenceFactorFront, StiffnessModeSuppressesRowAndColumn) {
  std::vector<double> a = SmallMatrix();
  a[5] = 1;  // the second pivot becomes 1 - 0.5·4·0.5 = 0
  std::vector<double> d(4);
  PivotRule rule;
  rule.mode = PivotRule::Stiffness;
  rule.zeroStiff = 1e-40;
  PivotStats stats;

  ASSERT_TRUE(reference::FactorFront(a.data(), 4, 4, 4, d.data(), rule, 10, stats));

  EXPECT_EQ(stats.suppressed, (std::vector<int>{11}));
  EXPECT_EQ(d[1], 1.0);
  EXPECT_EQ(a[1], 0.0);
  EXPECT_EQ(a[6], 0.0);
  EXPECT_EQ(a[7], 0.0);
  EXPECT_EQ(d[2], 6 - 4 * 4.0);
}

TEST(ReferenceFactorFront, MultiplierOfExactlyTheLimitPassesAndAnythingLargerFails) {
  for (const double entry : {1e7, std::nextafter(1e7, 2e7), -2e7}) {
    std::vector<double> a = {1, entry, 0, 1};
    std::vector<double> d(2);
    PivotRule rule;
    rule.mode = PivotRule::Sturm;
    PivotStats stats;

    const bool finished = reference::FactorFront(a.data(), 2, 2, 2, d.data(), rule, 0, stats);

    EXPECT_EQ(finished, entry == 1e7);
    EXPECT_EQ(stats.failure, entry == 1e7 ? PivotFailure::None : PivotFailure::Growth);
    EXPECT_EQ(stats.failureIndex, finished ? -1 : 0);
  }
}

TEST(ReferenceFactorFront, NotANumberFailsInEveryMode) {
  for (int mode = 0; mode <= 3; ++mode) {
    std::vector<double> a = SmallMatrix();
    a[0] = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> d(4);
    PivotRule rule;
    rule.mode = mode;
    PivotStats stats;

    EXPECT_FALSE(reference::FactorFront(a.data(), 4, 4, 4, d.data(), rule, 0, stats)) << "mode " << mode;

    EXPECT_EQ(stats.failure, PivotFailure::NotFinite);
    EXPECT_EQ(stats.failureIndex, 0);
  }
}

TEST(ReferenceSolve, ForwardAndBackwardInvertTheFactors) {
  const std::vector<double> l = {1, 0.5, -2, 1, 0, 1, 3, 1};  // 4 × 2 panel
  std::vector<double> x = {2, 5};
  std::vector<double> y(2);

  reference::Forward(l.data(), 4, 4, 2, x.data(), y.data());

  EXPECT_EQ(x, (std::vector<double>{2, 4}));
  EXPECT_EQ(y, (std::vector<double>{8, 6}));

  const std::vector<double> d = {4, -2};
  const std::vector<double> below = {1, 2};
  reference::Backward(l.data(), 4, d.data(), 4, 2, x.data(), below.data());

  // x2 = 4/−2 − (3·1 + 1·2) = −7;  x1 = 2/4 − (−2·1 + 1·2) − 0.5·(−7) = 4
  EXPECT_EQ(x, (std::vector<double>{4, -7}));
}

}  // namespace
