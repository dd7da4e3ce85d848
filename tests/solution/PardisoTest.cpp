#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "Engines.h"
#include "solution/Pardiso.h"
#include "support/CaptureStdout.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;
using Sparse = Eigen::SparseMatrix<double, 0, int>;

const char kSolveLine[] = "\nPardiso: error in the solve phase: ";

Eigen::VectorXd Ones(int n) {
  return Eigen::VectorXd::Ones(n);
}

// Upper triangle {4, 1, 0; 3, 1; 5} as the solver wants it.
Sparse SmallMatrix() {
  return LowerTriangle(3, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 3.0}, {2, 3, 1.0}, {3, 3, 5.0}});
}

class PardisoContract : public ::testing::TestWithParam<PardisoEngine> {
protected:
  void Choose(Pardiso& solver) const { ASSERT_TRUE(solver.SetEngine(GetParam())); }
};

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

// What must never reach the solver, named.
struct Misread {
  const char* name;
  Sparse matrix;
  bool compressed = true;

  // Copying a matrix compresses it, so the spoilt state is made in place.
  void SpoilInto(Sparse& a) const {
    a = matrix;
    if (!compressed) a.uncompress();
  }
};

std::vector<Misread> MisreadMatrices() {
  const auto fromTriplets = [](int rows, int cols, std::vector<Eigen::Triplet<double, int>> t) {
    Sparse a(rows, cols);
    a.setFromTriplets(t.begin(), t.end());
    return a;
  };
  std::vector<Misread> all;
  all.push_back({"empty", Sparse(0, 0)});
  all.push_back({"not square", fromTriplets(3, 2, {{0, 0, 1.0}, {1, 1, 1.0}})});
  all.push_back({"no terms", Sparse(3, 3)});
  all.push_back(
      {"missing diagonal", fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 2, 5.0}, {2, 1, 1.0}})});
  all.push_back({"missing last diagonal", fromTriplets(2, 2, {{0, 0, 4.0}, {1, 0, 1.0}})});
  all.push_back({"upper triangle", fromTriplets(2, 2, {{0, 0, 4.0}, {0, 1, 1.0}, {1, 1, 4.0}})});
  all.push_back({"both triangles", fromTriplets(2, 2, {{0, 0, 4.0}, {0, 1, 1.0}, {1, 0, 1.0}, {1, 1, 4.0}})});
  all.push_back({"uncompressed", SmallMatrix(), false});
  Sparse unsorted = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  std::swap(unsorted.innerIndexPtr()[1], unsorted.innerIndexPtr()[2]);
  all.push_back({"unsorted", unsorted});
  Sparse repeated = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  repeated.innerIndexPtr()[2] = 1;
  all.push_back({"repeated row", repeated});
  Sparse outside = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  outside.innerIndexPtr()[1] = 3;
  all.push_back({"row outside", outside});
  return all;
}

TEST_P(PardisoContract, MatrixThatWouldBeMisreadIsRefusedBeforeTheSolverSeesIt) {
  for (const Misread& bad : MisreadMatrices()) {
    Sparse a;
    bad.SpoilInto(a);
    Pardiso solver(a, 1);
    Choose(solver);
    for (const bool positiveDefinite : {true, false}) {
      bool ok = true;

      const std::string text = StdoutOf([&] { ok = solver.factorize(positiveDefinite); });

      EXPECT_FALSE(ok) << bad.name;
      EXPECT_EQ(text, "ERROR during symbolic factorization: -1\n") << bad.name;
      EXPECT_EQ(solver.lastError(), PardisoInconsistent) << bad.name;
      EXPECT_FALSE(solver.isFactorized()) << bad.name;
    }
  }
}

TEST_P(PardisoContract, MatrixSpoiltAfterFactorisationIsRefusedInTheSolve) {
  for (const Misread& bad : MisreadMatrices()) {
    Sparse a = LowerTriangle(3, FillProfile({0, 1, 2, 3}, 5));  // 6 terms, as none of the spoilt ones
    Pardiso solver(a, 1);
    Choose(solver);
    ASSERT_TRUE(solver.factorize(true));
    CVector b(3, 1.0);
    bool ok = true;
    bad.SpoilInto(a);

    const std::string text = StdoutOf([&] { ok = solver.solve(b); });

    EXPECT_FALSE(ok) << bad.name;
    EXPECT_EQ(text, kSolveLine) << bad.name;
    EXPECT_EQ(solver.lastError(), PardisoInconsistent) << bad.name;
  }
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

TEST_P(PardisoContract, CopyReadsTheSameFactors) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  const Eigen::VectorXd expected = solver.solve(Ones(3));

  Pardiso copy(solver);

  EXPECT_TRUE(copy.isFactorized());
  EXPECT_EQ(copy.Engine(), GetParam());
  EXPECT_EQ(copy.solve(Ones(3)), expected);
  EXPECT_EQ(solver.solve(Ones(3)), expected);
}

TEST_P(PardisoContract, DisposingThroughACopyLeavesTheOriginalUnfactorised) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  Pardiso copy(solver);
  CVector b(3, 1.0);

  copy.disposeFactors();

  EXPECT_FALSE(solver.isFactorized());
  StdoutOf([&] { EXPECT_FALSE(solver.solve(b)); });
  EXPECT_EQ(solver.lastError(), PardisoInconsistent);
  solver.disposeFactors();
  EXPECT_TRUE(solver.factorize(true));
  EXPECT_TRUE(solver.solve(b));
  EXPECT_FALSE(copy.isFactorized());
}

TEST_P(PardisoContract, LastOwnerKeepsTheFactorsAlive) {
  Sparse a = SmallMatrix();
  auto solver = std::make_unique<Pardiso>(a, 1);
  Choose(*solver);
  ASSERT_TRUE(solver->factorize(true));
  Pardiso copy(*solver);

  solver.reset();
  const Eigen::VectorXd x = copy.solve(Ones(3));

  EXPECT_TRUE(Solves(a, x.data(), Ones(3).data()));
}

TEST_P(PardisoContract, FactorisingThroughACopyLeavesTheOriginalsFactors) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  Pardiso copy(solver);

  ASSERT_TRUE(copy.factorize(false));
  copy.disposeFactors();
  const Eigen::VectorXd x = solver.solve(Ones(3));

  EXPECT_TRUE(solver.isFactorized());
  EXPECT_TRUE(Solves(a, x.data(), Ones(3).data()));
}

TEST_P(PardisoContract, CopyOfAnUnfactorisedObjectStaysUnfactorised) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  Pardiso copy(solver);

  ASSERT_TRUE(solver.factorize(true));

  EXPECT_TRUE(solver.isFactorized());
  EXPECT_FALSE(copy.isFactorized());
  solver.disposeFactors();
  EXPECT_TRUE(copy.factorize(true));
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
