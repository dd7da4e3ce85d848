#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>

#include "SolnFixture.h"
#include "math/threads.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kEps = std::numeric_limits<double>::epsilon();

// Methods 2, 3, 5 and so on are accepted and unknown.
const SolMethod kUnknown = static_cast<SolMethod>(3);

class EngineMethod : public ::testing::TestWithParam<int> {
protected:
  SolMethod Method() const { return static_cast<SolMethod>(GetParam()); }
};
INSTANTIATE_TEST_SUITE_P(WithAnEngine, EngineMethod, ::testing::Values(0, 4, 6));

// ---- Settings
// -----------------------------------------------------------------------------------------------------

TEST(SolnSettings, DefaultsAreTheDocumentedOnes) {
  const CSolnMatrix k;

  EXPECT_EQ(k.ZeroStiff(), 1e-40);
  EXPECT_FALSE(k.IsDiagonal());
  EXPECT_EQ(k.NumDof(), 0);
  EXPECT_EQ(k.NumTerm(), 0);
}

TEST(SolnSettings, ZeroStiffIsStored) {
  CSolnMatrix k;

  k.SetZeroStiff(1e-12);

  EXPECT_EQ(k.ZeroStiff(), 1e-12);
}

TEST(SolnSettings, LogAndNoteReachTheReportAndAreSilentWithoutOne) {
  CSolnMatrix k;
  CReport report;
  k.Log(2, "nowhere");
  k.Note("nowhere");

  k.SetLog(&report);
  k.Log(1, "here");
  k.Note("there");

  EXPECT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "here");
  EXPECT_EQ(report.Note(), "there");
}

TEST(SolnSettings, KeyIsComputedInSixtyFourBitsAndGivesRowAndColumnBack) {
  CSolnMatrix k;
  k.SetMethod(kUnknown);  // no diagonal of two million dofs is staged
  k.SetNumDof(2000000);

  const unsigned long long key = k.RowCol(1999999, 2000000);

  EXPECT_EQ(key, 1999998ULL + 2000000ULL * 1999999ULL);
  EXPECT_EQ(k.Row(key), 1999999u);
  EXPECT_EQ(k.Col(key), 2000000u);
}

TEST(SolnSettings, DiagonalFlagForcesTheSkylineUnlessTheMethodIsPardiso) {
  CSolnMatrix a, b, c;
  a.SetMethod(SolCompColumn);
  a.SetDiagonal(true);
  EXPECT_TRUE(a.IsDiagonal());
  EXPECT_TRUE(a.getSkyLine().IsDiagonal());
  a.SetNumDof(3);
  EXPECT_EQ(a.NumDof(), 3);  // the skyline's: the method is 0 now
  EXPECT_EQ(a.getSkyLine().NumDof(), 3);

  b.SetMethod(SolPardiso);
  b.SetDiagonal(true);
  EXPECT_FALSE(b.getSkyLine().IsDiagonal());
  EXPECT_NO_THROW(b.getEigenSparse());

  c.SetDiagonal(true);
  c.SetMethod(SolCompColumn);
  EXPECT_TRUE(c.getSkyLine().IsDiagonal());
  EXPECT_THROW(c.getEigenSparse(), CMatrixError);
  c.SetMethod(SolPardiso);
  EXPECT_NO_THROW(c.getEigenSparse());
}

TEST(SolnSettings, ClearingTheDiagonalFlagChangesNothingElse) {
  CSolnMatrix k;
  k.SetDiagonal(true);

  k.SetDiagonal(false);

  EXPECT_FALSE(k.IsDiagonal());
  EXPECT_TRUE(k.getSkyLine().IsDiagonal());
}

TEST(SolnSettings, PhaseIsPassedToTheSkylineOnly) {
  CSolnMatrix k;
  k.SetPhase(PhaseReduced);
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseReduced);

  k.SetMethod(SolPardiso);
  k.SetPhase(PhaseHeights);
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseReduced);
}

TEST(SolnSettings, EigenMatrixOfAnotherMethodIsAnIllegalCall) {
  for (const int method : {0, 1, 3, 4}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    try {
      k.getEigenSparse();
      FAIL() << "method " << method;
    } catch (const std::exception& error) {
      EXPECT_STREQ(error.what(), "Illegal function call getEigenSparse");
    }
  }
}

// ---- Number of dofs
// -----------------------------------------------------------------------------------------------

