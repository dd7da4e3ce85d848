#include <limits>
#include <random>

#include <gtest/gtest.h>
#include <Eigen/Core>

#include "math/blas.h"
#include "math/tall_products.h"
#include "math/threads.h"

namespace {

using Eigen::MatrixXd;
namespace math = Vessa::Matrix::math;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

MatrixXd randomBlock(int rows, int columns, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  return MatrixXd::NullaryExpr(rows, columns, [&]() { return value(engine); });
}

/// Sums of n products of numbers up to 1 differ by rounding only.
double roundingOf(int n) {
  return 4.0 * (n + 1) * 2.3e-16;
}

TEST(TallReference, MatchesNumbersByHand) {
  MatrixXd X(2, 2), H = MatrixXd::Constant(2, 2, 9.0), R(2, 2);
  X << 1, 2, 3, 4;

  math::tallGramReference(2, 2, X.data(), 2, X.data(), 2, H.data(), 2);
  math::tallProductReference(2, 2, 2, X.data(), 2, X.data(), 2, R.data(), 2);

  EXPECT_EQ(H, (MatrixXd(2, 2) << 10, 9, 14, 20).finished());
  EXPECT_EQ(R, (MatrixXd(2, 2) << 7, 10, 15, 22).finished());
}

/// Row counts around the vectors, the tiles and the pieces.
class TallProducts : public ::testing::TestWithParam<int> {};

TEST_P(TallProducts, GramMatchesTheReference) {
  const int n = GetParam();
  for (int k : {1, 2, 3, 4, 5, 7, 8, 11, 20}) {
    const MatrixXd X = randomBlock(n + 3, k, 1), T = X * randomBlock(k, k, 2);
    MatrixXd expected = MatrixXd::Constant(k + 1, k, kNan);
    math::tallGramReference(n, k, X.data(), n + 3, T.data(), n + 3, expected.data(), k + 1);

    for (const math::SimdLevel level : {math::SimdLevel::Baseline, math::simdLevel()}) {
      MatrixXd H = MatrixXd::Constant(k + 1, k, kNan);
      math::tallGram(level, n, k, X.data(), n + 3, T.data(), n + 3, H.data(), k + 1);

      for (int j = 0; j < k; ++j) {
        for (int i = 0; i <= k; ++i) {
          if (i < j || i == k)
            EXPECT_TRUE(std::isnan(H(i, j))) << "outside the lower triangle";
          else
            EXPECT_NEAR(H(i, j), expected(i, j), k * roundingOf(n)) << n << " rows, " << k << " columns";
        }
      }
    }
  }
}

TEST_P(TallProducts, ProductMatchesTheReference) {
  const int n = GetParam();
  for (int k : {1, 2, 5, 8, 20}) {
    for (int m : {1, 2, 3, 4, 5, 8, 9, 13, 20}) {
      const MatrixXd X = randomBlock(n + 3, k, 1), Q = randomBlock(k + 2, m, 2);
      MatrixXd expected = MatrixXd::Constant(n + 1, m, 7.0);
      math::tallProductReference(n, k, m, X.data(), n + 3, Q.data(), k + 2, expected.data(), n + 1);

      for (const math::SimdLevel level : {math::SimdLevel::Baseline, math::simdLevel()}) {
        MatrixXd R = MatrixXd::Constant(n + 1, m, 7.0);
        math::tallProduct(level, n, k, m, X.data(), n + 3, Q.data(), k + 2, R.data(), n + 1);

        EXPECT_LE((R - expected).cwiseAbs().maxCoeff(), roundingOf(k)) << n << ", " << k << ", " << m;
        EXPECT_TRUE((R.row(n).array() == 7.0).all()) << "the row below is not written";
      }
    }
  }
}

TEST_P(TallProducts, DivisionUndoesTheProduct) {
  const int n = GetParam();
  MatrixXd U = randomBlock(6, 6, 1) + 4.0 * MatrixXd::Identity(6, 6);
  U.triangularView<Eigen::StrictlyLower>().setZero();
  const MatrixXd X = randomBlock(n, 6, 2);
  MatrixXd Y = X * U;
  U.triangularView<Eigen::StrictlyLower>().setConstant(kNan);

  math::tallDivide(n, 6, U.data(), 6, Y.data(), n);

  EXPECT_LT((Y - X).cwiseAbs().maxCoeff(), 1e-12);
}

INSTANTIATE_TEST_SUITE_P(AroundTheBlockings, TallProducts,
                         ::testing::Values(1, 2, 7, 8, 9, 23, 24, 25, 47, 1023, 1024, 1025, 4095, 4096, 4097,
                                           12289));

TEST(TallProducts, DoNotDependOnTheNumberOfThreads) {
  const int n = 60000, k = 20;
  const MatrixXd X = randomBlock(n, k, 1), Q = randomBlock(k, k, 2);
  MatrixXd H[2], R[2];

  for (int t : {0, 1}) {
    const math::LocalThreads threads(t == 0 ? 1 : 3);
    H[t] = MatrixXd::Zero(k, k);
    R[t].resize(n, k);
    math::tallGram(n, k, X.data(), n, X.data(), n, H[t].data(), k);
    math::tallProduct(n, k, k, X.data(), n, Q.data(), k, R[t].data(), n);
  }

  EXPECT_EQ(H[0], H[1]);
  EXPECT_EQ(R[0], R[1]);
}

TEST(TallProducts, NoRowsGiveZeroAndNoColumnsNothing) {
  MatrixXd H = MatrixXd::Constant(2, 2, 5.0);
  const double none = 0.0;

  math::tallGram(0, 2, &none, 1, &none, 1, H.data(), 2);
  math::tallGram(5, 0, &none, 5, &none, 5, nullptr, 1);
  math::tallProduct(0, 2, 2, &none, 1, H.data(), 2, nullptr, 1);
  math::tallProduct(5, 2, 0, &none, 5, H.data(), 2, nullptr, 5);

  EXPECT_EQ(H, (MatrixXd(2, 2) << 0, 5, 0, 0).finished());
}

TEST(TallProducts, NanStaysInItsColumn) {
  MatrixXd X = randomBlock(100, 6, 1), H = MatrixXd::Zero(6, 6);
  X(40, 2) = kNan;

  math::tallGram(100, 6, X.data(), 100, X.data(), 100, H.data(), 6);

  for (int j = 0; j < 6; ++j)
    for (int i = j; i < 6; ++i) EXPECT_EQ(std::isnan(H(i, j)), i == 2 || j == 2);
}

}  // namespace
