#include "models/elements/Plate.h"

#include <gtest/gtest.h>

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

Model distortedPlate(double thickness) {
  RectangularPlate grid;
  grid.nx = grid.ny = 3;
  return distorted(
      rectangularPlate(grid), std::make_shared<Plate>(steel(), thickness), [](const Eigen::Vector3d& x) {
        return isInside(x)
                   ? Eigen::Vector3d(x[0] + 0.9 * std::sin(x[1]), x[1] - 0.8 * std::cos(3 * x[0]), 0.0)
                   : x;
      });
}

// Deflection of the centre under uniform pressure in units of p·a⁴/D.
double centreDeflection(int n, double thickness, PlateEdge edge) {
  RectangularPlate p;
  p.nx = p.ny = n;
  p.thickness = thickness;
  p.edge = edge;
  const Model model = rectangularPlate(p);
  const Eigen::VectorXd u = solveIndependently(model, model.loads(0));
  const double D =
      p.material.young * std::pow(thickness, 3) / (12.0 * (1.0 - p.material.poisson * p.material.poisson));
  return -u[model.dof(model.nodeNear(5.0, 5.0, 0.0), Uz) - 1] * D / (1000.0 * std::pow(p.lx, 4));
}

}  // namespace

TEST(Plate, SkewElementIsSymmetricWithThreeRigidBodyModes) {
  for (double thickness : {1.0, 0.01}) {
    Eigen::MatrixXd K, M;

    Plate(steel(), thickness).stiffness(skewQuad(), K);
    Plate(steel(), thickness).mass(skewQuad(), M);

    EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
    EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
    EXPECT_EQ(nullSpace(K).modes, 3) << thickness;
  }
}

TEST(Plate, UnsupportedPlateHasExactlyThreeRigidBodyModes) {
  EXPECT_EQ(nullSpace(unsupportedStiffness(distortedPlate(0.1))).modes, 3);
  EXPECT_LT(rigidBodyForce(distortedPlate(0.1)), 1e-14);
}

// w = (a·x² + b·y² + 2c·x·y)/2 with rotations that leave no shear: constant moments.
TEST(Plate, DistortedPatchRepresentsConstantCurvatureExactly) {
  const double a = 1e-3, b = -6e-4, c = 4e-4;
  for (double thickness : {1.0, 0.01}) {
    const Model patch = distortedPlate(thickness);
    Eigen::VectorXd u(patch.numDofs());
    for (int d = 1; d <= patch.numDofs(); ++d) {
      const Eigen::Vector3d x = patch.node(patch.place(d).first);
      const double wx = a * x[0] + c * x[1], wy = b * x[1] + c * x[0];
      const Component component = patch.place(d).second;
      u[d - 1] = component == Uz ? 0.5 * (wx * x[0] + wy * x[1]) : component == Rx ? wy : -wx;
    }

    EXPECT_LT(patchForce(patch, u, isInside), 1e-13) << thickness;
  }
}

// w = g·x with no rotations: constant shear.
TEST(Plate, DistortedPatchRepresentsConstantShearExactly) {
  const Model patch = distortedPlate(1.0);
  Eigen::VectorXd u = Eigen::VectorXd::Zero(patch.numDofs());
  for (int node = 0; node < patch.numNodes(); ++node) u[patch.dof(node, Uz) - 1] = 1e-3 * patch.node(node)[0];
  const Eigen::VectorXd force = dense(patch.stiffnessTerms()) * u;

  for (int node = 0; node < patch.numNodes(); ++node) {
    if (isInside(patch.node(node))) {
      EXPECT_LT(std::abs(force[patch.dof(node, Uz) - 1]), 1e-14 * force.norm());
    }
  }
}

// Timoshenko and Woinowsky-Krieger, Theory of Plates and Shells (2nd ed. 1959), articles 30 and 44.
TEST(Plate, DeflectionOfThinPlatesConvergesToKirchhoffWithoutLocking) {
  for (double thickness : {0.1, 0.001}) {  // a/t = 100 and 10000
    double simple = 0.0, clamped = 0.0;
    for (int n : {4, 8, 16, 32}) {
      simple = centreDeflection(n, thickness, PlateEdge::Hard);
      clamped = centreDeflection(n, thickness, PlateEdge::Clamped);
      std::printf(
          "plate a/t = %5.0f, %2d x %2d: simply supported %.7f (0.0040624), clamped %.7f (0.0012653)\n",
          10.0 / thickness, n, n, simple, clamped);
    }
    EXPECT_NEAR(simple, 0.00406235, 0.003 * 0.00406235);
    EXPECT_NEAR(clamped, 0.00126532, 0.005 * 0.00126532);
  }
}

TEST(Plate, ThinSquarePlateBenchmarkFrequenciesConverge) {
  const double published[] = {2.377, 5.942, 5.942, 9.507, 11.884, 11.884};

  Eigen::VectorXd hertz;
  for (int n : {8, 16, 32}) {
    hertz = inHertz(lowestEigenvalues(thinSquarePlate(n), 6));
    std::printf("thin plate %2d x %2d:", n, n);
    for (int k = 0; k < 6; ++k)
      std::printf(" %7.4f (%+.2f %%)", hertz[k], 100.0 * (hertz[k] / published[k] - 1.0));
    std::printf(" Hz\n");
  }
  for (int k = 0; k < 6; ++k) EXPECT_NEAR(hertz[k], published[k], 0.01 * published[k]);
}

TEST(Plate, MassesAddUpToTheMassOfThePlate) {
  Model plate = lShapedPlate(2);
  plate.numberDofs(Supports::Free);
  const double mass = steel().density * 75.0 * 0.1;
  const Eigen::VectorXd up = plate.rigidBodyMotion(2);

  EXPECT_NEAR(up.dot(dense(plate.massTerms()) * up), mass, 1e-12 * mass);
  EXPECT_NEAR(up.dot(dense(plate.lumpedMassTerms()) * up), mass, 1e-12 * mass);
}
