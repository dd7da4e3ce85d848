#include "models/elements/Membrane.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "ModelChecks.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

Coordinates skewQuad() {
  Coordinates x(3, 4);
  x << 0, 1.2, 1.5, -0.2, 0, 0.2, 1.1, 0.9, 0, 0, 0, 0;
  return x;
}

bool isInside(const Eigen::Vector3d& x) {
  return x[0] > 0.01 && x[0] < 9.99 && x[1] > 0.01 && x[1] < 9.99;
}

Model distortedSheet() {
  RectangularPlate grid;
  grid.nx = grid.ny = 3;
  return distorted(
      rectangularPlate(grid), std::make_shared<Membrane>(steel(), 0.02), [](const Eigen::Vector3d& x) {
        return isInside(x)
                   ? Eigen::Vector3d(x[0] + 0.9 * std::sin(x[1]), x[1] - 0.8 * std::cos(3 * x[0]), 0.0)
                   : x;
      });
}

}  // namespace

TEST(Membrane, SkewElementIsSymmetricWithThreeRigidBodyModes) {
  Eigen::MatrixXd K, M;

  Membrane(steel(), 0.02).stiffness(skewQuad(), K);
  Membrane(steel(), 0.02).mass(skewQuad(), M);

  EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ(nullSpace(K).modes, 3);
}

TEST(Membrane, UnsupportedSheetHasExactlyThreeRigidBodyModes) {
  EXPECT_EQ(nullSpace(unsupportedStiffness(distortedSheet())).modes, 3);
  EXPECT_LT(rigidBodyForce(distortedSheet()), 1e-14);
}

TEST(Membrane, DistortedPatchRepresentsConstantStrainExactly) {
  const Model patch = distortedSheet();
  Eigen::VectorXd u(patch.numDofs());
  for (int d = 1; d <= patch.numDofs(); ++d) {
    const Eigen::Vector3d x = patch.node(patch.place(d).first);
    u[d - 1] = patch.place(d).second == Ux ? 1e-3 * x[0] - 4e-4 * x[1] : 7e-4 * x[0] + 5e-4 * x[1];
  }

  EXPECT_LT(patchForce(patch, u, isInside), 1e-14);
}

TEST(Membrane, BentNodesOrderedClockwiseAreRefused) {
  Coordinates x = skewQuad();
  x.row(1) *= -1.0;
  Eigen::MatrixXd K;

  EXPECT_THROW(Membrane(steel(), 0.02).stiffness(x, K), std::domain_error);
}

// Kirsch: at the hole's edge in an infinite sheet u = 3·sigma·a/E along the pull and v = -sigma·a/E across
// it.
TEST(Membrane, DisplacementsAtTheHoleConvergeToKirsch) {
  double error = 1.0;
  for (int n : {2, 4, 8, 16}) {
    SheetWithHole sheet;
    sheet.n = n;
    sheet.side = 40.0 * sheet.radius;  // wide enough to pass for infinite within 0.2 %
    const Model model = sheetWithHole(sheet);
    const Eigen::VectorXd u = solveIndependently(model, model.loads(0));
    const double unit = sheet.stress * sheet.radius / sheet.material.young;
    const double along = u[model.dof(model.nodeNear(sheet.radius, 0, 0), Ux) - 1] / unit;
    const double across = u[model.dof(model.nodeNear(0, sheet.radius, 0), Uy) - 1] / unit;
    std::printf("hole n = %2d: u = %.5f (3), v = %.5f (-1) in units of sigma a/E\n", n, along, across);
    const double now = std::max(std::abs(along / 3.0 - 1.0), std::abs(across + 1.0));
    EXPECT_LT(now, std::max(error, 0.005));
    error = now;
  }
  EXPECT_LT(error, 0.005);
}

TEST(Membrane, TaperedMembraneBenchmarkFrequenciesConverge) {
  const double published[] = {44.623, 130.03, 162.70, 246.05, 379.90, 391.44};

  Eigen::VectorXd hertz;
  for (int n : {4, 8, 16, 32}) {
    hertz = inHertz(lowestEigenvalues(taperedMembrane(n), 6));
    std::printf("tapered membrane %2d x %2d:", 2 * n, n);
    for (int k = 0; k < 6; ++k)
      std::printf(" %8.3f (%+.2f %%)", hertz[k], 100.0 * (hertz[k] / published[k] - 1.0));
    std::printf(" Hz\n");
  }
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(hertz[k], published[k], 0.002 * published[k]);
}
