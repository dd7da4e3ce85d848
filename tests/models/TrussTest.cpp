#include "models/elements/Truss.h"

#include <gtest/gtest.h>

#include "ModelChecks.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

Coordinates skewBar() {
  Coordinates x(3, 2);
  x << 0.3, 1.9, -0.4, 1.1, 0.2, 2.5;
  return x;
}

}  // namespace

TEST(Truss, SkewBarIsSymmetricAndResistsStretchingOnly) {
  Eigen::MatrixXd K, M, Kg;
  const Truss bar(steel(), 0.01);

  bar.stiffness(skewBar(), K);
  bar.mass(skewBar(), M);
  bar.geometricStiffness(skewBar(), Eigen::VectorXd::LinSpaced(6, -1.0, 2.0), Kg);

  EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((Kg - Kg.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ(nullSpace(K).modes, 5);
}

TEST(Truss, PulledBarStretchesByForceTimesLengthOverStiffness) {
  Eigen::MatrixXd K;
  Truss(steel(), 0.01).stiffness(skewBar(), K);
  const Eigen::Vector3d along = (skewBar().col(1) - skewBar().col(0)).normalized();
  const double L = (skewBar().col(1) - skewBar().col(0)).norm();
  Eigen::VectorXd u = Eigen::VectorXd::Zero(6);
  u.tail<3>() = 1e-3 * along;

  const Eigen::VectorXd f = K * u;

  const double force = steel().young * 0.01 / L * 1e-3;
  EXPECT_NEAR((f.tail<3>() - force * along).norm(), 0.0, 1e-12 * force);
  EXPECT_NEAR((f.head<3>() + force * along).norm(), 0.0, 1e-12 * force);
}

TEST(Truss, UnsupportedBridgeHasExactlySixRigidBodyModes) {
  for (int panels : {1, 2, 5}) {
    const Model bridge = trussBridge({panels});

    EXPECT_EQ(nullSpace(unsupportedStiffness(bridge)).modes, 6);
    EXPECT_LT(rigidBodyForce(bridge), 1e-14);
  }
}

// The work of the loads is twice the strain energy summed bar by bar.
TEST(Truss, EnergyOfTheBarsIsTheWorkOfTheLoads) {
  const Model bridge = trussBridge({4});
  const Eigen::VectorXd f = bridge.loads(0), u = solveIndependently(bridge, f);
  const Eigen::Matrix3Xd d = bridge.nodalDisplacements(u);

  double energy = 0.0;
  for (int e = 0; e < bridge.numElements(); ++e) {
    const int a = bridge.nodesOf(e).first[0], b = bridge.nodesOf(e).first[1];
    const Eigen::Vector3d along = bridge.node(b) - bridge.node(a);
    const double stretch = along.normalized().dot(d.col(b) - d.col(a));
    energy += steel().young * 0.004 / along.norm() * stretch * stretch;
  }

  EXPECT_NEAR(energy, f.dot(u), 1e-10 * energy);
}
