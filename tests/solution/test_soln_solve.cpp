#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "SolnFixture.h"
#include "solution/CSolnMatrix.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

class EveryMethod : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(WithAnEngine, EveryMethod, ::testing::Values(0, 4, 6));

TEST_P(EveryMethod, SolvesRandomStructuresToBackwardError) {
  for (const int n : {1, 2, 3, 5, 8, 17, 60, 300}) {
    const std::vector<Term> terms = RandomSpd(n, 5, 40 + n);
    const std::vector<double> load = RandomVector(n, 80 + n);
    const auto k = Finalised(GetParam(), n, terms);
    CVector b(Eigen::VectorXd(Eigen::Map<const Eigen::VectorXd>(load.data(), n)));

    std::vector<int> zeroDofs;
    const int result = Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); });
    Quietly([&] { k->BackSubstitute(b); });

    EXPECT_EQ(result, 0);
    EXPECT_TRUE(zeroDofs.empty());
    EXPECT_TRUE(Solves(n, terms, b.Array(), load.data())) << "n = " << n;
  }
}

}  // namespace
