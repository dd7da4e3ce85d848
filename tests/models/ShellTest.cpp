#include "models/elements/Shell.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "ModelChecks.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

Coordinates warpedQuad() {
  Coordinates x(3, 4);
  x << 0, 1.2, 1.5, -0.2, 0, 0.2, 1.1, 0.9, 0.1, 0.5, 0.2, 0.4;
  return x;
}

bool isInside(const Eigen::Vector3d& x) {
  return x[0] > 0.01 && x[0] < 9.99 && x[1] > 0.01 && x[1] < 9.99;
}

}  // namespace

TEST(Shell, WarpedElementIsSymmetricWithSixRigidBodyModes) {
  Eigen::MatrixXd K, M;

  Shell(steel(), 0.05).stiffness(warpedQuad(), K);
  Shell(steel(), 0.05).mass(warpedQuad(), M);

  EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ(nullSpace(K).modes, 6);
}

TEST(Shell, UnsupportedRoofAndSlabHaveExactlySixRigidBodyModes) {
  const Model roof = cylindricalRoof({4, 3}), slab = slabOnBeams({2});

  EXPECT_EQ(nullSpace(unsupportedStiffness(roof)).modes, 6);
  EXPECT_LT(rigidBodyForce(roof), 1e-14);
  EXPECT_EQ(nullSpace(unsupportedStiffness(slab)).modes, 6);
  EXPECT_LT(rigidBodyForce(slab), 1e-14);
}

// Stretch, shear and bending at once, in a plane that lies askew in space.
TEST(Shell, DistortedPatchRepresentsConstantStatesExactly) {
  RectangularPlate grid;
  grid.nx = grid.ny = 3;
  const Eigen::Matrix3d turn =
      (Eigen::AngleAxisd(0.7, Eigen::Vector3d::UnitX()) * Eigen::AngleAxisd(-0.4, Eigen::Vector3d::UnitY()))
          .toRotationMatrix();
  const auto move = [&](const Eigen::Vector3d& x) {
    Eigen::Vector3d flat = x;
    if (isInside(x)) flat = {x[0] + 0.9 * std::sin(x[1]), x[1] - 0.8 * std::cos(3 * x[0]), 0.0};
    return Eigen::Vector3d(turn * flat);
  };
  const Model patch = distorted(rectangularPlate(grid), std::make_shared<Shell>(steel(), 0.3), move);
  Eigen::VectorXd u(patch.numDofs());
  for (int node = 0; node < patch.numNodes(); ++node) {
    const Eigen::Vector3d x = turn.transpose() * patch.node(node);
    const double wx = 1e-3 * x[0] + 4e-4 * x[1], wy = -6e-4 * x[1] + 4e-4 * x[0];
    const Eigen::Vector3d displacement(2e-4 * x[0] - 3e-4 * x[1], 5e-4 * x[0] - 1e-4 * x[1],
                                       0.5 * (wx * x[0] + wy * x[1]));
    const Eigen::Vector3d rotation(wy, -wx, 0.5 * (5e-4 + 3e-4));
    for (int c = 0; c < 3; ++c) {
      u[patch.dof(node, static_cast<Component>(c)) - 1] = (turn * displacement)[c];
      u[patch.dof(node, static_cast<Component>(3 + c)) - 1] = (turn * rotation)[c];
    }
  }

  EXPECT_LT(patchForce(patch, u, [&](const Eigen::Vector3d& x) { return isInside(turn.transpose() * x); }),
            1e-13);
}

// The roof on diaphragms of Scordelis and Lo (J. Am. Concrete Inst. 61 (1964)) in its usual units: E
// = 4.32e8, nu = 0, weight 90 per area; the middle of the free edge sinks by 0.3024 (MacNeal and Harder,
// Finite Elem. Anal. Des. 1 (1985)).
TEST(Shell, RoofOnDiaphragmsConvergesToThePublishedSag) {
  double error = 1.0;
  for (int n : {8, 16, 32}) {
    CylindricalRoof p;
    p.nx = p.ny = n;
    p.material = {4.32e8, 0.0, 90.0 / (0.25 * 9.81)};
    p.diaphragms = true;
    const Model roof = cylindricalRoof(p);
    const Eigen::VectorXd u = solveIndependently(roof, roof.loads(0));
    const double sag = -u[roof.dof(n / 2, Uz) - 1];
    std::printf("roof %2d x %2d: sag %.5f (0.3024)\n", n, n, sag);
    EXPECT_LT(std::abs(sag / 0.3024 - 1.0), error);
    error = std::max(std::abs(sag / 0.3024 - 1.0), 0.005);
  }
  EXPECT_LE(error, 0.01);
}
