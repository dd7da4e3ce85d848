#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "math/sparse_product.h"
#include "si/Pencils.h"
#include "si/SubspaceSteps.h"
#include "si/gep11.h"
#include "support/CaptureStdout.h"

namespace {

using namespace pencils;
using Eigen::MatrixXd;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// A solver for a pencil of order n that nobody solves.
struct Idle {
  explicit Idle(int n, int nev, int p)
      : A(identity(n)), B(identity(n)), solver(A, B, nev, p, 1e-10, shift, si::SHIFT_NONE, 1) {}
  double shift = 0.0;
  Sparse A, B;
  si::gep11 solver;
};

/// A solver whose Ritz values are those given.
struct WithRitzValues : Idle {
  WithRitzValues(std::vector<double> values, int nev) : Idle(int(values.size()), nev, int(values.size())) {
    MatrixXd vectors;
    solver.get_eigenpairs(values, vectors);
  }
};

int subspaceOf(int n, int nev) {
  Idle idle(n, nev, 0);
  std::vector<double> values;
  MatrixXd vectors;
  idle.solver.get_eigenpairs(values, vectors);
  EXPECT_EQ(vectors.rows(), n);
  EXPECT_EQ(vectors.cols(), int(values.size()));
  return int(values.size());
}

TEST(Setup, SubspaceSizeFollowsTheWantedPairs) {
  EXPECT_EQ(subspaceOf(1000, 10), 20);
  EXPECT_EQ(subspaceOf(1000, 100), 150);
  EXPECT_EQ(subspaceOf(100, 60), 100);
  EXPECT_EQ(subspaceOf(5, 0), 0);
}

TEST(Setup, AFreshSolverHasNoResults) {
  Idle idle(6, 2, 4);

  EXPECT_EQ(idle.solver.get_numpairs_converged(), 0);
  std::vector<double> values;
  MatrixXd vectors;
  idle.solver.get_eigenpairs(values, vectors);
  EXPECT_EQ(values, std::vector<double>(4, 0.0));
}

TEST(Setup, StartVectorsAreTheSameEveryTime) {
  Idle idle(50, 2, 6);
  std::vector<double> values;
  MatrixXd first, second, third;

  EXPECT_TRUE(idle.solver.initSubspaceVectors());
  idle.solver.get_eigenpairs(values, first);
  EXPECT_TRUE(idle.solver.initSubspaceVectors());  // the swap left an empty block behind
  idle.solver.get_eigenpairs(values, second);
  std::srand(77);
  EXPECT_TRUE(idle.solver.initSubspaceVectors());
  idle.solver.get_eigenpairs(values, third);

  EXPECT_EQ(first.rows(), 50);
  EXPECT_EQ(first.cols(), 6);
  EXPECT_EQ(first, second);
  EXPECT_EQ(first, third);
  std::srand(0);
  for (int j = 0; j < 6; ++j)
    for (int i = 0; i < 50; ++i) ASSERT_EQ(first(i, j), std::rand() * 2.0 / 32767.0 - 1.0);
}

TEST(Setup, CopiesOwnTheirVectors) {
  Idle idle(5, 1, 2);
  idle.solver.initSubspaceVectors();
  si::gep11 copy(idle.solver);
  std::vector<double> values;
  MatrixXd vectors, copied;

  idle.solver.get_eigenpairs(values, vectors);
  copy.get_eigenpairs(values, copied);

  EXPECT_EQ(vectors, copied);
}

TEST(Setup, SubspaceThatCannotBeAllocatedThrows) {
  Sparse A(2000000000, 1);
  double shift = 0.0;

  EXPECT_THROW(si::gep11(A, A, 1, 2000000000, 1e-8, shift, si::SHIFT_NONE, 1), std::exception);
}

TEST(OneNorm, IsTheLargestColumnSumOfWhatIsStored) {
  Idle idle(3, 1, 1);
  Sparse A = lowerFrom(3, {{0, 0, -4.0}, {1, 0, 3.0}, {1, 1, 6.0}, {2, 2, -1.0}});
  Sparse empty(0, 0);
  MatrixXd dense(2, 2), none(3, 0);
  dense << 1, -5, -2, 1;

  EXPECT_EQ(idle.solver.onenormest(A), 7.0);
  EXPECT_EQ(idle.solver.onenormest(empty), 0.0);
  EXPECT_EQ(idle.solver.onenormest(dense), 6.0);
  EXPECT_EQ(idle.solver.onenormest(none), 0.0);
  A.reserve(Eigen::VectorXi::Constant(3, 4));
  ASSERT_FALSE(A.isCompressed());
  EXPECT_EQ(idle.solver.onenormest(A), 7.0);
}

TEST(Orthonormalize, GivesTheHouseholderFactor) {
  Idle idle(5, 1, 1);
  MatrixXd Y = MatrixXd::Random(12, 4);
  const MatrixXd before = Y;

  EXPECT_TRUE(idle.solver.orthonormalize(Y));

  EXPECT_LT((Y.transpose() * Y - MatrixXd::Identity(4, 4)).norm(), 1e-14);
  EXPECT_LT((Y * (Y.transpose() * before) - before).norm(), 1e-14 * before.norm());
  const MatrixXd R = Y.transpose() * before;
  EXPECT_LT(R.triangularView<Eigen::StrictlyLower>().toDenseMatrix().norm(), 1e-14 * before.norm());
}

TEST(Orthonormalize, FailsOnNanAndOnMoreColumnsThanRows) {
  Idle idle(5, 1, 1);
  MatrixXd bad = MatrixXd::Random(6, 3), wide = MatrixXd::Random(3, 6);
  bad(2, 1) = kNan;

  EXPECT_FALSE(idle.solver.orthonormalize(bad));
  EXPECT_FALSE(idle.solver.orthonormalize(wide));
}

TEST(OrthonormalBasis, SpansTheNestedSpacesOfTheColumns) {
  for (double dependence :
       {1.0, 1e-3, 1e-9, 1e-14}) {  // Cholesky QR gives up where the columns nearly depend
    MatrixXd Y = MatrixXd::Random(200, 6);
    Y.col(4) = Y.col(0) + dependence * Y.col(4);
    Y.col(2) *= 1e-200;
    Y.col(3) *= 1e150;
    MatrixXd Q = Y, householder = Y, work;

    EXPECT_TRUE(si::orthonormalBasis(Q, work));
    EXPECT_TRUE(si::householderQ(householder));

    EXPECT_LT((Q.transpose() * Q - MatrixXd::Identity(6, 6)).norm(), 1e-13) << dependence;
    if (dependence < 1e-6) continue;  // the last directions are decided by rounding
    const MatrixXd same = (Q.transpose() * householder).cwiseAbs();
    EXPECT_LT((same - MatrixXd::Identity(6, 6)).norm(), 1e-9) << dependence;
  }
}

TEST(OrthonormalBasis, OnePassIsKeptWhereItIsEnough) {
  MatrixXd Y = MatrixXd::Random(60, 6), work;
  for (int j = 1; j < 6; ++j) Y.col(j) = Y.col(0) + 1e-4 * Y.col(j);  // one pass leaves about 1e-16·1e8
  MatrixXd full = Y, once = Y;

  EXPECT_TRUE(si::orthonormalBasis(full, work));
  EXPECT_TRUE(si::orthonormalBasis(once, work, 1e-6));

  const MatrixXd I = MatrixXd::Identity(6, 6);
  EXPECT_LT((full.transpose() * full - I).norm(), 1e-13);
  EXPECT_LT((once.transpose() * once - I).norm(), 1e-6);
  EXPECT_GT((once.transpose() * once - I).norm(), 1e-11) << "a second pass was made";
  EXPECT_LT((once - full * (full.transpose() * once)).norm(), 1e-9) << "another space";
}

TEST(OrthonormalBasis, FailsOnNan) {
  MatrixXd Y = MatrixXd::Random(20, 3), work;
  Y(4, 1) = kNan;

  EXPECT_FALSE(si::orthonormalBasis(Y, work));
}

TEST(MuCons, TakesTheMidpoint) {
  WithRitzValues s({1, 2, 4, 8}, 2);
  double mu = 99.0;

  EXPECT_TRUE(s.solver.mu_cons(1, mu));
  EXPECT_EQ(mu, 3.0);
}

TEST(MuCons, RefusesWithoutConvergedPairsOrGapOrNeighbour) {
  WithRitzValues s({1, 2, 2, kInfinity}, 2);
  for (int k : {0, -3, 1, 2, 3, 4, 100}) {  // none converged; no gap at 1; infinite at 2; beyond the end
    double mu = 99.0;
    EXPECT_FALSE(s.solver.mu_cons(k, mu)) << k;
    EXPECT_EQ(mu, 0.0) << k;
  }
}

TEST(MuCons, RefusesNan) {
  WithRitzValues s({1, 2, kNan}, 2);
  double mu = 99.0;

  EXPECT_FALSE(s.solver.mu_cons(1, mu));
  EXPECT_EQ(mu, 0.0);
}

TEST(MuAggr, LeavesMuAloneWithoutConvergedPairs) {
  WithRitzValues s({1, 2, 4, 8}, 2);
  double mu = 99.0, infinite = kInfinity;

  EXPECT_FALSE(s.solver.mu_aggr(0, 0, mu));
  EXPECT_EQ(mu, 99.0);
  EXPECT_FALSE(s.solver.mu_aggr(0, 0, infinite));
  EXPECT_EQ(infinite, 0.0);
}

TEST(MuAggr, DrawsTheHarmonicMeanBackBelowIt) {
  WithRitzValues s({1, 2, 3, 4, 12}, 5);  // k = 1: 2·2·12/14 = 3.43, the last value below it is 3
  double mu = 99.0;

  EXPECT_TRUE(s.solver.mu_aggr(1, 0, mu));

  EXPECT_EQ(mu, 2.5);
}

TEST(MuAggr, CapsAtTheFirstUnwantedValue) {
  WithRitzValues s({1, 2, -3, -2.5, -2.4},
                   3);  // k = 1: 2·2·(−3)/(−1) = 12, above all values: capped at value 3
  double mu = 99.0;

  EXPECT_TRUE(s.solver.mu_aggr(1, 0, mu));

  EXPECT_EQ(mu, (2.0 - 2.5) / 2);
}

TEST(MuAggr, RefusesWhereNoValueLiesBelowTheMean) {
  WithRitzValues s({1, 2, 4, 8}, 2);  // k = 1, nev − 1 = 1: the mean is value 1 itself
  double mu = 99.0;
  test_support::CaptureStdout capture;

  EXPECT_FALSE(s.solver.mu_aggr(1, 0, mu));

  EXPECT_EQ(mu, 0.0);
  EXPECT_EQ(capture.Stop(), "aborting shift because mu was too close to eval\n");
}

TEST(MuAggr, StepsDownWhereTheMidpointHitsAValue) {
  WithRitzValues s({0.5, 1, 2, 3, 30}, 5);  // k = 1, mean 1.93…; with value 4 = 30 …
  double mu = 99.0;
  test_support::CaptureStdout capture;

  const bool accepted = s.solver.mu_aggr(1, 0, mu);

  EXPECT_FALSE(accepted);  // 2·1·30/31 = 1.935 lies below value 2
  EXPECT_EQ(capture.Stop(), "aborting shift because mu was too close to eval\n");
}

TEST(MuAggr, MidpointOnAValueBacksOff) {
  WithRitzValues s({0.5, 1, 2, 3, -1.5},
                   5);  // 2·1·(−1.5)/(−0.5) = 6: j = 4; midpoint (1 − 1.5)/2 = −0.25 is free
  double mu = 99.0;
  EXPECT_TRUE(s.solver.mu_aggr(1, 0, mu));
  EXPECT_EQ(mu, -0.25);

  WithRitzValues t({0.5, 1, 2, 3, 4, -1.2}, 6);  // mean 12: j = 5, midpoint −0.1; free
  EXPECT_TRUE(t.solver.mu_aggr(1, 0, mu));
  EXPECT_NEAR(mu, -0.1, 1e-15);

  WithRitzValues u({9, 1, 2, 3, 1e300}, 4);  // nev − 1 = 3: 2·1·3/4 = 1.5 < 2
  test_support::CaptureStdout capture;
  EXPECT_FALSE(u.solver.mu_aggr(1, 0, mu));
  capture.Stop();
}

TEST(MuAggr, LaterStagesTakeTheMidpoint) {
  WithRitzValues s({1, 2, 4, 8}, 4);
  double mu = 99.0;

  EXPECT_TRUE(s.solver.mu_aggr(1, 1, mu));
  EXPECT_EQ(mu, 3.0);
}

TEST(MuAggr, LaterStagesRefuseATooSmallGap) {
  WithRitzValues s({1, 2, 2, 8}, 4);
  double mu = 99.0;
  test_support::CaptureStdout capture;

  EXPECT_FALSE(s.solver.mu_aggr(1, 3, mu));

  EXPECT_EQ(mu, 0.0);
  EXPECT_EQ(capture.Stop(), "aborting shift because mu was too close to eval\n");
}

TEST(MuAggr, NeverReadsBeyondTheLastRitzValue) {
  WithRitzValues s({1, 2, 4}, 9);
  for (int stage : {0, 1}) {
    for (int k : {2, 3, 50}) {
      double mu = 99.0;
      EXPECT_FALSE(s.solver.mu_aggr(k, stage, mu)) << k;
      EXPECT_EQ(mu, 0.0) << k;
    }
  }
}

TEST(MuAggr, RefusesAnInfiniteTarget) {
  WithRitzValues s({1, 2, kInfinity, kInfinity}, 4);
  double mu = 99.0;

  EXPECT_FALSE(s.solver.mu_aggr(1, 1, mu));
  EXPECT_EQ(mu, 0.0);
}

TEST(MuSafe, BacksOffUntilTheMidpointIsFree) {
  WithRitzValues s({0, 1, 2, 3}, 4);  // (0 + 2)/2 = 1 hits value 1: j = 1, (0 + 1)/2 = 0.5
  int j = 2;

  EXPECT_EQ(s.solver.mu_safe(0, j), 0.5);
  EXPECT_EQ(j, 1);
}

TEST(MuSafe, IsZeroWithoutRoom) {
  WithRitzValues s({0, 1, 2, 3}, 4);
  int equal = 2, below = 0, beyond = 4;

  EXPECT_EQ(s.solver.mu_safe(2, equal), 0.0);
  EXPECT_EQ(s.solver.mu_safe(2, below), 0.0);
  EXPECT_EQ(s.solver.mu_safe(2, beyond), 0.0);
}

TEST(Budget, FollowsTheSpread) {
  EXPECT_EQ(si::multiplyBudget({1.0, 10.0}, 0.0, 8.0).limit, 8);
  EXPECT_EQ(si::multiplyBudget({1.0, -100.0}, 0.0, 8.0).limit, 4);
  EXPECT_EQ(si::multiplyBudget({3.0, 1003.0}, 2.0, 8.0).limit, 2);
  EXPECT_EQ(si::multiplyBudget({0.0, 5.0}, 0.0, 8.0).cond, 1e16);
  EXPECT_EQ(si::multiplyBudget({0.0, 5.0}, 0.0, 8.0).limit, 0);
  EXPECT_EQ(si::multiplyBudget({}, 0.0, 8.0).cond, 0.0);
}

TEST(Budget, IsTheMostNegativeIntWhereItIsNoInt) {
  const int least = std::numeric_limits<int>::min();

  EXPECT_EQ(si::multiplyBudget({2.0, -2.0}, 0.0, 8.0).limit, least);  // log10(1) = 0
  EXPECT_EQ(si::multiplyBudget({1.0, 1.0 + 4e-16}, 0.0, 8.0).limit, least);
  EXPECT_EQ(si::floorToInt(kNan), least);
  EXPECT_EQ(si::floorToInt(-kInfinity), least);
  EXPECT_EQ(si::floorToInt(3e9), least);
  EXPECT_EQ(si::floorToInt(2147483647.5), 2147483647);
  EXPECT_EQ(si::floorToInt(-0.5), -1);
}

TEST(Order, NanComesLast) {
  const std::vector<double> values{kNan, 3.0, -1.0, kInfinity, 2.0};

  EXPECT_EQ(si::orderByDistance(values, 0.0, false).back(), 3);
  EXPECT_EQ(si::orderByDistance(values, 0.0, false), (std::vector<int>{2, 4, 1, 0, 3}));
  EXPECT_EQ(si::orderByDistance(values, 0.0, true), (std::vector<int>{3, 1, 4, 2, 0}));
  EXPECT_EQ(si::orderByDistance({1.0, 5.0, 3.5}, 4.0, false), (std::vector<int>{2, 1, 0}));
}

TEST(Dependence, IsSeenInTheGramMatrixWhateverTheLengths) {
  const MatrixXd Y = MatrixXd::Random(50, 4);
  const auto gramOf = [&](double dependence, double length) {
    MatrixXd Z = Y;
    Z.col(3) = Y.col(0) + dependence * Y.col(3);
    Z.col(1) *= length;
    MatrixXd gram = Z.transpose() * Z;
    gram.triangularView<Eigen::StrictlyUpper>().setConstant(kNan);  // is not read
    return gram;
  };

  EXPECT_TRUE(si::isFarFromDependent(gramOf(1.0, 1.0), 1e4));
  EXPECT_TRUE(si::isFarFromDependent(gramOf(1.0, 1e-120), 1e4));
  EXPECT_TRUE(si::isFarFromDependent(gramOf(1.0, 1e120), 1e4));
  EXPECT_TRUE(si::isFarFromDependent(gramOf(0.1, 1.0), 1e4));
  EXPECT_FALSE(si::isFarFromDependent(gramOf(1e-3, 1.0), 1e4));
  EXPECT_FALSE(si::isFarFromDependent(gramOf(0.0, 1.0), 1e4));
  EXPECT_FALSE(si::isFarFromDependent(MatrixXd::Constant(2, 2, kNan), 1e4));
  EXPECT_FALSE(si::isFarFromDependent(-MatrixXd::Identity(2, 2), 1e4));
}

TEST(Dependence, IsTheSumOfTheReciprocalEigenvalues) {
  MatrixXd gram(2, 2);
  gram << 4.0, 0.0, 2.0 * 3.0 * 0.8, 9.0;  // scaled: 1 ± 0.8, so 1/1.8 + 1/0.2

  EXPECT_TRUE(si::isFarFromDependent(gram, 5.556));
  EXPECT_FALSE(si::isFarFromDependent(gram, 5.555));
}

TEST(Scaling, PowersOfTwoStayFinite) {
  EXPECT_EQ(si::powerOfTwoFor(100.0), 1.0 / 128);
  EXPECT_EQ(si::powerOfTwoFor(0.5), 1.0);
  EXPECT_EQ(si::powerOfTwoFor(0.0), 1.0);
  EXPECT_EQ(si::powerOfTwoFor(kNan), 1.0);
  EXPECT_EQ(si::powerOfTwoFor(kInfinity), 1.0);
  EXPECT_TRUE(std::isfinite(si::powerOfTwoFor(5e-324)));
  EXPECT_GT(si::powerOfTwoFor(1.7e308), 0.0);
}

TEST(Scaling, IsByPowersOfTwo) {
  MatrixXd Y(2, 4);
  Y << 3.0, 1e-300, 0.0, kInfinity, -100.0, 3e-300, 0.0, 1.0;
  const MatrixXd before = Y;

  si::scaleByLargestEntries(Y);

  EXPECT_EQ(Y(0, 0), 3.0 / 128);
  EXPECT_EQ(Y(1, 0), -100.0 / 128);
  EXPECT_GE(Y(1, 1), 0.5);
  EXPECT_LT(Y(1, 1), 1.0);
  EXPECT_EQ(Y.col(2), before.col(2));
  EXPECT_EQ(Y.col(3), before.col(3));
}

TEST(SolverForm, TakesTheLowerTriangleAndAddsTheDiagonal) {
  Sparse lower = lowerFrom(3, {{0, 0, 1.0}, {2, 0, 5.0}, {1, 1, 2.0}, {2, 2, 3.0}});
  Sparse full = lowerFrom(3, {{0, 0, 1.0}, {2, 0, 5.0}, {0, 2, 5.0}, {1, 1, 2.0}});
  Sparse own;

  EXPECT_EQ(&si::solverForm(lower, own), &lower);
  Sparse& made = si::solverForm(full, own);

  EXPECT_EQ(&made, &own);
  EXPECT_EQ(made.nonZeros(), 4);
  EXPECT_EQ(made.coeff(2, 0), 5.0);
  EXPECT_EQ(made.coeff(0, 2), 0.0);
  EXPECT_EQ(made.coeff(2, 2), 0.0);
}

}  // namespace
