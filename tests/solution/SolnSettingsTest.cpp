#include <gtest/gtest.h>

#include <stdexcept>

#include "SolnFixture.h"
#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

// Methods 2, 3, 5 and so on are accepted and unknown.
const SolMethod kUnknown = static_cast<SolMethod>(3);

TEST(SolnSettings, DefaultsAreTheDocumentedOnes) {
  const CSolnMatrix k;

  EXPECT_EQ(k.ZeroStiff(), 1e-40);
  EXPECT_FALSE(k.IsDiagonal());
  EXPECT_EQ(k.NumDof(), 0);
  EXPECT_EQ(k.NumTerm(), 0);
}

TEST(SolnSettings, ZeroStiffIsStored) {
  CSolnMatrix k;

  k.SetZeroStiff(1e-12);

  EXPECT_EQ(k.ZeroStiff(), 1e-12);
}

TEST(SolnSettings, LogAndNoteReachTheReportAndAreSilentWithoutOne) {
  CSolnMatrix k;
  CReport report;
  k.Log(2, "nowhere");
  k.Note("nowhere");

  k.SetLog(&report);
  k.Log(1, "here");
  k.Note("there");

  EXPECT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "here");
  EXPECT_EQ(report.Note(), "there");
}

TEST(SolnSettings, KeyIsComputedInSixtyFourBitsAndGivesRowAndColumnBack) {
  CSolnMatrix k;
  k.SetMethod(kUnknown);  // no diagonal of two million dofs is staged
  k.SetNumDof(2000000);

  const unsigned long long key = k.RowCol(1999999, 2000000);

  EXPECT_EQ(key, 1999998ULL + 2000000ULL * 1999999ULL);
  EXPECT_EQ(k.Row(key), 1999999u);
  EXPECT_EQ(k.Col(key), 2000000u);
}

TEST(SolnSettings, DiagonalFlagForcesTheSkylineUnlessTheMethodIsPardiso) {
  CSolnMatrix a, b, c;
  a.SetMethod(SolCompColumn);
  a.SetDiagonal(true);
  EXPECT_TRUE(a.IsDiagonal());
  EXPECT_TRUE(a.getSkyLine().IsDiagonal());
  a.SetNumDof(3);
  EXPECT_EQ(a.NumDof(), 3);  // the skyline's: the method is 0 now
  EXPECT_EQ(a.getSkyLine().NumDof(), 3);

  b.SetMethod(SolPardiso);
  b.SetDiagonal(true);
  EXPECT_FALSE(b.getSkyLine().IsDiagonal());
  EXPECT_NO_THROW(b.getEigenSparse());

  c.SetDiagonal(true);
  c.SetMethod(SolCompColumn);
  EXPECT_TRUE(c.getSkyLine().IsDiagonal());
  EXPECT_THROW(c.getEigenSparse(), CMatrixError);
  c.SetMethod(SolPardiso);
  EXPECT_NO_THROW(c.getEigenSparse());
}

TEST(SolnSettings, ClearingTheDiagonalFlagChangesNothingElse) {
  CSolnMatrix k;
  k.SetDiagonal(true);

  k.SetDiagonal(false);

  EXPECT_FALSE(k.IsDiagonal());
  EXPECT_TRUE(k.getSkyLine().IsDiagonal());
}

TEST(SolnSettings, PhaseIsPassedToTheSkylineOnly) {
  CSolnMatrix k;
  k.SetPhase(PhaseReduced);
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseReduced);

  k.SetMethod(SolPardiso);
  k.SetPhase(PhaseHeights);
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseReduced);
}

TEST(SolnSettings, EigenMatrixOfAnotherMethodIsAnIllegalCall) {
  for (const int method : {0, 1, 3, 4}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    try {
      k.getEigenSparse();
      FAIL() << "method " << method;
    } catch (const std::exception& error) {
      EXPECT_STREQ(error.what(), "Illegal function call getEigenSparse");
    }
  }
}

// ---- Number of dofs

TEST_P(EngineMethod, DofsWithoutTermsGiveAZeroDiagonal) {
  const auto k = Finalised(GetParam(), 3, {});

  EXPECT_EQ(k->NumDof(), 3);
  EXPECT_EQ(k->NumTerm(), 3);
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(k->GetAt(i, i), 0.0);
}

TEST_P(EngineMethod, NoDofsAreFinalisedToo) {
  const auto k = Finalised(GetParam(), 0, {});

  EXPECT_EQ(k->NumDof(), 0);
  EXPECT_EQ(k->NumTerm(), 0);
}

TEST_P(EngineMethod, NewNumberOfDofsDropsTheTermsOfTheOld) {
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetNumDof(4);
  k.AddTerm(4, 4, 7.0);
  k.AddTerm(1, 2, 7.0);

  k.SetNumDof(2);
  k.AddTerm(1, 1, 3.0);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.NumDof(), 2);
  EXPECT_EQ(k.GetAt(1, 1), 3.0);
  EXPECT_EQ(TermOf(k, GetParam(), 1, 2), 0.0);
  EXPECT_EQ(k.NumTerm(), 2);
}

TEST_P(EngineMethod, SameNumberOfDofsKeepsTheTerms) {
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetNumDof(2);
  k.AddTerm(1, 2, 7.0);

  k.SetNumDof(2);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(TermOf(k, GetParam(), 1, 2), 7.0);
}

TEST(SolnNumDof, UnknownMethodReturnsFalseAndFinalizeOfItTrue) {
  CSolnMatrix k;
  k.SetMethod(kUnknown);

  EXPECT_FALSE(k.SetNumDof(3));
  k.AddTerm(1, 1, 5.0);
  EXPECT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.NumDof(), 0);
  EXPECT_EQ(k.NumTerm(), 0);
  EXPECT_EQ(k.GetAt(1, 1), 0.0);
  EXPECT_FALSE(k.Exist(1, 1));
  EXPECT_EQ(k.CreateIndex(), -1);
  k.SetZero();
}

TEST(SolnNumDof, MethodNoneStagesAndDiscards) {
  const auto k = Finalised(1, 3, {{1, 1, 5.0}});

  EXPECT_EQ(k->NumDof(), 0);
  EXPECT_EQ(k->NumTerm(), 0);
  EXPECT_EQ(k->GetAt(1, 1), 0.0);
  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_EQ(k->CreateIndex(), 0);
  k->SetZero();
}

TEST(SolnNumDof, NegativeNumberIsALengthErrorWhereItWouldBeReserved) {
  for (const int method : {4, 6}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    EXPECT_THROW(k.SetNumDof(-1), std::length_error) << "method " << method;
    EXPECT_TRUE(k.SetNumDof(2)) << "method " << method;
  }
}

TEST(SolnNumDof, FieldIsNotWhatNumDofReturns) {
  CSolnMatrix k;
  k.SetMethod(SolPardiso);

  k.SetNumDof(3);
  EXPECT_EQ(k.NumDof(), 0);
  Quietly([&] { return k.Finalize(); });

  EXPECT_EQ(k.NumDof(), 3);
}

}  // namespace
