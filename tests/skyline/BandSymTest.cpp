#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <type_traits>
#include <vector>

#include "skyline/CBandSym.h"
#include "support/RandomMatrix.h"

using Vessa::Matrix::CBandSym;
using Vessa::Matrix::CVector;

namespace {

CBandSym RandomBand(int n, int band, unsigned seed) {
  test_support::RandomNumbers random(seed);
  CBandSym a(n, band);
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= std::min(n, i + band - 1); ++j) a.SetAt(i, j, random.Signed());
  return a;
}

// The matrix as every element that GetAt shows.
std::vector<double> Full(const CBandSym& a) {
  std::vector<double> full;
  for (int i = 1; i <= a.NumRows(); ++i)
    for (int j = 1; j <= a.NumRows(); ++j) full.push_back(a.GetAt(i, j));
  return full;
}

}  // namespace

TEST(CBandSym, DefaultIsEmpty) {
  const CBandSym a;

  EXPECT_EQ(a.NumRows(), 0);
  EXPECT_EQ(a.NumBand(), 0);
  EXPECT_EQ((a * CVector()).Size(), 0);
  EXPECT_TRUE(std::has_virtual_destructor<CBandSym>::value);
}

TEST(CBandSym, ConstructorsFillZeroOrTheValue) {
  const CBandSym zeros(3, 2), filled(3, 2, 1.5);

  EXPECT_EQ(zeros.GetAt(1, 2), 0.0);
  EXPECT_EQ(filled.GetAt(1, 2), 1.5);
  EXPECT_EQ(filled.NumRows(), 3);
  EXPECT_EQ(filled.NumBand(), 2);
  EXPECT_THROW(CBandSym(-1, 2), std::length_error);
}

TEST(CBandSym, TermsLieRowByRowFromTheDiagonal) {
  CBandSym a(4, 3);

  a.SetAt(2, 2, 22);
  a.SetAt(2, 4, 24);
  a.ElementAt(3, 4) = 34;

  EXPECT_EQ(&a.ElementAt(2, 2) - &a.ElementAt(1, 1), 3);
  EXPECT_EQ(&a.ElementAt(2, 4) - &a.ElementAt(1, 1), 5);
  EXPECT_EQ(a.ElementAt(2, 4), 24);
}

TEST(CBandSym, ReadsSymmetricallyUpToTheEdgeOfTheBand) {
  CBandSym a(5, 3);
  a.SetAt(1, 3, 13);

  EXPECT_EQ(a.GetAt(1, 3), 13);
  EXPECT_EQ(a.GetAt(3, 1), 13);
  EXPECT_EQ(a.GetAt(1, 4), 0.0);
  EXPECT_EQ(a.GetAt(4, 1), 0.0);
}

TEST(CBandSym, SetSizeOfTheSameProductKeepsTheValuesAndAddressesThemAnew) {
  CBandSym a(6, 2);
  for (int k = 0; k < 12; ++k) (&a.ElementAt(1, 1))[k] = k;

  EXPECT_TRUE(a.SetSize(4, 3));

  EXPECT_EQ(a.NumRows(), 4);
  EXPECT_EQ(a.NumBand(), 3);
  EXPECT_EQ(a.GetAt(2, 2), 3);
  EXPECT_EQ(a.GetAt(2, 4), 5);
}

TEST(CBandSym, SetSizeOfAnotherProductZeroes) {
  CBandSym a(6, 2, 7.0);

  EXPECT_TRUE(a.SetSize(5, 2));
  EXPECT_EQ(a.GetAt(5, 5), 0.0);
  EXPECT_TRUE(a.SetSize(0, 3));
  EXPECT_EQ(a.NumBand(), 3);
}

TEST(CBandSym, SetSizeRefusesNegativeSizesEvenOfAPositiveProduct) {
  CBandSym a(3, 2, 7.0);

  EXPECT_FALSE(a.SetSize(-3, 2));
  EXPECT_FALSE(a.SetSize(-3, -2));

  EXPECT_EQ(a.NumRows(), 3);
  EXPECT_EQ(a.GetAt(3, 3), 7.0);
}

TEST(CBandSym, SetAllReachesTheSlotsBeyondTheLastColumnButProductsDoNot) {
  CBandSym a(3, 3);
  a.SetAll(2.0);

  EXPECT_EQ(a.ElementAt(3, 5), 2.0);
  const CVector y = a * CVector(3, 1.0);
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(y[i], 6.0);
}

TEST(CBandSym, CopiesAreDeep) {
  CBandSym a = RandomBand(5, 2, 1);
  const std::vector<double> before = Full(a);
  const CBandSym b(a), t = a.Transpose();
  CBandSym c, d;
  c = a;
  d.Copy(a);

  a.SetAll(0.0);

  for (const CBandSym& m : {b, c, d, t}) EXPECT_EQ(Full(m), before);
}

TEST(CBandSym, SumsTakeTheWiderBand) {
  const CBandSym narrow = RandomBand(6, 2, 1), wide = RandomBand(6, 4, 2);
  for (const auto& [a, b] : {std::pair{narrow, wide}, {wide, narrow}, {wide, wide}}) {
    const CBandSym sum = a + b, difference = a - b;

    EXPECT_EQ(sum.NumBand(), 4);
    EXPECT_EQ(difference.NumBand(), 4);
    for (int i = 1; i <= 6; ++i)
      for (int j = 1; j <= 6; ++j) {
        EXPECT_EQ(sum.GetAt(i, j), a.GetAt(i, j) + b.GetAt(i, j));
        EXPECT_EQ(difference.GetAt(i, j), a.GetAt(i, j) - b.GetAt(i, j));
      }
  }
}

