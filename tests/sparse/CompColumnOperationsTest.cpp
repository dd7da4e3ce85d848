#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "containers/CReport.h"
#include "sparse/CCompColumn.h"

using namespace Vessa::Matrix;

namespace {

/// 3×3: terms (1,1)=4 (2,2)=9 (3,3)=16 (1,2)=−2 (2,3)=1, both triangles; `full` also stores (1,3) as zero.
CCompColumn Sample(bool full = false) {
  CMatInt pattern;
  pattern.SetSize(3);
  for (int j = 1; j <= 3; ++j) {
    for (int i = 1; i <= 3; ++i) {
      if (full || std::abs(i - j) <= 1) pattern.SetVal(i, j);
    }
  }
  CCompColumn m;
  EXPECT_TRUE(m.Set(pattern));
  const double diagonal[] = {4, 9, 16}, beside[] = {-2, 1};
  for (int j = 1; j <= 3; ++j) {
    m.SetAt(j, j, diagonal[j - 1]);
    if (j == 3) continue;
    m.SetAt(j, j + 1, beside[j - 1]);
    m.SetAt(j + 1, j, beside[j - 1]);
  }
  return m;
}

CVector Vector(double a, double b, double c) {
  CVector v(3);
  v[1] = a;
  v[2] = b;
  v[3] = c;
  return v;
}

void ExpectVector(const CVector& v, double a, double b, double c) {
  ASSERT_EQ(v.Size(), 3);
  EXPECT_DOUBLE_EQ(v[1], a);
  EXPECT_DOUBLE_EQ(v[2], b);
  EXPECT_DOUBLE_EQ(v[3], c);
}

}  // namespace

TEST(CompColumnOperations, TermsOutsideThePatternAreIgnored) {
  CCompColumn m = Sample();
  m.SetAt(1, 3, 7.0);
  m.AddAt(3, 1, 7.0);
  m.AddAt(0, 1, 7.0);
  m.AddAt(1, 4, 7.0);

  EXPECT_EQ(m.NumTerm(), 7);
  EXPECT_EQ(m.GetAt(1, 3), 0.0);
  EXPECT_FALSE(m.Exist(1, 3));
  EXPECT_FALSE(m.Exist(0, 1));
  EXPECT_TRUE(m.Exist(2, 3));
}

TEST(CompColumnOperations, PatternsWithBadRowsAreRefusedAndChangeNothing) {
  CReport log;
  CCompColumn m = Sample();
  m.SetLog(&log);
  CMatInt outside, unsorted;
  outside.SetSize(2);
  outside.SetVal(3, 1);
  unsorted.SetSize(2);
  unsorted.SetVal(2, 1);
  unsorted.SetVal(1, 1);

  EXPECT_FALSE(m.Set(outside));
  EXPECT_FALSE(m.Set(unsorted));

  EXPECT_EQ(log.NumLog(), 2);
  EXPECT_EQ(log.Status(), 2);
  EXPECT_EQ(m.NumTerm(), 7);
}

TEST(CompColumnOperations, ProductsUseBothTrianglesBeforeAndAfterReduction) {
  CCompColumn m = Sample();
  CMatrix<0> block(3, 2);
  for (int i = 1; i <= 3; ++i) {
    block.SetAt(i, 1, i);
    block.SetAt(i, 2, 1.0);
  }

  ExpectVector(m * Vector(1, 2, 3), 0, 19, 50);
  EXPECT_EQ(m.Reduce(true, 1e-40), 3);
  ExpectVector(m * Vector(1, 2, 3), 0, 19, 50);
  const CMatrix<0> product = m * block;
  EXPECT_DOUBLE_EQ(product.GetAt(2, 1), 19);
  EXPECT_DOUBLE_EQ(product.GetAt(3, 2), 17);
  EXPECT_EQ((m * CVector(2, 1.0)).Size(), 0);
}

TEST(CompColumnOperations, ColumnSrssTakesTheUpperTriangleWithTheDiagonal) {
  const CCompColumn m = Sample();

  EXPECT_DOUBLE_EQ(m.ColumnSRSS(1), 4.0);
  EXPECT_DOUBLE_EQ(m.ColumnSRSS(2), std::sqrt(85.0));
  EXPECT_DOUBLE_EQ(m.ColumnSRSS(3), std::sqrt(257.0));
}

