#include <gtest/gtest.h>

#include "models/io/MatrixMarketReader.h"
#include "si/SolveModes.h"
#include "si/sep.h"
#include "support/DataFolder.h"

namespace {

using namespace modes;
using namespace pencils;

Sparse read(const std::string& name) {
  std::string path = test_support::DataPath(name + ".mtx");
  if (!std::filesystem::exists(path)) path += ".gz";
  return vematrix::models::toLowerTriangle(vematrix::models::readMatrixMarket(path));
}

/// Relative accuracy with which the lowest eigenvalues of a matrix are determined at all.
double attainable(const std::string& matrix) {
  return 1e-11 + 4e-16 * test_support::Reference()["matrices"][matrix]["cond_1"].get<double>();
}

class PairData : public ::testing::TestWithParam<std::string> {};

TEST_P(PairData, LowestModesAgreeWithTheReference) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const auto& reference = test_support::Reference()["pairs"][GetParam()];
  const std::string nameK = reference["K"], nameM = reference["M"];
  const Sparse K = read(nameK), M = read(nameM);
  const std::vector<double> expected = reference["eig_low20"];
  Request request;
  request.nev = 10;
  request.tol = 1e-13;

  for (Algorithm algorithm : {Algorithm::Explicit, Algorithm::Implicit, Algorithm::ImplicitCopy}) {
    const Result result = solve(algorithm, K, M, request);

    EXPECT_EQ(result.status, si::STATUS_OK) << nameOf(algorithm);
    ASSERT_GE(result.converged, 10) << nameOf(algorithm);
    EXPECT_TRUE(matchesValues(result.values, expected, 10, attainable(nameK))) << nameOf(algorithm);
    EXPECT_LT(worstBackwardError(K, M, result.values, result.vectors, 10), 1e-12) << nameOf(algorithm);
  }
}

TEST_P(PairData, AcceleratedSolvesCountOnlyTruePairs) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const auto& reference = test_support::Reference()["pairs"][GetParam()];
  const std::string nameK = reference["K"], nameM = reference["M"];
  const Sparse K = read(nameK), M = read(nameM);
  for (Algorithm algorithm : {Algorithm::Explicit, Algorithm::Implicit, Algorithm::ImplicitCopy}) {
    for (int strategy : {si::SHIFT_AGGRESSIVE, si::SHIFT_CONSERVATIVE}) {
      Request request;
      request.nev = 6;
      request.maxIter = 30;
      request.tol = 1e-12;
      request.strategy = strategy;
      const Result result = solve(algorithm, K, M, request);
      const double error = worstBackwardError(K, M, result.values, result.vectors, result.converged);
      EXPECT_LT(error, 1e-9) << nameOf(algorithm) << strategy;
    }
  }
}

TEST_P(PairData, InertiaCountsTheEigenvaluesBelowAShift) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const auto& reference = test_support::Reference()["pairs"][GetParam()];
  const Sparse K = read(reference["K"]), M = read(reference["M"]);
  for (const auto& entry : reference["shifted_inertia_K_minus_sigma_M"])
    EXPECT_EQ(countBelow(K, M, entry["sigma"]), entry["expected_negative"].get<int>()) << entry["sigma"];
}

INSTANTIATE_TEST_SUITE_P(KAndM, PairData,
                         ::testing::Values("bcsstk01/bcsstm01", "bcsstk02/bcsstm02", "bcsstk05/bcsstm05",
                                           "bcsstk06/bcsstm06", "bcsstk22/bcsstm22", "bcsstk26/bcsstm26",
                                           "lund_a/lund_b"),
                         [](const auto& info) { return info.param.substr(0, info.param.find('/')); });

struct SepResult {
  si::Status status;
  int converged;
  std::vector<double> values;
  Eigen::MatrixXd vectors;
};

SepResult solveOne(const Sparse& A, si::EVAL_LOCATION end, int nev, int nsub, double tol, int maxIter) {
  Sparse matrix = A;
  double shift = 0.0;
  SepResult result;
  test_support::CaptureStdout quiet;
  si::sep solver(matrix, nev, nsub, end, tol, shift, si::SHIFT_NONE, maxIter);
  std::srand(1);
  result.status = solver.solve();
  result.converged = solver.get_numpairs_converged();
  solver.get_eigenpairs(result.values, result.vectors);
  return result;
}

class MatrixData : public ::testing::TestWithParam<std::string> {};

TEST_P(MatrixData, LowestEndAgreesWithTheReference) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const Sparse A = read(GetParam());
  const auto& reference = test_support::Reference()["matrices"][GetParam()];
  const std::vector<double> expected = reference["eig_low10"];
  const double accuracy = attainable(GetParam());

  const SepResult result = solveOne(A, si::EVAL_LOWEST, 5, 14, std::max(1e-9, 10.0 * accuracy), 300);

  EXPECT_EQ(result.status, si::STATUS_OK);
  ASSERT_EQ(result.converged, 5);
  EXPECT_TRUE(matchesValues(result.values, expected, 5, 2.0 * accuracy));
  if (expected[5] - expected[4] > 1e-3 * expected[4]) {
    EXPECT_EQ(countBelow(A, identity(int(A.cols())), 0.5 * (expected[4] + expected[5])), 5);
  }
}

TEST_P(MatrixData, HighestEndAgreesWithTheReferenceOrSaysThatItHasNotConverged) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const Sparse A = read(GetParam());
  const auto& reference = test_support::Reference()["matrices"][GetParam()];
  const std::vector<double> ascending = reference["eig_high5"];

  const SepResult result = solveOne(A, si::EVAL_HIGHEST, 3, 12, 1e-9, 400);

  EXPECT_EQ(result.status, si::STATUS_OK);
  for (int i = 0; i < result.converged; ++i)
    EXPECT_NEAR(result.values[i], ascending[4 - i], 1e-9 * ascending[4 - i]) << "pair " << i;
  RecordProperty("converged of 3", result.converged);
}

INSTANTIATE_TEST_SUITE_P(OneMatrix, MatrixData,
                         ::testing::Values("gr_30_30", "bcsstk01", "bcsstk02", "bcsstk05", "bcsstk22",
                                           "bcsstk27", "lund_a", "lund_b", "nos1", "nos4", "nos5",
                                           "pyamg_bar", "1138_bus", "LFAT5", "bcsstk06", "bcsstk26"),
                         [](const auto& info) { return "m_" + info.param; });

TEST(MatrixData, GridMatrixConvergesAtBothEnds) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const Sparse A = read("gr_30_30");
  const auto& reference = test_support::Reference()["matrices"]["gr_30_30"];
  const std::vector<double> low = reference["eig_low10"], high = reference["eig_high5"];

  const SepResult lowest = solveOne(A, si::EVAL_LOWEST, 10, 0, 1e-10, 300);
  const SepResult highest = solveOne(A, si::EVAL_HIGHEST, 5, 60, 1e-8, 5000);

  ASSERT_EQ(lowest.converged, 10);
  EXPECT_TRUE(matchesValues(lowest.values, low, 10, 1e-11));
  ASSERT_EQ(highest.converged, 5);
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(highest.values[i], high[4 - i], 1e-10 * high[4]);
}

}  // namespace
