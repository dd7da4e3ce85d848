#include <atomic>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <Eigen/Core>

#include "math/blas.h"
#include "math/lapack.h"
#include "math/parallel.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
namespace math = Vessa::Matrix::math;

MatrixXd randomBlock(int rows, int columns, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  return MatrixXd::NullaryExpr(rows, columns, [&]() { return value(engine); });
}

MatrixXd randomSymmetric(int n, unsigned seed) {
  const MatrixXd R = randomBlock(n, n, seed);
  return R + R.transpose();
}

MatrixXd randomPositive(int n, unsigned seed) {
  const MatrixXd R = randomBlock(n, n, seed);
  return R * R.transpose() + MatrixXd::Identity(n, n);
}

/// NaN above the diagonal: routines that promise to read the lower triangle must not see it.
MatrixXd lowerOnly(MatrixXd A) {
  A.triangularView<Eigen::StrictlyUpper>().setConstant(std::numeric_limits<double>::quiet_NaN());
  return A;
}

TEST(Dgemm, AllTransposesMatchTheFormula) {
  const MatrixXd A = randomBlock(5, 3, 1), B = randomBlock(3, 4, 2), C = randomBlock(5, 4, 3);
  const MatrixXd At = A.transpose(), Bt = B.transpose(), expected = 2.0 * A * B - 0.5 * C;

  for (bool transA : {false, true}) {
    for (bool transB : {false, true}) {
      MatrixXd result = C;
      math::dgemm(transA ? math::Transpose::Yes : math::Transpose::No,
                  transB ? math::Transpose::Yes : math::Transpose::No, 5, 4, 3, 2.0,
                  transA ? At.data() : A.data(), transA ? 3 : 5, transB ? Bt.data() : B.data(),
                  transB ? 4 : 3, -0.5, result.data(), 5);
      EXPECT_LT((result - expected).cwiseAbs().maxCoeff(), 1e-14);
    }
  }
}

TEST(DgemmtLower, MatchesTheLowerTriangleOfTheProduct) {
  for (int n : {1, 3, 31, 32, 33, 70}) {
    const MatrixXd X = randomBlock(90, n, n), S = randomSymmetric(90, 5), Y = S * X;
    MatrixXd C = MatrixXd::Constant(n, n, std::numeric_limits<double>::quiet_NaN());

    math::dgemmtLower(n, 90, 1.0, X.data(), 90, Y.data(), 90, 0.0, C.data(), n);

    const MatrixXd difference = (C - X.transpose() * Y).triangularView<Eigen::Lower>();
    EXPECT_LT(difference.cwiseAbs().maxCoeff(), 1e-11) << "n = " << n;
  }
}

TEST(DtrsmRightUpper, SolvesAndDoesNotReadBelowTheDiagonal) {
  MatrixXd U = randomBlock(6, 6, 1) + 4.0 * MatrixXd::Identity(6, 6);
  U.triangularView<Eigen::StrictlyLower>().setZero();
  const MatrixXd X = randomBlock(9, 6, 2);
  MatrixXd B = X * U;
  U.triangularView<Eigen::StrictlyLower>().setConstant(std::numeric_limits<double>::quiet_NaN());

  math::dtrsmRightUpper(9, 6, U.data(), 6, B.data(), 9);

  EXPECT_LT((B - X).cwiseAbs().maxCoeff(), 1e-12);
}

TEST(SymmetricEigen, DsyevdAndDsyevrGiveThePairsOfTheLowerTriangle) {
  const int n = 20;
  const MatrixXd A = randomSymmetric(n, 3);
  MatrixXd V = lowerOnly(A), work = lowerOnly(A), Z(n, n);
  VectorXd w(n), wr(n);
  int found = 0;

  EXPECT_EQ(math::dsyevd(n, V.data(), n, w.data()), 0);
  EXPECT_EQ(math::dsyevr(n, work.data(), n, 2.2e-16, found, wr.data(), Z.data(), n), 0);

  EXPECT_EQ(found, n);
  EXPECT_LT((A * V - V * w.asDiagonal()).norm(), 1e-12 * A.norm());
  EXPECT_LT((A * Z - Z * wr.asDiagonal()).norm(), 1e-12 * A.norm());
  EXPECT_LT((w - wr).norm(), 1e-12 * A.norm());
}

