#include "models/elements/Brick.h"

#include <stdexcept>
#include <string>

#include "models/elements/Gauss.h"
#include "models/elements/Isotropic.h"

namespace vematrix {
namespace models {
namespace {

using Vector8 = Eigen::Matrix<double, 8, 1>;
using Gradients8 = Eigen::Matrix<double, 3, 8>;
using Nodes = Eigen::Matrix<double, 3, 8>;

constexpr double kXi[8] = {-1, 1, 1, -1, -1, 1, 1, -1};
constexpr double kEta[8] = {-1, -1, 1, 1, -1, -1, 1, 1};
constexpr double kZeta[8] = {-1, -1, -1, -1, 1, 1, 1, 1};

Vector8 shapes(double xi, double eta, double zeta) {
  Vector8 N;
  for (int a = 0; a < 8; ++a) N[a] = 0.125 * (1 + kXi[a] * xi) * (1 + kEta[a] * eta) * (1 + kZeta[a] * zeta);
  return N;
}

// Derivatives along xi, eta, zeta, one column per node.
Gradients8 shapeDerivatives(double xi, double eta, double zeta) {
  Gradients8 D;
  for (int a = 0; a < 8; ++a) {
    D(0, a) = 0.125 * kXi[a] * (1 + kEta[a] * eta) * (1 + kZeta[a] * zeta);
    D(1, a) = 0.125 * kEta[a] * (1 + kXi[a] * xi) * (1 + kZeta[a] * zeta);
    D(2, a) = 0.125 * kZeta[a] * (1 + kXi[a] * xi) * (1 + kEta[a] * eta);
  }
  return D;
}

// J(r, c) = ∂x_c / ∂(xi, eta, zeta)_r
Eigen::Matrix3d jacobian(const Gradients8& D, const Nodes& x) {
  return D * x.transpose();
}

double checkedDeterminant(const Eigen::Matrix3d& J) {
  const double det = J.determinant();
  if (!(det > 0.0))
    throw std::domain_error("brick: the Jacobian is " + std::to_string(det) +
                            " m³; the nodes must be ordered counter-clockwise and enclose a volume");
  return det;
}

// ∫ N_a·N_b over the volume, times the density.
Eigen::Matrix<double, 8, 8> nodalMass(const Nodes& x, double density) {
  Eigen::Matrix<double, 8, 8> m = Eigen::Matrix<double, 8, 8>::Zero();
  for (const auto& p : gauss3())
    for (const auto& q : gauss3())
      for (const auto& r : gauss3()) {
        const double det = checkedDeterminant(jacobian(shapeDerivatives(p.x, q.x, r.x), x));
        const Vector8 N = shapes(p.x, q.x, r.x);
        m += (density * det * p.weight * q.weight * r.weight) * N * N.transpose();
      }
  return 0.5 * (m + m.transpose());  // the same to rounding, and symmetric to the bit
}

using Gradients11 = Eigen::Matrix<double, 3, 11>;  // of the 8 shape functions and the 3 bubbles

// Calls visit(gradients, weight) at the 2x2x2 Gauss points.
template <class Visit>
void forEachPoint(const Nodes& x, const Visit& visit) {
  const Eigen::Matrix3d J0 = jacobian(shapeDerivatives(0, 0, 0), x);
  const double det0 = checkedDeterminant(J0);
  const Eigen::Matrix3d J0inverse = J0.inverse();
  Gradients11 G;
  for (const auto& p : gauss2())
    for (const auto& q : gauss2())
      for (const auto& r : gauss2()) {
        const Gradients8 D = shapeDerivatives(p.x, q.x, r.x);
        const Eigen::Matrix3d J = jacobian(D, x);
        const double det = checkedDeterminant(J);
        G.leftCols<8>() = J.inverse() * D;
        const Eigen::Vector3d bubbleSlopes(-2.0 * p.x, -2.0 * q.x, -2.0 * r.x);
        G.rightCols<3>() = (det0 / det) * J0inverse * bubbleSlopes.asDiagonal();
        visit(G, det * p.weight * q.weight * r.weight);
      }
}

Eigen::Matrix<double, 33, 33> fullStiffness(const Nodes& x, const Lame& c) {
  Eigen::Matrix<double, 33, 33> full = Eigen::Matrix<double, 33, 33>::Zero();
  forEachPoint(
      x, [&](const Gradients11& G, double weight) { addIsotropicStiffness<3, 11>(G, c, weight, full); });
  return full;
}

}  // namespace

const std::vector<Component>& Brick::components() const {
  static const std::vector<Component> components{Ux, Uy, Uz};
  return components;
}

void Brick::stiffness(const Coordinates& coordinates, Eigen::MatrixXd& K) const {
  K = condense<24, 33>(fullStiffness(coordinates, solidConstants(m_material)));
}

void Brick::geometricStiffness(const Coordinates& coordinates, const Eigen::VectorXd& u,
                               Eigen::MatrixXd& Kg) const {
  const Lame c = solidConstants(m_material);
  const Eigen::Matrix<double, 24, 1> nodal = u;
  const Eigen::Matrix<double, 33, 1> all = recoverCondensed<24, 33>(fullStiffness(coordinates, c), nodal);
  Eigen::Matrix<double, 8, 8> k = Eigen::Matrix<double, 8, 8>::Zero();
  forEachPoint(coordinates, [&](const Gradients11& G, double weight) {
    const Eigen::Matrix3d stress = isotropicStress<3, 11>(G, c, all);
    k += weight * (G.leftCols<8>().transpose() * stress * G.leftCols<8>());
  });
  Kg.setZero(24, 24);
  for (int a = 0; a < 8; ++a)
    for (int b = 0; b < 8; ++b)
      for (int d = 0; d < 3; ++d) Kg(3 * a + d, 3 * b + d) = 0.5 * (k(a, b) + k(b, a));
}

void Brick::mass(const Coordinates& coordinates, Eigen::MatrixXd& M) const {
  const auto m = nodalMass(coordinates, m_material.density);
  M.setZero(24, 24);
  for (int a = 0; a < 8; ++a)
    for (int b = 0; b < 8; ++b)
      for (int c = 0; c < 3; ++c) M(3 * a + c, 3 * b + c) = m(a, b);
}

void Brick::lumpedMass(const Coordinates& coordinates, Eigen::VectorXd& m) const {
  const Vector8 perNode = nodalMass(coordinates, m_material.density).rowwise().sum();
  m.resize(24);
  for (int a = 0; a < 8; ++a) m.segment<3>(3 * a).setConstant(perNode[a]);
}

}  // namespace models
}  // namespace vematrix
