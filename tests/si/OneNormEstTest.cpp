#include "si/OneNormEst.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "support/CaptureStdout.h"
#include "support/OneNormTranscription.h"
#include "support/RandomMatrix.h"

using namespace test_support;

namespace {

// A dense symmetric operator that writes down the blocks it is given.
struct Recording {
  explicit Recording(Eigen::MatrixXd a) : matrix(std::move(a)) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    blocks.push_back(X);
    Y = matrix * X;
  }
  bool ok() const { return succeeds; }
  Eigen::MatrixXd matrix;
  std::vector<Eigen::MatrixXd> blocks;
  bool succeeds = true;
};

Eigen::MatrixXd RandomSymmetricMatrix(int n, unsigned seed) {
  RandomNumbers random(seed);
  Eigen::MatrixXd a(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) a(i, j) = a(j, i) = random.Signed();
  return a;
}

double ExactNorm(const Eigen::MatrixXd& a) {
  return a.cwiseAbs().colwise().sum().maxCoeff();
}

double Estimate(Recording& op, int n, int t, std::mt19937& engine) {
  si::OneNormEstParams params = {n, t};
  double result = -1.0;
  si::OneNormEst(params, op, op, result, engine);
  EXPECT_EQ(params.n, n);
  EXPECT_EQ(params.t, t);
  return result;
}

void ExpectSameBlocks(const std::vector<Eigen::MatrixXd>& blocks,
                      const std::vector<Eigen::MatrixXd>& expected) {
  ASSERT_EQ(blocks.size(), expected.size());
  for (std::size_t k = 0; k < blocks.size(); ++k) EXPECT_EQ(blocks[k], expected[k]) << "application " << k;
}

}  // namespace

class OneNormSteps : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Sizes, OneNormSteps, ::testing::Values(1, 2, 3, 4, 5, 50));

TEST_P(OneNormSteps, AgreeWithTheTranscription) {
  const int n = GetParam();
  for (int t = 1; t <= 6; ++t)
    for (unsigned seed = 1; seed <= 40; ++seed) {
      SCOPED_TRACE("t " + std::to_string(t) + " seed " + std::to_string(seed));
      Recording op(RandomSymmetricMatrix(n, seed));
      std::mt19937 engine(seed), same(seed);

      const double result = Estimate(op, n, t, engine);
      const OneNormTrace expected = TranscribedOneNorm(
          n, t, [&](const Eigen::MatrixXd& x) { return Eigen::MatrixXd(op.matrix * x); }, same);

      ExpectSameBlocks(op.blocks, expected.blocks);
      EXPECT_NEAR(result, expected.result, 1e-14 * expected.result);
      EXPECT_EQ(engine(), same()) << "as many random numbers were drawn";
      EXPECT_LE(op.blocks.size(), 10u);
      EXPECT_GT(result, 0.0);
      EXPECT_LE(result, ExactNorm(op.matrix) * (1.0 + 1e-10));
      EXPECT_TRUE(op.blocks.size() < 3 || op.blocks[2].isZero(0.0)) << "second iteration";
    }
}

TEST(OneNormEst, StartBlockIsOnesAndSignsOverTheDimension) {
  Recording op(RandomSymmetricMatrix(10, 3));
  std::mt19937 engine, same;

  Estimate(op, 10, 3, engine);

  Eigen::MatrixXd expected(10, 3);
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 10; ++i) expected(i, j) = si::RandomSign(10, same) / 10.0;
  expected.col(0).setConstant(1.0 / 10.0);
  EXPECT_EQ(op.blocks[0], expected);
}

TEST(OneNormEst, RandomSignIsPlusAboveHalfTheDimension) {
  std::mt19937 engine, same;
  for (int n : {1, 2, 3, 10, 1000})
    for (int k = 0; k < 200; ++k) {
      std::uniform_int_distribution<int> draw(0, n - 1);
      const double expected = draw(same) > n / 2 ? 1.0 : -1.0;
      EXPECT_EQ(si::RandomSign(n, engine), expected);
    }
  EXPECT_EQ(si::RandomSign(1, engine), -1.0);
}

TEST(OneNormEst, OneByOneGivesTheAbsoluteValue) {
  for (double a : {3.5, -2.25, 1e-300}) {
    Recording op(Eigen::MatrixXd::Constant(1, 1, a));
    std::mt19937 engine;

    EXPECT_EQ(Estimate(op, 1, 4, engine), std::fabs(a));
    for (const auto& block : op.blocks) EXPECT_EQ(block.cols(), 1) << "t is taken as n";
  }
}

