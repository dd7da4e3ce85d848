#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "SolnFixture.h"
#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

INSTANTIATE_TEST_SUITE_P(WithAnEngine, EngineMethod, ::testing::Values(0, 4, 6));

// ---- Existence and zeroing

TEST(SolnExist, SkylineAsksTheProfileAndSaysYesBelowTheDiagonal) {
  const auto k = Finalised(0, 4, {{2, 4, 1.0}});

  EXPECT_TRUE(k->Exist(2, 4));
  EXPECT_TRUE(k->Exist(3, 4));  // inside the profile though never added
  EXPECT_FALSE(k->Exist(1, 4));
  EXPECT_TRUE(k->Exist(4, 2));
}

TEST(SolnExist, CompressedColumnsHaveForgottenTheirPattern) {
  const auto k = Finalised(4, 3, {{1, 2, 1.0}});

  EXPECT_FALSE(k->Exist(1, 2));
  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_FALSE(k->Exist(9, 9));
}

TEST(SolnExist, PardisoAnswersInReverse) {
  const auto k = Finalised(6, 3, {{1, 1, 4.0}, {1, 2, 1.0}});
  k->getEigenSparse().coeffRef(2, 2) = kNaN;

  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_FALSE(k->Exist(2, 1));
  EXPECT_TRUE(k->Exist(1, 2));
  EXPECT_TRUE(k->Exist(2, 2));
  EXPECT_FALSE(k->Exist(3, 3));
  EXPECT_TRUE(k->Exist(7, 1));
}

TEST(SolnSetZero, SkylineKeepsItsProfile) {
  const auto k = Finalised(0, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 5);
  EXPECT_EQ(k->GetAt(1, 3), 0.0);
  Quietly([&] { return k->Finalize(); });
  EXPECT_EQ(k->GetAt(1, 1), 0.0);  // the staged term was dropped
}

TEST(SolnSetZero, CompressedColumnsKeepTheirPattern) {
  const auto k = Finalised(4, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 5);
  EXPECT_EQ(k->GetAt(1, 3), 0.0);
}

TEST(SolnSetZero, PardisoLosesItsTermsAndKeepsItsSize) {
  const auto k = Finalised(6, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 0);
  EXPECT_EQ(k->NumDof(), 3);
  Quietly([&] { return k->Finalize(); });
  EXPECT_EQ(k->NumTerm(), 0);
}

TEST_P(EngineMethod, NewValuesOnTheSameStructureAreSolved) {
  const auto k = Finalised(GetParam(), 2, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 4.0}});
  Quietly([&] { return k->Reduce(OptStiffness); });

  k->SetZero();
  k->AddTerm(1, 1, 2.0);
  k->AddTerm(1, 2, 0.0);
  k->AddTerm(2, 2, 4.0);
  Quietly([&] { return k->Finalize(); });
  CVector b(2, 8.0);
  EXPECT_TRUE(Quietly([&] { return k->Reduce(OptStiffness); }));
  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_DOUBLE_EQ(b[1], 4.0);
  EXPECT_DOUBLE_EQ(b[2], 2.0);
}

TEST(SolnCompColumn, ColumnsWithoutTermsAtTheEndAreNotBuilt) {
  const auto k = Finalised(4, 3, {});
  k->SetZero();
  k->AddTerm(1, 2, 1.0);

  ASSERT_TRUE(Quietly([&] { return k->Finalize(); }));

  EXPECT_EQ(k->NumDof(), 2);
  std::vector<int> zeroDofs;
  EXPECT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), -5);
}

TEST(SolnCompColumn, CreateIndexOfAFreshPatternCountsItsColumns) {
  CSolnMatrix k;
  k.SetMethod(SolCompColumn);
  k.SetNumDof(3);

  EXPECT_EQ(k.CreateIndex(), 3);
  EXPECT_EQ(k.NumDof(), 3);
  EXPECT_EQ(k.CreateIndex(), 0);  // the pattern was handed over
}

TEST(SolnSkyline, TooManyTermsFailTheFinalisation) {
  const int n = 47000;  // a full last half of the columns: more than 2³⁰ − 1 terms
  CReport report;
  CSolnMatrix k;
  k.SetLog(&report);
  k.SetNumDof(n);
  for (int j = 1; j <= n; ++j) k.AddTerm(1, j, 1.0);

  EXPECT_FALSE(Quietly([&] { return k.Finalize(); }));

  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "Too many terms in matrix");
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseHeights);
}

TEST(SolnSkyline, DiagonalModeIgnoresOffDiagonalTerms) {
  CSolnMatrix k;
  k.SetDiagonal(true);
  k.SetNumDof(3);
  for (int i = 1; i <= 3; ++i) k.AddTerm(i, i, 2.0 * i);
  k.AddTerm(1, 3, 9.0);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.GetAt(1, 1), 2.0);
  EXPECT_EQ(k.GetAt(3, 3), 6.0);
  EXPECT_EQ(k.GetAt(1, 3), 0.0);
  CVector b(3, 12.0);
  EXPECT_TRUE(Quietly([&] { return k.Reduce(OptStiffness); }));
  Quietly([&] { k.BackSubstitute(b); });
  EXPECT_EQ(b[1], 6.0);
  EXPECT_EQ(b[2], 3.0);
  EXPECT_EQ(b[3], 2.0);
}

TEST_P(EngineMethod, CopyHasMatrixAndStagedTermsOfItsOwn) {
  const auto k = Finalised(GetParam(), 2, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 4.0}});
  k->AddTerm(1, 1, 3.0);
  k->AddTerm(2, 2, 3.0);

  CSolnMatrix copy(*k);
  k->Scale(2.0);
  k->SetZero();

  EXPECT_EQ(copy.GetAt(1, 1), 4.0);
  EXPECT_EQ(TermOf(copy, GetParam(), 1, 2), 1.0);
  ASSERT_TRUE(Quietly([&] { return copy.Finalize(); }));
  EXPECT_EQ(copy.GetAt(1, 1), 3.0);
  EXPECT_EQ(copy.GetAt(2, 2), 3.0);
}

}  // namespace
