// Properties of the factorisations that hold for every structure, tried on thousands of random ones with
// fixed seeds: inertia, and the dofs that are suppressed. VEMATRIX_PROPERTY_RUNS=100000 runs the long form.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "RandomStructure.h"
#include "StructureSolver.h"
#include "support/DenseReference.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;
using namespace properties;
using test_support::Term;

struct Engine {
  const char* name;
  SolMethod method;
};
constexpr Engine engines[] = {
    {"skyline", SolSkyline}, {"compressed column", SolCompColumn}, {"PARDISO", SolPardiso}};

class Properties : public ::testing::Test {
protected:
  // The library writes trace lines; thousands of runs would drown the test's own words.
  test_support::SilenceLibrary m_silence;
};

TEST_F(Properties, InertiaAgreesBetweenAllMethodsAndADenseCountForRandomShifts) {
  int compared = 0;
  for (int run = 0; run < Runs(1000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<Term> merged = Merged(network.n, network.terms);
    const test_support::Dense dense = test_support::DenseOf(network.n, merged);
    const std::vector<test_support::Real> spectrum = test_support::Eigenvalues(dense);
    Dice dice(static_cast<unsigned>(run) + 77u);
    // A shift away from all eigenvalues: the middle of a gap.
    const int below = dice.Below(network.n + 1);
    const auto low = below == 0 ? 0.25L * spectrum.front() : spectrum[static_cast<std::size_t>(below) - 1];
    const auto high = below == network.n ? 2.0L * spectrum.back() : spectrum[static_cast<std::size_t>(below)];
    if (!(high - low > 1e-6L * spectrum.back())) continue;
    const double shift = static_cast<double>(0.5L * (low + high));
    std::vector<Term> shifted = merged;
    for (int i = 1; i <= network.n; ++i) shifted.push_back({i, i, -shift});
    ASSERT_EQ(test_support::InertiaOf(test_support::DenseOf(network.n, Merged(network.n, shifted))).negative,
              below);
    for (const Engine& engine : engines) {
      SCOPED_TRACE(engine.name);
      Solver solver(engine.method, network.n, shifted);
      if (solver.Reduce(OptSturm) != 0) continue;  // multiplier growth: refused, not wrong

      int negative = 0;
      if (engine.method == SolPardiso) {
        negative = solver.Matrix().getPardiso().negative_evals();
      } else if (engine.method == SolSkyline) {
        const CDiag pivots = solver.Matrix().getSkyLine().Diag();
        for (int i = 1; i <= network.n; ++i) negative += pivots.GetAt(i, i) < 0 ? 1 : 0;
      } else {
        negative = solver.Matrix().getCompColumn().NumNegative();
      }
      ++compared;
      ASSERT_EQ(negative, below);
    }
  }
  EXPECT_GT(compared, Runs(1000));
}

TEST_F(Properties, SuppressedDofsAreExactlyThoseThatNothingHolds) {
  for (int run = 0; run < Runs(2000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/true);
    std::vector<Term> terms = network.terms;
    // Hold every floating part except the loose dofs.
    std::vector<bool> held = network.grounded;
    for (int i = 1; i <= network.n; ++i) {
      const auto part = static_cast<std::size_t>(network.part[static_cast<std::size_t>(i) - 1]);
      const bool loose = std::find(network.loose.begin(), network.loose.end(), i) != network.loose.end();
      if (held[part] || loose) continue;
      terms.push_back({i, i, 3.0});
      held[part] = true;
    }
    Solver skyline(SolSkyline, network.n, terms);
    Solver compressed(SolCompColumn, network.n, terms);

    const int skylineResult = skyline.Reduce();
    const int compressedResult = compressed.Reduce();

    ASSERT_EQ(skylineResult, network.loose.empty() ? 0 : -5);
    ASSERT_EQ(skyline.zeroDofs, network.loose);
    if (network.loose.empty()) {
      ASSERT_EQ(compressedResult, 0);
      ASSERT_TRUE(compressed.zeroDofs.empty());
    } else if (network.loose.front() == 1) {
      ASSERT_EQ(compressedResult, -5);
    } else {
      ASSERT_EQ(compressedResult, 0);
      ASSERT_EQ(compressed.zeroDofs, std::vector<int>{network.loose.front()});
    }
  }
}

TEST_F(Properties, EveryFloatingPartLosesExactlyOnePivotUnderARelativeThreshold) {
  for (int run = 0; run < Runs(2000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/true);
    Solver solver(SolSkyline, network.n, network.terms);
    solver.Matrix().getSkyLine().SetZero(1e-9);  // the softest spring is 1 N/m

    solver.Reduce();

    ASSERT_EQ(static_cast<int>(solver.zeroDofs.size()), network.numFloatingParts());
    for (const int dof : solver.zeroDofs) {
      ASSERT_FALSE(
          network.grounded[static_cast<std::size_t>(network.part[static_cast<std::size_t>(dof) - 1])]);
    }
  }
}

}  // namespace
