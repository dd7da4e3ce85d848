#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "SolnFixture.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

const std::vector<Term> kSmall = {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 3.0}, {2, 3, 2.0}, {3, 3, 5.0}};

void ReduceQuietly(CSolnMatrix& k, Option option) {
  std::vector<int> zeroDofs;
  Quietly([&] { return k.Reduce(option, zeroDofs); });
}

class Operations : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(WithAnEngine, Operations, ::testing::Values(0, 4, 6));

class WithoutEngine : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(NoneAndUnknown, WithoutEngine, ::testing::Values(1, 2, 3, 5, 7));

TEST_P(WithoutEngine, EveryOperationGivesItsNeutralAnswer) {
  const auto k = Finalised(GetParam(), 3, kSmall);
  const auto m = Finalised(0, 3, kSmall);

  EXPECT_EQ((*k * CVector(3, 1.0)).Size(), 0);
  EXPECT_EQ((*k * CMatrix<0>(3, 2, 1.0)).NumRows(), 0);
  EXPECT_EQ((*k * CMatrix<0>(3, 2, 1.0)).NumCols(), 0);
  k->Shift(*m, 1.0);
  k->Shift(m->getSkyLine(), 1.0);
  k->Scale(2.0);
  CDiag d(2, 7.0);
  k->Diag(d);
  EXPECT_EQ(d.NumDof(), 0);
  EXPECT_EQ(k->ColumnSRSS(1), 0.0);
  EXPECT_EQ(k->MaxMinRatio(), 1.0);
}

// ---- Products

TEST_P(Operations, ProductIsTheOneWithTheFullSymmetricMatrix) {
  for (const int n : {1, 2, 5, 33, 100}) {
    const std::vector<Term> terms = RandomSymmetric(n, 5, 70 + n);
    const std::vector<double> v = RandomVector(n, 90 + n);
    const auto k = Finalised(GetParam(), n, terms);

    const CVector y = *k * CVector(Eigen::VectorXd(Eigen::Map<const Eigen::VectorXd>(v.data(), n)));

    const std::vector<Real> expected = Multiply(DenseOf(n, terms), v);
    ASSERT_EQ(y.Size(), n);
    for (int i = 0; i < n; ++i) EXPECT_NEAR(y.GetAtIndex(i), static_cast<double>(expected[i]), 1e-13 * n);
  }
}

TEST(SolnProduct, SkylineMultipliesByPhase) {
  CSolnMatrix heights;
  heights.SetNumDof(3);
  EXPECT_EQ((heights * CVector(3, 1.0)).Size(), 0);

  const auto k = Finalised(0, 3, kSmall);
  k->SetPhase(PhaseIndexed);
  EXPECT_EQ((*k * CVector(3, 1.0)).Size(), 0);
  k->SetPhase(PhaseAssembled);
  const CVector assembled = *k * CVector(3, 1.0);
  ReduceQuietly(*k, OptStiffness);
  const CVector reduced = *k * CVector(3, 1.0);

  ASSERT_EQ(reduced.Size(), 3);
  for (int i = 1; i <= 3; ++i) EXPECT_NEAR(reduced[i], assembled[i], 1e-14);
  EXPECT_EQ(assembled[1], 5.0);
}

TEST(SolnProduct, BlocksAreMultipliedByMethodsZeroAndFourOnly) {
  for (const int method : {0, 4}) {
    const auto k = Finalised(method, 3, kSmall);
    const CMatrix<0> y = *k * CMatrix<0>(3, 2, 1.0);
    ASSERT_EQ(y.NumRows(), 3);
    ASSERT_EQ(y.NumCols(), 2);
    for (int c = 1; c <= 2; ++c) {
      EXPECT_EQ(y.GetAt(1, c), 5.0);
      EXPECT_EQ(y.GetAt(2, c), 6.0);
      EXPECT_EQ(y.GetAt(3, c), 7.0);
    }
  }
  const auto k = Finalised(6, 3, kSmall);
  EXPECT_EQ((*k * CMatrix<0>(3, 2, 1.0)).NumRows(), 0);
}

TEST(SolnProduct, PardisoIgnoresEntriesAboveTheDiagonal) {
  const auto k = Finalised(6, 2, {{1, 1, 4.0}, {2, 2, 3.0}, {1, 2, 1.0}});
  k->getEigenSparse().coeffRef(0, 1) = 100.0;

  const CVector y = *k * CVector(2, 1.0);

  EXPECT_EQ(y[1], 5.0);
  EXPECT_EQ(y[2], 4.0);
}

