// Iterative refinement of several columns at once, forced to work by a factor of a slightly different matrix.
#include <gtest/gtest.h>

#include <limits>

#include "LdltMatrices.h"
#include "sparse/SymmetricLdlt.h"

namespace {
using namespace Vessa::Matrix::sparse;
using namespace ldlt_test;

/// Factor of a with every value changed by up to `change` of itself.
SymmetricLdlt NearFactor(const LowerColumns& a, double change) {
  LowerColumns near = a;
  std::mt19937 generator(5);
  std::uniform_real_distribution<double> noise(-change, change);
  for (double& v : near.value) v *= 1.0 + noise(generator);
  SymmetricLdlt solver;
  EXPECT_EQ(solver.Analyse(a.n, a.start.data(), a.row.data()), LdltStatus::Ok);
  EXPECT_EQ(solver.Factorize(near.value.data(), PivotMode::Indefinite), LdltStatus::Ok);
  return solver;
}

std::vector<double> Columns(int n, int count) {
  std::mt19937 generator(6);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  std::vector<double> b(static_cast<std::size_t>(n) * static_cast<std::size_t>(count));
  for (double& v : b) v = uniform(generator);
  return b;
}

TEST(Refinement, BringsEveryColumnToWorkingPrecisionAtAnyCount) {
  const LowerColumns a = Random(150, 0.05, true, 1);
  const SymmetricLdlt solver = NearFactor(a, 1e-6);
  for (const int count : {1, 2, 7, 8, 9, 24, 25, 30}) {
    const std::ptrdiff_t ld = a.n;
    const std::vector<double> b = Columns(a.n, count);
    std::vector<double> x(b.size());
    int steps = -1;

    ASSERT_EQ(solver.SolveRefined(a.value.data(), b.data(), x.data(), count, ld, 5, 1, &steps),
              LdltStatus::Ok);

    EXPECT_GE(steps, 2) << "a factor wrong by 1e-6 needs two steps for 1e-16";
    for (int c = 0; c < count; ++c)
      EXPECT_LT(BackwardError(a, x.data() + c * ld, b.data() + c * ld), 1e-15)
          << "column " << c << " of " << count;
  }
}

TEST(Refinement, TakesNoMoreStepsThanAllowed) {
  const LowerColumns a = Random(100, 0.05, true, 2);
  const SymmetricLdlt solver = NearFactor(a, 1e-4);
  const std::vector<double> b = Columns(a.n, 9);
  double error[3];
  for (int allowed = 0; allowed <= 2; ++allowed) {
    std::vector<double> x(b.size());
    int steps = -1;
    solver.SolveRefined(a.value.data(), b.data(), x.data(), 9, a.n, allowed, 1, &steps);
    EXPECT_EQ(steps, allowed);
    error[allowed] = BackwardError(a, x.data() + 8 * a.n, b.data() + 8 * a.n);
  }
  EXPECT_LT(error[1], 1e-2 * error[0]);
  EXPECT_LT(error[2], 1e-2 * error[1]);
}

TEST(Refinement, WithoutStepsIsThePlainSolutionAndDoesNotReadTheMatrix) {
  const LowerColumns a = Random(100, 0.05, true, 7);
  const SymmetricLdlt solver = NearFactor(a, 1e-6);
  const std::vector<double> b = Columns(a.n, 9);
  std::vector<double> plain = b, x(b.size());
  solver.Solve(plain.data(), 9, a.n);
  int steps = -1;

  ASSERT_EQ(solver.SolveRefined(nullptr, b.data(), x.data(), 9, a.n, 0, 1, &steps), LdltStatus::Ok);

  EXPECT_EQ(steps, 0);
  EXPECT_EQ(x, plain);
}

TEST(Refinement, AZeroOrSpoiltColumnDoesNotDisturbItsNeighbours) {
  const LowerColumns a = Random(120, 0.05, true, 3);
  const SymmetricLdlt solver = NearFactor(a, 1e-6);
  std::vector<double> b = Columns(a.n, 12);
  std::fill_n(b.begin() + 3 * a.n, a.n, 0.0);
  b[static_cast<std::size_t>(5 * a.n + 7)] = std::numeric_limits<double>::quiet_NaN();
  std::vector<double> x(b.size());

  ASSERT_EQ(solver.SolveRefined(a.value.data(), b.data(), x.data(), 12, a.n, 3, 1), LdltStatus::Ok);

  for (int i = 0; i < a.n; ++i) EXPECT_EQ(x[static_cast<std::size_t>(3 * a.n + i)], 0.0);
  for (int c = 0; c < 12; ++c) {
    if (c == 3 || c == 5) continue;
    EXPECT_LT(BackwardError(a, x.data() + c * a.n, b.data() + c * a.n), 1e-15) << "column " << c;
  }
}

TEST(Refinement, KeepsASolutionThatAStepWouldSpoil) {
  const LowerColumns a = Random(80, 0.1, true, 4);
  LowerColumns other = a;
  for (double& v : other.value) v *= -0.1;  // a correction with this factor goes the wrong way
  SymmetricLdlt solver;
  ASSERT_EQ(solver.Analyse(a.n, a.start.data(), a.row.data()), LdltStatus::Ok);
  ASSERT_EQ(solver.Factorize(other.value.data(), PivotMode::Indefinite), LdltStatus::Ok);
  const std::vector<double> b = Columns(a.n, 3);
  std::vector<double> plain = b, refined(b.size());
  solver.Solve(plain.data(), 3, a.n);
  int steps = -1;

  solver.SolveRefined(a.value.data(), b.data(), refined.data(), 3, a.n, 2, 1, &steps);

  EXPECT_EQ(steps, 0);
  EXPECT_EQ(refined, plain);
}

}  // namespace
