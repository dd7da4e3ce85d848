#include "models/elements/Shell.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <vector>

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

// Simply supported square plate pressed along x: 4·pi²·D/(b²·t) (Bryan 1891; Timoshenko and Gere, Theory of
// Elastic Stability (2nd ed. 1961), 9.2).
TEST(Shell, SquarePlateUnderThrustBucklesAtBryansStress) {
  const double side = 1.0, t = 0.01, pi = 3.14159265358979323846;
  const Material material = steel();
  const double D = material.young * t * t * t / (12.0 * (1.0 - material.poisson * material.poisson));
  const double exact = 4.0 * pi * pi * D / (side * side);  // N/m

  std::vector<double> found;
  for (int n : {4, 8}) {
    Model plate;
    const int type = plate.addType(std::make_shared<Shell>(material, t));
    const auto node = [n](int i, int j) { return i * (n + 1) + j; };
    for (int i = 0; i <= n; ++i)
      for (int j = 0; j <= n; ++j) plate.addNode(side * i / n, side * j / n);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j)
        plate.addElement(type, {node(i, j), node(i + 1, j), node(i + 1, j + 1), node(i, j + 1)});
    for (int k = 0; k <= n; ++k) {
      for (int edge : {node(0, k), node(n, k)}) plate.fix(edge, Uz), plate.fix(edge, Rx);
      for (int edge : {node(k, 0), node(k, n)}) plate.fix(edge, Uz), plate.fix(edge, Ry);
      plate.fix(node(0, k), Ux);
      plate.addLoad(node(n, k), Ux, -side / n * (k == 0 || k == n ? 0.5 : 1.0));  // 1 N/m
    }
    plate.fix(node(0, 0), Uy);
    plate.numberDofs();

    const double critical = criticalLoad(plate);
    std::printf("plate under thrust, %d x %d: %.5e N/m, Bryan %.5e, off by %.2f %%\n", n, n, critical, exact,
                100.0 * (critical / exact - 1.0));
    found.push_back(critical);
  }
  // linear elements: the error falls with the square of their size, so that the two meshes tell the limit
  const double limit = (4.0 * found[1] - found[0]) / 3.0;
  std::printf("extrapolated: %.5e N/m, off by %.2f %%\n", limit, 100.0 * (limit / exact - 1.0));
  EXPECT_LT(found[1] / exact - 1.0, 0.3 * (found[0] / exact - 1.0));
  EXPECT_NEAR(limit, exact, 0.01 * exact);
}
