// Every allocation of the eigensolvers and of the condition estimates fails once: an exception or a code
// comes out, no mode that is counted as converged is wrong, nothing leaks, the host's matrices are what they
// were, and the same object then gives the right modes.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "AllocationSweep.h"
#include "si/gep11.h"
#include "si/sep.h"
#include "solution/CSolnMatrix.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;
using reliability::Result;
using reliability::Scenario;
using reliability::SweepWithoutLeaks;
using Sparse = Eigen::SparseMatrix<double, 0, int>;

constexpr int order = 12;
constexpr int wanted = 2;
constexpr double tolerance = 1e-9;

// A chain of unit springs, fixed at the left end: eigenvalue number k = 1, 2, ... of its stiffness.
double ChainEigenvalue(int k) {
  const double pi = 3.14159265358979323846;
  const double sine = std::sin((2 * k - 1) * pi / (2.0 * (2 * order + 1)));
  return 4.0 * sine * sine;
}

/// Assembled by the host's way, from the facade's own matrix.
Sparse Chain(double diagonal, double last, double beside) {
  CSolnMatrix k;
  k.SetMethod(SolPardiso);
  k.SetNumDof(order);
  for (int i = 1; i <= order; ++i) {
    k.AddTerm(i, i, i == order ? last : diagonal);
    if (i > 1 && beside != 0.0) k.AddTerm(i - 1, i, beside);
  }
  EXPECT_TRUE(k.Finalize());
  return k.getEigenSparse();
}

bool SameMatrix(const Sparse& a, const Sparse& b) {
  return (Eigen::MatrixXd(a) - Eigen::MatrixXd(b)).cwiseAbs().maxCoeff() <= 1e-14;
}

/// All wanted, ascending in distance from the shift; scaled by the mass.
bool AreRight(const std::vector<double>& values, int count, double mass) {
  for (int k = 0; k < count; ++k)
    if (!(std::fabs(values[std::size_t(k)] * mass - ChainEigenvalue(k + 1)) <= 1e-8)) return false;
  return true;
}

class ModesAllocationFaults : public ::testing::Test {
protected:
  // One thread: the faults are those of the calling thread, and the crews would do nothing but wait.
  static void SetUpTestSuite() {
    setenv("MKL_NUM_THREADS", "1", 1);
    setenv("OMP_NUM_THREADS", "1", 1);
  }
  test_support::SilenceLibrary silence;
};

// ---- The generalised problem

enum class Algorithm { Explicit, Implicit, ImplicitCopy };

struct Pencil {
  Sparse k = Chain(2.0, 1.0, -1.0), m = Chain(4.0, 4.0, 0.0), kBefore = k, mBefore = m;
  double shift = 0.0;
  bool shifted = false;  ///< a solve may have left its shift on the host's matrix
  std::unique_ptr<si::gep11> solver;
  Algorithm algorithm;

  // The explicit iteration works on B⁻¹A from the far end of the spectrum: its roles are exchanged.
  Pencil(Algorithm how, PardisoEngine engine, double from) : shift(from), algorithm(how) {
    const bool exchanged = how == Algorithm::Explicit;
    solver = std::make_unique<si::gep11>(exchanged ? m : k, exchanged ? k : m, wanted, 6, tolerance, shift,
                                         exchanged ? si::SHIFT_NONE : si::SHIFT_AGGRESSIVE, 60);
    EXPECT_TRUE(solver->SetEngine(engine));
  }

  si::Status Solve() {
    return algorithm == Algorithm::Explicit   ? solver->solve_exp_orth()
           : algorithm == Algorithm::Implicit ? solver->solve_imp_orth()
                                              : solver->solve_imp_orth_copy();
  }

  Result Modes() {
    shifted = algorithm != Algorithm::ImplicitCopy;
    const si::Status status = Solve();
    const int converged = std::min(solver->get_numpairs_converged(), wanted);
    shifted = false;
    std::vector<std::pair<int, double>> bad;
    solver->residuals(1e-6, bad);  // gives the host's matrix back before anything else
    std::vector<double> values;
    Eigen::MatrixXd vectors;
    solver->get_eigenpairs(values, vectors);
    if (algorithm == Algorithm::Explicit)
      for (double& value : values) value = 1.0 / value;
    if (int(values.size()) < converged || !AreRight(values, converged, 4.0)) return Result::Wrong;
    return status == si::STATUS_OK && converged == wanted ? Result::Right : Result::Refused;
  }

  /// Whether the host's matrices are what they were, after the call that gives a shifted one back.
  bool MatricesAreBack() {
    std::vector<std::pair<int, double>> bad;
    if (shifted) solver->residuals(1e-6, bad);
    return SameMatrix(k, kBefore) && SameMatrix(m, mBefore);
  }
};

struct Case {
  std::string name;
  Algorithm algorithm;
  PardisoEngine engine;
};

void PrintTo(const Case& c, std::ostream* out) {
  *out << c.name;
}

class Generalised : public ModesAllocationFaults, public ::testing::WithParamInterface<Case> {};
INSTANTIATE_TEST_SUITE_P(
    Algorithms, Generalised,
    ::testing::Values(Case{"explicit, own engine", Algorithm::Explicit, EngineOwn},
                      Case{"explicit, MKL", Algorithm::Explicit, EngineMkl},
                      Case{"implicit, own engine", Algorithm::Implicit, EngineOwn},
                      Case{"implicit, MKL", Algorithm::Implicit, EngineMkl},
                      Case{"implicit on a copy, own engine", Algorithm::ImplicitCopy, EngineOwn},
                      Case{"implicit on a copy, MKL", Algorithm::ImplicitCopy, EngineMkl}));

