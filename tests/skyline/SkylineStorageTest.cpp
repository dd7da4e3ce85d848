// Storage, assembly and the whole-matrix operations.
#include <gtest/gtest.h>

#include "skyline/Profiles.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

namespace {

/// Column heights 1, 2, 1, 3: rows 1-2 of column 2 and 2-4 of column 4 are stored.
CSkyLine Small() {
  CSkyLine m = MakeSkyline({0, 1, 2, 1, 3},
                           {{1, 1, 4}, {1, 2, 1}, {2, 2, 5}, {3, 3, 6}, {2, 4, 2}, {3, 4, 3}, {4, 4, 9}});
  return m;
}

CSkyLine Diagonal(const std::vector<double>& d) {
  CSkyLine m;
  m.SetDiagonal(true);
  m.SetNumDof(static_cast<int>(d.size()));
  for (std::size_t i = 0; i < d.size(); ++i) m.SetAt(int(i) + 1, int(i) + 1, d[i]);
  m.SetAssemble();
  return m;
}

}  // namespace

TEST(SkylineStorage, DefaultsOfAFreshMatrix) {
  CSkyLine m;
  EXPECT_EQ(m.NumDof(), 0);
  EXPECT_EQ(m.NumStiff(), 0);
  EXPECT_FALSE(m.IsDiagonal());
  EXPECT_EQ(m.Zero(), 1e-40);
  EXPECT_EQ(m.NormFactor(), 1.0);
  EXPECT_FALSE(m.IsNormalized());
  EXPECT_EQ(m.MaxStiff(), std::make_pair(0, 0.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(0, 0.0));
  EXPECT_EQ(m.GetPhase(), PhaseHeights);
  EXPECT_TRUE(m.TmpFile().empty());
}

TEST(SkylineStorage, UntouchedMatrixHasOneTermPerDof) {
  CSkyLine m;
  m.SetNumDof(5);
  EXPECT_EQ(m.ColHeight(3), 0);
  ASSERT_TRUE(m.CreateIndex());
  EXPECT_EQ(m.NumStiff(), 5);
  EXPECT_EQ(m.ColHeight(3), 1);
  EXPECT_EQ(m.GetPhase(), PhaseIndexed);
}

TEST(SkylineStorage, HeightsAgreeBeforeAndAfterTheIndex) {
  CSkyLine m;
  m.SetNumDof(4);
  m.SetColHeight(2, 2);
  m.SetColHeight(4, 3);
  EXPECT_EQ(m.ColHeight(4), 3);
  m.CreateIndex();
  EXPECT_EQ(m.ColHeight(1), 1);
  EXPECT_EQ(m.ColHeight(2), 2);
  EXPECT_EQ(m.ColHeight(4), 3);
  EXPECT_EQ(m.NumStiff(), 7);
}

TEST(SkylineStorage, SetNumDofKeepsHeightsSetBefore) {
  CSkyLine m;
  m.SetNumDof(2);
  m.SetColHeight(2, 2);
  EXPECT_TRUE(m.SetNumDof(3));
  EXPECT_EQ(m.ColHeight(2), 2);
  EXPECT_EQ(m.ColHeight(3), 0);
}

TEST(SkylineStorage, TermsRunFromTheDiagonalUpwards) {
  CSkyLine m = Small();
  double* diagonal = &m.ElementAt(4, 4);
  EXPECT_EQ(diagonal + 1, &m.ElementAt(3, 4));
  EXPECT_EQ(diagonal + 2, &m.ElementAt(2, 4));
  EXPECT_EQ(diagonal - 1, &m.ElementAt(3, 3));
}

TEST(SkylineStorage, GetAtReadsSymmetricallyAndZeroOutsideTheProfile) {
  const CSkyLine m = Small();
  EXPECT_EQ(m.GetAt(2, 4), 2.0);
  EXPECT_EQ(m.GetAt(4, 2), 2.0);
  EXPECT_EQ(m.GetAt(1, 4), 0.0);
  EXPECT_EQ(m.GetAt(4, 1), 0.0);
  EXPECT_EQ(m.GetAt(1, 3), 0.0);
  EXPECT_EQ(m.GetAt(3, 3), 6.0);
}

TEST(SkylineStorage, GetAtWithoutStorageIsZero) {
  CSkyLine m = Small();
  m.Clear();
  EXPECT_EQ(m.GetAt(4, 4), 0.0);
  EXPECT_EQ(m.Diag().GetAt(2, 2), 0.0);
}

TEST(SkylineStorage, ClearLeadsBackToHeights) {
  CSkyLine m = Small();
  m.Normalize();
  std::vector<int> zeroDofs;
  m.Reduce(0, zeroDofs);
  const auto largest = m.MaxStiff();
  m.Clear();
  EXPECT_EQ(m.GetPhase(), PhaseHeights);
  EXPECT_EQ(m.NumDof(), 4);
  EXPECT_EQ(m.ColHeight(4), 0);
  EXPECT_TRUE(m.IsNormalized());
  EXPECT_EQ(m.MaxStiff(), largest);
  m.Null();  // no storage, nothing to do
  m.Scale(2.0);
  m.Normalize();
  EXPECT_TRUE(m.CheckDiagonal());
  EXPECT_TRUE(m.CreateIndex());
  EXPECT_EQ(m.NumStiff(), 4);
}

TEST(SkylineStorage, NullKeepsTheProfile) {
  CSkyLine m = Small();
  m.Null();
  EXPECT_EQ(m.NumStiff(), 7);
  for (double v : ValuesOf(m)) EXPECT_EQ(v, 0.0);
}

TEST(SkylineStorage, CheckDiagonalLeavesColumnOneOut) {
  CSkyLine m = Small();
  m.SetAt(1, 1, -1.0);
  EXPECT_TRUE(m.CheckDiagonal());
  m.SetAt(3, 3, 0.0);
  EXPECT_TRUE(m.CheckDiagonal());
  m.SetAt(3, 3, -1e-300);
  EXPECT_FALSE(m.CheckDiagonal());
}

TEST(SkylineStorage, CheckDiagonalAndNormalizeWithoutStorageDoNothing) {
  CSkyLine fresh;
  fresh.SetNumDof(3);
  EXPECT_TRUE(fresh.CheckDiagonal());
  fresh.Normalize();
  EXPECT_FALSE(fresh.IsNormalized());

  CSkyLine grown = Small();
  grown.SetNumDof(50);
  EXPECT_TRUE(grown.CheckDiagonal());
  grown.Normalize();
  EXPECT_FALSE(grown.IsNormalized());
}

TEST(SkylineStorage, NormalizeScalesByTheLargestDiagonalEveryTime) {
  CSkyLine m = Small();
  m.SetAt(2, 4, 100.0);  // off the diagonal: does not count
  m.Normalize();
  EXPECT_TRUE(m.IsNormalized());
  EXPECT_EQ(m.NormFactor(), 1.0 / 9.0);
  EXPECT_EQ(m.GetAt(2, 4), 100.0 * (1.0 / 9.0));
  m.Scale(4.0);
  EXPECT_EQ(m.NormFactor(), 1.0 / 9.0);
  m.Normalize();
  EXPECT_EQ(m.NormFactor(), 1.0 / (9.0 * (1.0 / 9.0) * 4.0));
}

TEST(SkylineStorage, NormalizeWithoutAPositiveDiagonalDoesNothing) {
  CSkyLine m = Small();
  m.Scale(-1.0);
  const std::vector<double> before = ValuesOf(m);
  m.Normalize();
  EXPECT_FALSE(m.IsNormalized());
  EXPECT_TRUE(SameBits(before, ValuesOf(m)));
}

TEST(SkylineStorage, ShiftSubtractsTermByTerm) {
  CSkyLine m = Small();
  const CSkyLine k = Small();
  m.Shift(k, 0.25);
  for (int j = 1; j <= 4; ++j)
    for (int i = 1; i <= j; ++i) EXPECT_EQ(m.GetAt(i, j), k.GetAt(i, j) - 0.25 * k.GetAt(i, j));
}

TEST(SkylineStorage, ShiftByAHigherProfileStaysInsideTheColumns) {
  CSkyLine m = Small();
  const std::vector<int> full{0, 1, 2, 3, 4};
  const CSkyLine k = MakeSkyline(full, ts::FillProfile(full, 3));
  const CSkyLine before(m);
  m.Shift(k, 2.0);
  for (int j = 1; j <= 4; ++j)
    for (int i = j - m.ColHeight(j) + 1; i <= j; ++i)
      EXPECT_EQ(m.GetAt(i, j), before.GetAt(i, j) - 2.0 * k.GetAt(i, j)) << i << ", " << j;
}

TEST(SkylineStorage, ShiftByADiagonalMatrixTouchesTheDiagonal) {
  CSkyLine m = Small();
  m.Shift(Diagonal({1, 2, 3, 4}), 2.0);
  EXPECT_EQ(m.GetAt(4, 4), 1.0);
  EXPECT_EQ(m.GetAt(1, 1), 2.0);
  EXPECT_EQ(m.GetAt(2, 4), 2.0);
}

TEST(SkylineStorage, ShiftByASmallerMatrixStopsAtItsEnd) {
  CSkyLine m = Small();
  m.Shift(MakeSkyline({0, 1}, {{1, 1, 1.0}}), 1.0);
  EXPECT_EQ(m.GetAt(1, 1), 3.0);
  EXPECT_EQ(m.GetAt(2, 2), 5.0);
}

TEST(SkylineStorage, CopyIsDeepAndSharesTheLog) {
  CReport log;
  CSkyLine m = Small();
  m.SetLog(&log);
  m.SetTmpFile(L"name");
  CSkyLine copy(m), assigned;
  assigned = m;
  m.SetAt(1, 1, 77.0);
  EXPECT_EQ(copy.GetAt(1, 1), 4.0);
  EXPECT_EQ(assigned.GetAt(1, 1), 4.0);
  EXPECT_EQ(copy.TmpFile(), L"name");
  EXPECT_EQ(copy.GetPhase(), PhaseAssembled);
  EXPECT_EQ(copy.NumStiff(), 7);
  copy.Note("from the copy");
  EXPECT_EQ(log.Note(), "from the copy");
}

TEST(SkylineStorage, WithoutALogMessagesAreIgnored) {
  CSkyLine m;
  m.Log(2, "nobody hears this");
  m.Note("nor this");
  EXPECT_TRUE(m.SturmFailure());
  m.SetTmpFile(nullptr);
  EXPECT_TRUE(m.TmpFile().empty());
}

TEST(SkylineDiagonal, ElementsIgnoreTheColumn) {
  CSkyLine m = Diagonal({4, 5, 6});
  m.SetAt(1, 3, 99.0);
  EXPECT_EQ(m.GetAt(1, 1), 4.0);
  EXPECT_EQ(m.GetAt(1, 3), 0.0);
  m.ElementAt(2, 3) = 8.0;
  EXPECT_EQ(m.GetAt(2, 2), 8.0);
}

TEST(SkylineDiagonal, KeepsNoHeights) {
  CSkyLine m = Diagonal({4, 5, 6});
  m.SetColHeight(3, 2);
  EXPECT_EQ(m.ColHeight(3), 0);
}

TEST(SkylineDiagonal, WholeMatrixOperationsTakeTheShortPath) {
  CSkyLine m = Diagonal({4, -5, 8});
  EXPECT_FALSE(m.CheckDiagonal());
  m.SetAt(2, 2, 0.0);
  EXPECT_TRUE(m.CheckDiagonal());
  m.SetAt(1, 1, -1.0);
  EXPECT_FALSE(m.CheckDiagonal());
  m.Normalize();
  EXPECT_EQ(m.NormFactor(), 0.125);
  EXPECT_EQ(m.GetAt(3, 3), 1.0);
  m.Scale(3.0);
  EXPECT_EQ(m.GetAt(3, 3), 3.0);
  m.Shift(Diagonal({1, 1, 1}), 1.0);
  EXPECT_EQ(m.GetAt(3, 3), 2.0);
  m.Null();
  EXPECT_EQ(m.GetAt(3, 3), 0.0);
}

TEST(SkylineDiagonal, EmptyMatrixPassesEverything) {
  CSkyLine m = Diagonal({});
  std::vector<int> zeroDofs;
  EXPECT_TRUE(m.CheckDiagonal());
  m.Normalize();
  m.Null();
  EXPECT_TRUE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(m.Diag().NumDof(), 0);
}

TEST(SkylineDiagonal, OffDiagonalHeightsDoNotLeadTheReductionAstray) {
  CSkyLine m;
  m.SetDiagonal(true);
  m.SetNumDof(3);
  m.Clear();
  m.SetColHeight(3, 3);  // what a host does for a term (1, 3)
  m.CreateIndex();
  m.Null();
  for (int i = 1; i <= 3; ++i) m.SetAt(i, i, 2.0 * i);
  m.SetAt(1, 3, 5.0);
  std::vector<int> zeroDofs;
  CVector x(3, 12.0);

  ASSERT_TRUE(m.Reduce(0, zeroDofs));
  m.BackSubs(x);

  EXPECT_EQ(x.GetAt(1), 6.0);
  EXPECT_EQ(x.GetAt(2), 3.0);
  EXPECT_EQ(x.GetAt(3), 2.0);
}

TEST(SkylineDiagonal, ReductionChecksThePivots) {
  CSkyLine m = Diagonal({3, 1e-41, 5, 0});
  std::vector<int> zeroDofs;
  EXPECT_FALSE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(zeroDofs, (std::vector<int>{2, 4}));
  EXPECT_EQ(m.GetPhase(), PhaseReduced);
  EXPECT_EQ(m.GetAt(2, 2), 1.0);
  EXPECT_EQ(m.MaxStiff(), std::make_pair(3, 5.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(1, 3.0));
  CSkyLine sturm = Diagonal({3, 0});
  EXPECT_TRUE(sturm.Reduce(1, zeroDofs));
  EXPECT_EQ(sturm.GetAt(2, 2), -1e-16);
}