TEST(CBandSym, AddingInPlaceWidensOnlyForAWiderMatrix) {
  const CBandSym narrow = RandomBand(6, 2, 1), wide = RandomBand(6, 4, 2);
  CBandSym a(narrow), b(wide), c(narrow), d(wide);

  a += wide;
  b += narrow;
  c -= wide;
  d -= narrow;

  EXPECT_EQ(a.NumBand(), 4);
  EXPECT_EQ(b.NumBand(), 4);
  EXPECT_EQ(Full(a), Full(narrow + wide));
  EXPECT_EQ(Full(b), Full(wide + narrow));
  EXPECT_EQ(Full(c), Full(narrow - wide));
  EXPECT_EQ(Full(d), Full(wide - narrow));
  a += a;
  EXPECT_EQ(Full(a), Full((narrow + wide) * 2.0));
}

TEST(CBandSym, ProductOfTridiagonalsDropsTheOuterDiagonal) {
  const int n = 6;
  const CBandSym a = RandomBand(n, 2, 3), b = RandomBand(n, 2, 4);

  const CBandSym c = a * b;

  EXPECT_EQ(c.NumBand(), 2);
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= std::min(n, i + 1); ++j) {
      double exact = 0.0;
      for (int k = 1; k <= n; ++k) exact += a.GetAt(i, k) * b.GetAt(k, j);
      EXPECT_NEAR(c.GetAt(i, j), exact, 1e-15);
    }
  EXPECT_EQ(c.GetAt(1, 3), 0.0);
}

TEST(CBandSym, ProductRunsOverTheStatedIndicesOnly) {
  for (int bandA : {1, 2, 3, 5})
    for (int bandB : {1, 2, 3, 5}) {
      const int n = 12, band = std::min(bandA, bandB);
      const CBandSym a = RandomBand(n, bandA, 5), b = RandomBand(n, bandB, 6);

      const CBandSym c = a * b;
      CBandSym inPlace(a);
      inPlace *= b;

      ASSERT_EQ(c.NumBand(), band);
      EXPECT_EQ(Full(inPlace), Full(c));
      for (int i = 1; i <= n; ++i)
        for (int j = i; j <= std::min(n, i + band - 1); ++j) {
          double sum = 0.0;
          for (int k = std::max(1, i - band); k <= std::min(n, i + band); ++k)
            sum += a.GetAt(i, k) * b.GetAt(k, j);
          EXPECT_EQ(c.GetAt(i, j), sum) << bandA << " " << bandB << " (" << i << "," << j << ")";
        }
    }
}

TEST(CBandSym, ProductOfThreeAndFiveTermBandsDropsWhatTheStatedIndicesLeaveOut) {
  // c(1,3) of the true product holds a(1,5)·b(5,3), but the index stops at 1 + 3.
  CBandSym wide(6, 5), narrow(6, 3);
  wide.SetAt(1, 5, 1.0);
  narrow.SetAt(3, 5, 1.0);

  EXPECT_EQ((wide * narrow).GetAt(1, 3), 0.0);
}

TEST(CBandSym, ScalarProductsReachEveryStoredValue) {
  CBandSym a(3, 2, 1.5);

  const CBandSym b = a * 2.0;
  a *= 4.0;

  EXPECT_EQ(b.GetAt(1, 2), 3.0);
  EXPECT_EQ(a.ElementAt(3, 4), 6.0);
}

TEST(CBandSym, VectorProductAgreesWithTheFullMatrix) {
  for (int n = 1; n <= 20; ++n)
    for (int band : {0, 1, 2, 5, n, n + 4}) {
      const CBandSym a = RandomBand(n, band, 10 * n + band);
      const std::vector<double> x = test_support::RandomVector(n, n);
      CVector v(n), y(3, 9.0);
      for (int i = 1; i <= n; ++i) v[i] = x[i - 1];

      const CVector product = a * v;
      a.Multiply(v, y);
      a.Multiply(v, v);

      for (int i = 1; i <= n; ++i) {
        long double exact = 0.0L;
        for (int j = 1; j <= n && band > 0; ++j) exact += static_cast<long double>(a.GetAt(i, j)) * x[j - 1];
        EXPECT_NEAR(product[i], static_cast<double>(exact), 1e-14 * n) << n << " " << band;
        EXPECT_EQ(y[i], product[i]);
        EXPECT_EQ(v[i], product[i]);
      }
    }
}

#ifdef NDEBUG
TEST(CBandSym, UnequalRowCountsTouchOnlyWhatBothHave) {
  const CBandSym small = RandomBand(3, 2, 1), large = RandomBand(7, 2, 2);

  const CBandSym sum = small + large, other = large + small;

  EXPECT_EQ(sum.NumRows(), 3);
  EXPECT_EQ(other.NumRows(), 7);
  EXPECT_EQ(sum.GetAt(3, 3), small.GetAt(3, 3) + large.GetAt(3, 3));
  EXPECT_EQ(other.GetAt(7, 7), large.GetAt(7, 7));
  EXPECT_EQ((large * small).NumRows(), 7);
  EXPECT_EQ((small * large).NumRows(), 3);
}
#endif
