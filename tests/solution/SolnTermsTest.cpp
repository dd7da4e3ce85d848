#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "SolnFixture.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kEps = std::numeric_limits<double>::epsilon();

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

TEST_P(EngineMethod, TermsAddedBeforeTheNumberOfDofsAreReported) {
  CReport report;
  CSolnMatrix k;
  k.SetMethod(Method());
  k.SetLog(&report);
  k.AddTerm(1, 2, 5.0);
  k.AddTerm(2, 2, 5.0);

  k.SetNumDof(3);
  Quietly([&] { return k.Finalize(); });

  ASSERT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0).find(
                "2 terms outside the triangle of 3 dof, or added before that number was set,"),
            0u)
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

}  // namespace
