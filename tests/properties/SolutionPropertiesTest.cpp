// Properties of the solutions that hold for every structure that is held, tried on thousands of random ones
// with fixed seeds, by every method. VEMATRIX_PROPERTY_RUNS=100000 runs the long form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "RandomStructure.h"
#include "StructureSolver.h"
#include "sparse/CSymmetricRow.h"
#include "support/ScaledError.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;
using namespace properties;
using test_support::Term;

using Vector = std::vector<double>;

Vector SolveByFacade(SolMethod method, PardisoEngine engine, int n, const std::vector<Term>& terms,
                     const Vector& load) {
  Solver solver(method, n, terms);
  solver.Matrix().SetPardisoEngine(engine);
  const int code = solver.Reduce();
  EXPECT_TRUE(code == 0 && solver.zeroDofs.empty()) << "code " << code;
  return code == 0 ? solver.Solve(load) : Vector(load.size(), std::numeric_limits<double>::quiet_NaN());
}

Vector SolveByRows(int n, const std::vector<Term>& terms, const Vector& load) {
  CSymmetricRow matrix(n), factor;
  for (const Term& t : terms) {
    matrix.AllocateAt(t.i, t.j);
    matrix.AddAt(t.i, t.j, t.value);
  }
  matrix.Sort();
  matrix.StoreFirstRow();
  factor.SymbolicFactorization(matrix);
  factor.StoreFirstRow();
  factor.Factorization(matrix);
  CVector x(n);
  std::copy(load.begin(), load.end(), x.Array());
  factor.BackSubs(x);
  return Vector(x.Array(), x.Array() + n);
}

class Solutions : public ::testing::TestWithParam<const char*> {
protected:
  bool IsRowStored() const { return std::string(GetParam()) == "RowStored"; }

  Vector Solve(int n, const std::vector<Term>& terms, const Vector& load,
               PardisoEngine engine = EngineDefault) const {
    const std::string name = GetParam();
    if (IsRowStored()) return SolveByRows(n, terms, load);
    const SolMethod method = name == "Skyline"            ? SolSkyline
                             : name == "CompressedColumn" ? SolCompColumn
                                                          : SolPardiso;
    return SolveByFacade(method, engine, n, terms, load);
  }

  /// Hands supported structures with a load and their number to `property`, up to the first failure.
  template <class Property>
  void ForStructures(int standard, Property&& property) const {
    for (int run = 0; run < Runs(standard) && !HasFailure(); ++run) {
      SCOPED_TRACE("seed " + std::to_string(run));
      const auto seed = static_cast<unsigned>(run);
      const SpringNetwork network = MakeSpringNetwork(seed, /*floating=*/false);
      property(network, RandomLoad(network.n, seed), run);
    }
  }

private:
  // The library writes trace lines; thousands of runs would drown the test's own words.
  test_support::SilenceLibrary m_silence;
};

INSTANTIATE_TEST_SUITE_P(Methods, Solutions,
                         ::testing::Values("Skyline", "CompressedColumn", "Pardiso", "RowStored"),
                         [](const auto& info) { return std::string(info.param); });

TEST_P(Solutions, OfSupportedStructuresKeepTheirBackwardError) {
  ForStructures(2000, [this](const SpringNetwork& network, const Vector& load, int) {
    const Vector x = Solve(network.n, network.terms, load);

    EXPECT_TRUE(test_support::Solves(network.n, Merged(network.n, network.terms), x.data(), load.data()));
  });
}

// The row-stored factor is a square root of the matrix: it keeps its bits under even powers. MKL's PARDISO
// scales and perturbs by norms and does not keep them; the library's own engine does.
TEST_P(Solutions, KeepEveryBitWhenTheMatrixIsScaledByAPowerOfTwo) {
  ForStructures(1000, [this](const SpringNetwork& network, const Vector& load, int run) {
    const int power = IsRowStored() ? 2 * (run % 21 - 10) : run % 41 - 20;
    std::vector<Term> scaled = network.terms;
    for (Term& t : scaled) t.value = std::ldexp(t.value, power);

    const Vector x = Solve(network.n, network.terms, load, EngineOwn);
    Vector y = Solve(network.n, scaled, load, EngineOwn);

    for (double& v : y) v = std::ldexp(v, power);
    EXPECT_EQ(x, y);
  });
}

TEST_P(Solutions, OfAPermutedStructureArePermuted) {
  ForStructures(1000, [this](const SpringNetwork& network, const Vector& load, int run) {
    const std::vector<int> number = RandomNumbering(network.n, static_cast<unsigned>(run) + 5u);
    Vector permutedLoad(load.size()), x(load.size());
    for (std::size_t i = 0; i < load.size(); ++i)
      permutedLoad[static_cast<std::size_t>(number[i]) - 1] = load[i];

    const Vector y = Solve(network.n, Renumbered(network.terms, number), permutedLoad);

    for (std::size_t i = 0; i < x.size(); ++i) x[i] = y[static_cast<std::size_t>(number[i]) - 1];
    EXPECT_TRUE(test_support::Solves(network.n, Merged(network.n, network.terms), x.data(), load.data()));
  });
}

}  // namespace
