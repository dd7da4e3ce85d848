#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "SolnFixture.h"
#include "si/OneNormEst.h"
#include "si/gep11.h"
#include "solution/CSolnMatrix.h"
#include "solution/NormOperators.h"
#include "support/CaptureStdout.h"
#include "support/DenseReference.h"
#include "support/Engines.h"
#include "support/OneNormTranscription.h"
#include "support/RandomMatrix.h"
#include "support/TrussGrid.h"

using namespace Vessa::Matrix;
using namespace test_support;

namespace {

std::vector<Term> IdentityTerms(int n) {
  std::vector<Term> terms;
  for (int i = 1; i <= n; ++i) terms.push_back({i, i, 1.0});
  return terms;
}

std::unique_ptr<CSolnMatrix> Reduced(int method, int n, const std::vector<Term>& terms,
                                     CReport* log = nullptr) {
  auto k = Finalised(method, n, terms, log);
  EXPECT_TRUE(Quietly([&] { return k->Reduce(OptStiffness); }));
  return k;
}

double ExactCondition(int n, const std::vector<Term>& terms) {
  const Dense a = DenseOf(n, terms);
  return static_cast<double>(OneNorm(a) * InverseOneNorm(a));
}

const std::string kEnter = "DEBUG - -->Vessa::Matrix::CSolnMatrix::CondEst\n";
const std::string kLeave = "DEBUG - <--Vessa::Matrix::CSolnMatrix::CondEst\n";

// Records what the estimator hands to an operator of the library.
template <class Operator>
struct Recorded {
  Operator op;
  std::vector<Eigen::MatrixXd> blocks;
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    blocks.push_back(X);
    op(X, Y);
  }
  bool ok() const { return op.ok(); }
};

template <class Operator>
void ExpectTranscribedSteps(int n, Operator op, double exact) {
  Recorded<Operator> recorded{op, {}};
  si::OneNormEstParams params = {n, std::min(n, 4)};
  std::mt19937 engine, same;
  double result = -1.0;

  si::OneNormEst(params, recorded, recorded, result, engine);
  const OneNormTrace expected = TranscribedOneNorm(
      n, params.t,
      [&](const Eigen::MatrixXd& x) {
        Eigen::MatrixXd y = Eigen::MatrixXd::Zero(x.rows(), x.cols());
        op(x, y);
        return y;
      },
      same);

  EXPECT_EQ(recorded.blocks, expected.blocks);
  EXPECT_LE(recorded.blocks.size(), 10u);
  EXPECT_NEAR(result, expected.result, 1e-14 * expected.result);
  EXPECT_GT(result, 0.0);
  EXPECT_LE(result, exact * (1.0 + 1e-10));
}

class CondEstMethods : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(WithAnEngine, CondEstMethods, ::testing::Values(0, 4, 6));

}  // namespace

class CondEstSizes : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Traced, CondEstSizes, ::testing::Values(1, 2, 3, 4, 5, 50));

TEST_P(CondEstSizes, ProductAndSolveOperatorsOfEveryMethodFollowTheSteps) {
  const int n = GetParam();
  const std::vector<Term> terms = RandomSpd(n, 4, 100 + n);
  const Dense dense = DenseOf(n, terms);
  const double norm = static_cast<double>(OneNorm(dense)),
               inverse = static_cast<double>(InverseOneNorm(dense));

  const auto assembled = Finalised(0, n, terms), skyline = Reduced(0, n, terms),
             pardiso = Reduced(6, n, terms);
  CCompColumn column;
  CMatInt pattern;
  for (const Term& t : terms) pattern.SetVal(t.i, t.j), pattern.SetVal(t.j, t.i);
  pattern.Sort();
  column.Set(pattern);
  for (const Term& t : terms) {
    column.AddAt(t.i, t.j, t.value);
    if (t.i != t.j) column.AddAt(t.j, t.i, t.value);
  }
  ASSERT_EQ(column.Reduce(true, 1e-40), n);

  ExpectTranscribedSteps(n, norm::SkylineProduct(assembled->getSkyLine()), norm);
  ExpectTranscribedSteps(n, norm::SkylineProduct(skyline->getSkyLine()), norm);
  ExpectTranscribedSteps(n, norm::SkylineSolve(skyline->getSkyLine()), inverse);
  ExpectTranscribedSteps(n, norm::CompColumnProduct(column), norm);
  ExpectTranscribedSteps(n, norm::CompColumnSolve(column), inverse);
  ExpectTranscribedSteps(n, norm::SparseProduct(pardiso->getEigenSparse()), norm);
  ExpectTranscribedSteps(n, norm::PardisoSolve(pardiso->getPardiso(), false), inverse);
  ExpectTranscribedSteps(n, norm::PardisoSolve(pardiso->getPardiso(), true), inverse);
}

