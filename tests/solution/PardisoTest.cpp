#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include "PardisoFixture.h"
#include "support/CaptureStdout.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

INSTANTIATE_TEST_SUITE_P(EveryEngine, PardisoContract, ::testing::ValuesIn(AvailableEngines()), EngineName);

TEST_P(PardisoContract, NewObjectHasNoFactorsAndNoError) {
  Sparse a = SmallMatrix();

  const Pardiso solver(a, 1);

  EXPECT_FALSE(solver.isFactorized());
  EXPECT_EQ(solver.lastError(), PardisoOk);
  EXPECT_EQ(solver.negative_evals(), 0);
}

TEST_P(PardisoContract, EveryFormOfSolveReachesTheSameBackwardError) {
  for (const int n : {1, 2, 3, 4, 5, 7, 8, 16, 33, 150}) {
    const std::vector<Term> terms = RandomSpd(n, 4, 100 + n);
    const std::vector<double> load = RandomVector(n, 200 + n);
    const Eigen::VectorXd b = Eigen::Map<const Eigen::VectorXd>(load.data(), n);
    Sparse a = LowerTriangle(n, terms);
    for (const bool positiveDefinite : {true, false}) {
      Pardiso solver(a, 1);
      Choose(solver);

      ASSERT_TRUE(solver.factorize(positiveDefinite)) << "n = " << n;
      const Eigen::VectorXd returned = solver.solve(b);
      Eigen::VectorXd written(n);
      ASSERT_TRUE(solver.SolveX(b, written));
      CVector inPlace(b);
      ASSERT_TRUE(solver.solve(inPlace));

      EXPECT_TRUE(solver.isFactorized());
      EXPECT_EQ(solver.lastError(), PardisoOk);
      EXPECT_TRUE(Solves(n, terms, returned.data(), load.data())) << "n = " << n;
      EXPECT_TRUE(Solves(n, terms, written.data(), load.data())) << "n = " << n;
      EXPECT_TRUE(Solves(n, terms, inPlace.Array(), load.data())) << "n = " << n;
    }
  }
}

TEST_P(PardisoContract, ManyColumnsAreSolvedAtOnceAndTheLoadsStay) {
  const int n = 60, columns = 7;
  const std::vector<Term> terms = RandomIndefinite(n, 5, 20, 11);
  Sparse a = LowerTriangle(n, terms);
  const Eigen::MatrixXd loads = Eigen::MatrixXd::Random(n, columns), before = loads;
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(false));
  CVector first(n, 1.0);
  ASSERT_TRUE(solver.solve(first));  // leaves the mode "solution to b"
  Eigen::MatrixXd x = Eigen::MatrixXd::Constant(n, columns, -7.0);

  ASSERT_TRUE(SolveMulti(solver, loads, x));

  EXPECT_EQ(loads, before);
  for (int c = 0; c < columns; ++c)
    EXPECT_TRUE(Solves(n, terms, x.col(c).data(), before.col(c).data())) << "column " << c;
}

TEST_P(PardisoContract, ManyColumnsMayBeSolvedInPlace) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  Eigen::MatrixXd x = Eigen::MatrixXd::Identity(3, 3);
  Eigen::MatrixXd separate(3, 3);

  ASSERT_TRUE(SolveMulti(solver, Eigen::MatrixXd::Identity(3, 3), separate));
  ASSERT_TRUE(SolveMulti(solver, x, x));

  EXPECT_EQ(x, separate);
}

TEST_P(PardisoContract, NoColumnsAreSolvedAtOnce) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  const Eigen::MatrixXd none(3, 0);
  Eigen::MatrixXd x(3, 0);

  EXPECT_TRUE(SolveMulti(solver, none, x));
  EXPECT_EQ(solver.lastError(), PardisoOk);
}

TEST_P(PardisoContract, InertiaIsTheDenseOne) {
  for (const int negative : {0, 1, 2, 13, 40}) {
    const int n = 40;
    const std::vector<Term> terms = RandomIndefinite(n, 4, negative, 300 + negative);
    Sparse a = LowerTriangle(n, terms);
    Pardiso solver(a, 1);
    Choose(solver);

    ASSERT_TRUE(solver.factorize(false));

    EXPECT_EQ(InertiaOf(DenseOf(n, terms)).negative, negative);
    EXPECT_EQ(solver.negative_evals(), negative);
  }
}