TEST(SolnProduct, VectorOfAnotherLengthGivesAnEmptyOneAndAMessage) {
  CReport report;
  const auto k = Finalised(6, 3, kSmall, &report);

  EXPECT_EQ((*k * CVector(2, 1.0)).Size(), 0);

  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "Product: a vector of 2 values for 3 dof");
}

// ---- Shifts

TEST_P(Operations, ShiftBySubsetPatternIsTheDenseOne) {
  const auto k = Finalised(GetParam(), 3, kSmall);
  const auto m = Finalised(GetParam(), 3, {{1, 1, 1.0}, {2, 2, 2.0}, {2, 3, 0.5}, {3, 3, 3.0}});

  k->Shift(*m, 2.0);

  EXPECT_EQ(k->GetAt(1, 1), 2.0);
  EXPECT_EQ(TermOf(*k, GetParam(), 1, 2), 1.0);
  EXPECT_EQ(k->GetAt(2, 2), -1.0);
  EXPECT_EQ(TermOf(*k, GetParam(), 2, 3), 1.0);
  EXPECT_EQ(k->GetAt(3, 3), -1.0);
}

TEST_P(Operations, ShiftByTheSamePatternIsTheDenseOne) {
  const auto k = Finalised(GetParam(), 3, kSmall);
  const auto m = Finalised(GetParam(), 3, kSmall);

  k->Shift(*m, 0.5);

  EXPECT_EQ(k->GetAt(1, 1), 2.0);
  EXPECT_EQ(TermOf(*k, GetParam(), 2, 3), 1.0);
  EXPECT_EQ(k->NumTerm(), m->NumTerm());
}

TEST_P(Operations, ShiftOfAnotherSizeIsRefusedWithAMessage) {
  CReport report;
  const auto k = Finalised(GetParam(), 3, kSmall, &report);
  const auto m = Finalised(GetParam(), 2, {{1, 1, 1.0}});

  k->Shift(*m, 1.0);

  EXPECT_EQ(k->GetAt(1, 1), 4.0);
  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "Shift of a matrix of 3 dof by one of 2");
}

TEST(SolnShift, PardisoTakesOverTheTermsOfTheOtherPattern) {
  const auto k = Finalised(6, 3, kSmall);
  const auto m = Finalised(6, 3, {{1, 3, 4.0}});

  k->Shift(*m, 0.5);

  EXPECT_EQ(k->GetAt(3, 1), -2.0);
  EXPECT_EQ(k->GetAt(2, 1), 1.0);
  EXPECT_EQ(k->NumTerm(), 6);
  EXPECT_TRUE(k->getEigenSparse().isCompressed());
}

// A diagonal matrix held by method 0 (the facade's choice) or by method 6.
std::unique_ptr<CSolnMatrix> DiagonalMatrix(int method, const std::vector<double>& d) {
  auto m = std::make_unique<CSolnMatrix>();
  m->SetMethod(static_cast<SolMethod>(method));
  m->SetDiagonal(true);
  m->SetNumDof(static_cast<int>(d.size()));
  for (std::size_t i = 0; i < d.size(); ++i)
    m->AddTerm(static_cast<int>(i) + 1, static_cast<int>(i) + 1, d[i]);
  Quietly([&] { return m->Finalize(); });
  return m;
}

TEST_P(Operations, ShiftByADiagonalMatrixReadsItByItsOwnMethod) {
  for (const int method : {0, 6}) {
    if (GetParam() == 0 && method == 6) continue;  // the skyline takes skylines only
    const auto k = Finalised(GetParam(), 3, kSmall);
    const auto m = DiagonalMatrix(method, {1.0, 2.0, 3.0});

    k->Shift(*m, 2.0);

    EXPECT_EQ(k->GetAt(1, 1), 2.0) << "method " << method;
    EXPECT_EQ(k->GetAt(2, 2), -1.0) << "method " << method;
    EXPECT_EQ(k->GetAt(3, 3), -1.0) << "method " << method;
    EXPECT_EQ(TermOf(*k, GetParam(), 1, 2), 1.0) << "method " << method;
    EXPECT_EQ(k->NumTerm(), Finalised(GetParam(), 3, kSmall)->NumTerm()) << "method " << method;
  }
}

