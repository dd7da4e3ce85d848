#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <stdexcept>

#include "containers/types.h"
#include "si/Pencils.h"
#include "si/sep.h"
#include "support/CaptureStdout.h"
#include "support/DataFolder.h"

namespace {

using namespace pencils;
using Eigen::MatrixXd;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct Request {
  int nev = 4;
  int nsub = 0;
  int loc = si::EVAL_LOWEST;
  double tol = 1e-10;
  double shift = 0.0;
  int strategy = si::SHIFT_NONE;
  int maxIter = 500;
};

struct Result {
  si::Status status = si::STATUS_OK;
  int converged = 0, negative = 0;
  std::array<int, 3> ops{};
  std::vector<double> values, bad;
  MatrixXd vectors;
  std::string printed;
};

Result solve(const Sparse& A, Request request) {
  Result result;
  Sparse matrix = A;
  test_support::CaptureStdout capture;
  si::sep solver(matrix, request.nev, request.nsub, si::EVAL_LOCATION(request.loc), request.tol,
                 request.shift, si::ShiftStrat(request.strategy), request.maxIter);
  std::srand(1);
  result.status = solver.solve();
  result.converged = solver.get_numpairs_converged();
  result.ops = solver.opCount();
  result.negative = solver.negative_evals();
  solver.residuals(1e-6, result.bad);
  solver.get_eigenpairs(result.values, result.vectors);
  result.printed = capture.Stop();
  return result;
}

/// The wanted pairs of `A` at one end: true values, small residuals, orthonormal vectors, none missed.
void expectPairs(const Sparse& A, const Result& result, const std::vector<double>& expected, int nev,
                 double tolerance, double residual) {
  EXPECT_EQ(result.status, si::STATUS_OK);
  ASSERT_GE(result.converged, nev) << result.printed.substr(0, 3000);
  for (int i = 0; i < nev; ++i)
    EXPECT_NEAR(result.values[i], expected[i], tolerance * std::fabs(expected[i])) << "pair " << i;
  EXPECT_LT(worstBackwardError(A, identity(int(A.cols())), result.values, result.vectors, nev), residual);
  const MatrixXd X = result.vectors.leftCols(nev);
  EXPECT_LT((X.transpose() * X - MatrixXd::Identity(nev, nev)).norm(), 1e-12);
}

std::vector<double> highest(std::vector<double> ascending, int count) {
  std::reverse(ascending.begin(), ascending.end());
  ascending.resize(count);
  return ascending;
}

/// Wilkinson's W21+: diagonal 10, 9, …, 0, …, 10, ones beside it; the top pair agrees to 14 digits.
Sparse wilkinson() {
  Triplets terms;
  for (int i = 0; i < 21; ++i) {
    terms.emplace_back(i, i, std::abs(10 - i));
    if (i + 1 < 21) terms.emplace_back(i + 1, i, 1.0);
  }
  return lowerFrom(21, terms);
}

Sparse rosser() {
  const double full[8][8] = {
      {611, 196, -192, 407, -8, -52, -49, 29}, {196, 899, 113, -192, -71, -43, -8, -44},
      {-192, 113, 899, 196, 61, 49, 8, 52},    {407, -192, 196, 611, 8, 44, 59, -23},
      {-8, -71, 61, 8, 411, -599, 208, 208},   {-52, -43, 49, 44, -599, 411, 208, 208},
      {-49, -8, 8, 59, 208, 208, 99, -911},    {29, -44, 52, -23, 208, 208, -911, 99}};
  Triplets terms;
  for (int c = 0; c < 8; ++c)
    for (int r = c; r < 8; ++r) terms.emplace_back(r, c, full[r][c]);
  return lowerFrom(8, terms);
}

TEST(SepWilkinson, TopPairToThirteenDigits) {
  const double top[] = {10.746194182903322, 10.746194182903322};
  Request request;
  request.loc = si::EVAL_HIGHEST;
  request.nev = 2;
  request.nsub = 8;
  request.tol = 1e-13;
  request.shift = -2.0;  // the lowest eigenvalue is −1.125: the highest lie farthest from −2
  request.maxIter = 3000;

  const Result result = solve(wilkinson(), request);

  ASSERT_GE(result.converged, 2);
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(result.values[i], top[i], 1e-13 * top[i] * 10.0);
  EXPECT_LT(
      (result.vectors.leftCols(2).transpose() * result.vectors.leftCols(2) - MatrixXd::Identity(2, 2)).norm(),
      1e-13);
}

TEST(SepWilkinson, TopPairByInverseIterationFromAbove) {
  Request request;
  request.nev = 2;
  request.tol = 1e-12;
  request.shift = 11.0;

  const Result result = solve(wilkinson(), request);

  EXPECT_EQ(result.negative, 21);
  ASSERT_EQ(result.converged, 2);
  for (int i = 0; i < 2; ++i) EXPECT_NEAR(result.values[i], 10.746194182903322, 1e-12);
}

TEST(SepRosser, BothEnds) {
  // 10·√10405, 510 + 100·√26, 1000 twice, 510 − 100·√26, 0, 1020, −10·√10405
  const double a = 10.0 * std::sqrt(10405.0), b = 100.0 * std::sqrt(26.0);
  const std::vector<double> ascending{-a, 0.0, 510 - b, 1000, 1000, 510 + b, 1020, a};
  Request request;
  request.nev = 7;
  request.nsub = 8;
  request.tol = 1e-12;

  request.shift = -2000.0;
  const Result low = solve(rosser(), request);
  ASSERT_GE(low.converged, 7);
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(low.values[i], ascending[i], 1e-9);
  request.loc = si::EVAL_HIGHEST;
  const Result high = solve(rosser(), request);
  ASSERT_GE(high.converged, 7);
  for (int i = 0; i < 7; ++i) EXPECT_NEAR(high.values[i], ascending[7 - i], 1e-9);
}

struct Grid {
  int nx, ny, nz;
};

class SepLaplacian : public ::testing::TestWithParam<Grid> {};

TEST_P(SepLaplacian, LowestEnd) {
  const Grid g = GetParam();
  const Sparse A = laplacian(g.nx, g.ny, g.nz);
  const std::vector<double> expected = laplacianValues(g.nx, g.ny, g.nz);
  for (int strategy : {0, 1, 2}) {
    Request request;
    request.strategy = strategy;
    request.nev = 7;

    const Result result = solve(A, request);

    expectPairs(A, result, expected, 7, 1e-11, request.tol);
  }
  const double gap = expected[7] - expected[6];
  if (gap > 1e-9) {
    EXPECT_EQ(countBelow(A, identity(int(A.cols())), expected[6] + gap / 2), 7);
  }
}

TEST_P(SepLaplacian, HighestEnd) {
  const Grid g = GetParam();
  const Sparse A = laplacian(g.nx, g.ny, g.nz);
  Request request;
  request.loc = si::EVAL_HIGHEST;
  request.nev = 5;
  request.nsub = 24;
  request.maxIter = 3000;
  request.tol = 1e-8;

  const Result result = solve(A, request);

  expectPairs(A, result, highest(laplacianValues(g.nx, g.ny, g.nz), 5), 5, 1e-9, request.tol);
}

INSTANTIATE_TEST_SUITE_P(OneTwoThreeDimensions, SepLaplacian,
                         ::testing::Values(Grid{60, 1, 1}, Grid{12, 12, 1}, Grid{6, 6, 6}),
                         [](const auto& info) { return std::to_string(info.index + 1) + "D"; });

bool sameBits(const Sparse& a, const Sparse& b) {
  if (a.isCompressed() != b.isCompressed() || a.outerSize() != b.outerSize()) return false;
  for (int c = 0; c < a.outerSize(); ++c) {
    Sparse::InnerIterator x(a, c), y(b, c);
    for (; x && y; ++x, ++y)
      if (x.row() != y.row() || std::memcmp(&x.valueRef(), &y.valueRef(), sizeof(double)) != 0) return false;
    if (x || y) return false;
  }
  return true;
}

/// A = Laplacian without some diagonal entries, so that every shift inserts new ones.
Sparse withHoles() {
  Sparse A = laplacian(8, 8, 1);
  A.prune([](int r, int c, double) { return r != c || r % 5 != 0; });
  return A;
}

TEST(SepRestores, TheMatrixOnEveryWayOut) {
  for (int loc : {0, 1}) {
    for (int strategy : {0, 1, 2}) {
      for (double shift : {0.0, -0.3}) {
        for (int maxIter : {0, 3, 60}) {
          Sparse A = withHoles();
          const Sparse before = A;
          double sigma = shift;
          si::sep solver(A, 4, 8, si::EVAL_LOCATION(loc), 1e-9, sigma, si::ShiftStrat(strategy), maxIter);
          test_support::CaptureStdout quiet;

          solver.solve();

          EXPECT_TRUE(sameBits(A, before)) << loc << strategy << shift << maxIter;
        }
      }
    }
  }
}

TEST(SepRestores, AnUncompressedMatrixWithItsRoom) {
  Sparse A = withHoles();
  A.reserve(Eigen::VectorXi::Constant(64, 4));
  ASSERT_FALSE(A.isCompressed());
  const double* values = A.valuePtr();
  double shift = 0.0;
  si::sep solver(A, 4, 8, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 60);
  test_support::CaptureStdout quiet;

  solver.solve();

  EXPECT_FALSE(A.isCompressed());
  EXPECT_EQ(A.valuePtr(), values);  // the very arrays, not a copy of them
}

TEST(SepRestores, TheMatrixAfterAnException) {
  Sparse A = laplacian(8, 8, 1);
  const Sparse before = A;
  double shift = 0.5;
  si::sep solver(A, 4, 8, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 60);
  solver.SetProgress([](const si::SolveProgress& at) {
    if (at.iteration == 2) throw std::runtime_error("cancelled");
  });
  test_support::CaptureStdout quiet;

  EXPECT_THROW(solver.solve(), std::runtime_error);

  EXPECT_TRUE(sameBits(A, before));
}

TEST(SepRestores, AFailedOrthonormalisation) {
  Sparse A = laplacian(3, 1, 1);
  const Sparse before = A;
  double shift = 0.5;
  si::sep solver(A, 2, 5, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 60);
  test_support::CaptureStdout quiet;

  EXPECT_EQ(solver.solve(), si::STATUS_ORTHO);

  EXPECT_TRUE(sameBits(A, before));
}

TEST(SepArguments, UnknownEndThrowsAndKeepsTheMatrix) {
  Sparse A = laplacian(8, 1, 1);
  const Sparse before = A;
  double shift = 0.5;
  si::sep solver(A, 2, 4, si::EVAL_LOCATION(7), 1e-9, shift, si::SHIFT_NONE, 60);
  test_support::CaptureStdout capture;

  try {
    solver.solve();
    FAIL() << "no exception";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "unhandled enum encountered for si::EVAL_LOCATION");
  }