TEST_P(PardisoContract, ZeroDiagonalSaddlePointHasOneNegativeEigenvalue) {
  const std::vector<Term> terms = {{1, 1, 0.0}, {1, 2, 2.0}, {2, 2, 0.0}};
  Sparse a = LowerTriangle(2, terms);
  Pardiso solver(a, 1);
  Choose(solver);

  ASSERT_TRUE(solver.factorize(false));
  const Eigen::VectorXd b = Eigen::Vector2d(6.0, -4.0);
  const Eigen::VectorXd x = solver.solve(b);

  EXPECT_EQ(solver.negative_evals(), 1);
  EXPECT_TRUE(Solves(2, terms, x.data(), b.data()));
}

TEST_P(PardisoContract, NonPositivePivotFailsThePositiveDefiniteMode) {
  const std::vector<std::vector<Term>> matrices = {
      {{1, 1, 1.0}, {1, 2, 1.0}, {2, 2, 1.0}},  // singular
      {{1, 1, 1.0}, {1, 2, 2.0}, {2, 2, 1.0}},  // indefinite
      {{1, 1, -1.0}, {2, 2, 1.0}},              // negative diagonal
      {{1, 1, 0.0}, {2, 2, 1.0}},               // zero diagonal
  };
  for (std::size_t k = 0; k < matrices.size(); ++k) {
    Sparse a = LowerTriangle(2, matrices[k]);
    Pardiso solver(a, 1);
    Choose(solver);

    bool ok = true;
    const std::string text = StdoutOf([&] { ok = solver.factorize(true); });

    EXPECT_FALSE(ok) << "matrix " << k;
    EXPECT_EQ(text, "ERROR during numerical factorization: -4\n") << "matrix " << k;
    EXPECT_EQ(solver.lastError(), PardisoZeroPivot) << "matrix " << k;
    EXPECT_FALSE(solver.isFactorized()) << "matrix " << k;
  }
}

/// Springs in a row between n dofs; the first is held by another one to the ground, 0 for none.
Sparse SpringChain(int n, double spring, double ground) {
  std::vector<Term> terms;
  for (int i = 1; i <= n; ++i) {
    const double held = i == 1 ? ground : 0.0;
    terms.push_back({i, i, ((i > 1) + (i < n)) * spring + held});
    if (i < n) terms.push_back({i, i + 1, -spring});
  }
  return LowerTriangle(n, terms);
}

// The last pivot of a free chain is what rounding leaves, of either sign.
TEST_P(PardisoContract, PivotOfRoundingErrorsOnlyFailsThePositiveDefiniteMode) {
  for (const double spring : {1.0, 3.7, 1e9 / 3.0})
    for (const int n : {2, 3, 4, 5, 7, 14, 40, 200, 1000}) {
      Sparse a = SpringChain(n, spring, 0.0);
      Pardiso solver(a, 1);
      Choose(solver);

      const std::string printed =
          StdoutOf([&] { EXPECT_FALSE(solver.factorize(true)) << n << " " << spring; });

      EXPECT_EQ(solver.lastError(), PardisoZeroPivot) << n << " " << spring;
      EXPECT_EQ(printed, "ERROR during numerical factorization: -4\n");
      EXPECT_FALSE(solver.isFactorized());
    }
}

TEST_P(PardisoContract, SmallPivotsWithDigitsLeftPassThePositiveDefiniteMode) {
  for (const double ratio : {1e-3, 1e-8, 1e-11})
    for (const int n : {2, 14, 200}) {
      Sparse a = SpringChain(n, 3.7, ratio * 3.7);
      Pardiso solver(a, 1);
      Choose(solver);

      EXPECT_TRUE(solver.factorize(true)) << n << " " << ratio;
    }
}

