// What the reduction reports and leaves behind.
#include <gtest/gtest.h>

#include <cmath>

#include "skyline/Profiles.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

TEST(SkylineReduce, ThreeByThreeByHand) {
  CSkyLine m = MakeSkyline(3, {{1, 1, 4}, {1, 2, 2}, {2, 2, 5}, {1, 3, 2}, {2, 3, 5}, {3, 3, 14}});
  std::vector<int> zeroDofs;
  CReport log;
  m.SetLog(&log);

  ASSERT_TRUE(m.Reduce(0, zeroDofs));

  EXPECT_EQ(log.Note(), "Reducing Stiffness Matrix");
  EXPECT_EQ(ValuesOf(m), (std::vector<double>{4, 4, 0.5, 9, 1, 0.5}));
  EXPECT_EQ(m.MaxStiff(), std::make_pair(3, 9.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(1, 4.0));
  EXPECT_EQ(m.Ratio(), 4.0 / 9.0);
  EXPECT_EQ(m.Diag().GetAt(3, 3), 9.0);
  EXPECT_EQ(m.GetPhase(), PhaseReduced);
}

TEST(SkylineReduce, OneByOne) {
  CSkyLine m = MakeSkyline(1, {{1, 1, 8}});
  std::vector<int> zeroDofs;
  CVector x(1, 4.0);
  ASSERT_TRUE(m.Reduce(0, zeroDofs));
  m.BackSubs(x);
  EXPECT_EQ(x.GetAt(1), 0.5);
}

TEST(SkylineReduce, NoDofs) {
  CSkyLine m;
  std::vector<int> zeroDofs{1};
  CVector x;
  EXPECT_TRUE(m.Reduce(0, zeroDofs));
  EXPECT_TRUE(zeroDofs.empty());
  EXPECT_EQ(m.GetPhase(), PhaseHeights);
  m.BackSubs(x);
}

TEST(SkylineReduce, SecondReductionKeepsFactorsAndList) {
  CSkyLine m = MakeSkyline(2, {{1, 1, 4}, {1, 2, 2}, {2, 2, 5}});
  std::vector<int> zeroDofs;
  m.Reduce(0, zeroDofs);
  const std::vector<double> factors = ValuesOf(m);
  zeroDofs = {42};
  EXPECT_TRUE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(zeroDofs, std::vector<int>{42});
  EXPECT_TRUE(SameBits(factors, ValuesOf(m)));
}

TEST(SkylineReduce, TinyPivotIsSuppressedInStiffnessMode) {
  CSkyLine m = MakeSkyline(3, {{1, 1, 4}, {2, 2, 1e-41}, {2, 3, 7}, {3, 3, 2}});
  std::vector<int> zeroDofs;
  CVector x(3, 2.0);

  EXPECT_FALSE(m.Reduce(0, zeroDofs));
  m.BackSubs(x);

  EXPECT_EQ(zeroDofs, std::vector<int>{2});
  EXPECT_EQ(m.GetPhase(), PhaseReduced);
  EXPECT_EQ(m.GetAt(2, 2), 1.0);
  EXPECT_EQ(m.GetAt(2, 3), 0.0);
  EXPECT_EQ(x.GetAt(1), 0.5);
  EXPECT_EQ(x.GetAt(3), 1.0);
}

TEST(SkylineReduce, ThresholdIsStrictAndAbsolute) {
  std::vector<int> zeroDofs;
  CSkyLine at = MakeSkyline(1, {{1, 1, 0.5}});
  at.SetZero(0.5);
  EXPECT_TRUE(at.Reduce(0, zeroDofs));
  CSkyLine below = MakeSkyline(1, {{1, 1, -0.25}});
  below.SetZero(0.5);
  EXPECT_FALSE(below.Reduce(0, zeroDofs));
}

TEST(SkylineReduce, ZeroPivotWithoutSuppressionTouchesNoRecord) {
  CSkyLine m = MakeSkyline(2, {{1, 1, 0.0}, {2, 2, 3.0}});
  m.SetZero(0.0);
  std::vector<int> zeroDofs;
  EXPECT_TRUE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(m.GetAt(1, 1), -1e-16);
  EXPECT_EQ(m.MaxStiff(), std::make_pair(2, 3.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(2, 3.0));
}

TEST(SkylineReduce, EverythingSuppressedKeepsTheDofsOfTheRecords) {
  CSkyLine m = MakeSkyline(2, {{1, 1, 5.0}, {2, 2, 6.0}});
  std::vector<int> zeroDofs;
  m.Reduce(0, zeroDofs);
  m.Null();
  m.SetAssemble();
  EXPECT_FALSE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(m.MaxStiff(), std::make_pair(2, 0.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(1, 1e20));
  EXPECT_TRUE(std::isinf(m.Ratio()));
}

TEST(SkylineReduce, NegativePivotsNeverBecomeTheLargest) {
  CSkyLine m = MakeSkyline(2, {{1, 1, -5.0}, {2, 2, -6.0}});
  std::vector<int> zeroDofs;
  EXPECT_TRUE(m.Reduce(1, zeroDofs));
  EXPECT_EQ(m.MaxStiff(), std::make_pair(0, 0.0));
  EXPECT_EQ(m.MinStiff(), std::make_pair(2, -6.0));
}

TEST(SkylineReduce, SturmModeCountsASingularLeadingBlockAsNegative) {
  CSkyLine m = MakeSkyline(3, {{1, 1, 1}, {1, 2, 1}, {2, 2, 1}, {3, 3, 1}});
  std::vector<int> zeroDofs;
  EXPECT_TRUE(m.Reduce(1, zeroDofs));
  EXPECT_EQ(m.GetAt(2, 2), -1e-16);
  EXPECT_TRUE(zeroDofs.empty());
}

TEST(SkylineReduce, MultiplierGrowthLeavesThePhaseAndTheUndividedRest) {
  CReport log;
  CSkyLine m = MakeSkyline(3, {{1, 1, 1e-8}, {1, 2, 1}, {2, 2, 3}, {3, 3, 7}});
  m.SetLog(&log);
  std::vector<int> zeroDofs;

  EXPECT_FALSE(m.Reduce(1, zeroDofs));

  EXPECT_EQ(m.GetPhase(), PhaseAssembled);
  EXPECT_EQ(ValuesOf(m), (std::vector<double>{1e-8, 3, 1, 7}));
  EXPECT_EQ(log.NumLog(), 0);
  EXPECT_TRUE(m.SturmFailure());
  EXPECT_EQ(log.LogMessage(0), "Sturm sequence check failed due to multiplier growth");
  EXPECT_EQ(log.Status(), 1);
}

TEST(SkylineReduce, OtherOptionsSkipTheDivision) {
  CSkyLine m = MakeSkyline(2, {{1, 1, 2}, {1, 2, 6}, {2, 2, 5}});
  std::vector<int> zeroDofs;
  EXPECT_TRUE(m.Reduce(7, zeroDofs));
  EXPECT_EQ(ValuesOf(m), (std::vector<double>{2, 5, 6}));
  EXPECT_EQ(m.GetPhase(), PhaseReduced);
}

TEST(SkylineReduce, MatrixThatWasNeverIndexedFailsWithTheMessage) {
  CReport log;
  CSkyLine m;
  m.SetLog(&log);
  m.SetNumDof(3);
  std::vector<int> zeroDofs;
  EXPECT_FALSE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(log.LogMessage(0), "Error is matrix reduction");
  m.SetColHeight(2, 5);  // above row 1
  m.CreateIndex();
  EXPECT_FALSE(m.Reduce(0, zeroDofs));
  EXPECT_EQ(log.NumLog(), 2);
}

TEST(SkylineReduce, BackSubstitutionRefusesWhatItWouldOverrun) {
  CSkyLine m = MakeSkyline(3, {{1, 1, 1}, {2, 2, 1}, {3, 3, 1}});
  CVector tooShort(2, 1.0), longer(5, 2.0);
  CMatrix<0> block(2, 4, 1.0);
  EXPECT_THROW(m.BackSubs(tooShort), CMatrixError);
  EXPECT_THROW(m.BackSubs(block), CMatrixError);
  m.BackSubs(longer);
  EXPECT_EQ(longer.GetAt(5), 2.0);
  m.Clear();
  EXPECT_THROW(m.BackSubs(longer), CMatrixError);
}

TEST(SkylineReduce, PowersOfTwoChangeNoBitOfTheSolution) {
  const int n = 300;
  const std::vector<int> height = ts::RandomProfile(n, 120, 21);
  const std::vector<Term> terms = ts::FillProfile(height, 22);
  const std::vector<double> b = ts::RandomVector(n, 23);
  std::vector<std::vector<double>> solutions;
  for (double scale : {1.0, 0x1p-90, 0x1p+100, 0x1p+3}) {
    CSkyLine m = MakeSkyline(height, terms);
    m.Scale(scale);
    CVector x(n);
    for (int i = 0; i < n; ++i) x.ElementAtIndex(i) = b[i] * scale;
    std::vector<int> zeroDofs;
    ASSERT_TRUE(m.Reduce(0, zeroDofs));
    m.BackSubs(x);
    solutions.emplace_back(x.Array(), x.Array() + n);
    EXPECT_TRUE(SameBits(solutions.front(), solutions.back())) << scale;
  }
}
