#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SolnReduce.h"
#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

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

// ---- Trace lines

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

}  // namespace
