#include "models/elements/Truss.h"

#include <stdexcept>

namespace vematrix {
namespace models {
namespace {

double lengthOf(const Coordinates& x) {
  const double length = (x.col(1) - x.col(0)).norm();
  if (!(length > 0.0)) throw std::domain_error("truss: the two nodes coincide");
  return length;
}

// [B, -B; -B, B]
void fillRelative(const Eigen::Matrix3d& B, Eigen::MatrixXd& K) {
  K.resize(6, 6);
  K.block<3, 3>(0, 0) = B;
  K.block<3, 3>(3, 3) = B;
  K.block<3, 3>(0, 3) = -B;
  K.block<3, 3>(3, 0) = -B;
}

Eigen::Matrix3d alongBar(const Eigen::Vector3d& e) {
  Eigen::Matrix3d P;
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) P(i, j) = e[i] * e[j];
  return P;
}

}  // namespace

const std::vector<Component>& Truss::components() const {
  static const std::vector<Component> components{Ux, Uy, Uz};
  return components;
}

void Truss::stiffness(const Coordinates& x, Eigen::MatrixXd& K) const {
  const double L = lengthOf(x);
  fillRelative(m_material.young * m_area / L * alongBar((x.col(1) - x.col(0)) / L), K);
}

void Truss::mass(const Coordinates& x, Eigen::MatrixXd& M) const {
  const double m = m_material.density * m_area * lengthOf(x);
  M.setZero(6, 6);
  M.diagonal().setConstant(m / 3.0);
  M.diagonal(3).setConstant(m / 6.0);
  M.diagonal(-3).setConstant(m / 6.0);
}

void Truss::lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const {
  m.setConstant(6, 0.5 * m_material.density * m_area * lengthOf(x));
}

void Truss::geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const {
  const double L = lengthOf(x);
  const Eigen::Vector3d e = (x.col(1) - x.col(0)) / L;
  const double force = m_material.young * m_area * e.dot(u.segment<3>(3) - u.segment<3>(0)) / L;
  fillRelative(force / L * (Eigen::Matrix3d::Identity() - alongBar(e)), Kg);
}

}  // namespace models
}  // namespace vematrix