TEST_P(EngineMethod, DofsWithoutTermsGiveAZeroDiagonal) {
  const auto k = Finalised(GetParam(), 3, {});

  EXPECT_EQ(k->NumDof(), 3);
  EXPECT_EQ(k->NumTerm(), 3);
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(k->GetAt(i, i), 0.0);
}

TEST_P(EngineMethod, NoDofsAreFinalisedToo) {
  const auto k = Finalised(GetParam(), 0, {});

  EXPECT_EQ(k->NumDof(), 0);
  EXPECT_EQ(k->NumTerm(), 0);
}

TEST_P(EngineMethod, NewNumberOfDofsDropsTheTermsOfTheOld) {
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetNumDof(4);
  k.AddTerm(4, 4, 7.0);
  k.AddTerm(1, 2, 7.0);

  k.SetNumDof(2);
  k.AddTerm(1, 1, 3.0);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.NumDof(), 2);
  EXPECT_EQ(k.GetAt(1, 1), 3.0);
  EXPECT_EQ(TermOf(k, GetParam(), 1, 2), 0.0);
  EXPECT_EQ(k.NumTerm(), 2);
}

TEST_P(EngineMethod, SameNumberOfDofsKeepsTheTerms) {
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetNumDof(2);
  k.AddTerm(1, 2, 7.0);

  k.SetNumDof(2);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(TermOf(k, GetParam(), 1, 2), 7.0);
}

TEST(SolnNumDof, UnknownMethodReturnsFalseAndFinalizeOfItTrue) {
  CSolnMatrix k;
  k.SetMethod(kUnknown);

  EXPECT_FALSE(k.SetNumDof(3));
  k.AddTerm(1, 1, 5.0);
  EXPECT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.NumDof(), 0);
  EXPECT_EQ(k.NumTerm(), 0);
  EXPECT_EQ(k.GetAt(1, 1), 0.0);
  EXPECT_FALSE(k.Exist(1, 1));
  EXPECT_EQ(k.CreateIndex(), -1);
  k.SetZero();
}

TEST(SolnNumDof, MethodNoneStagesAndDiscards) {
  const auto k = Finalised(1, 3, {{1, 1, 5.0}});

  EXPECT_EQ(k->NumDof(), 0);
  EXPECT_EQ(k->NumTerm(), 0);
  EXPECT_EQ(k->GetAt(1, 1), 0.0);
  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_EQ(k->CreateIndex(), 0);
  k->SetZero();
}

TEST(SolnNumDof, NegativeNumberIsALengthErrorWhereItWouldBeReserved) {
  for (const int method : {4, 6}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    EXPECT_THROW(k.SetNumDof(-1), std::length_error) << "method " << method;
    EXPECT_TRUE(k.SetNumDof(2)) << "method " << method;
  }
}

TEST(SolnNumDof, FieldIsNotWhatNumDofReturns) {
  CSolnMatrix k;
  k.SetMethod(SolPardiso);

  k.SetNumDof(3);
  EXPECT_EQ(k.NumDof(), 0);
  Quietly([&] { return k.Finalize(); });

  EXPECT_EQ(k.NumDof(), 3);
}

// ---- Terms
// --------------------------------------------------------------------------------------------------------

TEST_P(EngineMethod, TermsAtOnePlaceAddUp) {
  const auto k = Finalised(GetParam(), 2, {{1, 2, 5.0}, {1, 2, 5.0}});

  EXPECT_EQ(TermOf(*k, GetParam(), 1, 2), 10.0);
}

TEST(SolnTerms, MethodSixIsReadBackTransposed) {
  const auto k = Finalised(6, 2, {{1, 2, 5.0}});

  EXPECT_EQ(k->GetAt(2, 1), 5.0);
  EXPECT_EQ(k->GetAt(1, 2), 0.0);
}

TEST(SolnTerms, OtherMethodsAreReadBackSymmetrically) {
  for (const int method : {0, 4}) {
    const auto k = Finalised(method, 2, {{1, 2, 5.0}});

    EXPECT_EQ(k->GetAt(1, 2), 5.0) << "method " << method;
    EXPECT_EQ(k->GetAt(2, 1), 5.0) << "method " << method;
  }
}