TEST_P(CondEstMethods, IdentityGivesOne) {
  for (int n : {1, 2, 3, 4, 5, 50}) {
    const auto k = Reduced(GetParam(), n, IdentityTerms(n));

    EXPECT_NEAR(Quietly([&] { return k->CondEst(); }), 1.0, 1e-13) << n;
    EXPECT_NEAR(k->CondEstRefined(), 1.0, 1e-13) << n;
  }
}

TEST_P(CondEstMethods, IsALowerBoundAndTheRefinedOneIsExactOnSmallStructures) {
  for (auto [nx, ny] : {std::pair{1, 1}, {4, 2}, {8, 3}}) {
    const TrussGrid truss(nx, ny);
    const auto k = Reduced(GetParam(), truss.n, truss.terms);
    const double exact = ExactCondition(truss.n, truss.terms);

    const double plain = Quietly([&] { return k->CondEst(); }), refined = k->CondEstRefined();

    EXPECT_GT(plain, 0.0);
    EXPECT_LE(plain, exact * (1 + 1e-10));
    EXPECT_NEAR(refined, exact, 1e-9 * exact) << truss.n;
  }
}

TEST_P(CondEstMethods, RefinedIsWithinAFactorThreeOnRandomMatrices) {
  int exactOnes = 0, all = 0;
  for (int n : {1, 2, 7, 9, 30, 90})
    for (unsigned seed = 1; seed <= 5; ++seed) {
      const std::vector<Term> terms = RandomIndefinite(n, 6, n / 3, seed);
      const auto k = Finalised(GetParam(), n, terms);
      ASSERT_TRUE(Quietly([&] { return k->Reduce(OptSturm); }));
      const double exact = ExactCondition(n, terms), refined = k->CondEstRefined();

      EXPECT_GE(refined, exact / 3) << n << " seed " << seed;
      EXPECT_LE(refined, exact * (1 + 1e-10));
      exactOnes += refined >= exact * (1 - 1e-9);
      ++all;
    }
  EXPECT_GE(exactOnes, 0.9 * all) << exactOnes << " of " << all << " exact";
}

TEST_P(CondEstMethods, RefinedIsTheSameEveryTime) {
  const auto k = Reduced(GetParam(), 60, RandomSpd(60, 5, 3));

  const double first = k->CondEstRefined();
  Quietly([&] { return k->CondEst(); });

  EXPECT_EQ(k->CondEstRefined(), first);
}

TEST_P(CondEstMethods, RefinedWritesNoTraceAndThePlainOneBothLines) {
  CReport report;
  const auto k = Reduced(GetParam(), 5, RandomSpd(5, 3, 3), &report);

  EXPECT_EQ(StdoutOf([&] { k->CondEstRefined(); }), "");
  EXPECT_EQ(StdoutOf([&] { k->CondEst(); }), kEnter + kLeave);
  EXPECT_EQ(report.NumLog(), 0);
}

TEST_P(CondEstMethods, NoDofsGiveZero) {
  const auto k = Finalised(GetParam(), 0, {});

  EXPECT_EQ(Quietly([&] { return k->CondEst(); }), 0.0);
}

