#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "containers/types.h"
#include "si/SolveModes.h"
#include "support/Engines.h"

namespace {

using namespace modes;
using namespace pencils;

class Gep11Edges : public ::testing::TestWithParam<Algorithm> {};

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

double largestDifference(const Sparse& A, const Sparse& B) {
  const Sparse D = A - B;
  double largest = 0.0;
  for (int c = 0; c < D.outerSize(); ++c)
    for (Sparse::InnerIterator entry(D, c); entry; ++entry)
      largest = std::max(largest, std::fabs(entry.value()));
  return largest;
}

TEST_P(Gep11Edges, NoIterationAllowed) {
  const Pencil chain = springChain(20, 1.0, 1.0, true);
  Request request;
  for (int maxIter : {0, -5}) {
    request.maxIter = maxIter;
    const Result result = solve(GetParam(), chain.K, chain.M, request);
    EXPECT_EQ(result.status, si::STATUS_OK);
    EXPECT_EQ(result.converged, 0);
    EXPECT_EQ(result.ops[0], 0);
    EXPECT_EQ(result.ops[1], 1);
  }
}

TEST_P(Gep11Edges, SpentIterationsAreOneMoreThanTheLimit) {
  const Pencil chain = springChain(20, 1.0, 1.0, true);
  Request request;
  request.maxIter = 2;
  request.tol = 1e-14;

  const Result result = solve(GetParam(), chain.K, chain.M, request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_LT(result.converged, 5);
  EXPECT_EQ(result.ops[1], 3);
}

TEST_P(Gep11Edges, ThirdCountMixesTheSizes) {
  const Pencil chain = springChain(10, 1.0, 1.0, true);
  Request request;
  request.p = 4;
  request.nev = 2;
  request.maxIter = 2;
  request.tol = 0.0;

  const Result result = solve(GetParam(), chain.K, chain.M, request);

  EXPECT_EQ(result.ops[1], 3);
  EXPECT_EQ(result.ops[2], 117);  // ((40 XOR 12) XOR 3) · 3
}

TEST_P(Gep11Edges, MultipliesAreCountedPerVector) {
  const Pencil chain = springChain(30, 1.0, 1.0, true);
  Request request;
  request.p = 6;
  request.maxIter = 3;
  request.tol = 0.0;  // nothing ever converges: one application to all p vectors an iteration

  EXPECT_EQ(solve(GetParam(), chain.K, chain.M, request).ops[0], 18);
}

TEST_P(Gep11Edges, WantingMoreThanTheSubspaceHoldsRunsToTheLimit) {
  const Pencil chain = springChain(20, 1.0, 1.0, true);
  Request request;
  request.nev = 6;
  request.p = 4;
  request.maxIter = 40;

  const Result result = solve(GetParam(), chain.K, chain.M, request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_LE(result.converged, 4);
  EXPECT_EQ(result.ops[1], 41);
}

TEST_P(Gep11Edges, MoreVectorsThanTheOrderFailInOrthonormalisation) {
  const Pencil chain = springChain(5, 1.0, 1.0, true);
  Request request;
  request.p = 8;

  EXPECT_EQ(solve(GetParam(), chain.K, chain.M, request).status, si::STATUS_ORTHO);
}

TEST_P(Gep11Edges, OrderOne) {
  const Sparse K = lowerFrom(1, {{0, 0, 6.0}}), M = lowerFrom(1, {{0, 0, 2.0}});
  Request request;
  request.nev = 1;

  const Result result = solve(GetParam(), K, M, request);

  expectModes(result, K, M, 1, {3.0}, 1e-15);
}

TEST_P(Gep11Edges, NothingWanted) {
  const Pencil chain = springChain(6, 1.0, 1.0, true);
  Request request;
  request.nev = 0;

  const Result result = solve(GetParam(), chain.K, chain.M, request);

  EXPECT_EQ(result.status, si::STATUS_OK);
  EXPECT_EQ(result.converged, 0);
}

TEST_P(Gep11Edges, MatricesOfDifferentOrdersAreRefused) {
  Sparse A = identity(4), B = identity(5);
  double shift = 0.0;
  si::gep11 solver(A, B, 1, 2, 1e-8, shift, si::SHIFT_NONE, 5);
  test_support::CaptureStdout quiet;

  EXPECT_THROW(run(solver, GetParam()), Vessa::Matrix::CMatrixError);
}

TEST_P(Gep11Edges, ThePencilComesBackFromEveryStrategy) {
  const Pencil chain = springChain(60, 10.0, 1.0, true);
  for (int strategy : {0, 1, 2, 7}) {
    Request request;
    request.strategy = strategy;
    request.shift = GetParam() == Algorithm::Explicit ? 0.01 : 0.002;
    request.maxIter = 40;
    const Result result = solve(GetParam(), chain.K, chain.M, request);
    EXPECT_EQ(result.status, si::STATUS_OK);
    EXPECT_LT(largestDifference(result.K, chain.K), 1e-11) << "strategy " << strategy;
    EXPECT_LT(largestDifference(result.M, chain.M), 1e-11) << "strategy " << strategy;
    for (int i = 0; i < result.converged; ++i) {  // whatever it counts as converged is a pair
      std::vector<double> expected = springChainValues(60, 10.0, 1.0, true);
      const auto nearest = std::min_element(expected.begin(), expected.end(), [&](double a, double b) {
        return std::fabs(a - result.values[i]) < std::fabs(b - result.values[i]);
      });
      EXPECT_NEAR(result.values[i], *nearest, 1e-6 * *nearest) << "strategy " << strategy;
    }
  }
}

TEST_P(Gep11Edges, SolvingTwiceGivesTheSameTwice) {
  Pencil chain = springChain(40, 1.0, 1.0, true);
  const bool swapped = GetParam() == Algorithm::Explicit;
  double shift = 0.0;
  si::gep11 solver(swapped ? chain.M : chain.K, swapped ? chain.K : chain.M, 4, 8, 1e-10, shift,
                   si::SHIFT_NONE, 50);
  test_support::CaptureStdout quiet;
  std::vector<double> first, second;
  Eigen::MatrixXd vectors;
  std::vector<std::pair<int, double>> bad;

  EXPECT_EQ(run(solver, GetParam()), si::STATUS_OK);
  solver.residuals(1e-6, bad);
  const auto ops = solver.opCount();
  solver.get_eigenpairs(first, vectors);
  vectors.resize(3, 1);
  EXPECT_EQ(run(solver, GetParam()), si::STATUS_OK);
  EXPECT_EQ(solver.opCount(), ops);
  solver.get_eigenpairs(second, vectors);

  EXPECT_EQ(first, second);
}

TEST_P(Gep11Edges, NanInTheMatricesNeverConverges) {
  Pencil chain = springChain(20, 1.0, 1.0, true);
  chain.K.coeffRef(7, 7) = std::numeric_limits<double>::quiet_NaN();
  Request request;
  request.maxIter = 10;

  const Result result = solve(GetParam(), chain.K, chain.M, request);

  EXPECT_EQ(result.converged, 0);
}

TEST_P(Gep11Edges, ResidualsWithANegativeToleranceListEveryWantedPair) {
  Pencil chain = springChain(20, 1.0, 1.0, true);
  const bool swapped = GetParam() == Algorithm::Explicit;
  double shift = 0.0;
  si::gep11 solver(swapped ? chain.M : chain.K, swapped ? chain.K : chain.M, 4, 8, 1e-10, shift,
                   si::SHIFT_NONE, 50);
  test_support::CaptureStdout quiet;
  run(solver, GetParam());
  std::vector<std::pair<int, double>> bad{{99, 9.0}};

  solver.residuals(-1.0, bad);

  ASSERT_EQ(bad.size(), 5u);  // appended, nothing cleared
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(bad[i + 1].first, i);
    EXPECT_LT(bad[i + 1].second, 1e-7);
  }
}

TEST_P(Gep11Edges, ProgressIsReportedBeforeEveryIteration) {
  Pencil chain = springChain(20, 1.0, 1.0, true);
  const bool swapped = GetParam() == Algorithm::Explicit;
  double shift = 0.0;
  si::gep11 solver(swapped ? chain.M : chain.K, swapped ? chain.K : chain.M, 4, 8, 1e-10, shift,
                   si::SHIFT_NONE, 50);
  std::vector<int> seen;
  solver.SetProgress([&](const si::SolveProgress& at) { seen.push_back(at.iteration); });
  test_support::CaptureStdout quiet;

  run(solver, GetParam());

  ASSERT_EQ(int(seen.size()), solver.opCount()[1]);
  EXPECT_EQ(seen.front(), 1);
  EXPECT_EQ(seen.back(), solver.opCount()[1]);
  EXPECT_EQ(solver.times().factorizations, 1);
  EXPECT_GT(solver.times().total, 0.0);
}

INSTANTIATE_TEST_SUITE_P(EverySolve, Gep11Edges,
                         ::testing::Values(Algorithm::Explicit, Algorithm::Implicit, Algorithm::ImplicitCopy),
                         [](const auto& info) { return nameOf(info.param); });

TEST(Gep11Explicit, BWithANegativePivotIsRefused) {
  const Sparse B = lowerFrom(4, {{0, 0, 1.0}, {1, 1, -1.0}, {2, 2, 1.0}, {3, 3, 1.0}});

  const Result result = solve(Algorithm::Explicit, B, identity(4), Request());

  EXPECT_EQ(result.status, si::STATUS_NOT_POSDEF);
  EXPECT_EQ(result.negative, 1);
  EXPECT_TRUE(contains(result.printed, "B is not posdef. Exiting.\n"));
  EXPECT_FALSE(contains(result.printed, "Iteration"));
}

TEST(Gep11Implicit, AnIndefiniteShiftTurnsAccelerationOff) {
  const Pencil chain = springChain(50, 1.0, 1.0, true);
  const std::vector<double> expected = springChainValues(50, 1.0, 1.0, true);
  for (Algorithm algorithm : {Algorithm::Implicit, Algorithm::ImplicitCopy}) {
    Request request;
    request.nev = 4;
    request.shift = 0.5 * (expected[9] + expected[10]);
    request.strategy = si::SHIFT_AGGRESSIVE;

    const Result result = solve(algorithm, chain.K, chain.M, request);

    EXPECT_EQ(result.status, si::STATUS_OK);
    EXPECT_EQ(result.negative, 10);
    EXPECT_TRUE(contains(result.printed, " made A indefinite. Turning off shift-acceleration.\n"));
    EXPECT_TRUE(contains(result.printed, "negative evals of B=10. normM="));
    EXPECT_FALSE(contains(result.printed, "Factorizing shifted matrix"));
    ASSERT_GE(result.converged, 4);
    const std::vector<double> nearest(expected.begin() + 8, expected.begin() + 12);
    EXPECT_TRUE(matchesValues({result.values.begin(), result.values.begin() + 4}, nearest, 4, 1e-9));
  }
}

TEST(Gep11Implicit, AccelerationFactorisesAgainAndStaysExact) {
  const Sparse K = laplacian(15, 14, 1), M = identity(210);
  const std::vector<double> expected = laplacianValues(15, 14, 1);
  for (Algorithm algorithm : {Algorithm::Implicit, Algorithm::ImplicitCopy}) {
    for (int strategy : {si::SHIFT_AGGRESSIVE, si::SHIFT_CONSERVATIVE}) {
      Request request;
      request.nev = 10;
      request.strategy = strategy;

      const Result result = solve(algorithm, K, M, request);

      EXPECT_TRUE(contains(result.printed, "Factorizing shifted matrix with a shift of "));
      ASSERT_GE(result.converged, 10) << result.printed;
      EXPECT_TRUE(matchesValues(result.values, expected, 10, 1e-9)) << nameOf(algorithm) << strategy;
      EXPECT_LT(worstBackwardError(K, M, result.values, result.vectors, 10), 1e-9);
    }
  }
}

TEST(Gep11ImplicitCopy, LeavesTheCallersMatrixAlone) {
  Pencil chain = springChain(60, 10.0, 1.0, true);
  const Sparse before = chain.K;
  double shift = 0.003;
  si::gep11 solver(chain.K, chain.M, 5, 0, 1e-10, shift, si::SHIFT_AGGRESSIVE, 60);
  test_support::CaptureStdout quiet;

  solver.solve_imp_orth_copy();
  std::vector<std::pair<int, double>> bad;
  solver.residuals(1e-6, bad);

  ASSERT_EQ(chain.K.nonZeros(), before.nonZeros());
  EXPECT_TRUE(std::equal(before.valuePtr(), before.valuePtr() + before.nonZeros(), chain.K.valuePtr()));
  EXPECT_TRUE(bad.empty());
}

TEST(Gep11ImplicitCopy, ValuesAreAbsoluteWhateverTheShift) {
  const Pencil chain = springChain(60, 10.0, 1.0, true);
  const std::vector<double> expected = springChainValues(60, 10.0, 1.0, true);
  for (double shift : {-5.0, -0.1, 0.0, 0.5 * expected[0]}) {
    for (int strategy : {0, 1, 2}) {
      Request request;
      request.shift = shift;
      request.strategy = strategy;
      const Result result = solve(Algorithm::ImplicitCopy, chain.K, chain.M, request);
      ASSERT_GE(result.converged, 5) << result.printed;
      EXPECT_TRUE(matchesValues(result.values, expected, 5, 1e-9)) << shift << " " << strategy;
    }
  }
}

// Four zero values make the shift an eigenvalue: the vectors that are still open carry large errors, and
// every iteration rotates those that have converged with them. Counted pairs were once a thousand times less
// accurate than the tolerance.
TEST_P(Gep11Edges, ProductsInTheTestGiveThePairsThatRightHandSidesGive) {
  const Pencil chain = springChain(60, 1.0, 1.0, true);
  Request request;
  request.nev = 4;
  request.p = 8;
  request.tol = 1e-9;
  const Result converged = solve(GetParam(), chain.K, chain.M, request);
  request.tol = 0.0;                       // nothing is within a share of it: all products are made
  request.maxIter = 3 * converged.ops[1];  // of one application each: there are no converged pairs

  const Result spent = solve(GetParam(), chain.K, chain.M, request);

  ASSERT_EQ(converged.converged, 4);
  EXPECT_EQ(spent.converged, 0);
  for (int i = 0; i < 4; ++i)
    EXPECT_NEAR(converged.values[std::size_t(i)], spent.values[std::size_t(i)],
                1e-9 * spent.values[std::size_t(i)]);
}

TEST(Gep11ImplicitCopy, PairsThatLaterIterationsSpoilDoNotCount) {
  const Sparse K =
      lowerFrom(9, {{0, 0, 1.0}, {4, 3, 4.5}, {4, 4, -1.5}, {6, 3, 110.0}, {6, 5, 1.0}, {7, 4, 8.0}});
  const Sparse M = pencils::identity(9);
  Request request;
  request.nev = 7;
  request.p = 8;
  request.tol = 1e-9;
  int counted = 0;
  for (const auto engine : test_support::AvailableEngines()) {
    request.engine = engine;
    for (request.maxIter = 0; request.maxIter <= 40; ++request.maxIter) {
      const Result result = solve(Algorithm::ImplicitCopy, K, M, request);

      if (result.status != si::STATUS_OK) continue;
      const int count = std::min(result.converged, request.nev);
      counted += count;
      EXPECT_LT(pencils::worstBackwardError(K, M, result.values, result.vectors, count), 11.0 * request.tol)
          << count << " pairs after " << request.maxIter << " iterations";
    }
  }
  EXPECT_GT(counted, 0);
}

TEST(Gep11Implicit, SingularMassBeyondTheSubspaceIsReported) {  // two massive dof, three vectors
  const Sparse K = springChain(6, 1.0, 1.0, true).K;
  const Sparse M = lowerFrom(6, {{1, 1, 1.0}, {4, 4, 1.0}});
  Request request;
  request.nev = 2;
  request.p = 3;

  const Result result = solve(Algorithm::Implicit, K, M, request);

  EXPECT_TRUE(result.status == si::STATUS_LAPACK || result.converged <= 2);
  if (result.status == si::STATUS_LAPACK) {
    EXPECT_TRUE(contains(result.printed, "Error in solving SRR eigensystem. LAPACK error code = "));
  }
}

TEST(Gep11Results, ARitzValueOfZeroCountsWithoutALine) {  // 0·x = λ·4·x, seen from −1
  const Sparse K = lowerFrom(1, {{0, 0, 0.0}}), M = lowerFrom(1, {{0, 0, 4.0}});
  Request request;
  request.nev = 1;
  request.shift = -1.0;

  const Result result = solve(Algorithm::ImplicitCopy, K, M, request);

  EXPECT_EQ(result.converged, 1);
  EXPECT_EQ(result.values, std::vector<double>{0.0});
  EXPECT_FALSE(contains(result.printed, "eigenpair"));
}

TEST(Gep11Results, ShiftIsAddedBackInModeTwoOnly) {
  Pencil chain = springChain(30, 1.0, 1.0, true);
  double shift = 5.0;
  si::gep11 solver(chain.K, chain.M, 2, 4, 1e-8, shift, si::SHIFT_NONE, 0);
  test_support::CaptureStdout quiet;
  std::vector<double> values;
  Eigen::MatrixXd vectors;

  solver.solve_exp_orth();  // no iteration: the stored values are zero
  solver.get_eigenpairs(values, vectors);

  EXPECT_EQ(values, std::vector<double>(4, 5.0));
}

TEST(Gep11Results, ASecondCallHandsBackWhatTheFirstPutIn) {
  Pencil chain = springChain(10, 1.0, 1.0, true);
  double shift = 0.0;
  si::gep11 solver(chain.K, chain.M, 2, 4, 1e-8, shift, si::SHIFT_NONE, 5);
  std::vector<double> values{7.0};
  Eigen::MatrixXd vectors = Eigen::MatrixXd::Constant(1, 2, 3.0);

  solver.get_eigenpairs(values, vectors);
  EXPECT_EQ(values.size(), 4u);
  solver.get_eigenpairs(values, vectors);

  EXPECT_EQ(values, std::vector<double>{7.0});
  EXPECT_EQ(vectors, Eigen::MatrixXd::Constant(1, 2, 3.0));
}

TEST(Gep11Results, ResidualsOfInjectedPairs) {
  Sparse A = lowerFrom(2, {{0, 0, 2.0}, {1, 1, 5.0}}), B = identity(2);
  double shift = 0.0;
  si::gep11 solver(A, B, 2, 2, 1e-8, shift, si::SHIFT_NONE, 5);
  std::vector<double> values{2.0, 4.0};  // the second is wrong: ‖(5 − 4)·e₂‖ / ‖5·e₂‖
  Eigen::MatrixXd vectors = Eigen::MatrixXd::Identity(2, 2);
  solver.get_eigenpairs(values, vectors);
  std::vector<std::pair<int, double>> bad;
  test_support::CaptureStdout capture;

  solver.residuals(1e-12, bad);

  EXPECT_EQ(capture.Stop(), "sum of shiftsA: 0\n");
  ASSERT_EQ(bad.size(), 1u);
  EXPECT_EQ(bad[0].first, 1);
  EXPECT_DOUBLE_EQ(bad[0].second, 0.2);
}

TEST(Gep11Results, AnExactRigidMotionHasNoResidual) {
  Sparse A = lowerFrom(2, {{0, 0, 1.0}, {1, 0, -1.0}, {1, 1, 1.0}}), B = identity(2);
  double shift = 0.0;
  si::gep11 solver(A, B, 1, 1, 1e-8, shift, si::SHIFT_NONE, 5);
  std::vector<double> values{0.0};
  Eigen::MatrixXd vectors = Eigen::MatrixXd::Ones(2, 1);
  solver.get_eigenpairs(values, vectors);
  std::vector<std::pair<int, double>> bad;
  test_support::CaptureStdout quiet;

  solver.residuals(1e-12, bad);

  EXPECT_TRUE(bad.empty());
}

TEST(Gep11Results, ASecondCallOfResidualsAddsTheShiftAgain) {
  Pencil chain = springChain(10, 1.0, 1.0, true);
  const double diagonal = chain.K.coeff(3, 3);
  double shift = -0.25;
  si::gep11 solver(chain.K, chain.M, 2, 4, 1e-8, shift, si::SHIFT_NONE, 5);
  test_support::CaptureStdout quiet;
  std::vector<std::pair<int, double>> bad;

  solver.solve_imp_orth();
  EXPECT_DOUBLE_EQ(chain.K.coeff(3, 3), diagonal + 0.25);
  solver.residuals(1.0, bad);
  EXPECT_DOUBLE_EQ(chain.K.coeff(3, 3), diagonal);
  solver.residuals(1.0, bad);
  EXPECT_DOUBLE_EQ(chain.K.coeff(3, 3), diagonal - 0.25);
}

}  // namespace
