// Properties of the eigensolvers that hold for every structure, tried on random ones with fixed seeds.
// VEMATRIX_PROPERTY_RUNS=10000 runs the long form.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "RandomStructure.h"
#include "si/gep11.h"
#include "support/DenseReference.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace properties;
using test_support::Term;

TEST(EigenProperties, EigenpairsSatisfyTheirResidualsAndNoneIsMissed) {
  test_support::SilenceLibrary silence;
  for (int run = 0; run < Runs(300); ++run) {
    SCOPED_TRACE("seed " + std::to_string(run));
    const SpringNetwork network = MakeSpringNetwork(static_cast<unsigned>(run), /*floating=*/false);
    const int n = network.n;
    if (n < 8) continue;
    Dice dice(static_cast<unsigned>(run) + 9u);
    std::vector<Term> mass;
    for (int i = 1; i <= n; ++i) mass.push_back({i, i, 0.5 + dice.Unit()});
    auto K = test_support::LowerTriangle(n, network.terms);
    auto M = test_support::LowerTriangle(n, mass);
    const auto expected = test_support::Eigenvalues(test_support::DenseOf(n, Merged(n, network.terms)),
                                                    test_support::DenseOf(n, mass));
    double shift = 0.0;
    const int wanted = 3;
    si::gep11 solver(K, M, wanted, std::min(n, 8), 1e-12, shift, si::SHIFT_NONE, 2000);

    ASSERT_EQ(solver.solve_imp_orth(), si::STATUS_OK);

    const int found = solver.get_numpairs_converged();
    std::vector<std::pair<int, double>> bad;
    solver.residuals(1e-6, bad);
    std::vector<double> values;
    Eigen::MatrixXd vectors;
    solver.get_eigenpairs(values, vectors);
    ASSERT_GE(found, wanted);
    ASSERT_TRUE(bad.empty()) << "pair " << bad.front().first << " residual " << bad.front().second;
    std::sort(values.begin(), values.begin() + wanted);
    for (int k = 0; k < wanted; ++k) {
      const auto lambda = static_cast<double>(expected[static_cast<std::size_t>(k)]);
      ASSERT_NEAR(values[static_cast<std::size_t>(k)], lambda, 1e-8 * static_cast<double>(expected.back()))
          << "mode " << k + 1;
    }
  }
}

}  // namespace