TEST_P(EngineMethod, TermsAreSummedInTheOrderAdded) {
  const std::vector<double> parts = {1e16, 1.0, -1e16, 0.1, 0.2, 0.3};
  double sum = 0.0;
  std::vector<Term> terms;
  for (const double part : parts) {
    sum += part;
    terms.push_back({2, 3, part});
    terms.push_back({1, 3, -part});
  }

  const auto k = Finalised(GetParam(), 3, terms);

  EXPECT_EQ(TermOf(*k, GetParam(), 2, 3), sum);
  EXPECT_EQ(TermOf(*k, GetParam(), 1, 3), -sum);
}

TEST(SolnTerms, MethodSixKeepsExactZerosAndDropsTinyValuesAndNaN) {
  // Off the diagonal, where nothing is staged beforehand.
  const auto k = Finalised(6, 9,
                           {{1, 2, 0.0},
                            {1, 3, -0.0},
                            {1, 4, kEps},
                            {1, 5, -kEps},
                            {1, 6, std::nextafter(kEps, 0.0)},
                            {1, 7, -1e-17},
                            {1, 8, kNaN},
                            {1, 9, std::numeric_limits<double>::infinity()}});

  EXPECT_EQ(k->NumTerm(), 9 + 5);
  EXPECT_EQ(k->GetAt(4, 1), kEps);
  EXPECT_EQ(k->GetAt(5, 1), -kEps);
  EXPECT_EQ(k->GetAt(6, 1), 0.0);
  EXPECT_EQ(k->GetAt(9, 1), std::numeric_limits<double>::infinity());
}

TEST(SolnTerms, MethodSixFiltersEveryCallAndNotTheSum) {
  std::vector<Term> tiny(1000, Term{1, 2, 2e-16});
  const auto dropped = Finalised(6, 2, tiny);
  const auto kept = Finalised(6, 2, {{1, 2, 1.0}, {1, 2, -1.0 + 1e-16}});

  EXPECT_EQ(dropped->NumTerm(), 2);
  EXPECT_EQ(kept->NumTerm(), 3);
  EXPECT_EQ(kept->GetAt(2, 1), 1.0 + (-1.0 + 1e-16));
}

TEST(SolnTerms, MethodsZeroAndFourKeepEverything) {
  for (const int method : {0, 4}) {
    const auto k = Finalised(method, 3, {{1, 2, 1e-17}, {1, 3, kNaN}, {2, 3, 0.0}});

    EXPECT_EQ(k->GetAt(1, 2), 1e-17) << "method " << method;
    EXPECT_TRUE(std::isnan(k->GetAt(1, 3))) << "method " << method;
    EXPECT_EQ(k->NumTerm(), method == 0 ? 6 : 9) << "method " << method;
  }
}

TEST_P(EngineMethod, RandomTermsInRandomOrderGiveTheDenseMatrix) {
  const int n = 40;
  std::vector<Term> terms = RandomSymmetric(n, 6, 5);
  const std::vector<Term> again = RandomSymmetric(n, 6, 6);
  terms.insert(terms.end(), again.begin(), again.end());
  RandomNumbers random(7);
  for (int k = static_cast<int>(terms.size()); k > 1; --k)
    std::swap(terms[k - 1], terms[random.Integer(0, k - 1)]);
  Dense dense(n);
  for (const Term& t : terms) dense(t.i - 1, t.j - 1) += t.value;

  const auto k = Finalised(GetParam(), n, terms);

  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= j; ++i)
      EXPECT_NEAR(TermOf(*k, GetParam(), i, j), static_cast<double>(dense(i - 1, j - 1)), 1e-15)
          << i << ", " << j;
}

TEST(SolnTerms, MethodSixMatrixIsCompressedSortedAndWithoutRepetitions) {
  const int n = 200;
  std::vector<Term> terms = RandomSymmetric(n, 12, 8);
  const std::vector<Term> copy = terms;
  terms.insert(terms.end(), copy.rbegin(), copy.rend());

  const auto k = Finalised(6, n, terms);
  const auto& a = k->getEigenSparse();

  ASSERT_TRUE(a.isCompressed());
  EXPECT_EQ(a.nonZeros(), static_cast<Eigen::Index>(copy.size()));
  for (int c = 0; c < n; ++c) {
    EXPECT_EQ(a.innerIndexPtr()[a.outerIndexPtr()[c]], c);
    for (int p = a.outerIndexPtr()[c] + 1; p < a.outerIndexPtr()[c + 1]; ++p)
      EXPECT_LT(a.innerIndexPtr()[p - 1], a.innerIndexPtr()[p]);
  }
}

