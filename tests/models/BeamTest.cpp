#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>

#include "ModelChecks.h"
#include "models/elements/Beam.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

Coordinates skewBeam() {
  Coordinates x(3, 2);
  x << 0.3, 1.9, -0.4, 1.1, 0.2, 2.5;
  return x;
}

const BeamSection kSection = rectangle(0.2, 0.3);

}  // namespace

TEST(Beam, MatricesOfSkewBeamAreSymmetric) {
  const Beam beam(steel(), kSection);
  Eigen::MatrixXd K, M, Kg;

  beam.stiffness(skewBeam(), K);
  beam.mass(skewBeam(), M);
  beam.geometricStiffness(skewBeam(), Eigen::VectorXd::LinSpaced(12, -1.0, 2.0), Kg);

  EXPECT_EQ((K - K.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((M - M.transpose()).cwiseAbs().maxCoeff(), 0.0);
  EXPECT_EQ((Kg - Kg.transpose()).cwiseAbs().maxCoeff(), 0.0);
}

TEST(Beam, SkewBeamHasExactlySixRigidBodyModes) {
  Eigen::MatrixXd K;

  Beam(steel(), kSection).stiffness(skewBeam(), K);

  EXPECT_EQ(nullSpace(K).modes, 6);
}

TEST(Beam, UnsupportedFrameHasExactlySixRigidBodyModes) {
  const Model frame = spaceFrame({2, 1, 2});

  EXPECT_EQ(nullSpace(unsupportedStiffness(frame)).modes, 6);
  EXPECT_LT(rigidBodyForce(frame), 1e-14);
}

TEST(Beam, CantileverTipIsExactInBothPlanesWithAnyNumberOfElements) {
  const double L = 10.0, P = 1000.0, E = steel().young;

  for (int n : {1, 3, 8}) {
    const Model beam = cantilever({n});
    const Eigen::VectorXd down = solveIndependently(beam, beam.loads(0));
    const Eigen::VectorXd aside = solveIndependently(beam, beam.loads(1));
    const double w = P * L * L * L / (3.0 * E * kSection.inertiaY),
                 v = P * L * L * L / (3.0 * E * kSection.inertiaZ);

    EXPECT_NEAR(down[beam.dof(n, Uz) - 1], -w, 1e-9 * w);
    EXPECT_NEAR(down[beam.dof(n, Ry) - 1], 1.5 * w / L, 1e-9 * w);
    EXPECT_NEAR(aside[beam.dof(n, Uy) - 1], v, 1e-9 * v);
    EXPECT_NEAR(aside[beam.dof(n, Rz) - 1], 1.5 * v / L, 1e-9 * v);
  }
}

TEST(Beam, OwnWeightOfCantileverGivesClosedForm) {
  const double L = 10.0, q = steel().density * kSection.area * 9.81;
  const Model beam = cantilever({4});

  const Eigen::VectorXd u = solveIndependently(beam, beam.loads(2));

  const double exact = q * std::pow(L, 4) / (8.0 * steel().young * kSection.inertiaY);
  EXPECT_NEAR(u[beam.dof(4, Uz) - 1], -exact, 1e-9 * exact);
}

// beta·L of a cantilever: cos(x)·cosh(x) = -1 (Euler-Bernoulli).
TEST(Beam, CantileverFrequenciesConvergeToClosedForm) {
  const double betaL[] = {1.8751040687, 4.6940911330, 7.8547574382};
  const double L = 10.0, m = steel().density * kSection.area;
  const double stiff = std::sqrt(steel().young * kSection.inertiaZ / m);  // the soft plane comes first

  for (int n : {4, 8, 16}) {
    const Model beam = cantilever({n});
    const double exact = std::pow(betaL[0] / L, 2) * stiff;
    const double found = std::sqrt(eigenvaluesOf(dense(beam.stiffnessTerms()), dense(beam.massTerms()))[0]);
    std::printf("cantilever of %2d beams: omega1 %.8f rad/s, closed form %.8f\n", n, found, exact);
    EXPECT_GT(found, exact * (1.0 - 1e-9));  // consistent mass: from above
    EXPECT_LT(found / exact - 1.0, 0.02 * std::pow(n, -4.0));
  }
}

// Column clamped at the foot, free at the head: P = pi²·E·I / (4·L²).
TEST(Beam, GeometricStiffnessGivesTheEulerLoadOfACantileverColumn) {
  const double L = 10.0, pi = 3.14159265358979323846;
  const Model beam = cantilever({8});
  Eigen::VectorXd f = Eigen::VectorXd::Zero(beam.numDofs());
  f[beam.dof(8, Ux) - 1] = -1.0;
  SymmetricTerms geometric;
  geometric.n = beam.numDofs();
  beam.assembleGeometricStiffness(solveIndependently(beam, f), geometric);

  // -Kg·x = mu·K·x: the largest mu is one over the lowest critical load
  const double critical =
      1.0 / eigenvaluesOf(-dense(geometric), dense(beam.stiffnessTerms()))[beam.numDofs() - 1];

  const double exact = pi * pi * steel().young * kSection.inertiaZ / (4.0 * L * L);
  EXPECT_NEAR(critical, exact, 1e-5 * exact);
}

TEST(Beam, LumpedMassAddsUpToTheMassInEachDirection) {
  Model frame = spaceFrame({1, 1, 1});
  frame.numberDofs(Supports::Free);
  const Eigen::MatrixXd lumped = dense(frame.lumpedMassTerms()), consistent = dense(frame.massTerms());

  for (int mode = 0; mode < 3; ++mode) {
    const Eigen::VectorXd r = frame.rigidBodyMotion(mode);
    EXPECT_NEAR(r.dot(lumped * r), r.dot(consistent * r), 1e-12 * r.dot(consistent * r));
  }
}

TEST(Beam, CoincidentNodesAreRefused) {
  Coordinates x = Coordinates::Zero(3, 2);
  Eigen::MatrixXd K;

  EXPECT_THROW(Beam(steel(), kSection).stiffness(x, K), std::domain_error);
}
