#include <gtest/gtest.h>

#include "PardisoFixture.h"
#include "support/CaptureStdout.h"
#include "support/ScaledError.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

TEST_P(PardisoContract, CopyReadsTheSameFactors) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  const Eigen::VectorXd expected = solver.solve(Ones(3));

  Pardiso copy(solver);

  EXPECT_TRUE(copy.isFactorized());
  EXPECT_EQ(copy.Engine(), GetParam());
  EXPECT_EQ(copy.solve(Ones(3)), expected);
  EXPECT_EQ(solver.solve(Ones(3)), expected);
}

TEST_P(PardisoContract, DisposingThroughACopyLeavesTheOriginalUnfactorised) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  Pardiso copy(solver);
  CVector b(3, 1.0);

  copy.disposeFactors();

  EXPECT_FALSE(solver.isFactorized());
  StdoutOf([&] { EXPECT_FALSE(solver.solve(b)); });
  EXPECT_EQ(solver.lastError(), PardisoInconsistent);
  solver.disposeFactors();
  EXPECT_TRUE(solver.factorize(true));
  EXPECT_TRUE(solver.solve(b));
  EXPECT_FALSE(copy.isFactorized());
}

TEST_P(PardisoContract, LastOwnerKeepsTheFactorsAlive) {
  Sparse a = SmallMatrix();
  auto solver = std::make_unique<Pardiso>(a, 1);
  Choose(*solver);
  ASSERT_TRUE(solver->factorize(true));
  Pardiso copy(*solver);

  solver.reset();
  const Eigen::VectorXd x = copy.solve(Ones(3));

  EXPECT_TRUE(Solves(a, x.data(), Ones(3).data()));
}

TEST_P(PardisoContract, FactorisingThroughACopyLeavesTheOriginalsFactors) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  ASSERT_TRUE(solver.factorize(true));
  Pardiso copy(solver);

  ASSERT_TRUE(copy.factorize(false));
  copy.disposeFactors();
  const Eigen::VectorXd x = solver.solve(Ones(3));

  EXPECT_TRUE(solver.isFactorized());
  EXPECT_TRUE(Solves(a, x.data(), Ones(3).data()));
}

TEST_P(PardisoContract, CopyOfAnUnfactorisedObjectStaysUnfactorised) {
  Sparse a = SmallMatrix();
  Pardiso solver(a, 1);
  Choose(solver);
  Pardiso copy(solver);

  ASSERT_TRUE(solver.factorize(true));

  EXPECT_TRUE(solver.isFactorized());
  EXPECT_FALSE(copy.isFactorized());
  solver.disposeFactors();
  EXPECT_TRUE(copy.factorize(true));
}

}  // namespace