TEST_P(EngineMethod, TermsOutsideTheMatrixAreLeftOutAndReported) {
  CReport report;
  const int huge = std::numeric_limits<int>::max(), low = std::numeric_limits<int>::min();

  const auto k = Finalised(GetParam(), 3,
                           {{1, 1, 2.0},
                            {4, 1, 9.0},
                            {1, 4, 9.0},
                            {0, 1, 9.0},
                            {1, 0, 9.0},
                            {-1, 2, 9.0},
                            {huge, huge, 9.0},
                            {low, low, 9.0},
                            {1, huge, 9.0},
                            {low, 3, 9.0}},
                           &report);

  EXPECT_EQ(k->NumTerm(), 3);
  EXPECT_EQ(k->GetAt(1, 1), 2.0);
  EXPECT_EQ(k->GetAt(2, 2), 0.0);
  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogStatus(0), 2);
  EXPECT_EQ(report.LogMessage(0).find("9 terms outside the triangle of 3 dof left out, the first in "), 0u)
      << report.LogMessage(0);
}

TEST(SolnTerms, TermsBelowTheDiagonalNeverRaiseTheSkylineNorTouchIt) {
  CReport report;

  const auto k = Finalised(
      0, 3, {{1, 1, 1.0}, {2, 2, 2.0}, {3, 3, 3.0}, {2, 3, 0.5}, {3, 1, 7.0}, {3, 2, 7.0}}, &report);

  EXPECT_EQ(k->NumTerm(), 4);
  EXPECT_EQ(k->GetAt(1, 1), 1.0);
  EXPECT_EQ(k->GetAt(2, 2), 2.0);
  EXPECT_EQ(k->GetAt(3, 3), 3.0);
  EXPECT_EQ(k->GetAt(2, 3), 0.5);
  EXPECT_EQ(k->GetAt(1, 3), 0.0);
  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0),
            "2 terms outside the triangle of 3 dof left out, the first in row 3, column 1");
}

TEST(SolnTerms, TermsBelowTheDiagonalAreTheirMirrorImageInCompressedColumns) {
  const auto k = Finalised(4, 2, {{1, 2, 1.0}, {2, 1, 4.0}});

  EXPECT_EQ(k->GetAt(1, 2), 5.0);
  EXPECT_EQ(k->GetAt(2, 1), 5.0);
  EXPECT_EQ(k->NumTerm(), 4);
}

TEST(SolnTerms, TermsBelowTheDiagonalMakeMethodSixRefuseToFactorise) {
  const auto k = Finalised(6, 2, {{1, 1, 4.0}, {2, 2, 4.0}, {2, 1, 1.0}});
  std::vector<int> zeroDofs;

  EXPECT_EQ(k->GetAt(1, 2), 1.0);
  EXPECT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), -1);
}

TEST_P(EngineMethod, SecondFinalizeBuildsFromTheNewTermsOnly) {
  const auto k = Finalised(GetParam(), 2, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 4.0}});

  k->AddTerm(1, 1, 9.0);
  k->AddTerm(2, 2, 9.0);
  ASSERT_TRUE(Quietly([&] { return k->Finalize(); }));

  EXPECT_EQ(k->GetAt(1, 1), 9.0);
  EXPECT_EQ(TermOf(*k, GetParam(), 1, 2), 0.0);
  EXPECT_EQ(k->NumTerm(), 2);
}

TEST_P(EngineMethod, StagedTermsAreNotVisibleBeforeFinalize) {
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetNumDof(2);
  k.AddTerm(1, 1, 5.0);

  EXPECT_EQ(k.GetAt(1, 1), 0.0);
}

TEST(SolnTerms, StagingContainersOfPardisoAndTheOthersAreSeparate) {
  CSolnMatrix k;
  k.SetNumDof(2);
  k.AddTerm(1, 1, 5.0);
  k.SetMethod(SolPardiso);
  k.AddTerm(2, 2, 7.0);

  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));
  EXPECT_EQ(k.NumTerm(), 1);
  k.SetMethod(SolSkyline);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.GetAt(1, 1), 5.0);
  EXPECT_EQ(k.GetAt(2, 2), 0.0);
}

// ---- Existence and zeroing
// ------------------------------------------------------------------------------------------

