#include "containers/CDiag.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using Vessa::Matrix::CDiag;
using Vessa::Matrix::CVector;

namespace {

CDiag DiagOf(std::initializer_list<double> values) {
  CDiag d(static_cast<int>(values.size()));
  int i = 1;
  for (double v : values) d.SetAt(i, i, v), ++i;
  return d;
}

void ExpectEntries(const CDiag& d, std::initializer_list<double> values) {
  ASSERT_EQ(d.NumDof(), static_cast<int>(values.size()));
  int i = 1;
  for (double v : values) {
    EXPECT_EQ(d.GetAt(i, i), v) << "entry " << i;
    ++i;
  }
}

CVector Ones(int n) {
  return CVector(n, 1.0);
}

}  // namespace

TEST(CDiag, ConstructorsFillZeroOrTheValue) {
  EXPECT_EQ(CDiag().NumDof(), 0);
  ExpectEntries(CDiag(3), {0, 0, 0});
  ExpectEntries(CDiag(2, 1.5), {1.5, 1.5});
}

TEST(CDiag, CopiesAreDeep) {
  CDiag a = DiagOf({1, 2});
  CDiag b(a), c;
  c = a;

  a.SetAll(9);

  ExpectEntries(b, {1, 2});
  ExpectEntries(c, {1, 2});
}

TEST(CDiag, ColumnIsIgnoredOnWritingButNotOnReading) {
  CDiag d = DiagOf({1, 2, 3});

  d.SetAt(2, 3, 5.0);
  d.ElementAt(3, 1) = 7.0;

  EXPECT_EQ(d.GetAt(2, 3), 0.0);
  ExpectEntries(d, {1, 5, 7});
}

TEST(CDiag, SetNumDofKeepsEqualSizeAndZeroesAnyOther) {
  CDiag d = DiagOf({1, 2, 3});

  d.SetNumDof(3);
  ExpectEntries(d, {1, 2, 3});

  d.SetNumDof(2);
  ExpectEntries(d, {0, 0});
}

TEST(CDiag, ScalarProductIsANewDiagonal) {
  const CDiag d = DiagOf({1, 2});

  ExpectEntries(d * 2.0, {2, 4});
  ExpectEntries(d, {1, 2});
}

TEST(CDiag, VectorProductTakesTheDiagonalsSize) {
  const CDiag d = DiagOf({1, 2, 3});
  CVector x(3), y(7, 9.0);
  for (int i = 1; i <= 3; ++i) x[i] = i;

  const CVector product = d * x;
  d.Multiply(x, y);

  for (const CVector* v : {&product, static_cast<const CVector*>(&y)}) {
    ASSERT_EQ(v->Size(), 3);
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(v->GetAt(i), 1.0 * i * i);
  }
}

TEST(CDiag, VectorProductMayOverwriteItsOperand) {
  const CDiag d = DiagOf({1, 2});
  CVector equal(2, 3.0), longer(4, 3.0);

  d.Multiply(equal, equal);
  d.Multiply(longer, longer);

  for (const CVector* v : {&equal, &longer}) {
    ASSERT_EQ(v->Size(), 2);
    EXPECT_EQ(v->GetAt(1), 3);
    EXPECT_EQ(v->GetAt(2), 6);
  }
}

TEST(CDiag, GeneralisedMassIsSummedInIndexOrder) {
  CVector phi(2);
  phi[1] = 2, phi[2] = 3;

  EXPECT_EQ(DiagOf({10, 100}).PhiT_M_Phi(phi), 940);
  EXPECT_EQ(CDiag().PhiT_M_Phi(phi), 0);
  // 1e16 + 1 loses the 1; any other order of the sum would keep it.
  EXPECT_EQ(DiagOf({1e16, 1, -1e16}).PhiT_M_Phi(Ones(3)), 0.0);
  EXPECT_EQ(DiagOf({1e16, -1e16, 1}).PhiT_M_Phi(Ones(3)), 1.0);
}

TEST(CDiagInversion, InPlaceLeavesEverythingWhenAnEntryIsZero) {
  CDiag d = DiagOf({2, 0, 4});

  EXPECT_FALSE(d.Invert());

  ExpectEntries(d, {2, 0, 4});
}

TEST(CDiagInversion, IntoAnotherStopsAtTheZero) {
  CDiag out;

  EXPECT_FALSE(DiagOf({2, 0, 4}).Inverse(out));

  ExpectEntries(out, {0.5, 0, 0});
}

TEST(CDiagInversion, IntoAnotherOfEqualSizeKeepsItsOldTail) {
  CDiag out = DiagOf({7, 8, 9});

  EXPECT_FALSE(DiagOf({2, 0, 4}).Inverse(out));

  ExpectEntries(out, {0.5, 8, 9});
}

TEST(CDiagInversion, ByValueIsEmptyWhenAnEntryIsZero) {
  EXPECT_EQ(DiagOf({2, 0, 4}).Inverse().NumDof(), 0);
}

TEST(CDiagInversion, AllThreeInvertANonzeroDiagonal) {
  CDiag d = DiagOf({2, 4}), out;

  EXPECT_TRUE(d.Inverse(out));
  ExpectEntries(out, {0.5, 0.25});
  ExpectEntries(d.Inverse(), {0.5, 0.25});
  EXPECT_TRUE(d.Invert());
  ExpectEntries(d, {0.5, 0.25});
}

TEST(CDiagInversion, IntoItselfWorks) {
  CDiag d = DiagOf({2, 4});

  EXPECT_TRUE(d.Inverse(d));

  ExpectEntries(d, {0.5, 0.25});
}

TEST(CDiagInversion, NaNIsNotZeroButNegativeZeroIs) {
  CDiag nan(1, std::numeric_limits<double>::quiet_NaN()), negative(1, -0.0);

  EXPECT_TRUE(nan.Invert());
  EXPECT_TRUE(std::isnan(nan.GetAt(1, 1)));
  EXPECT_FALSE(negative.Invert());
}