TEST(SolnShift, DiagonalMatrixOfCompressedColumnsIsReadThroughThem) {
  const auto k = Finalised(6, 2, {{1, 1, 4.0}, {2, 2, 4.0}});
  const auto m = Finalised(4, 2, {{1, 1, 1.0}, {2, 2, 2.0}});
  m->SetMethod(SolPardiso);
  m->SetDiagonal(true);  // keeps method 6 ...
  CSolnMatrix flagged(*m);

  k->Shift(flagged, 1.0);  // ... whose own matrix is empty

  EXPECT_EQ(k->GetAt(1, 1), 4.0);
}

TEST(SolnShift, DiagonalMatrixWithFewerDofsCountsAsZeroBeyondThem) {
  const auto k = Finalised(6, 3, kSmall);
  const auto m = DiagonalMatrix(0, {1.0});

  k->Shift(*m, 1.0);

  EXPECT_EQ(k->GetAt(1, 1), 3.0);
  EXPECT_EQ(k->GetAt(3, 3), 5.0);
}

TEST(SolnShift, PardisoInsertsAMissingDiagonalAndIsCompressedAgain) {
  const auto k = Finalised(6, 2, {});
  k->SetZero();
  k->AddTerm(1, 1, 4.0);
  Quietly([&] { return k->Finalize(); });
  const auto m = DiagonalMatrix(0, {1.0, -3.0});

  k->Shift(*m, 2.0);

  EXPECT_EQ(k->GetAt(1, 1), 2.0);
  EXPECT_EQ(k->GetAt(2, 2), 6.0);
  EXPECT_TRUE(k->getEigenSparse().isCompressed());
  std::vector<int> zeroDofs;
  EXPECT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), 0);
}

TEST(SolnShift, UncompressedMatrixIsCompressedByADiagonalShift) {
  const auto k = Finalised(6, 3, kSmall);
  k->getEigenSparse().uncompress();

  k->Shift(*DiagonalMatrix(0, {1.0, 1.0, 1.0}), 1.0);

  EXPECT_TRUE(k->getEigenSparse().isCompressed());
  EXPECT_EQ(k->GetAt(1, 1), 3.0);
}

TEST(SolnShift, CompressedColumnsWithoutAStoredDiagonalAreLeftAlone) {
  const auto k = Finalised(4, 3, {});
  k->SetZero();
  k->AddTerm(1, 2, 1.0);
  k->AddTerm(3, 3, 4.0);
  Quietly([&] { return k->Finalize(); });
  const int before = k->NumTerm();

  k->Shift(*DiagonalMatrix(0, {1.0, 1.0, 1.0}), 2.0);

  EXPECT_EQ(k->NumTerm(), before);
  EXPECT_EQ(k->GetAt(1, 1), 0.0);
  EXPECT_EQ(k->GetAt(1, 2), 1.0);
  EXPECT_EQ(k->GetAt(3, 3), 2.0);
}

TEST(SolnShift, SkylineArgumentCountsForMethodZeroOnly) {
  const auto m = Finalised(0, 3, {{1, 1, 1.0}, {2, 2, 1.0}, {3, 3, 1.0}});
  for (const int method : {0, 4, 6}) {
    const auto k = Finalised(method, 3, kSmall);

    k->Shift(m->getSkyLine(), 2.0);

    EXPECT_EQ(k->GetAt(1, 1), method == 0 ? 2.0 : 4.0) << "method " << method;
  }
}

TEST_P(Operations, ShiftedMatrixCountsTheEigenvaluesBelowTheShift) {
  const int n = 12;
  const std::vector<Term> terms = RandomSpd(n, 3, 33);
  const std::vector<Real> values = Eigenvalues(DenseOf(n, terms));
  for (const int below : {0, 3, 7, 12}) {
    const double shift = below == 0   ? static_cast<double>(values[0]) * 0.5
                         : below == n ? static_cast<double>(values[n - 1]) * 1.5
                                      : static_cast<double>(values[below - 1] + values[below]) / 2;
    const auto k = Finalised(GetParam(), n, terms);
    k->Shift(*DiagonalMatrix(0, std::vector<double>(n, 1.0)), shift);
    ReduceQuietly(*k, OptSturm);

    int negative = k->getPardiso().negative_evals();
    if (GetParam() == 0) {
      negative = 0;
      const CDiag d = k->getSkyLine().Diag();
      for (int i = 1; i <= n; ++i) negative += d.GetAt(i, i) < 0.0;
    }
    if (GetParam() == 4) continue;  // tells success only
    EXPECT_EQ(negative, below);
  }
}

