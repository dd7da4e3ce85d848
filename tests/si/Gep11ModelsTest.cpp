#include <gtest/gtest.h>

#include "models/Registry.h"
#include "models/structures/Structures.h"
#include "si/SolveModes.h"
#include "skyline/CSkyLine.h"

namespace {

using namespace modes;
using namespace pencils;
using vematrix::models::makeModel;
using vematrix::models::Model;

using vematrix::models::SymmetricTerms;
using vematrix::models::toLowerTriangle;

Sparse stiffnessOf(const Model& model) {
  SymmetricTerms terms{model.numDofs(), {}, {}, {}};
  model.assembleStiffness(terms);
  return toLowerTriangle(terms);
}

Sparse massOf(const Model& model) {
  SymmetricTerms terms{model.numDofs(), {}, {}, {}};
  model.assembleMass(terms);
  return toLowerTriangle(terms);
}

/// Negative pivots of K − sigma·M by the skyline reduction.
int countBelowBySkyline(const Sparse& K, const Sparse& M, double sigma) {
  const Sparse S = shifted(K, sigma, M);
  const int n = int(S.cols());
  Vessa::Matrix::CSkyLine matrix;
  matrix.SetNumDof(n);
  for (int c = 0; c < n; ++c) {
    for (Sparse::InnerIterator entry(S, c); entry; ++entry) {
      const int row = int(entry.row()) + 1,
                column = c + 1;  // lower entry (row, column): column `row` reaches up to it
      matrix.SetColHeight(row, std::max(matrix.ColHeight(row), row - column + 1));
    }
  }
  EXPECT_TRUE(matrix.CreateIndex());
  for (int c = 0; c < n; ++c)
    for (Sparse::InnerIterator entry(S, c); entry; ++entry)
      matrix.SetAt(c + 1, int(entry.row()) + 1, entry.value());
  matrix.SetAssemble();
  std::vector<int> zeroDofs;
  EXPECT_TRUE(matrix.Reduce(1, zeroDofs));
  const Vessa::Matrix::CDiag pivots = matrix.Diag();
  int negative = 0;
  for (int i = 1; i <= n; ++i) negative += pivots.GetAt(i, i) < 0.0;
  return negative;
}

std::vector<double> frequencies(const Result& result, int count) {
  std::vector<double> hz;
  for (int i = 0; i < count; ++i) hz.push_back(std::sqrt(result.values[i]) / (2.0 * kPi));
  std::sort(hz.begin(), hz.end());
  return hz;
}

struct Benchmark {
  std::string model;
  std::vector<int> meshes;  // each twice as fine as the one before
  std::vector<double> hz;   // published
  double coarseTolerance, fineTolerance;
};

void PrintTo(const Benchmark& b, std::ostream* out) {
  *out << b.model;
}

class PublishedFrequencies : public ::testing::TestWithParam<Benchmark> {};

TEST_P(PublishedFrequencies, AreApproachedByEveryMeshAndSolve) {
  const Benchmark& b = GetParam();
  const int nev = int(b.hz.size());
  double previous = b.coarseTolerance;
  for (int mesh : b.meshes) {
    const Model model = makeModel(b.model + ":" + std::to_string(mesh));
    const Sparse K = stiffnessOf(model), M = massOf(model);
    Request request;
    request.nev = nev;
    request.tol = 1e-12;
    double worst = 0.0;
    std::vector<double> first;
    for (Algorithm algorithm : {Algorithm::Explicit, Algorithm::Implicit, Algorithm::ImplicitCopy}) {
      const Result result = solve(algorithm, K, M, request);
      ASSERT_GE(result.converged, nev) << nameOf(algorithm) << " mesh " << mesh;
      const std::vector<double> hz = frequencies(result, nev);
      if (first.empty()) first = hz;
      worst = 0.0;
      for (int i = 0; i < nev; ++i) {
        EXPECT_NEAR(hz[i], first[i], 1e-6 * first[i]) << nameOf(algorithm);
        worst = std::max(worst, std::fabs(hz[i] / b.hz[i] - 1.0));
      }
      const double beyond = 1.0001 * std::pow(2.0 * kPi * hz[nev - 1], 2);
      EXPECT_EQ(countBelow(K, M, beyond), nev) << "mesh " << mesh;
      EXPECT_EQ(countBelowBySkyline(K, M, beyond), nev) << "mesh " << mesh;
      EXPECT_LT(departureFromMOrthonormal(M, result.vectors, nev), 1e-6);
    }
    RecordProperty("worst relative error, mesh " + std::to_string(mesh), std::to_string(worst));
    EXPECT_LT(worst, previous) << "mesh " << mesh;
    previous = worst;
  }
  EXPECT_LT(previous, b.fineTolerance);
}

INSTANTIATE_TEST_SUITE_P(
    Nafems, PublishedFrequencies,
    ::testing::Values(
        // FV32: cantilevered tapered membrane
        Benchmark{"taper", {8, 16, 32}, {44.623, 130.03, 162.70, 246.05, 379.90, 391.44}, 0.05, 0.005},
        // simply supported thin square plate
        Benchmark{"thinplate", {8, 16, 32}, {2.377, 5.942, 5.942, 9.507, 11.884, 11.884}, 0.2, 0.01}),
    [](const auto& info) { return info.param.model; });

TEST(Modes, FreeStructuresHaveTheirRigidBodyModes) {
  struct Free {
    const char* name;
    int rigid;
  };
  for (const Free& free : {Free{"brick:3:free", 6}, Free{"frame:1:1:2:free", 6}}) {
    const Model model = makeModel(free.name);
    const Sparse K = stiffnessOf(model), M = massOf(model);
    Request request;
    request.nev = free.rigid + 4;
    request.shift = -1000.0;  // (rad/s)², below every eigenvalue
    for (Algorithm algorithm : {Algorithm::Implicit, Algorithm::ImplicitCopy}) {
      const Result result = solve(algorithm, K, M, request);
      ASSERT_GE(result.converged, request.nev) << free.name << result.printed.substr(0, 2000);
      std::vector<double> values(result.values.begin(), result.values.begin() + request.nev);
      std::sort(values.begin(), values.end());
      const double elastic = values[free.rigid];
      for (int i = 0; i < free.rigid; ++i) EXPECT_LT(std::fabs(values[i]), 1e-6 * elastic) << free.name;
      EXPECT_GT(elastic, 1.0);
      EXPECT_EQ(countBelow(K, M, 0.5 * elastic), free.rigid) << free.name;
    }
  }
}

TEST(Modes, PinnedColumnOfTheModelsBucklesAtEulersLoad) {
  vematrix::models::PinnedColumn column;
  column.elements = 8;
  const Model model = vematrix::models::pinnedColumn(column);
  Sparse K = stiffnessOf(model);
  Vessa::Matrix::Pardiso solver(K, 1);
  ASSERT_TRUE(solver.factorize(true));
  Eigen::VectorXd u(K.cols());
  ASSERT_TRUE(solver.SolveX(model.loads(0), u));
  SymmetricTerms geometric{model.numDofs(), {}, {}, {}};
  model.assembleGeometricStiffness(u, geometric);
  // K·x = λ·(−G)·x with −G not definite: the largest 1/λ of (−G)·x = (1/λ)·K·x
  const Sparse minusG = -1.0 * toLowerTriangle(geometric);
  Request request;
  request.nev = 1;
  request.p = 6;

  const Result result = solve(Algorithm::Explicit, K, minusG, request);

  ASSERT_GE(result.converged, 1) << result.printed;
  // b·h = 0.1 x 0.2 m: it buckles about the weaker axis, I = 0.2·0.1³/12
  const double E = column.material.young, I = 0.2 * std::pow(0.1, 3) / 12.0;
  EXPECT_NEAR(result.values[0], kPi * kPi * E * I / 25.0, 2e-4 * result.values[0]);
}

}  // namespace
