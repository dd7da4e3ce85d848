// The library driven by the miniature host: every structure, every method, judged against matrices of the
// host's own.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "ModelChecks.h"
#include "models/Registry.h"
#include "models/structures/Structures.h"
#include "solution/CSolnMatrix.h"
#include "support/CaptureStdout.h"

using namespace vematrix::models;
using Vessa::Matrix::CSolnMatrix;
using Vessa::Matrix::CVector;
using Vessa::Matrix::OptStiffness;
using Vessa::Matrix::SolMethod;

namespace {

struct Solution {
  int code;
  std::vector<int> suppressed;
  Eigen::VectorXd u;
};

Solution solve(const Model& model, SolMethod method) {
  const test_support::CaptureStdout quiet;
  Solution solution;
  CSolnMatrix K;
  K.SetMethod(method);
  K.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  K.Finalize();
  solution.code = K.Reduce(OptStiffness, solution.suppressed);
  CVector u(model.loads(0));
  K.BackSubstitute(u);
  solution.u = u.Inner();
  return solution;
}

// ‖Ku − f‖ / (‖K‖·‖u‖ + ‖f‖) in the largest-component norms.
double backwardError(const Model& model, const Eigen::VectorXd& u) {
  const auto K = toLowerTriangle(model.stiffnessTerms());
  const Eigen::VectorXd f = model.loads(0), r = K.selfadjointView<Eigen::Lower>() * u - f;
  Eigen::VectorXd rowSum = Eigen::VectorXd::Zero(K.rows());
  fromLowerTriangle(K).forEach([&](int i, int j, double v) {
    rowSum[i - 1] += std::abs(v);
    if (i != j) rowSum[j - 1] += std::abs(v);
  });
  return r.lpNorm<Eigen::Infinity>() /
         (rowSum.maxCoeff() * u.lpNorm<Eigen::Infinity>() + f.lpNorm<Eigen::Infinity>());
}

constexpr SolMethod kMethods[] = {Vessa::Matrix::SolSkyline, Vessa::Matrix::SolCompColumn,
                                  Vessa::Matrix::SolPardiso};

}  // namespace

class HostSolves : public ::testing::TestWithParam<std::string> {};

TEST_P(HostSolves, ResidualIsBelow1em12AndMethodsAgreeTo1em8) {
  const Model model = makeModel(GetParam());

  Eigen::VectorXd first;
  for (SolMethod method : kMethods) {
    const Solution solution = solve(model, method);
    if (first.size() == 0) first = solution.u;
    const double residual = backwardError(model, solution.u);
    const double difference =
        (solution.u - first).lpNorm<Eigen::Infinity>() / first.lpNorm<Eigen::Infinity>();
    std::printf("%-16s %5d dofs, method %d: residual %.1e, difference %.1e\n", GetParam().c_str(),
                model.numDofs(), static_cast<int>(method), residual, difference);

    EXPECT_EQ(solution.code, 0) << method;
    EXPECT_LT(residual, 1e-12) << method;
    EXPECT_LT(difference, 1e-8) << method;
  }
}

INSTANTIATE_TEST_SUITE_P(Structures, HostSolves,
                         ::testing::Values("brick:8", "bar:3:25", "plate:20:20", "shell:16:12", "frame:4:4:8",
                                           "truss:30", "slab:6", "lplate:10", "hole:10", "taper:12",
                                           "thinplate:16", "cantilever:50", "column:50"));

// Bending with shear: P·L³/(3·E·I) + P·L/(5/6·G·A).
TEST(HostSolve, TipOfSolidCantileverIsWithinOnePercentOfBeamTheory) {
  const SolidBlock block{60, 4, 4, 8.0, 0.4, 0.4};
  const Model bar = solidBlock(block);
  const double L = block.lx, h = block.ly, P = 1000.0;
  const double exact = P * L * L * L / (3.0 * block.material.young * std::pow(h, 4) / 12.0) +
                       P * L / (5.0 / 6.0 * block.material.shearModulus() * h * h);

  for (SolMethod method : kMethods) {
    const Solution solution = solve(bar, method);
    const double tip = -solution.u[bar.dof(bar.nodeNear(L, 0.5 * h, 0.5 * h), Uz) - 1];
    std::printf("method %d: tip %.6e m, beam theory %.6e m\n", static_cast<int>(method), tip, exact);

    EXPECT_NEAR(tip, exact, 0.01 * exact);
  }
}

TEST(HostSolve, SkylineNamesTheLooseDofAndSolvesTheRest) {
  Model model = spaceFrame({2, 1, 2});
  const Eigen::VectorXd held = solve(model, Vessa::Matrix::SolSkyline).u;
  const int loose = addLooseDof(model);

  const Solution solution = solve(model, Vessa::Matrix::SolSkyline);

  EXPECT_EQ(solution.code, -5);
  EXPECT_EQ(solution.suppressed, std::vector<int>{loose});
  EXPECT_LT((solution.u.head(held.size()) - held).norm(), 1e-9 * held.norm());
}

TEST(HostSolve, PardisoRefusesTheLooseDof) {
  Model model = spaceFrame({2, 1, 2});
  addLooseDof(model);

  EXPECT_LT(solve(model, Vessa::Matrix::SolPardiso).code, 0);
}