// The eigensolvers apply the inverse of nearly singular matrices and look at every result themselves.
TEST_P(PardisoContract, PlainSolvesTakeWhatRoundingLeaves) {
  Sparse a = SpringChain(2, 3.7, 3.7e-15);
  Pardiso solver(a, 1);
  Choose(solver);
  solver.SetPlainSolves(true);

  EXPECT_TRUE(solver.factorize(true));
}

TEST_P(PardisoContract, IndefiniteModeReportsSuccessOnASingularMatrixAndOnlyTheResidualTells) {
  Sparse a = LowerTriangle(2, {{1, 1, 1.0}, {1, 2, 1.0}, {2, 2, 1.0}});
  Pardiso solver(a, 1);
  Choose(solver);

  ASSERT_TRUE(solver.factorize(false));

  EXPECT_EQ(solver.lastError(), PardisoOk);
}

TEST_P(PardisoContract, FailedSecondFactorisationKeepsTheFlagButSolvesNothing) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  a.coeffRef(0, 0) = -4.0;

  bool ok = true;
  StdoutOf([&] { ok = solver.factorize(true); });
  EXPECT_FALSE(ok);
  EXPECT_TRUE(solver.isFactorized());
  EXPECT_EQ(solver.lastError(), PardisoZeroPivot);

  CVector b(3, 1.0);
  const std::string text = StdoutOf([&] { ok = solver.solve(b); });
  EXPECT_FALSE(ok);
  EXPECT_EQ(text, kSolveLine);
  EXPECT_EQ(solver.lastError(), PardisoInconsistent);
}

TEST_P(PardisoContract, FactorisingAgainUsesTheNewValues) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  a *= 2.0;

  ASSERT_TRUE(solver.factorize(false));
  const Eigen::VectorXd b = Ones(3), x = solver.solve(b);

  EXPECT_TRUE(Solves(a, x.data(), b.data()));
}

TEST_P(PardisoContract, MatrixOfAnotherSizeMayBeFactorisedNext) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  a = LowerTriangle(50, RandomSpd(50, 4, 8));

  ASSERT_TRUE(solver.factorize(true));
  const Eigen::VectorXd b = Ones(50), x = solver.solve(b);

  EXPECT_TRUE(Solves(a, x.data(), b.data()));
}

TEST_P(PardisoContract, SolvingWithoutFactorsIsAnErrorInEveryForm) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  CVector b(3, 1.0);
  Eigen::VectorXd x = Ones(3);
  Eigen::MatrixXd many = Eigen::MatrixXd::Ones(3, 2);
  bool ok = true;

  EXPECT_EQ(StdoutOf([&] { ok = solver.solve(b); }), kSolveLine);
  EXPECT_FALSE(ok);
  EXPECT_EQ(solver.lastError(), PardisoInconsistent);

  EXPECT_EQ(StdoutOf([&] { ok = solver.SolveX(Ones(3), x); }), std::string(kSolveLine) + "-1");
  EXPECT_FALSE(ok);

  EXPECT_EQ(StdoutOf([&] { ok = SolveMulti(solver, Eigen::MatrixXd::Ones(3, 2), many); }),
            std::string(kSolveLine) + "-1");
  EXPECT_FALSE(ok);

  try {
    solver.solve(Ones(3));
    FAIL() << "no exception";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "Pardiso: error in the solve phase: -1");
  }
}

TEST_P(PardisoContract, LoadsAndSolutionsOfAnotherSizeAreRefused) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  CVector shortLoad(2, 1.0), none;
  Eigen::VectorXd shortX(2);
  Eigen::MatrixXd narrow(3, 1);

  StdoutOf([&] {
    EXPECT_FALSE(solver.solve(shortLoad));
    EXPECT_FALSE(solver.solve(none));
    EXPECT_FALSE(solver.SolveX(Ones(3), shortX));
    EXPECT_FALSE(solver.SolveX(Ones(4), shortX));
    EXPECT_FALSE(SolveMulti(solver, Eigen::MatrixXd::Ones(3, 2), narrow));
  });
  EXPECT_THROW(solver.solve(Ones(4)), CMatrixError);
  EXPECT_EQ(solver.lastError(), PardisoInconsistent);
  EXPECT_EQ(shortLoad[1], 1.0);

  CVector right(3, 1.0);
  EXPECT_TRUE(solver.solve(right));
  EXPECT_EQ(solver.lastError(), PardisoOk);
}

