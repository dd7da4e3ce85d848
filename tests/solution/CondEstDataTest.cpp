// The condition estimates against the exact condition numbers of real structural matrices.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "SolnFixture.h"
#include "models/Registry.h"
#include "models/io/MatrixMarketReader.h"
#include "solution/RefinedNormEst.h"
#include "support/DataFolder.h"
#include "support/DenseReference.h"

using namespace Vessa::Matrix;
using namespace test_support;

namespace {

struct Matrix {
  std::string name;
  vematrix::models::SymmetricTerms terms;
  double condition;
  bool definite;
};

// Every matrix with a known condition number.
template <class Visit>
void ForEachMatrix(int largest, Visit visit) {
  for (const auto& item : Reference()["matrices"].items()) {
    const auto& entry = item.value();
    if (!entry.contains("cond_1") || !entry["cond_1"].is_number() || entry["n"].get<int>() > largest)
      continue;
    visit(Matrix{item.key(),
                 vematrix::models::readMatrixMarket(DataPath(entry["file"].get<std::string>()),
                                                    vematrix::models::PatternValues::LaplacianPlusOne),
                 entry["cond_1"].get<double>(), entry["positive_definite_numerically"].get<bool>()});
  }
}

std::unique_ptr<CSolnMatrix> Reduced(int method, const Matrix& m) {
  auto k = std::make_unique<CSolnMatrix>();
  k->SetMethod(static_cast<SolMethod>(method));
  k->SetNumDof(m.terms.n);
  for (std::size_t p = 0; p < m.terms.size(); ++p)
    k->AddTerm(m.terms.row[p], m.terms.col[p], m.terms.value[p]);
  const Option option = method == 6 && !m.definite ? OptSturm : OptStiffness;
  EXPECT_TRUE(Quietly([&] { return k->Finalize() && k->Reduce(option); })) << m.name;
  return k;
}

class CondEstData : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Methods, CondEstData, ::testing::Values(0, 4, 6));

}  // namespace

TEST_P(CondEstData, RefinedIsWithinAFactorThreeOnEveryMatrixAndExactOnMost) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  int exact = 0, all = 0;
  ForEachMatrix(GetParam() == 0 ? 3000 : 100000, [&](const Matrix& m) {
    const auto k = Reduced(GetParam(), m);
    const double refined = k->CondEstRefined(), plain = Quietly([&] { return k->CondEst(); });

    // The factors carry a relative error of about eps·cond into the inverse; an indefinite matrix without
    // pivoting has multipliers of 1e7 and more besides, which cost as many digits again.
    const bool unpivoted = !m.definite && GetParam() != 6;
    const double slack = 1e-9 + 1e-15 * m.condition * (unpivoted ? 1e7 : 1.0);
    EXPECT_GE(refined, m.condition / 3) << m.name;
    EXPECT_LE(refined, m.condition * (1 + slack)) << m.name;
    EXPECT_GT(plain, 0.0) << m.name;
    EXPECT_LE(plain, m.condition * (1 + slack)) << m.name;
    exact += refined >= m.condition * (1 - slack);
    ++all;
    std::printf("%-10s %7d dofs  exact %.6e  refined %.6f  CondEst %.6f of it\n", m.name.c_str(), m.terms.n,
                m.condition, refined / m.condition, plain / m.condition);
  });
  std::printf("%d of %d exact\n", exact, all);
  EXPECT_GE(all, 15);
  EXPECT_GT(2 * exact, all);
}

TEST_P(CondEstData, RefinedIsWithinAFactorThreeOnTheStructuresOfTheHost) {
  int exact = 0, all = 0;
  for (const char* name :
       {"brick:3", "plate:7:7", "frame:2:1:2", "truss:8", "shell:4:3", "cantilever:15", "hole:3"}) {
    vematrix::models::SymmetricTerms sums = vematrix::models::makeModel(name).stiffnessTerms();
    sums.sumDuplicates();
    std::vector<Term> terms;
    for (std::size_t k = 0; k < sums.size(); ++k) terms.push_back({sums.row[k], sums.col[k], sums.value[k]});
    const Dense dense = DenseOf(sums.n, terms);
    const double condition = static_cast<double>(OneNorm(dense) * InverseOneNorm(dense));
    const auto k = Reduced(GetParam(), Matrix{name, sums, condition, true});

    const double refined = k->CondEstRefined(), slack = 1e-9 + 1e-15 * condition;

    EXPECT_GE(refined, condition / 3) << name;
    EXPECT_LE(refined, condition * (1 + slack)) << name;
    exact += refined >= condition * (1 - slack);
    ++all;
  }
  EXPECT_GT(2 * exact, all);
}

namespace {

template <class Operator>
struct Counted {
  explicit Counted(Operator inner) : op(inner) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    ++calls;
    op(X, Y);
  }
  Operator op;
  int calls = 0;
};

}  // namespace

TEST(CondEstData, RefinedTakesAtMostTenApplications) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  ForEachMatrix(2000, [](const Matrix& m) {
    for (int t : {1, 2, 4, 8}) {
      Eigen::SparseMatrix<double, 0, int> a(m.terms.n, m.terms.n);
      std::vector<Eigen::Triplet<double, int>> triplets;
      for (std::size_t p = 0; p < m.terms.size(); ++p)
        triplets.emplace_back(m.terms.col[p] - 1, m.terms.row[p] - 1, m.terms.value[p]);
      a.setFromTriplets(triplets.begin(), triplets.end());
      const auto full = [&](const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
        Y = a.selfadjointView<Eigen::Lower>() * X;
      };
      Counted<decltype(full)> op(full);
      norm::RefinedNormEst<Counted<decltype(full)>>(m.terms.n, t, op).Run();
      EXPECT_LE(op.calls, 10) << m.name << " t " << t;
      EXPECT_GE(op.calls, 1);
    }
  });
}