TEST_P(CondEstMethods, RefinedWithoutFactorsSaysSo) {
  if (GetParam() == 6) GTEST_SKIP() << "PARDISO factorises by itself";
  CReport report;
  const auto k = Finalised(GetParam(), 5, RandomSpd(5, 3, 3), &report);

  EXPECT_EQ(k->CondEstRefined(), 0.0);

  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogStatus(0), 2);
  EXPECT_EQ(report.LogMessage(0), "CondEstRefined: the matrix is not reduced");
}

TEST(CondEst, MethodsWithoutAnEngineGiveZeroAndWriteBothLines) {
  for (int method : {1, 3}) {
    const auto k = Finalised(method, 5, RandomSpd(5, 3, 3));
    double result = -1.0;

    EXPECT_EQ(StdoutOf([&] { result = k->CondEst(); }), kEnter + kLeave);
    EXPECT_EQ(result, 0.0);
    EXPECT_EQ(k->CondEstRefined(), 0.0);
  }
}

TEST(CondEst, ExitLineIsWrittenWhenTheEngineThrows) {
  CSolnMatrix k;  // dofs, but no storage behind them
  k.SetNumDof(3);

  const std::string text = StdoutOf([&] { EXPECT_THROW(k.CondEst(), std::exception); });

  EXPECT_EQ(text, kEnter + kLeave);
}

TEST(CondEst, PardisoNotesTheNumberOfThreadsAndFactorisesOnDemand) {
  CReport report;
  const auto k = Finalised(6, 5, RandomSpd(5, 3, 3), &report), silent = Finalised(6, 5, RandomSpd(5, 3, 3));

  EXPECT_GT(Quietly([&] { return k->CondEst(); }), 0.0);
  EXPECT_GT(Quietly([&] { return silent->CondEst(); }), 0.0);

  const std::string prefix = "\tNumber of threads = ";
  ASSERT_EQ(report.Note().compare(0, prefix.size(), prefix), 0) << report.Note();
  EXPECT_GE(std::stoi(report.Note().substr(prefix.size())), 1);
  EXPECT_EQ(report.NumLog(), 0);
  EXPECT_TRUE(k->getPardiso().isFactorized());
}

TEST(CondEst, RefinedFactorisesPardisoOnDemand) {
  const std::vector<Term> terms = RandomIndefinite(20, 4, 7, 1);
  const auto k = Finalised(6, 20, terms);

  EXPECT_NEAR(k->CondEstRefined(), ExactCondition(20, terms), 1e-9 * ExactCondition(20, terms));
}

TEST(CondEst, DimensionOtherThanTheDofsLimitsTheBlock) {
  const auto wide = Reduced(0, 6, IdentityTerms(6)), narrow = Reduced(0, 2, IdentityTerms(2));
  CSolnMatrix k(*wide);
  k.getSkyLine() = narrow->getSkyLine();

  EXPECT_NEAR(Quietly([&] { return k.CondEst(); }), 1.0, 1e-13);
}

TEST(CondEst, ConditionOfASpringChainIsTheOneKnown) {
  // Chain of n springs with both ends held: norm 4, largest column of the inverse m(n+1-m)/2 at its middle m.
  const int n = 101;
  std::vector<Term> terms;
  for (int i = 1; i <= n; ++i) terms.push_back({i, i, 2.0});
  for (int i = 1; i < n; ++i) terms.push_back({i, i + 1, -1.0});
  for (int method : {0, 4, 6})
    EXPECT_NEAR(Reduced(method, n, terms)->CondEstRefined(), 4.0 * 51 * 51 / 2, 1e-8) << method;
}

TEST(CondEst, NaNInTheFactorsIsShown) {
  std::vector<Term> terms = IdentityTerms(12);
  terms[5].value = std::numeric_limits<double>::quiet_NaN();
  const auto k = Finalised(0, 12, terms);
  Quietly([&] { return k->Reduce(OptStiffness); });

  EXPECT_TRUE(std::isnan(k->CondEstRefined()));
}

