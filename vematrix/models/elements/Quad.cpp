#include "models/elements/Quad.h"

#include <Eigen/LU>
#include <stdexcept>
#include <string>

#include "models/elements/Gauss.h"
#include "models/elements/Isotropic.h"

namespace vematrix {
namespace models {
namespace {

constexpr double kXi[4] = {-1, 1, 1, -1};
constexpr double kEta[4] = {-1, -1, 1, 1};

using Row12 = Eigen::Matrix<double, 1, 12>;
using Bending = Eigen::Matrix<double, 3, 12>;
using Shear = Eigen::Matrix<double, 2, 12>;

using Gradients6 = Eigen::Matrix<double, 2, 6>;  // of the 4 shape functions and the 2 bubbles

// Calls visit(gradients, area) at the 2x2 Gauss points.
template <class Visit>
void forEachMembranePoint(const QuadNodes& x, const Visit& visit) {
  const QuadPoint centre = quadPoint(x, 0, 0, "membrane");
  const Eigen::Matrix2d centreInverse = centre.J.inverse();
  Gradients6 G;
  for (const auto& p : gauss2())
    for (const auto& q : gauss2()) {
      const QuadPoint point = quadPoint(x, p.x, q.x, "membrane");
      G.leftCols<4>() = point.gradients;
      const Eigen::Vector2d bubbleSlopes(-2.0 * p.x, -2.0 * q.x);
      G.rightCols<2>() = (centre.det / point.det) * centreInverse * bubbleSlopes.asDiagonal();
      visit(G, point.det * p.weight * q.weight);
    }
}

Eigen::Matrix<double, 12, 12> fullMembrane(const QuadNodes& x, const Lame& c, double thickness) {
  Eigen::Matrix<double, 12, 12> full = Eigen::Matrix<double, 12, 12>::Zero();
  forEachMembranePoint(x, [&](const Gradients6& G, double area) {
    addIsotropicStiffness<2, 6>(G, c, thickness * area, full);
  });
  return full;
}

// Curvatures from the nodal rotations: with u = z·ry and v = -z·rx, (ry,x, -rx,y, ry,y - rx,x).
Bending bendingStrains(const QuadPoint& point) {
  Bending B = Bending::Zero();
  for (int a = 0; a < 4; ++a) {
    const double gx = point.gradients(0, a), gy = point.gradients(1, a);
    B(0, 3 * a + 2) = gx;
    B(1, 3 * a + 1) = -gy;
    B(2, 3 * a + 1) = -gx;
    B(2, 3 * a + 2) = gy;
  }
  return B;
}

// Transverse shear along the natural direction r (0: xi, 1: eta): w,r + ry·x,r − rx·y,r
Row12 naturalShear(const QuadPoint& point, int r) {
  Row12 B;
  for (int a = 0; a < 4; ++a) {
    B(3 * a) = point.slopes(r, a);
    B(3 * a + 1) = -point.N[a] * point.J(r, 1);
    B(3 * a + 2) = point.N[a] * point.J(r, 0);
  }
  return B;
}

// The shear strains at the middles of the edges, where a linear rotation and a quadratic deflection agree.
struct EdgeShears {
  Row12 xiBelow, xiAbove, etaLeft, etaRight;
};

EdgeShears edgeShears(const QuadNodes& x) {
  return {naturalShear(quadPoint(x, 0, -1, "plate"), 0), naturalShear(quadPoint(x, 0, 1, "plate"), 0),
          naturalShear(quadPoint(x, -1, 0, "plate"), 1), naturalShear(quadPoint(x, 1, 0, "plate"), 1)};
}

Shear shearStrains(const EdgeShears& edges, const QuadPoint& point, double xi, double eta) {
  Shear natural;
  natural.row(0) = 0.5 * (1 - eta) * edges.xiBelow + 0.5 * (1 + eta) * edges.xiAbove;
  natural.row(1) = 0.5 * (1 - xi) * edges.etaLeft + 0.5 * (1 + xi) * edges.etaRight;
  return point.J.inverse() * natural;
}

Eigen::Matrix3d planeStressMatrix(const Material& m) {
  const Lame c = planeStressConstants(m);
  Eigen::Matrix3d D = Eigen::Matrix3d::Zero();
  D(0, 0) = D(1, 1) = c.lambda + 2.0 * c.mu;
  D(0, 1) = D(1, 0) = c.lambda;
  D(2, 2) = c.mu;
  return D;
}

}  // namespace

QuadPoint quadPoint(const QuadNodes& x, double xi, double eta, const char* element) {
  QuadPoint point;
  for (int a = 0; a < 4; ++a) {
    point.N[a] = 0.25 * (1 + kXi[a] * xi) * (1 + kEta[a] * eta);
    point.slopes(0, a) = 0.25 * kXi[a] * (1 + kEta[a] * eta);
    point.slopes(1, a) = 0.25 * kEta[a] * (1 + kXi[a] * xi);
  }
  point.J = point.slopes * x.transpose();
  point.det = point.J.determinant();
  if (!(point.det > 0.0))
    throw std::domain_error(std::string(element) + ": the Jacobian is " + std::to_string(point.det) +
                            " m²; the nodes must be ordered counter-clockwise around a convex quadrilateral");
  point.gradients = point.J.inverse() * point.slopes;
  return point;
}

Eigen::Matrix<double, 8, 8> membraneStiffness(const QuadNodes& x, const Material& material,
                                              double thickness) {
  return condense<8, 12>(fullMembrane(x, planeStressConstants(material), thickness));
}

Eigen::Matrix4d membraneGeometricStiffness(const QuadNodes& x, const Material& material, double thickness,
                                           const Eigen::Matrix<double, 8, 1>& u) {
  const Lame c = planeStressConstants(material);
  const Eigen::Matrix<double, 12, 1> all = recoverCondensed<8, 12>(fullMembrane(x, c, thickness), u);
  Eigen::Matrix4d k = Eigen::Matrix4d::Zero();
  forEachMembranePoint(x, [&](const Gradients6& G, double area) {
    const Eigen::Matrix2d stress = isotropicStress<2, 6>(G, c, all);
    k += (thickness * area) * (G.leftCols<4>().transpose() * stress * G.leftCols<4>());
  });
  return 0.5 * (k + k.transpose());
}

Eigen::Matrix<double, 12, 12> plateStiffness(const QuadNodes& x, const Material& material, double thickness) {
  const double t = thickness;
  const Eigen::Matrix3d D = t * t * t / 12.0 * planeStressMatrix(material);
  const double shearStiffness = 5.0 / 6.0 * material.shearModulus() * t;
  const EdgeShears edges = edgeShears(x);
  Eigen::Matrix<double, 12, 12> K = Eigen::Matrix<double, 12, 12>::Zero();
  for (const auto& p : gauss2())
    for (const auto& q : gauss2()) {
      const QuadPoint point = quadPoint(x, p.x, q.x, "plate");
      const double weight = point.det * p.weight * q.weight;
      const Bending B = bendingStrains(point);
      const Shear S = shearStrains(edges, point, p.x, q.x);
      K += B.transpose() * (weight * D) * B + (weight * shearStiffness) * S.transpose() * S;
    }
  return 0.5 * (K + K.transpose());
}

Eigen::Matrix4d quadProducts(const QuadNodes& x, const char* element) {
  Eigen::Matrix4d P = Eigen::Matrix4d::Zero();
  for (const auto& p : gauss2())
    for (const auto& q : gauss2()) {
      const QuadPoint point = quadPoint(x, p.x, q.x, element);
      P += (point.det * p.weight * q.weight) * point.N * point.N.transpose();
    }
  return 0.5 * (P + P.transpose());
}

}  // namespace models
}  // namespace vematrix