  EXPECT_EQ(capture.Stop(), "DEBUG - -->si::sep::solve\nDEBUG - <--si::sep::solve\n");
  EXPECT_TRUE(sameBits(A, before));
}

TEST(SepArguments, SubspaceSizeFollowsTheWantedPairs) {
  const auto sizeOf = [](int n, int nev) {
    Sparse A = identity(n);
    double shift = 0.0;
    si::sep solver(A, nev, 0, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 1);
    std::vector<double> values;
    MatrixXd vectors;
    solver.get_eigenpairs(values, vectors);
    return int(values.size());
  };

  EXPECT_EQ(sizeOf(1000, 10), 20);
  EXPECT_EQ(sizeOf(100, 80), 100);
  EXPECT_EQ(sizeOf(1000, 80), 130);
}

TEST(SepArguments, ASingularMatrixIsReportedHonestly) {
  Request request;
  request.nev = 2;
  request.maxIter = 50;
  const Result result = solve(springChain(20, 1.0, 1.0, false).K, request);  // free: one zero eigenvalue

  for (int i = 0; i < result.converged; ++i) EXPECT_LT(std::fabs(result.values[i]), 0.025);
  EXPECT_TRUE(result.status == si::STATUS_FACTORIZE || result.status == si::STATUS_OK);
}