TEST(OneNormEst, IdentityGivesOne) {
  for (int n : {1, 2, 3, 4, 5, 50, 333}) {
    Recording op(Eigen::MatrixXd::Identity(n, n));
    std::mt19937 engine;

    EXPECT_NEAR(Estimate(op, n, 4, engine), 1.0, 1e-14) << n;
  }
}

TEST(OneNormEst, EmptyOperatorGivesZeroWithoutAnApplication) {
  for (int n : {0, -3}) {
    Recording op(Eigen::MatrixXd(0, 0));
    std::mt19937 engine, same;

    EXPECT_EQ(Estimate(op, n, 4, engine), 0.0);
    EXPECT_TRUE(op.blocks.empty());
    EXPECT_EQ(engine(), same());
  }
}

TEST(OneNormEst, NonnegativeMatrixIsBoundedByItsMeanColumn) {
  // The column of ones/n alone gives the mean column sum of a matrix without negative entries.
  Recording op(RandomSymmetricMatrix(50, 9).cwiseAbs());
  std::mt19937 engine;

  EXPECT_GE(Estimate(op, 50, 4, engine), op.matrix.sum() / 50 * (1 - 1e-14));
}

TEST(OneNormEst, SuccessiveEstimatesContinueTheSequence) {
  Recording first(RandomSymmetricMatrix(50, 1)), second(first.matrix), fresh(first.matrix);
  std::mt19937 engine, other;

  Estimate(first, 50, 4, engine);
  Estimate(second, 50, 4, engine);
  Estimate(fresh, 50, 4, other);

  EXPECT_NE(first.blocks[0], second.blocks[0]);
  EXPECT_EQ(first.blocks[0], fresh.blocks[0]);
}

TEST(OneNormEst, FailingOperatorIsAnnouncedAfterEachApplicationAndTheEstimateGoesOn) {
  Recording op(RandomSymmetricMatrix(20, 1));
  op.succeeds = false;
  std::mt19937 engine;

  const std::string text = StdoutOf([&] { EXPECT_GT(Estimate(op, 20, 4, engine), 0.0); });

  std::string expected;
  for (std::size_t k = 0; k < op.blocks.size(); ++k) expected += "Failure to solve RHS in condest.\n";
  EXPECT_EQ(text, expected);
}

TEST(OneNormEst, OperatorThatWritesNothingGivesZero) {
  struct Silent {
    void operator()(const Eigen::MatrixXd&, Eigen::MatrixXd&) {}
    bool ok() const { return true; }
  } op;
  si::OneNormEstParams params = {7, 4};
  double result = -1.0;
  std::mt19937 engine;

  si::OneNormEst(params, op, op, result, engine);

  EXPECT_EQ(result, 0.0);
}

TEST(OneNormEst, NaNAndInfinityEndWithoutHarm) {
  for (double bad : {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
    for (int where : {0, 7, 19}) {
      Recording op(RandomSymmetricMatrix(20, 2));
      op.matrix(where, where) = bad;
      std::mt19937 engine;

      const double result = Estimate(op, 20, 4, engine);

      EXPECT_LE(op.blocks.size(), 10u);
      EXPECT_FALSE(std::isnan(result));
    }
}

TEST(OneNormEst, IndexTestIsStrict) {
  EXPECT_NO_THROW(si::onenorm::CheckIndex(5, 5));
  try {
    si::onenorm::CheckIndex(6, 5);
    FAIL() << "an index beyond n passed";
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "OneNormEst: Error in accessing vector index");
  }
}

TEST(OneNormEst, BoundOfTheSignTestNeedsSixtyFourBits) {
  // t·n·n of 4 and 50,000 is 1e10; in 32 bits it would wrap to a value the sums can reach.
  const int n = 50000;
  struct Scaling {
    int n, calls = 0;
    void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
      ++calls;
      Y = X;
      for (int i = 0; i < n; ++i) Y.row(i) *= 1.0 + i;
    }
    bool ok() const { return true; }
  } op{n};
  si::OneNormEstParams params = {n, 4};
  double result = 0.0;
  std::mt19937 engine;

  si::OneNormEst(params, op, op, result, engine);

  EXPECT_GT(op.calls, 4);
  EXPECT_DOUBLE_EQ(result, n);
}
