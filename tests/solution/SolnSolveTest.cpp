#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "Engines.h"
#include "SolnFixture.h"
#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

class EveryMethod : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(WithAnEngine, EveryMethod, ::testing::Values(0, 4, 6));

TEST_P(EveryMethod, SolvesRandomStructuresToBackwardError) {
  for (const int n : {1, 2, 3, 5, 8, 17, 60, 300}) {
    const std::vector<Term> terms = RandomSpd(n, 5, 40 + n);
    const std::vector<double> load = RandomVector(n, 80 + n);
    const auto k = Finalised(GetParam(), n, terms);
    CVector b(Eigen::VectorXd(Eigen::Map<const Eigen::VectorXd>(load.data(), n)));

    std::vector<int> zeroDofs;
    const int result = Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); });
    Quietly([&] { k->BackSubstitute(b); });

    EXPECT_EQ(result, 0);
    EXPECT_TRUE(zeroDofs.empty());
    EXPECT_TRUE(Solves(n, terms, b.Array(), load.data())) << "n = " << n;
  }
}

// ---- Result codes
// ---------------------------------------------------------------------------------------------------

int ReduceQuietly(CSolnMatrix& k, int option, std::vector<int>& zeroDofs) {
  return Quietly([&] { return k.Reduce(static_cast<Option>(option), zeroDofs); });
}

int ReduceQuietly(CSolnMatrix& k, int option) {
  std::vector<int> zeroDofs;
  return ReduceQuietly(k, option, zeroDofs);
}

// Two springs in a row, the second end free: dof 3 hangs on nothing.
const std::vector<Term> kLooseDof = {{1, 1, 4.0}, {1, 2, -2.0}, {2, 2, 2.0}};

// One negative eigenvalue.
const std::vector<Term> kIndefinite = {{1, 1, 1.0}, {1, 2, 2.0}, {2, 2, 1.0}};

TEST(SolnReduce, MethodNoneDoesNothingAndSucceeds) {
  const auto k = Finalised(1, 2, kIndefinite);
  CVector b(2, 3.0);
  CMatrix<1> many(2, 2, 3.0);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  EXPECT_TRUE(Quietly([&] { return k->Reduce(OptSturm); }));
  Quietly([&] { k->BackSubstitute(b); });
  k->BackSubstitute(many);

  EXPECT_EQ(b[1], 3.0);
  EXPECT_EQ(many.GetAt(2, 2), 3.0);
}

TEST(SolnReduce, UnknownMethodIsMinusOne) {
  const auto k = Finalised(3, 2, kIndefinite);
  CVector b(2, 3.0);
  CMatrix<1> many(2, 2, 3.0);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), -1);
  EXPECT_FALSE(Quietly([&] { return k->Reduce(OptStiffness); }));
  Quietly([&] { k->BackSubstitute(b); });
  k->BackSubstitute(many);

  EXPECT_EQ(b[1], 3.0);
  EXPECT_EQ(many.GetAt(2, 2), 3.0);
}

TEST(SolnReduce, SkylineSuppressesALooseDofNamesItAndStaysSolvable) {
  const auto k = Finalised(0, 3, kLooseDof);
  std::vector<int> zeroDofs;

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), -5);
  EXPECT_EQ(zeroDofs, std::vector<int>{3});

  CVector b(3, 1.0);
  Quietly([&] { k->BackSubstitute(b); });
  EXPECT_DOUBLE_EQ(b[1], 1.0);
  EXPECT_DOUBLE_EQ(b[2], 1.5);
  EXPECT_EQ(b[3], 1.0);
}

TEST(SolnReduce, SecondReduceOfASkylineRepeatsMinusFiveWithTheFilledList) {
  const auto k = Finalised(0, 3, kLooseDof);
  std::vector<int> zeroDofs;
  ReduceQuietly(*k, OptStiffness, zeroDofs);

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), -5);
  EXPECT_EQ(ReduceQuietly(*k, OptStiffness), 0);  // with an empty one there is nothing to tell
}

TEST(SolnReduce, SkylineMultiplierGrowthIsMinusSixEvenWithSuppressedDofsInTheList) {
  const auto k = Finalised(0, 2, {{1, 1, 1e-9}, {1, 2, 1.0}, {2, 2, 1.0}});
  std::vector<int> zeroDofs = {7};

  EXPECT_EQ(ReduceQuietly(*k, OptSturm, zeroDofs), -6);
  CReport report;
  k->getSkyLine().SetLog(&report);
  EXPECT_TRUE(k->getSkyLine().SturmFailure());
  EXPECT_EQ(report.LogMessage(0), "Sturm sequence check failed due to multiplier growth");
}

TEST(SolnReduce, SkylineWithoutStorageLogsTheFailureAndGivesZeroInStiffnessMode) {
  CReport report;
  CSolnMatrix k;
  k.SetLog(&report);
  k.SetNumDof(2);

  EXPECT_EQ(ReduceQuietly(k, OptStiffness), 0);  // visible in the report only
  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "Error is matrix reduction");
  EXPECT_EQ(report.Status(), 2);
  EXPECT_EQ(ReduceQuietly(k, OptSturm), -6);
}