TEST(GeneralisedEigen, DsygvAndDsygvdGiveBOrthonormalPairs) {
  const int n = 15;
  const MatrixXd A = randomSymmetric(n, 3), B = randomPositive(n, 4);
  for (auto solve : {math::dsygv, math::dsygvd}) {
    MatrixXd V = lowerOnly(A), factor = lowerOnly(B);
    VectorXd w(n);

    EXPECT_EQ(solve(n, V.data(), n, factor.data(), n, w.data()), 0);

    EXPECT_LT((A * V - B * V * w.asDiagonal()).norm(), 1e-11 * A.norm());
    EXPECT_LT((V.transpose() * B * V - MatrixXd::Identity(n, n)).norm(), 1e-11);
  }
}

TEST(GeneralisedEigen, IndefiniteBReportsItsMinor) {
  MatrixXd A = MatrixXd::Identity(3, 3), B = Eigen::Vector3d(1, -1, 1).asDiagonal();
  VectorXd w(3);

  EXPECT_EQ(math::dsygv(3, A.data(), 3, B.data(), 3, w.data()), 3 + 2);
}

TEST(Dpstrf, FactorsAndStopsAtTheRank) {
  const MatrixXd R = randomBlock(3, 6, 5);
  const MatrixXd S = R.transpose() * R;  // rank 3 of 6
  MatrixXd F = S;
  std::vector<int> pivots(6);
  int rank = -1;

  const int info = math::dpstrfUpper(6, F.data(), 6, pivots.data(), rank, 1e-12);

  EXPECT_EQ(info, 1);
  ASSERT_EQ(rank, 3);
  const MatrixXd U = F.topRows(3).triangularView<Eigen::Upper>();
  MatrixXd permuted(6, 6);
  for (int i = 0; i < 6; ++i)
    for (int j = 0; j < 6; ++j) permuted(i, j) = S(pivots[i] - 1, pivots[j] - 1);
  EXPECT_LT((U.transpose() * U - permuted).norm(), 1e-12);
}

TEST(Dpstrf, NanLeavesTheIdentityAsPivots) {
  MatrixXd S = MatrixXd::Constant(4, 4, std::numeric_limits<double>::quiet_NaN());
  std::vector<int> pivots(4, 77);
  int rank = -1;

  const int info = math::dpstrfUpper(4, S.data(), 4, pivots.data(), rank, 1e-12);

  EXPECT_NE(info, 0);
  EXPECT_EQ(pivots, (std::vector<int>{1, 2, 3, 4}));
}

TEST(Qr, GivesAnOrthonormalBasisOfTheColumns) {
  const MatrixXd A = randomBlock(30, 7, 1);
  MatrixXd Q = A;
  VectorXd tau(7);

  EXPECT_EQ(math::dgeqrf(30, 7, Q.data(), 30, tau.data()), 0);
  EXPECT_EQ(math::dorgqr(30, 7, 7, Q.data(), 30, tau.data()), 0);

  EXPECT_LT((Q.transpose() * Q - MatrixXd::Identity(7, 7)).norm(), 1e-13);
  EXPECT_LT((Q * (Q.transpose() * A) - A).norm(), 1e-13 * A.norm());
}

TEST(InvokeBoth, RunsBothShortAndLong) {
  for (std::size_t doubles : {std::size_t(0), 2 * math::kParallelPays}) {
    std::atomic<int> sum{0};

    math::invokeBoth(
        doubles, [&] { sum += 1; }, [&] { sum += 2; });

    EXPECT_EQ(sum, 3);
  }
}

TEST(InvokeBoth, PassesAnExceptionOn) {
  for (std::size_t doubles : {std::size_t(0), 2 * math::kParallelPays}) {
    EXPECT_THROW(math::invokeBoth(
                     doubles, [] {}, [] { throw std::runtime_error("second"); }),
                 std::runtime_error);
  }
}

}  // namespace