TEST_P(PardisoContract, DisposingIsHarmlessTwiceAndClearsTheError) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  solver.disposeFactors();
  ASSERT_TRUE(solver.factorize(true));

  solver.disposeFactors();
  EXPECT_FALSE(solver.isFactorized());
  solver.disposeFactors();
  EXPECT_EQ(solver.lastError(), PardisoOk);

  CVector b(3, 1.0);
  StdoutOf([&] { EXPECT_FALSE(solver.solve(b)); });
  EXPECT_TRUE(solver.factorize(true));
  EXPECT_TRUE(solver.solve(b));
}

TEST_P(PardisoContract, SolveXAfterSolveInPlaceWritesX) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  CVector b(3, 1.0);
  ASSERT_TRUE(solver.solve(b));
  Eigen::VectorXd x = Eigen::VectorXd::Constant(3, -7.0);

  ASSERT_TRUE(solver.SolveX(Ones(3), x));

  EXPECT_TRUE(Solves(a, x.data(), Ones(3).data()));
}

TEST_P(PardisoContract, ThreadCountOfTheObjectChangesTheAnswerByRoundingOnly) {
  const int n = 200;
  const std::vector<Term> terms = RandomSpd(n, 6, 17);
  Sparse a = LowerTriangle(n, terms);
  for (const unsigned int threads : {0u, 1u, 2u, 100000u}) {
    Pardiso solver(a, 1);
    Choose(solver);
    solver.SetNumThreads(threads);

    ASSERT_TRUE(solver.factorize(true)) << threads << " threads";
    const Eigen::VectorXd x = solver.solve(Ones(n));

    EXPECT_TRUE(Solves(a, x.data(), Ones(n).data())) << threads << " threads";
  }
}

TEST_P(PardisoContract, NotANumberNeverPassesAsASolution) {
  for (const double poison :
       {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()}) {
    Sparse a = SmallMatrix();
    a.coeffRef(1, 1) = poison;
    Pardiso solver(a, 1);
    Choose(solver);
    bool ok = false;
    StdoutOf([&] { ok = solver.factorize(false); });
    if (!ok) continue;

    const Eigen::VectorXd b = Ones(3), x = solver.solve(b);

    EXPECT_FALSE(Solves(a, x.data(), b.data()));
  }
}

TEST(PardisoEngineChoice, DefaultIsMklWhereThereIsMkl) {
  Sparse a = SmallMatrix();
  const Pardiso solver(a, 1);

  EXPECT_EQ(solver.Engine(), Pardiso::HasEngine(EngineMkl) ? EngineMkl : EngineOwn);
  EXPECT_TRUE(Pardiso::HasEngine(EngineDefault));
}

TEST(PardisoEngineChoice, UnknownEngineIsRefusedAndTheChoiceStays) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  const PardisoEngine before = solver.Engine();

  EXPECT_FALSE(solver.SetEngine(static_cast<PardisoEngine>(7)));
  EXPECT_FALSE(Pardiso::HasEngine(static_cast<PardisoEngine>(7)));
  EXPECT_EQ(solver.Engine(), before);
}

TEST(PardisoEngineChoice, ChangeTakesEffectWithTheNextFactorisation) {
  if (AvailableEngines().size() < 2) GTEST_SKIP() << "this build has one engine only";
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  ASSERT_TRUE(solver.SetEngine(EngineMkl));
  ASSERT_TRUE(solver.factorize(true));

  ASSERT_TRUE(solver.SetEngine(EngineOwn));
  const Eigen::VectorXd old = solver.solve(Ones(3));
  ASSERT_TRUE(solver.factorize(true));
  const Eigen::VectorXd fresh = solver.solve(Ones(3));

  EXPECT_TRUE(Solves(a, old.data(), Ones(3).data()));
  EXPECT_TRUE(Solves(a, fresh.data(), Ones(3).data()));
}

}  // namespace