TEST(SolnExist, SkylineAsksTheProfileAndSaysYesBelowTheDiagonal) {
  const auto k = Finalised(0, 4, {{2, 4, 1.0}});

  EXPECT_TRUE(k->Exist(2, 4));
  EXPECT_TRUE(k->Exist(3, 4));  // inside the profile though never added
  EXPECT_FALSE(k->Exist(1, 4));
  EXPECT_TRUE(k->Exist(4, 2));
}

TEST(SolnExist, CompressedColumnsHaveForgottenTheirPattern) {
  const auto k = Finalised(4, 3, {{1, 2, 1.0}});

  EXPECT_FALSE(k->Exist(1, 2));
  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_FALSE(k->Exist(9, 9));
}

TEST(SolnExist, PardisoAnswersInReverse) {
  const auto k = Finalised(6, 3, {{1, 1, 4.0}, {1, 2, 1.0}});
  k->getEigenSparse().coeffRef(2, 2) = kNaN;

  EXPECT_FALSE(k->Exist(1, 1));
  EXPECT_FALSE(k->Exist(2, 1));
  EXPECT_TRUE(k->Exist(1, 2));
  EXPECT_TRUE(k->Exist(2, 2));
  EXPECT_FALSE(k->Exist(3, 3));
  EXPECT_TRUE(k->Exist(7, 1));
}

TEST(SolnSetZero, SkylineKeepsItsProfile) {
  const auto k = Finalised(0, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 5);
  EXPECT_EQ(k->GetAt(1, 3), 0.0);
  Quietly([&] { return k->Finalize(); });
  EXPECT_EQ(k->GetAt(1, 1), 0.0);  // the staged term was dropped
}

TEST(SolnSetZero, CompressedColumnsKeepTheirPattern) {
  const auto k = Finalised(4, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 5);
  EXPECT_EQ(k->GetAt(1, 3), 0.0);
}

TEST(SolnSetZero, PardisoLosesItsTermsAndKeepsItsSize) {
  const auto k = Finalised(6, 3, {{1, 3, 5.0}, {3, 3, 2.0}});
  k->AddTerm(1, 1, 8.0);

  k->SetZero();

  EXPECT_EQ(k->NumTerm(), 0);
  EXPECT_EQ(k->NumDof(), 3);
  Quietly([&] { return k->Finalize(); });
  EXPECT_EQ(k->NumTerm(), 0);
}

TEST_P(EngineMethod, NewValuesOnTheSameStructureAreSolved) {
  const auto k = Finalised(GetParam(), 2, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 4.0}});
  Quietly([&] { return k->Reduce(OptStiffness); });

  k->SetZero();
  k->AddTerm(1, 1, 2.0);
  k->AddTerm(1, 2, 0.0);
  k->AddTerm(2, 2, 4.0);
  Quietly([&] { return k->Finalize(); });
  CVector b(2, 8.0);
  EXPECT_TRUE(Quietly([&] { return k->Reduce(OptStiffness); }));
  Quietly([&] { k->BackSubstitute(b); });

  EXPECT_DOUBLE_EQ(b[1], 4.0);
  EXPECT_DOUBLE_EQ(b[2], 2.0);
}

TEST(SolnCompColumn, ColumnsWithoutTermsAtTheEndAreNotBuilt) {
  const auto k = Finalised(4, 3, {});
  k->SetZero();
  k->AddTerm(1, 2, 1.0);

  ASSERT_TRUE(Quietly([&] { return k->Finalize(); }));

  EXPECT_EQ(k->NumDof(), 2);
  std::vector<int> zeroDofs;
  EXPECT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), -5);
}

TEST(SolnCompColumn, CreateIndexOfAFreshPatternCountsItsColumns) {
  CSolnMatrix k;
  k.SetMethod(SolCompColumn);
  k.SetNumDof(3);

  EXPECT_EQ(k.CreateIndex(), 3);
  EXPECT_EQ(k.NumDof(), 3);
  EXPECT_EQ(k.CreateIndex(), 0);  // the pattern was handed over
}

TEST(SolnSkyline, TooManyTermsFailTheFinalisation) {
  const int n = 47000;  // a full last half of the columns: more than 2³⁰ − 1 terms
  CReport report;
  CSolnMatrix k;
  k.SetLog(&report);
  k.SetNumDof(n);
  for (int j = 1; j <= n; ++j) k.AddTerm(1, j, 1.0);

  EXPECT_FALSE(Quietly([&] { return k.Finalize(); }));

  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "Too many terms in matrix");
  EXPECT_EQ(k.getSkyLine().GetPhase(), PhaseHeights);
}

