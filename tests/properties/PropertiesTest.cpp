// Properties of the direct solvers that hold for every structure, tried on thousands of random ones with
// fixed seeds. VEMATRIX_PROPERTY_RUNS=100000 runs the long form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "RandomStructure.h"
#include "solution/CSolnMatrix.h"
#include "support/DenseReference.h"
#include "support/ScaledError.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;
using namespace properties;
using test_support::Term;

int Runs(int standard) {
  const char* wanted = std::getenv("VEMATRIX_PROPERTY_RUNS");
  return wanted != nullptr ? std::atoi(wanted) : standard;
}

struct Engine {
  const char* name;
  SolMethod method;
};
constexpr Engine engines[] = {
    {"skyline", SolSkyline}, {"compressed column", SolCompColumn}, {"PARDISO", SolPardiso}};

class Solver {
public:
  Solver(SolMethod method, int n, const std::vector<Term>& terms) : m_n(n) {
    m_matrix.SetMethod(method);
    m_matrix.SetNumDof(n);
    test_support::Assemble(terms, m_matrix);
    m_matrix.Finalize();
  }
  int Reduce(Option option = OptStiffness) { return m_matrix.Reduce(option, zeroDofs); }
  std::vector<double> Solve(const std::vector<double>& load) {
    CVector x(m_n, 0.0);
    std::copy(load.begin(), load.end(), x.Array());
    m_matrix.BackSubstitute(x);
    return std::vector<double>(x.Array(), x.Array() + m_n);
  }
  CSolnMatrix& Matrix() { return m_matrix; }
  std::vector<int> zeroDofs;

private:
  int m_n;
  CSolnMatrix m_matrix;
};

std::vector<double> Load(int n, unsigned seed) {
  Dice dice(seed ^ 0x5bd1e995u);
  std::vector<double> load(static_cast<std::size_t>(n));
  for (double& f : load) f = 2.0 * dice.Unit() - 1.0;
  return load;
}

class Properties : public ::testing::Test {
protected:
  // The library writes trace lines; thousands of runs would drown the test's own words.
  test_support::SilenceLibrary m_silence;
};

TEST_F(Properties, AllMethodsSolveSupportedStructuresToTheirBackwardError) {
  for (int run = 0; run < Runs(2000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<Term> merged = Merged(network.n, network.terms);
    const std::vector<double> load = Load(network.n, static_cast<unsigned>(run));
    for (const Engine& engine : engines) {
      SCOPED_TRACE(engine.name);
      Solver solver(engine.method, network.n, network.terms);

      ASSERT_EQ(solver.Reduce(), 0);
      const std::vector<double> x = solver.Solve(load);

      ASSERT_TRUE(test_support::Solves(network.n, merged, x.data(), load.data()));
      ASSERT_TRUE(solver.zeroDofs.empty());
    }
  }
}

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

TEST_F(Properties, ScalingTheMatrixByAPowerOfTwoChangesNoBitOfTheSolution) {
  for (int run = 0; run < Runs(1000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<double> load = Load(network.n, static_cast<unsigned>(run));
    const int power = (run % 41) - 20;
    std::vector<Term> scaled = network.terms;
    for (Term& t : scaled) t.value = std::ldexp(t.value, power);
    for (const Engine& engine : engines) {
      SCOPED_TRACE(engine.name);
      Solver plain(engine.method, network.n, network.terms);
      Solver other(engine.method, network.n, scaled);
      // MKL's PARDISO scales and perturbs by norms and does not keep this; our own engine behind it does.
      plain.Matrix().SetPardisoEngine(EngineOwn);
      other.Matrix().SetPardisoEngine(EngineOwn);
      ASSERT_EQ(plain.Reduce(), 0);
      ASSERT_EQ(other.Reduce(), 0);

      const std::vector<double> x = plain.Solve(load);
      std::vector<double> y = other.Solve(load);

      for (double& v : y) v = std::ldexp(v, power);
      ASSERT_EQ(x, y);
    }
  }
}

TEST_F(Properties, APermutedStructureGivesThePermutedAnswer) {
  for (int run = 0; run < Runs(1000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<double> load = Load(network.n, static_cast<unsigned>(run));
    const std::vector<int> number = RandomNumbering(network.n, static_cast<unsigned>(run) + 5u);
    const std::vector<Term> permuted = Renumbered(network.terms, number);
    std::vector<double> permutedLoad(load.size());
    for (std::size_t i = 0; i < load.size(); ++i)
      permutedLoad[static_cast<std::size_t>(number[i]) - 1] = load[i];
    const std::vector<Term> merged = Merged(network.n, network.terms);
    for (const Engine& engine : engines) {
      SCOPED_TRACE(engine.name);
      Solver solver(engine.method, network.n, permuted);
      ASSERT_EQ(solver.Reduce(), 0);

      const std::vector<double> y = solver.Solve(permutedLoad);

      std::vector<double> x(y.size());
      for (std::size_t i = 0; i < x.size(); ++i) x[i] = y[static_cast<std::size_t>(number[i]) - 1];
      ASSERT_TRUE(test_support::Solves(network.n, merged, x.data(), load.data()));
    }
  }
}

}  // namespace
