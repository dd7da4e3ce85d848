#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SolnReduce.h"
#include "solution/CSolnMatrix.h"
#include "support/Engines.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

class PardisoMethod : public ::testing::TestWithParam<PardisoEngine> {
protected:
  std::unique_ptr<CSolnMatrix> Matrix(int n, const std::vector<Term>& terms, CReport* log = nullptr) const {
    auto k = Finalised(6, n, terms, log);
    EXPECT_TRUE(k->SetPardisoEngine(GetParam()));
    return k;
  }
};
INSTANTIATE_TEST_SUITE_P(EveryEngine, PardisoMethod, ::testing::ValuesIn(AvailableEngines()), EngineName);

TEST_P(PardisoMethod, SingularStiffnessFailsWithTheSwappedCode) {
  const auto k = Matrix(3, kLooseDof);
  std::vector<int> zeroDofs = {9};

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), -5);
  EXPECT_EQ(k->getPardiso().lastError(), PardisoZeroPivot);
  EXPECT_EQ(zeroDofs, std::vector<int>{9});
  EXPECT_FALSE(Quietly([&] { return k->Reduce(OptStiffness); }));
}

TEST_P(PardisoMethod, StructureThatIsSingularUpToRoundingFailsToo) {
  std::vector<Term> free;  // five masses in a row, held by nothing
  for (int i = 1; i <= 5; ++i) {
    free.push_back({i, i, (i > 1 && i < 5 ? 2 : 1) * 3.7});
    if (i < 5) free.push_back({i, i + 1, -3.7});
  }
  const auto k = Matrix(5, free);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), -5);
}

TEST_P(PardisoMethod, EveryOptionButSturmIsPositiveDefinite) {
  const auto k = Matrix(2, kIndefinite);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), -5);
  EXPECT_EQ(ReduceQuietly(*k, 5), -5);
  EXPECT_EQ(ReduceQuietly(*k, OptSturm), 0);
  EXPECT_EQ(k->getPardiso().negative_evals(), 1);
}

TEST_P(PardisoMethod, MatrixWithoutDofsIsAnInputError) {
  const auto k = Matrix(0, {});

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), -1);
}

TEST_P(PardisoMethod, ReduceAgainReplacesTheFactors) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  k->Scale(2.0);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CVector b(2, 8.0);
  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_EQ(b[1], 1.0);
}

TEST_P(PardisoMethod, FailedReduceLeavesNoFactorsBehind) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  k->Scale(-1.0);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), -5);

  EXPECT_FALSE(k->getPardiso().isFactorized());
}

TEST_P(PardisoMethod, SolvingWithoutReduceGoesToTheNoteAndNotToTheLog) {
  CReport report;
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}}, &report);
  report.Note("before");
  CVector b(2, 8.0);

  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_EQ(report.Note(), "Error solving for right hand side (Pardiso error -1).\n");
  EXPECT_EQ(report.NumLog(), 0);
  EXPECT_EQ(report.Status(), 0);
}

TEST_P(PardisoMethod, SolvingWithoutReduceAndWithoutReportIsHarmless) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  CVector b(2, 8.0);

  EXPECT_NO_THROW(Quietly([&] { k->BackSubstitute(b); }));
}

TEST_P(PardisoMethod, SuccessfulSolveLeavesTheNote) {
  CReport report;
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}}, &report);
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  report.Note("before");
  CVector b(2, 8.0);

  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_EQ(report.Note(), "before");
  EXPECT_EQ(b[2], 2.0);
}

TEST_P(PardisoMethod, ManyColumnsAfterASingleSolveAreSolvedToo) {
  const int n = 50, columns = 4;
  const std::vector<Term> terms = RandomSpd(n, 5, 3);
  const auto k = Matrix(n, terms);
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CVector first(n, 1.0);
  Quietly([&] { k->BackSubstitute(first); });
  CMatrix<1> loads(n, columns);
  for (int c = 1; c <= columns; ++c)
    for (int i = 1; i <= n; ++i) loads.SetAt(i, c, 1.0 / (i + c));
  const CMatrix<1> before(loads);
  const double* storage = loads.Array();

  const std::string text = StdoutOf([&] { k->BackSubstitute(loads); });

  EXPECT_EQ(text, "");
  EXPECT_EQ(loads.Array(), storage);
  for (int c = 0; c < columns; ++c)
    EXPECT_TRUE(Solves(n, terms, loads.Array() + c * n, before.Array() + c * n)) << "column " << c;
}

TEST_P(PardisoMethod, FailedSolveOfManyColumnsStillReplacesThem) {
  CReport report;
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}}, &report);
  CMatrix<1> loads(2, 3, 8.0);

  const std::string text = StdoutOf([&] { k->BackSubstitute(loads); });

  EXPECT_EQ(text, "\nPardiso: error in the solve phase: -1");
  EXPECT_EQ(loads.NumRows(), 2);
  EXPECT_EQ(loads.NumCols(), 3);
  EXPECT_EQ(loads.GetAt(1, 1), 0.0);
  EXPECT_EQ(report.NumLog(), 0);
}

// ---- Copies share factors

TEST_P(PardisoMethod, CopySolvesWithTheFactorsOfTheOriginal) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);

  CSolnMatrix copy(*k);
  CVector b(2, 8.0);
  Quietly([&] { copy.BackSubstitute(b); });

  EXPECT_EQ(b[1], 2.0);
}

TEST_P(PardisoMethod, ReduceOnEitherNeverTakesTheFactorsOfTheOther) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CSolnMatrix first(*k), second(*k);

  first.Scale(2.0);
  EXPECT_EQ(ReduceQuietly(first, OptStiffness), 0);
  k->Scale(4.0);
  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), 0);

  CVector a(2, 8.0), b(2, 8.0), c(2, 8.0);
  Quietly([&] {
    k->BackSubstitute(a);
    first.BackSubstitute(b);
    second.BackSubstitute(c);
  });
  EXPECT_EQ(a[1], 0.5);
  EXPECT_EQ(b[1], 1.0);
  EXPECT_EQ(c[1], 2.0);
}

TEST_P(PardisoMethod, CopyOutlivesTheOriginalWithItsFactors) {
  auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CSolnMatrix copy(*k);
  k.reset();

  CVector b(2, 8.0);
  Quietly([&] { copy.BackSubstitute(b); });

  EXPECT_EQ(b[1], 2.0);
}

TEST_P(PardisoMethod, FailedReduceOfACopyLeavesTheOriginalSolvable) {
  const auto k = Matrix(2, {{1, 1, 4.0}, {2, 2, 4.0}});
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CSolnMatrix copy(*k);
  copy.Scale(-1.0);

  EXPECT_EQ(ReduceQuietly(copy, OptStiffness), -5);
  CVector b(2, 8.0);
  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_EQ(b[1], 2.0);
}

}  // namespace
