// The properties of the direct solvers that concern the row-stored matrix: its Cholesky factorisation takes
// positive definite matrices only. VEMATRIX_PROPERTY_RUNS=100000 runs the long form.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <string>
#include <vector>

#include "RandomStructure.h"
#include "sparse/CSymmetricRow.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace properties;
using test_support::Term;

int Runs(int standard) {
  const char* wanted = std::getenv("VEMATRIX_PROPERTY_RUNS");
  return wanted != nullptr ? std::atoi(wanted) : standard;
}

std::vector<double> RandomLoad(int n, unsigned seed) {
  Dice dice(seed ^ 0x5bd1e995u);
  std::vector<double> load(static_cast<std::size_t>(n));
  for (double& f : load) f = 2.0 * dice.Unit() - 1.0;
  return load;
}

std::vector<double> Solve(int n, const std::vector<Term>& terms, const std::vector<double>& load) {
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
  return std::vector<double>(x.Array(), x.Array() + n);
}

TEST(RowStoredProperties, SupportedStructuresAreSolvedToTheirBackwardError) {
  for (int run = 0; run < Runs(2000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<double> load = RandomLoad(network.n, static_cast<unsigned>(run));

    const std::vector<double> x = Solve(network.n, network.terms, load);

    ASSERT_TRUE(test_support::Solves(network.n, Merged(network.n, network.terms), x.data(), load.data()));
  }
}

// An even power: the factor is a square root of the matrix.
TEST(RowStoredProperties, ScalingTheMatrixByAPowerOfFourChangesNoBitOfTheSolution) {
  for (int run = 0; run < Runs(1000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<double> load = RandomLoad(network.n, static_cast<unsigned>(run));
    const int power = 2 * (run % 21 - 10);
    std::vector<Term> scaled = network.terms;
    for (Term& t : scaled) t.value = std::ldexp(t.value, power);

    const std::vector<double> x = Solve(network.n, network.terms, load);
    std::vector<double> y = Solve(network.n, scaled, load);

    for (double& v : y) v = std::ldexp(v, power);
    ASSERT_EQ(x, y);
  }
}

TEST(RowStoredProperties, APermutedStructureGivesThePermutedAnswer) {
  for (int run = 0; run < Runs(1000); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const std::vector<double> load = RandomLoad(network.n, static_cast<unsigned>(run));
    const std::vector<int> number = RandomNumbering(network.n, static_cast<unsigned>(run) + 5u);
    std::vector<double> permutedLoad(load.size());
    for (std::size_t i = 0; i < load.size(); ++i)
      permutedLoad[static_cast<std::size_t>(number[i]) - 1] = load[i];

    const std::vector<double> y = Solve(network.n, Renumbered(network.terms, number), permutedLoad);

    std::vector<double> x(y.size());
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = y[static_cast<std::size_t>(number[i]) - 1];
    ASSERT_TRUE(test_support::Solves(network.n, Merged(network.n, network.terms), x.data(), load.data()));
  }
}

}  // namespace
