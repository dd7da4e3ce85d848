// The references are themselves held against numbers that can be checked by hand.
#include <gtest/gtest.h>

#include <cstdio>
#include <iostream>

#include "support/CaptureStdout.h"
#include "support/DataFolder.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"
#include "support/TempFolder.h"

using namespace test_support;

namespace {

const std::vector<Term> kChain = {{1, 1, 2}, {1, 2, -1}, {2, 2, 2}, {2, 3, -1}, {3, 3, 2}};

}  // namespace

TEST(DenseReference, FactorsTheSpringChainAsByHand) {
  const Ldlt f = FactorWithoutPivoting(DenseOf(3, kChain));

  ASSERT_TRUE(f.ok);
  EXPECT_NEAR(f.d[0], 2.0L, 1e-18L);
  EXPECT_NEAR(f.d[1], 1.5L, 1e-18L);
  EXPECT_NEAR(f.d[2], 4.0L / 3.0L, 1e-18L);
  EXPECT_NEAR(f.l(2, 1), -2.0L / 3.0L, 1e-18L);
}

TEST(DenseReference, SolvesTheSpringChainAsByHand) {
  const std::vector<Real> x = Solve(DenseOf(3, kChain), std::vector<double>{1, 1, 1});

  EXPECT_NEAR(x[0], 1.5L, 1e-17L);
  EXPECT_NEAR(x[1], 2.0L, 1e-17L);
  EXPECT_NEAR(x[2], 1.5L, 1e-17L);
}

TEST(DenseReference, EigenvaluesOfTheSpringChainAreTwoMinusTwoCosines) {
  const std::vector<Real> values = Eigenvalues(DenseOf(3, kChain));

  EXPECT_NEAR(values[0], 2.0L - std::sqrt(2.0L), 1e-17L);
  EXPECT_NEAR(values[1], 2.0L, 1e-17L);
  EXPECT_NEAR(values[2], 2.0L + std::sqrt(2.0L), 1e-17L);
}

TEST(DenseReference, GeneralisedEigenvaluesOfTheTextbookPairAreTwoFourSix) {
  const Dense k = DenseOf(3, {{1, 1, 2}, {1, 2, -1}, {2, 2, 4}, {2, 3, -1}, {3, 3, 2}});
  const Dense m = DenseOf(3, {{1, 1, 0.5}, {2, 2, 1}, {3, 3, 0.5}});

  const std::vector<Real> values = Eigenvalues(k, m);

  EXPECT_NEAR(values[0], 2.0L, 1e-16L);
  EXPECT_NEAR(values[1], 4.0L, 1e-16L);
  EXPECT_NEAR(values[2], 6.0L, 1e-16L);
}

TEST(DenseReference, InertiaCountsSignsOfAShiftedChainAndZeros) {
  EXPECT_EQ(InertiaOf(Shifted(DenseOf(3, kChain), 1.0L, Identity(3))), (InertiaCount{1, 0, 2}));
  EXPECT_EQ(InertiaOf(Shifted(DenseOf(3, kChain), 3.0L, Identity(3))), (InertiaCount{2, 0, 1}));
  EXPECT_EQ(InertiaOf(DenseOf(2, {{1, 1, 0}, {1, 2, 1}, {2, 2, 0}})), (InertiaCount{1, 0, 1}));
  EXPECT_EQ(InertiaOf(DenseOf(2, {{1, 1, 1}, {1, 2, -1}, {2, 2, 1}})), (InertiaCount{0, 1, 1}));
}

TEST(DenseReference, InertiaAgreesWithEigenvaluesOfRandomMatrices) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    const int n = static_cast<int>(seed) + 1;
    const Dense a = DenseOf(n, RandomSymmetric(n, 6, seed));
    InertiaCount expected;
    for (Real v : Eigenvalues(a)) ++(v < 0 ? expected.negative : expected.positive);

    EXPECT_EQ(InertiaOf(a), expected) << "seed " << seed;
  }
}

TEST(DenseReference, InverseOneNormOfAKnownInverse) {
  // The inverse of the chain of three springs is [3 2 1; 2 4 2; 1 2 3] / 4.
  EXPECT_NEAR(InverseOneNorm(DenseOf(3, kChain)), 2.0L, 1e-17L);
  EXPECT_NEAR(OneNorm(DenseOf(3, kChain)), 4.0L, 0.0L);
}

TEST(RandomMatrix, IndefiniteHasTheNegativeEigenvaluesAskedFor) {
  for (unsigned seed = 1; seed <= 5; ++seed)
    EXPECT_EQ(InertiaOf(DenseOf(17, RandomIndefinite(17, 4, 6, seed))), (InertiaCount{6, 0, 11}));
}

TEST(RandomMatrix, SpdIsPositiveDefiniteAndRepeatable) {
  const std::vector<Term> a = RandomSpd(40, 5, 7), b = RandomSpd(40, 5, 7);

  ASSERT_EQ(a.size(), b.size());
  for (std::size_t k = 0; k < a.size(); ++k) EXPECT_EQ(a[k].value, b[k].value);
  EXPECT_EQ(InertiaOf(DenseOf(40, a)), (InertiaCount{0, 0, 40}));
}

TEST(RandomMatrix, ProfileStaysInsideTheTriangle) {
  const std::vector<int> height = RandomProfile(50, 9, 3);

  for (int j = 1; j <= 50; ++j) {
    EXPECT_GE(height[j], 1);
    EXPECT_LE(height[j], std::min(j, 9));
  }
}

TEST(ScaledError, SeesAWrongElementAndNaN) {
  const std::vector<double> b = {1, 1, 1};
  const double good[] = {1.5, 2.0, 1.5}, wrong[] = {1.5, 2.0, 1.5001}, nan[] = {1.5, std::nan(""), 1.5};

  EXPECT_TRUE(Solves(3, kChain, good, b.data()));
  EXPECT_FALSE(Solves(3, kChain, wrong, b.data()));
  EXPECT_FALSE(Solves(3, kChain, nan, b.data()));
  EXPECT_FALSE(Solves(LowerTriangle(3, kChain), wrong, b.data()));
}

TEST(CaptureStdout, CatchesPrintfAndStreamInOrder) {
  CaptureStdout capture;
  std::printf("one ");
  std::cout << "two" << std::endl;

  EXPECT_EQ(capture.Stop(), "one two\n");
}

TEST(TempFolder, IsRemovedWithItsFiles) {
  std::string path;
  {
    TempFolder folder;
    folder.Write("a.txt", "text");
    path = folder.Path();
    EXPECT_EQ(folder.Read("a.txt"), "text");
  }

  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(DataFolder, ReferenceListsMatrices) {
  VEMATRIX_SKIP_WITHOUT_DATA();

  EXPECT_TRUE(Reference().contains("method"));
}