TEST(SepArguments, NanNeverConverges) {
  Sparse A = laplacian(20, 1, 1);
  A.coeffRef(3, 3) = kNan;
  for (int loc : {0, 1}) {
    Request request;
    request.loc = loc;
    request.maxIter = 5;
    const Result result = solve(A, request);
    EXPECT_EQ(result.converged, 0);
    EXPECT_NE(result.status, si::STATUS_OK);
  }
}

TEST(SepCounts, IterationsMultipliesAndTheirMixture) {
  Request request;
  request.nev = 2;
  request.nsub = 4;
  request.maxIter = 3;
  request.tol = 0.0;

  const Result result = solve(laplacian(10, 1, 1), request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_EQ(result.converged, 0);
  EXPECT_EQ(result.ops[0], 12);
  EXPECT_EQ(result.ops[1], 3);
  EXPECT_EQ(result.ops[2], 117);  // ((40 XOR 12) XOR 3) · 3
}

TEST(SepCounts, PlainIterationThatIsTooShortSaysSo) {
  Request request;
  request.loc = si::EVAL_HIGHEST;
  request.nev = 6;
  request.maxIter = 4;

  const Result result = solve(laplacian(30, 30, 1), request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_LT(result.converged, 6);
}

TEST(SepCounts, StopsAfterThreeIterationsWithoutAnyChange) {
  Request request;
  request.nev = 1;
  request.nsub = 1;
  request.tol = 0.0;  // cannot be reached

  const Result result = solve(lowerFrom(1, {{0, 0, 4.0}}), request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_EQ(result.converged, 0);
  EXPECT_EQ(result.ops[1], 4);  // the first one changes the value from 0
}

TEST(SepConsole, LinesOfAConvergenceTest) {
  Request request;
  request.nev = 1;
  request.nsub = 1;
  const Sparse A = lowerFrom(1, {{0, 0, 4.0}});

  const Result result = solve(A, request);

  EXPECT_EQ(result.printed,
            "DEBUG - -->si::sep::solve\n"
            "residual for 0th eigenpair is 0. nconv is 0 m_lambda[0]: 4 mu: 0\n"
            "DEBUG - <--si::sep::solve\n"
            "\n m_S[0] : \n1\n\n m_A*m_S[0] : \n4\n\n m_B*m_S[0] : \n1\n");
}

TEST(SepConsole, DumpsShowTenEntriesAtMost) {
  const Result result = solve(laplacian(40, 1, 1), Request());

  const std::size_t at = result.printed.find("\n m_S[0] : \n"), end = result.printed.find("\n m_A*m_S[0]");
  ASSERT_NE(at, std::string::npos);
  EXPECT_EQ(std::count(result.printed.begin() + at, result.printed.begin() + end, '\n'), 2 + 10);
}

TEST(SepResults, ASecondCallHandsBackWhatTheFirstPutIn) {
  Sparse A = laplacian(10, 1, 1);
  double shift = 0.0;
  si::sep solver(A, 2, 4, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 1);
  std::vector<double> values{3.0};
  MatrixXd vectors = MatrixXd::Constant(1, 1, 5.0);

  solver.get_eigenpairs(values, vectors);
  EXPECT_EQ(vectors.cols(), 4);
  solver.get_eigenpairs(values, vectors);

  EXPECT_EQ(values, std::vector<double>{3.0});
  EXPECT_EQ(vectors, MatrixXd::Constant(1, 1, 5.0));
}

TEST(SepResults, ResidualsWithANegativeToleranceListEveryWantedPair) {
  Sparse A = laplacian(30, 1, 1);
  double shift = 0.0;
  si::sep solver(A, 3, 6, si::EVAL_LOWEST, 1e-9, shift, si::SHIFT_NONE, 100);
  test_support::CaptureStdout quiet;
  solver.solve();
  std::vector<double> all;

  solver.residuals(-1.0, all);

  ASSERT_EQ(all.size(), 3u);
  for (double error : all) EXPECT_LT(error, 1e-8);
}

}  // namespace