TEST(CondEst, FirstEstimateOfAFreshProcessIsReproducible) {
  const auto run = [] {
    std::FILE* pipe = popen(VEMATRIX_CONDEST_FIRST, "r");
    char line[200] = "";
    EXPECT_NE(pipe, nullptr);
    EXPECT_NE(std::fgets(line, sizeof line, pipe), nullptr);
    EXPECT_EQ(pclose(pipe), 0);
    return std::string(line);
  };
  const std::string once = run();
  double first = 0.0, second = 0.0;
  ASSERT_EQ(std::sscanf(once.c_str(), "%la %la", &first, &second), 2);

  EXPECT_EQ(run(), once);

  // Default seed, product before solve; the second estimate goes on in the sequence.
  const int n = 60;
  const auto k = Reduced(0, n, RandomSpd(n, 5, 17));
  norm::SkylineProduct product(k->getSkyLine());
  norm::SkylineSolve solve(k->getSkyLine());
  std::mt19937 engine;
  for (double estimate : {first, second}) {
    si::OneNormEstParams params = {n, 4};
    double normA = 0.0, normInv = 0.0;
    si::OneNormEst(params, product, product, normA, engine);
    si::OneNormEst(params, solve, solve, normInv, engine);
    EXPECT_EQ(estimate, normInv * normA);
  }
}

// ---- the eigensolver's estimate

TEST(Gep11CondEst, IsALowerBoundFromTheExactNorm) {
  for (int n : {1, 3, 5, 40}) {
    const std::vector<Term> terms = RandomIndefinite(n, 4, n / 2, 5);
    Eigen::SparseMatrix<double, 0, int> a = LowerTriangle(n, terms), b = LowerTriangle(n, IdentityTerms(n));
    double shift = 0.0;
    si::gep11 solver(a, b, 1, 1, 1e-8, shift, si::SHIFT_NONE, 10);

    const double estimate = Quietly([&] { return solver.condest(a); });

    EXPECT_GT(estimate, 0.0);
    EXPECT_LE(estimate, ExactCondition(n, terms) * (1 + 1e-10));
  }
}

TEST(Gep11CondEst, SingularMatrixIsAnnouncedAndGivesANumber) {
  const std::vector<Term> singular[] = {
      {{1, 1, 0.0}}, {{1, 1, 1.0}, {1, 2, -1.0}, {2, 2, 1.0}}, {{1, 1, 0.0}, {2, 2, 0.0}, {3, 3, 0.0}}};
  for (const auto engine : AvailableEngines())
    for (const std::vector<Term>& terms : singular) {
      const int n = terms.back().j;
      Eigen::SparseMatrix<double, 0, int> a = LowerTriangle(n, terms), b = LowerTriangle(n, IdentityTerms(n));
      double shift = 0.0, estimate = -1.0;
      si::gep11 solver(a, b, 1, 1, 1e-8, shift, si::SHIFT_NONE, 10);
      ASSERT_TRUE(solver.SetEngine(engine));

      const std::string text = StdoutOf([&] { estimate = solver.condest(a); });

      EXPECT_EQ(text, "Failure to factorize matrix in condest.\n") << n;
      EXPECT_GE(estimate, 0.0) << n;
    }
}

TEST(Gep11CondEst, FailedFactorisationIsAnnouncedAndGivesANumber) {
  // A missing diagonal entry is refused before the solver sees it; every solve then fails too.
  Eigen::SparseMatrix<double, 0, int> a(3, 3), b = LowerTriangle(3, IdentityTerms(3));
  a.insert(0, 0) = 1.0;
  a.insert(2, 2) = 1.0;
  a.makeCompressed();
  double shift = 0.0, estimate = -1.0;
  si::gep11 solver(a, b, 1, 1, 1e-8, shift, si::SHIFT_NONE, 10);

  const std::string text = StdoutOf([&] { estimate = solver.condest(a); });

  EXPECT_NE(text.find("Failure to factorize matrix in condest.\n"), std::string::npos);
  EXPECT_NE(text.find("Failure to solve RHS in condest.\n"), std::string::npos);
  EXPECT_NE(text.find("\nPardiso: error in the solve phase: "), std::string::npos);
  EXPECT_EQ(estimate, 0.0);
}