TEST_P(Generalised, EndsInAnExceptionOrACodeAndThenGivesTheRightModes) {
  const Case& c = GetParam();
  if (!Pardiso::HasEngine(c.engine)) GTEST_SKIP() << "this build has no MKL";
  SweepWithoutLeaks("gep11, " + c.name, [&] {
    const auto pencil = std::make_shared<Pencil>(c.algorithm, c.engine, 0.0);
    return Scenario{[pencil] { return pencil->Modes(); },
                    [pencil] { return pencil->MatricesAreBack() && pencil->Modes() == Result::Right; }};
  });
}

// ---- The standard problem

struct Standard {
  Sparse a = Chain(2.0, 1.0, -1.0), before = a;
  double shift = 0.0;
  si::sep solver;

  Standard(si::EVAL_LOCATION end, PardisoEngine engine, double from)
      : shift(from), solver(a, wanted, 8, end, 1e-8, shift, si::SHIFT_AGGRESSIVE, 400), m_end(end) {
    EXPECT_TRUE(solver.SetEngine(engine));
  }

  Result Modes() {
    const si::Status status = solver.solve();
    const int converged = std::min(solver.get_numpairs_converged(), wanted);
    std::vector<double> values;
    Eigen::MatrixXd vectors;
    solver.get_eigenpairs(values, vectors);
    for (int k = 0; k < converged; ++k) {
      const double expected = ChainEigenvalue(m_end == si::EVAL_LOWEST ? k + 1 : order - k);
      if (!(std::fabs(values[std::size_t(k)] - expected) <= 1e-7)) return Result::Wrong;
    }
    return status == si::STATUS_OK && converged == wanted ? Result::Right : Result::Refused;
  }

private:
  si::EVAL_LOCATION m_end;
};

struct StandardCase {
  std::string name;
  si::EVAL_LOCATION end;
  PardisoEngine engine;
  double shift;
};

void PrintTo(const StandardCase& c, std::ostream* out) {
  *out << c.name;
}

class StandardProblem : public ModesAllocationFaults, public ::testing::WithParamInterface<StandardCase> {};
INSTANTIATE_TEST_SUITE_P(
    Ends, StandardProblem,
    ::testing::Values(StandardCase{"lowest, own engine", si::EVAL_LOWEST, EngineOwn, 0.0},
                      StandardCase{"lowest, MKL", si::EVAL_LOWEST, EngineMkl, 0.0},
                      // below the lowest: the solver works on a copy of the matrix
                      StandardCase{"lowest from a shift, own engine", si::EVAL_LOWEST, EngineOwn, 0.005},
                      StandardCase{"highest", si::EVAL_HIGHEST, EngineOwn, 0.0}));

TEST_P(StandardProblem, EndsInAnExceptionOrACodeAndThenGivesTheRightModes) {
  const StandardCase& c = GetParam();
  if (!Pardiso::HasEngine(c.engine)) GTEST_SKIP() << "this build has no MKL";
  SweepWithoutLeaks("sep, " + c.name, [&] {
    const auto problem = std::make_shared<Standard>(c.end, c.engine, c.shift);
    return Scenario{
        [problem] { return problem->Modes(); },
        [problem] { return SameMatrix(problem->a, problem->before) && problem->Modes() == Result::Right; }};
  });
}

// ---- Condition estimates

struct Reduced {
  CSolnMatrix k;
  CReport report;

  Reduced(SolMethod method, PardisoEngine engine) {
    k.SetMethod(method);
    k.SetLog(&report);
    k.SetPardisoEngine(engine);
    k.SetNumDof(order);
    for (int i = 1; i <= order; ++i) {
      k.AddTerm(i, i, i == order ? 1.0 : 2.0);
      if (i > 1) k.AddTerm(i - 1, i, -1.0);
    }
    std::vector<int> zeroDofs;
    EXPECT_TRUE(k.Finalize());
    EXPECT_EQ(k.Reduce(OptStiffness, zeroDofs), 0);
  }

  // ‖K‖₁ = 4, and the last column of K⁻¹ holds 1, 2, ..., n. The customary estimate is a lower bound.
  Result Estimate(bool refined) {
    const double exact = 4.0 * order * (order + 1) / 2.0;
    const double estimate = refined ? k.CondEstRefined() : k.CondEst();
    const bool right = estimate <= exact * (1.0 + 1e-12) && estimate >= exact * (refined ? 0.999 : 0.5);
    if (right) return Result::Right;
    return report.Status() >= 2 ? (estimate == 0.0 ? Result::Refused : Result::WrongTold) : Result::Wrong;
  }
};

TEST_F(ModesAllocationFaults, OfConditionEstimatesEndInAnExceptionOrAWordInTheReport) {
  const std::vector<std::pair<SolMethod, PardisoEngine>> methods = {{SolSkyline, EngineDefault},
                                                                    {SolCompColumn, EngineDefault},
                                                                    {SolPardiso, EngineOwn},
                                                                    {SolPardiso, EngineMkl}};
  for (const auto& [method, engine] : methods)
    for (const bool refined : {false, true}) {
      if (engine == EngineMkl && !Pardiso::HasEngine(engine)) continue;
      SweepWithoutLeaks(std::string(refined ? "CondEstRefined" : "CondEst") + ", method " +
                            std::to_string(method) +
                            (method != SolPardiso  ? ""
                             : engine == EngineMkl ? ", MKL"
                                                   : ", own engine"),
                        [method = method, engine = engine, refined] {
                          const auto matrix = std::make_shared<Reduced>(method, engine);
                          return Scenario{[=] { return matrix->Estimate(refined); },
                                          [=] { return matrix->Estimate(refined) == Result::Right; }};
                        });
    }
}

}  // namespace