TEST(CompColumnOperations, ShiftSubtractsAndInsertsWhatIsMissing) {
  CCompColumn m = Sample(), wide = Sample(true);
  wide.SetZero();
  wide.SetAt(1, 3, 5.0);
  wide.SetAt(3, 1, 5.0);
  wide.SetAt(2, 2, 1.0);

  m.Shift(wide, 2.0);

  EXPECT_EQ(m.NumTerm(), 9);
  EXPECT_DOUBLE_EQ(m.GetAt(1, 3), -10.0);
  EXPECT_DOUBLE_EQ(m.GetAt(2, 2), 7.0);
  EXPECT_DOUBLE_EQ(m.GetAt(1, 2), -2.0);
  EXPECT_EQ(m.Reduce(false, 0.0), 3);
  EXPECT_EQ(m.NumNegative(), 1);
}

TEST(CompColumnOperations, ShiftByAnotherSizeIsLoggedAndChangesNothing) {
  CReport log;
  CCompColumn m = Sample(), other;
  m.SetLog(&log);
  other.SetNumDof(2);

  m.Shift(other, 1.0);

  EXPECT_EQ(log.LogMessage(0), "Shift of a matrix of 3 dof by one of 2");
  EXPECT_DOUBLE_EQ(m.GetAt(1, 1), 4.0);
}

TEST(CompColumnOperations, ADiagonalIsAddedAlsoWhereNoneIsStored) {
  CDiag d(3);
  for (int i = 1; i <= 3; ++i) d.SetAt(i, i, i);
  CCompColumn m = Sample(), empty;
  empty.SetNumDof(3);

  m += d;
  empty += d;

  EXPECT_DOUBLE_EQ(m.GetAt(3, 3), 19.0);
  EXPECT_EQ(m.NumTerm(), 7);
  EXPECT_EQ(empty.NumTerm(), 3);
  EXPECT_DOUBLE_EQ(empty.GetAt(2, 2), 2.0);
}

TEST(CompColumnOperations, EveryChangeOfAValueDropsTheFactors) {
  const auto reduced = [] {
    CCompColumn m = Sample();
    EXPECT_EQ(m.Reduce(true, 1e-40), 3);
    return m;
  };
  const auto solves = [](CCompColumn& m) {
    CReport log;
    m.SetLog(&log);
    CVector x = Vector(1, 2, 3);
    m.BackSubs(x);
    m.SetLog(nullptr);
    if (log.Status() == 2) ExpectVector(x, 1, 2, 3);
    return log.Status() < 2;
  };
  CCompColumn a = reduced(), b = reduced(), c = reduced(), d = reduced(), e = reduced(), f = reduced();
  EXPECT_TRUE(solves(a));

  a.SetAt(1, 1, 5.0);
  b.AddAt(1, 1, 5.0);
  c.Scale(2.0);
  d.SetZero();
  e.Shift(Sample(), 0.5);
  f.SetNumDof(3);

  for (CCompColumn* m : {&a, &b, &c, &d, &e, &f}) EXPECT_FALSE(solves(*m));
  EXPECT_EQ(d.NumTerm(), 7);
  EXPECT_EQ(a.MaxMinRatio(), 1.0);
}

TEST(CompColumnOperations, CopiesShareTheFactorAndThenGoTheirOwnWay) {
  CCompColumn m = Sample();
  m.Reduce(true, 1e-40);
  CCompColumn copy(m), assigned;
  assigned = m;
  m.Scale(10.0);

  for (CCompColumn* other : {&copy, &assigned}) {
    CVector x = Sample() * Vector(1, 2, 3);
    other->BackSubs(x);
    ExpectVector(x, 1, 2, 3);
  }
  EXPECT_EQ(m.Reduce(true, 1e-40), 3);
}

TEST(CompColumnOperations, MaxMinRatioIsThatOfThePivots) {
  CCompColumn m = Sample();
  EXPECT_EQ(m.MaxMinRatio(), 1.0);

  m.Reduce(true, 1e-40);

  EXPECT_GT(m.MaxMinRatio(), 1.0);
  EXPECT_LT(m.MaxMinRatio(), 16.0 / 3.0 + 1e-12);
}