TEST(SolnReduce, SkylineOptionsBeyondOneSkipTheDivision) {
  const auto k = Finalised(0, 2, {{1, 1, 4.0}, {1, 2, 2.0}, {2, 2, 5.0}});

  EXPECT_EQ(ReduceQuietly(*k, 5), 0);

  EXPECT_EQ(k->GetAt(1, 2), 2.0);
  EXPECT_EQ(k->GetAt(2, 2), 5.0);
}

TEST(SolnReduce, CompColumnPassesASuppressedDofOnAsOneNumber) {
  const auto k = Finalised(4, 3, kLooseDof);
  std::vector<int> zeroDofs = {9};

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), 0);
  EXPECT_EQ(zeroDofs, (std::vector<int>{9, 3}));
}

TEST(SolnReduce, CompColumnFailureIsMinusSixInSturmModeAndMinusFiveOtherwise) {
  const double nan = std::nan("");
  const auto k = Finalised(4, 2, {{1, 1, nan}, {1, 2, 1.0}, {2, 2, 1.0}});
  std::vector<int> zeroDofs;

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), -5);
  EXPECT_EQ(ReduceQuietly(*k, OptSturm, zeroDofs), -6);
  EXPECT_EQ(ReduceQuietly(*k, 5, zeroDofs), -5);
  EXPECT_TRUE(zeroDofs.empty());
}

TEST(SolnReduce, CompColumnThresholdIsTheSolutionMatrixs) {
  const auto k = Finalised(4, 2, {{1, 1, 1e-8}, {2, 2, 4.0}});
  std::vector<int> zeroDofs;
  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), 0);
  EXPECT_TRUE(zeroDofs.empty());

  k->SetZeroStiff(1e-6);
  k->SetZero();
  k->AddTerm(1, 1, 4.0);
  k->AddTerm(2, 2, 1e-8);
  Quietly([&] { return k->Finalize(); });

  EXPECT_EQ(ReduceQuietly(*k, OptStiffness, zeroDofs), 0);
  EXPECT_EQ(zeroDofs, std::vector<int>{2});
}

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

  const std::string text = StdoutOf([&] { k->BackSubstitute(loads); });

  EXPECT_EQ(text, "");
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
// -------------------------------------------------------------------------------------------

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

TEST_P(EveryMethod, CopyOfAReducedMatrixSolvesAndReducesByItself) {
  const int n = 30;
  const std::vector<Term> terms = RandomSpd(n, 4, 21);
  const auto k = Finalised(GetParam(), n, terms);
  ReduceQuietly(*k, OptStiffness);

  CSolnMatrix copy(*k);
  const CVector ones(n, 1.0);
  CVector a(ones), b(ones);
  Quietly([&] {
    copy.BackSubstitute(b);
    k->BackSubstitute(a);
  });

  EXPECT_TRUE(Solves(n, terms, a.Array(), ones.Array()));
  EXPECT_TRUE(Solves(n, terms, b.Array(), ones.Array()));
}

// ---- Solving
// --------------------------------------------------------------------------------------------------------

TEST(SolnBackSubstitute, ManyColumnsAreUnimplementedForTheSkylineOnceThereAreDofs) {
  CSolnMatrix none;
  CMatrix<1> b(2, 2, 3.0);
  EXPECT_NO_THROW(none.BackSubstitute(b));

  const auto k = Finalised(0, 2, {{1, 1, 4.0}, {2, 2, 4.0}});
  try {
    k->BackSubstitute(b);
    FAIL() << "no exception";
  } catch (const std::exception& error) {
    EXPECT_STREQ(error.what(), "unimplemented parameter");
  }
  EXPECT_EQ(b.GetAt(1, 1), 3.0);
}

TEST(SolnBackSubstitute, CompColumnSolvesColumnByColumn) {
  const int n = 20;
  const std::vector<Term> terms = RandomSpd(n, 4, 5);
  const auto k = Finalised(4, n, terms);
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CMatrix<1> loads(n, 3, 1.0);
  loads.SetAt(3, 2, 5.0);
  const CMatrix<1> before(loads);

  k->BackSubstitute(loads);

  for (int c = 0; c < 3; ++c) EXPECT_TRUE(Solves(n, terms, loads.Array() + c * n, before.Array() + c * n));
}

TEST(SolnBackSubstitute, CompColumnRefusesLoadsThatAreTooShort) {
  CReport report;
  const auto k = Finalised(4, 3, {{1, 1, 4.0}, {2, 2, 4.0}, {3, 3, 4.0}}, &report);
  ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0);
  CMatrix<1> loads(2, 3, 8.0);

  k->BackSubstitute(loads);

  EXPECT_EQ(loads.GetAt(1, 1), 8.0);
  EXPECT_EQ(report.Status(), 2);
}

