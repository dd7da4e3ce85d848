#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "ModelChecks.h"
#include "models/elements/Brick.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

bool isInside(const Eigen::Vector3d& x) {
  return (x.array() > 0.0).all() && (x.array() < 1.0).all();
}

Coordinates distortedBrick() {
  Coordinates x(3, 8);
  x << 0, 1.1, 1.3, -0.1, 0.1, 1.0, 1.2, 0.0,  //
      0, 0.1, 1.0, 0.9, -0.1, 0.0, 1.1, 1.2,   //
      0, 0.1, -0.1, 0.0, 0.8, 1.0, 1.1, 0.9;
  return x;
}

}  // namespace

TEST(Brick, StiffnessAndMassOfDistortedElementAreSymmetric) {
  const Brick brick(steel());
  Eigen::MatrixXd K, M;

  brick.stiffness(distortedBrick(), K);
  brick.mass(distortedBrick(), M);

  EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
}

TEST(Brick, DistortedElementHasExactlySixRigidBodyModes) {
  Eigen::MatrixXd K;

  Brick(steel()).stiffness(distortedBrick(), K);

  const NullSpace null = nullSpace(K);
  EXPECT_EQ(null.modes, 6);
  EXPECT_GT(null.smallestTrue, 1e-4);
}

TEST(Brick, UnsupportedBlockHasExactlySixRigidBodyModes) {
  const Model block = solidBlock({2, 3, 2, 1.0, 2.0, 0.7});

  EXPECT_EQ(nullSpace(unsupportedStiffness(block)).modes, 6);
  EXPECT_LT(rigidBodyForce(block), 1e-14);
}

// Two by two by two bricks in a unit cube with the centre node moved.
TEST(Brick, DistortedPatchRepresentsConstantStrainExactly) {
  const Model patch =
      distorted(solidBlock({2, 2, 2}), std::make_shared<Brick>(steel()), [](const Eigen::Vector3d& x) {
        return isInside(x) ? Eigen::Vector3d(x + Eigen::Vector3d(0.11, -0.08, 0.07)) : x;
      });
  Eigen::Matrix3d slope;
  slope << 1e-3, 2e-4, -3e-4, 5e-4, -7e-4, 1e-4, 2e-4, 6e-4, 4e-4;
  Eigen::VectorXd u(patch.numDofs());
  for (int d = 1; d <= patch.numDofs(); ++d)
    u[d - 1] = slope.row(patch.place(d).second).dot(patch.node(patch.place(d).first));

  EXPECT_LT(patchForce(patch, u, isInside), 1e-14);
}

TEST(Brick, ConsistentAndLumpedMassAddUpToTheMassOfTheBlock) {
  const SolidBlock block{3, 2, 2, 2.0, 0.5, 0.4};
  Model model = solidBlock(block);
  model.numberDofs(Supports::Free);
  const double mass = block.material.density * 2.0 * 0.5 * 0.4;
  const Eigen::VectorXd along = model.rigidBodyMotion(1);

  const double consistent = along.dot(dense(model.massTerms()) * along);
  const double lumped = along.dot(dense(model.lumpedMassTerms()) * along);

  EXPECT_NEAR(consistent, mass, 1e-12 * mass);
  EXPECT_NEAR(lumped, mass, 1e-12 * mass);
}

TEST(Brick, InsideOutElementIsRefused) {
  Coordinates x = distortedBrick();
  x.row(2) *= -1.0;
  Eigen::MatrixXd K;

  EXPECT_THROW(Brick(steel()).stiffness(x, K), std::domain_error);
}

// Slender bar in bending: P·L³/3EI + P·L/kappa·G·A, Timoshenko; Poisson's ratio 0 at the clamped end keeps it
// pure.
TEST(Brick, CantileverTipConvergesToBeamTheoryWithinOnePercent) {
  const double L = 10.0, h = 1.0, P = 1000.0;
  Material material = steel();
  material.poisson = 0.0;
  const double I = h * h * h * h / 12.0;
  const double exact =
      P * L * L * L / (3.0 * material.young * I) + P * L / (5.0 / 6.0 * material.shearModulus() * h * h);

  double error = 1.0;
  for (int n : {1, 2, 4}) {
    const Model bar = solidBlock({10 * n, n, n, L, h, h, material});
    const Eigen::VectorXd u = solveIndependently(bar, bar.loads(0));
    const double tip = -u[bar.dof(bar.nodeNear(L, 0.5 * h, 0.5 * h), Uz) - 1];
    const double now = std::abs(tip / exact - 1.0);
    std::printf("bar %2d x %d x %d: tip %.6e m, beam theory %.6e m, error %.4f %%\n", 10 * n, n, n, tip,
                exact, 100.0 * now);
    EXPECT_LT(now, std::max(error, 1e-3));
    error = now;
  }
  EXPECT_LT(error, 0.005);
}

// A slender column clamped at its foot: pi²·E·I/(4·L²).
TEST(Brick, ClampedColumnBucklesAtEulersLoad) {
  const double L = 10.0, h = 0.5, pi = 3.14159265358979323846;
  Material material = steel();
  material.poisson = 0.0;
  const Model column = solidBlock({20, 1, 1, L, h, h, material});
  const Eigen::VectorXd f = -column.loads(2) / 1000.0;  // a thrust of 1 N

  SymmetricTerms geometric;
  geometric.n = column.numDofs();
  column.assembleGeometricStiffness(solveIndependently(column, f), geometric);
  const double critical =
      1.0 / eigenvaluesOf(-dense(geometric), dense(column.stiffnessTerms()))[column.numDofs() - 1];

  const double exact = pi * pi * material.young * std::pow(h, 4) / 12.0 / (4.0 * L * L);
  std::printf("column of bricks: critical load %.5e N, Euler %.5e N\n", critical, exact);
  EXPECT_NEAR(critical, exact, 0.01 * exact);
}
