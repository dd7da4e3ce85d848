#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "SolnReduce.h"
#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/Engines.h"
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