TEST(SolnBackSubstitute, WithoutDofsNothingIsTouched) {
  for (const int method : {0, 1, 3, 4, 6}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    CVector b(2, 3.0);
    CMatrix<1> many(2, 2, 3.0);

    const std::string text = StdoutOf([&] { k.BackSubstitute(b); });
    k.BackSubstitute(many);

    EXPECT_EQ(text,
              "DEBUG - -->Vessa::Matrix::CSolnMatrix::BackSubstitute\n"
              "DEBUG - <--Vessa::Matrix::CSolnMatrix::BackSubstitute\n")
        << "method " << method;
    EXPECT_EQ(b[1], 3.0);
    EXPECT_EQ(many.GetAt(1, 1), 3.0);
  }
}

// ---- Trace lines
// ----------------------------------------------------------------------------------------------------

TEST(SolnTrace, ReduceWritesItsMarkersForEveryMethod) {
  for (const int method : {0, 1, 3, 4, 6}) {
    const auto k = Finalised(method, 2, {{1, 1, 4.0}, {2, 2, 4.0}});

    const std::string text = StdoutOf([&] { k->Reduce(OptStiffness); });

    EXPECT_EQ(
        text,
        "DEBUG - -->Vessa::Matrix::CSolnMatrix::Reduce\nDEBUG - <--Vessa::Matrix::CSolnMatrix::Reduce\n")
        << "method " << method;
  }
}

TEST(SolnTrace, ManyColumnsWriteNoMarkers) {
  for (const int method : {4, 6}) {
    const auto k = Finalised(method, 2, {{1, 1, 4.0}, {2, 2, 4.0}});
    ReduceQuietly(*k, OptStiffness);
    CMatrix<1> b(2, 2, 8.0);

    EXPECT_EQ(StdoutOf([&] { k->BackSubstitute(b); }), "") << "method " << method;
  }
}

TEST(SolnTrace, PardisoFailureIsPrintedBetweenTheMarkers) {
  const auto k = Finalised(6, 3, kLooseDof);

  const std::string text = StdoutOf([&] { k->Reduce(OptStiffness); });

  EXPECT_EQ(text,
            "DEBUG - -->Vessa::Matrix::CSolnMatrix::Reduce\n"
            "ERROR during numerical factorization: -4\n"
            "DEBUG - <--Vessa::Matrix::CSolnMatrix::Reduce\n");
}

TEST(SolnTrace, ExceptionLeavesTheExitMarkerBehind) {
  CSolnMatrix k;  // a skyline without storage refuses to solve
  k.SetNumDof(2);
  CVector b(2, 1.0);
  bool thrown = false;

  const std::string text = StdoutOf([&] {
    try {
      k.BackSubstitute(b);
    } catch (const std::exception&) {
      thrown = true;
    }
  });

  EXPECT_TRUE(thrown);
  EXPECT_EQ(text,
            "DEBUG - -->Vessa::Matrix::CSolnMatrix::BackSubstitute\n"
            "DEBUG - <--Vessa::Matrix::CSolnMatrix::BackSubstitute\n");
}

// ---- Methods against each other
// -------------------------------------------------------------------------------------

TEST(SolnMethods, NegativePivotsAreTheDenseInertiaForEveryMethod) {
  for (const int negative : {0, 1, 9, 25}) {
    const int n = 25;
    const std::vector<Term> terms = RandomIndefinite(n, 4, negative, 60 + negative);
    ASSERT_EQ(InertiaOf(DenseOf(n, terms)).negative, negative);

    const auto skyline = Finalised(0, n, terms);
    ASSERT_EQ(ReduceQuietly(*skyline, OptSturm), 0);
    const CDiag pivots = skyline->getSkyLine().Diag();
    int count = 0;
    for (int i = 1; i <= n; ++i) count += pivots.GetAt(i, i) < 0.0;
    EXPECT_EQ(count, negative);

    for (const PardisoEngine engine : AvailableEngines()) {
      const auto pardiso = Finalised(6, n, terms);
      ASSERT_TRUE(pardiso->SetPardisoEngine(engine));
      ASSERT_EQ(ReduceQuietly(*pardiso, OptSturm), 0);
      EXPECT_EQ(pardiso->getPardiso().negative_evals(), negative);
    }
  }
}

TEST(SolnMethods, RealStructuresAreSolvedToBackwardErrorByEveryMethod) {
  for (const char* name : {"brick:4", "frame:3:2:4", "cantilever:10"}) {
    const vematrix::models::Model model = vematrix::models::makeModel(name);
    const int n = model.numDofs();
    std::vector<Term> terms;
    model.assembleStiffness([&](int i, int j, double v) { terms.push_back({i, j, v}); });
    const Eigen::VectorXd load = model.loads();
    const auto sparse = LowerTriangle(n, terms);
    CVector reference;
    for (const int method : {0, 4, 6}) {
      const auto k = Finalised(method, n, terms);
      CVector b(load);

      ASSERT_EQ(ReduceQuietly(*k, OptStiffness), 0) << name << ", method " << method;
      Quietly([&] { k->BackSubstitute(b); });

      EXPECT_TRUE(Solves(sparse, b.Array(), load.data(), 10.0)) << name << ", method " << method;
      if (method == 0) reference = b;
      EXPECT_LE((b - reference).MaxAbs(), 1e-8 * reference.MaxAbs()) << name << ", method " << method;
    }
  }
}

}  // namespace