TEST(SolnSkyline, DiagonalModeIgnoresOffDiagonalTerms) {
  CSolnMatrix k;
  k.SetDiagonal(true);
  k.SetNumDof(3);
  for (int i = 1; i <= 3; ++i) k.AddTerm(i, i, 2.0 * i);
  k.AddTerm(1, 3, 9.0);
  ASSERT_TRUE(Quietly([&] { return k.Finalize(); }));

  EXPECT_EQ(k.GetAt(1, 1), 2.0);
  EXPECT_EQ(k.GetAt(3, 3), 6.0);
  EXPECT_EQ(k.GetAt(1, 3), 0.0);
  CVector b(3, 12.0);
  EXPECT_TRUE(Quietly([&] { return k.Reduce(OptStiffness); }));
  Quietly([&] { k.BackSubstitute(b); });
  EXPECT_EQ(b[1], 6.0);
  EXPECT_EQ(b[2], 3.0);
  EXPECT_EQ(b[3], 2.0);
}

// ---- Trace, threads, copies
// -------------------------------------------------------------------------------------------

TEST(SolnTrace, FinalizeWritesItsMarkersForEveryMethod) {
  for (const int method : {0, 1, 3, 4, 6}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    k.SetNumDof(2);

    const std::string text = StdoutOf([&] { k.Finalize(); });

    EXPECT_EQ(
        text,
        "DEBUG - -->Vessa::Matrix::CSolnMatrix::Finalize\nDEBUG - <--Vessa::Matrix::CSolnMatrix::Finalize\n")
        << "method " << method;
  }
}

class SolnThreads : public ::testing::Test {
protected:
  SolnThreads() : m_count(math::GetMaxThreads()), m_dynamic(math::IsDynamic()) {}
  ~SolnThreads() override {
    math::SetNumThreads(m_count);
    math::SetDynamic(m_dynamic);
  }
  static void FinalizeWith(unsigned int threads, int method = 6) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    k.SetPardisoNumThreads(threads);
    k.SetNumDof(2);
    Quietly([&] { return k.Finalize(); });
  }

private:
  int m_count;
  bool m_dynamic;
};

TEST_F(SolnThreads, NumberWithinThePresentSettingIsTakenForTheProcess) {
  math::SetNumThreads(2);
  math::SetDynamic(false);

  FinalizeWith(1);

  EXPECT_EQ(math::GetMaxThreads(), 1);
  EXPECT_FALSE(math::IsDynamic());
}

TEST_F(SolnThreads, ZeroOrMoreThanThePresentSettingLeavesItToTheLibrary) {
  for (const unsigned int wanted : {0u, 3u, 1000u, 0xFFFFFFFFu}) {
    math::SetNumThreads(2);
    math::SetDynamic(false);

    FinalizeWith(wanted);

    EXPECT_EQ(math::GetMaxThreads(), 2) << wanted;
    EXPECT_TRUE(math::IsDynamic()) << wanted;
  }
}

TEST_F(SolnThreads, PresentSettingAndNotTheProcessorIsTheMaximum) {
  math::SetNumThreads(1);
  math::SetDynamic(false);

  FinalizeWith(2);

  EXPECT_EQ(math::GetMaxThreads(), 1);
  EXPECT_TRUE(math::IsDynamic());
}

TEST_F(SolnThreads, OtherMethodsLeaveTheThreadsAlone) {
  math::SetNumThreads(2);
  math::SetDynamic(false);

  FinalizeWith(1, 0);
  FinalizeWith(1, 4);

  EXPECT_EQ(math::GetMaxThreads(), 2);
  EXPECT_FALSE(math::IsDynamic());
}

TEST_P(EngineMethod, CopyHasMatrixAndStagedTermsOfItsOwn) {
  const auto k = Finalised(GetParam(), 2, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 4.0}});
  k->AddTerm(1, 1, 3.0);
  k->AddTerm(2, 2, 3.0);

  CSolnMatrix copy(*k);
  k->Scale(2.0);
  k->SetZero();

  EXPECT_EQ(copy.GetAt(1, 1), 4.0);
  EXPECT_EQ(TermOf(copy, GetParam(), 1, 2), 1.0);
  ASSERT_TRUE(Quietly([&] { return copy.Finalize(); }));
  EXPECT_EQ(copy.GetAt(1, 1), 3.0);
  EXPECT_EQ(copy.GetAt(2, 2), 3.0);
}

}  // namespace