// ---- Scaling, sizes, norms, ratios

TEST_P(Operations, ScaleMultipliesEveryStoredValue) {
  const auto k = Finalised(GetParam(), 3, kSmall);

  k->Scale(-2.0);

  EXPECT_EQ(k->GetAt(1, 1), -8.0);
  EXPECT_EQ(TermOf(*k, GetParam(), 2, 3), -4.0);
  EXPECT_EQ(k->NumTerm(), Finalised(GetParam(), 3, kSmall)->NumTerm());
}

TEST(SolnScale, DiagonalSkylineScalesItsDiagonal) {
  const auto k = DiagonalMatrix(0, {1.0, 2.0});

  k->Scale(3.0);

  EXPECT_EQ(k->GetAt(2, 2), 6.0);
}

TEST(SolnScale, UncompressedPardisoMatrixIsScaledToo) {
  const auto k = Finalised(6, 3, kSmall);
  k->getEigenSparse().uncompress();

  k->Scale(2.0);

  EXPECT_EQ(k->GetAt(3, 2), 4.0);
  EXPECT_EQ(k->NumTerm(), 5);
}

TEST_P(Operations, DiagOnlySizesItsArgument) {
  const auto k = Finalised(GetParam(), 3, kSmall);
  CDiag right(3, 7.0), wrong(2, 7.0);

  k->Diag(right);
  k->Diag(wrong);

  EXPECT_EQ(right.GetAt(2, 2), 7.0);
  ASSERT_EQ(wrong.NumDof(), 3);
  EXPECT_EQ(wrong.GetAt(1, 1), 0.0);
  EXPECT_EQ(wrong.GetAt(3, 3), 0.0);
}

TEST(SolnColumnNorm, SkylineLeavesTheDiagonalOut) {
  const auto k = Finalised(0, 4, {{1, 4, 3.0}, {3, 4, 4.0}, {4, 4, 100.0}, {1, 1, 9.0}});

  EXPECT_EQ(k->ColumnSRSS(4), 5.0);
  EXPECT_EQ(k->ColumnSRSS(1), 0.0);
  EXPECT_EQ(k->ColumnSRSS(0), 0.0);
  EXPECT_EQ(k->ColumnSRSS(5), 0.0);
}

TEST(SolnColumnNorm, CompressedColumnsTakeTheUpperTriangleWithTheDiagonal) {
  const auto k = Finalised(4, 4, {{1, 4, 3.0}, {4, 4, 4.0}, {1, 1, 9.0}});

  EXPECT_EQ(k->ColumnSRSS(4), 5.0);
  EXPECT_EQ(k->ColumnSRSS(1), 9.0);
}

TEST(SolnColumnNorm, PardisoTakesTheHostsRowWithTheDiagonal) {
  const auto k = Finalised(6, 4, {{2, 2, 2.0}, {2, 3, 4.0}, {2, 4, 4.0}, {1, 2, 100.0}});

  EXPECT_EQ(k->ColumnSRSS(2), 6.0);
  EXPECT_EQ(k->ColumnSRSS(0), 0.0);
  EXPECT_EQ(k->ColumnSRSS(5), 0.0);
}

TEST(SolnRatio, SkylineDividesLargestBySmallestPivotAndHasNoneBeforeReduction) {
  const auto k = Finalised(0, 3, {{1, 1, 4.0}, {2, 2, 2.0}, {3, 3, 8.0}});
  EXPECT_TRUE(std::isnan(k->MaxMinRatio()));

  ReduceQuietly(*k, OptStiffness);

  EXPECT_EQ(k->MaxMinRatio(), 4.0);
}

TEST(SolnRatio, CompressedColumnsKeepTheirs) {
  const auto k = Finalised(4, 3, {{1, 1, 4.0}, {2, 2, 2.0}, {3, 3, 8.0}});
  EXPECT_EQ(k->MaxMinRatio(), 1.0);

  ReduceQuietly(*k, OptStiffness);

  EXPECT_EQ(k->MaxMinRatio(), 4.0);
}

TEST(SolnRatio, PardisoAlwaysSaysOne) {
  const auto k = Finalised(6, 3, {{1, 1, 4.0}, {2, 2, 2.0}, {3, 3, 8.0}});
  ReduceQuietly(*k, OptStiffness);

  EXPECT_EQ(k->MaxMinRatio(), 1.0);
}

}  // namespace
