#include "models/elements/Beam.h"

#include <Eigen/Geometry>
#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace vematrix {
namespace models {
namespace {

constexpr double kPi = 3.14159265358979323846;
using Matrix12 = Eigen::Matrix<double, 12, 12>;

// Positions of the local dofs: u v w rx ry rz at the first node, then at the second.
constexpr int kAxial[2] = {0, 6};
constexpr int kTwist[2] = {3, 9};
constexpr int kBendXY[4] = {1, 5, 7, 11};  // v1, rz1, v2, rz2
constexpr int kBendXZ[4] = {2, 4, 8, 10};  // w1, ry1, w2, ry2; here w' = -ry

struct Frame {
  double length;
  Eigen::Matrix3d axes;  // rows: local x, y, z in global axes
};

Frame localFrame(const Coordinates& x, const Eigen::Vector3d& up) {
  const Eigen::Vector3d along = x.col(1) - x.col(0);
  const double length = along.norm();
  if (!(length > 0.0)) throw std::domain_error("beam: the two nodes coincide");
  const Eigen::Vector3d ex = along / length;
  Eigen::Vector3d ey = up.normalized().cross(ex);
  if (ey.norm() < 1e-6) ey = Eigen::Vector3d::UnitX().cross(ex);
  ey.normalize();
  Frame frame{length, Eigen::Matrix3d()};
  frame.axes.row(0) = ex;
  frame.axes.row(1) = ey;
  frame.axes.row(2) = ex.cross(ey);
  return frame;
}

// Scatters a symmetric 2x2 [a b; b a].
void addLinear(Matrix12& K, const int (&at)[2], double a, double b) {
  for (int i = 0; i < 2; ++i)
    for (int j = 0; j < 2; ++j) K(at[i], at[j]) += i == j ? a : b;
}

// Scatters a 4x4 bending matrix written for displacement and slope; `slope` is the sign of rotation against
// slope.
void addBending(Matrix12& K, const int (&at)[4], const Eigen::Matrix4d& k, double slope) {
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) K(at[i], at[j]) += k(i, j) * (i % 2 ? slope : 1.0) * (j % 2 ? slope : 1.0);
}

Eigen::Matrix4d bendingStiffness(double EI, double L) {
  Eigen::Matrix4d k;
  k << 12, 6 * L, -12, 6 * L, 6 * L, 4 * L * L, -6 * L, 2 * L * L, -12, -6 * L, 12, -6 * L, 6 * L, 2 * L * L,
      -6 * L, 4 * L * L;
  return EI / (L * L * L) * k;
}

Eigen::Matrix4d bendingMass(double mass, double L) {
  Eigen::Matrix4d m;
  m << 156, 22 * L, 54, -13 * L, 22 * L, 4 * L * L, 13 * L, -3 * L * L, 54, 13 * L, 156, -22 * L, -13 * L,
      -3 * L * L, -22 * L, 4 * L * L;
  return mass / 420.0 * m;
}

Eigen::Matrix4d bendingGeometric(double force, double L) {
  Eigen::Matrix4d k;
  k << 36, 3 * L, -36, 3 * L, 3 * L, 4 * L * L, -3 * L, -L * L, -36, -3 * L, 36, -3 * L, 3 * L, -L * L,
      -3 * L, 4 * L * L;
  return force / (30.0 * L) * k;
}

// Tᵀ·K·T with T made of four copies of the local axes, block by block, exactly symmetric.
void rotateToGlobal(const Matrix12& local, const Eigen::Matrix3d& axes, Eigen::MatrixXd& K) {
  K.resize(12, 12);
  for (int b = 0; b < 4; ++b)
    for (int a = 0; a <= b; ++a) {
      Eigen::Matrix3d block = axes.transpose() * local.block<3, 3>(3 * a, 3 * b) * axes;
      if (a == b) block = (0.5 * (block + block.transpose())).eval();
      K.block<3, 3>(3 * a, 3 * b) = block;
      K.block<3, 3>(3 * b, 3 * a) = block.transpose();
    }
}

}  // namespace

BeamSection rectangle(double width, double height) {
  const double a = std::max(width, height), b = std::min(width, height);
  const double torsion = a * b * b * b * (1.0 / 3.0 - 0.21 * b / a * (1.0 - std::pow(b / a, 4) / 12.0));
  return {width * height, width * height * height * height / 12.0, height * width * width * width / 12.0,
          torsion};
}

BeamSection circle(double diameter) {
  const double inertia = kPi * std::pow(diameter, 4) / 64.0;
  return {kPi * diameter * diameter / 4.0, inertia, inertia, 2.0 * inertia};
}

const std::vector<Component>& Beam::components() const {
  static const std::vector<Component> components{Ux, Uy, Uz, Rx, Ry, Rz};
  return components;
}

void Beam::stiffness(const Coordinates& x, Eigen::MatrixXd& K) const {
  const Frame frame = localFrame(x, m_up);
  const double L = frame.length, E = m_material.young;
  const double EAL = E * m_section.area / L, GJL = m_material.shearModulus() * m_section.torsion / L;
  Matrix12 local = Matrix12::Zero();
  addLinear(local, kAxial, EAL, -EAL);
  addLinear(local, kTwist, GJL, -GJL);
  addBending(local, kBendXY, bendingStiffness(E * m_section.inertiaZ, L), 1.0);
  addBending(local, kBendXZ, bendingStiffness(E * m_section.inertiaY, L), -1.0);
  rotateToGlobal(local, frame.axes, K);
}

void Beam::mass(const Coordinates& x, Eigen::MatrixXd& M) const {
  const Frame frame = localFrame(x, m_up);
  const double L = frame.length, mass = m_material.density * m_section.area * L;
  const double polar = m_material.density * m_section.polar() * L;
  Matrix12 local = Matrix12::Zero();
  addLinear(local, kAxial, mass / 3.0, mass / 6.0);
  addLinear(local, kTwist, polar / 3.0, polar / 6.0);
  addBending(local, kBendXY, bendingMass(mass, L), 1.0);
  addBending(local, kBendXZ, bendingMass(mass, L), -1.0);
  rotateToGlobal(local, frame.axes, M);
}

void Beam::lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const {
  const double L = localFrame(x, m_up).length, mass = m_material.density * m_section.area * L;
  m.resize(12);
  for (int node = 0; node < 2; ++node) {
    m.segment<3>(6 * node).setConstant(0.5 * mass);
    m.segment<3>(6 * node + 3).setConstant(mass * L * L / 78.0);
  }
}

void Beam::geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const {
  const Frame frame = localFrame(x, m_up);
  const double L = frame.length;
  const double stretch = frame.axes.row(0).dot(u.segment<3>(6) - u.segment<3>(0));
  const double force = m_material.young * m_section.area * stretch / L;  // tension positive
  Matrix12 local = Matrix12::Zero();
  addBending(local, kBendXY, bendingGeometric(force, L), 1.0);
  addBending(local, kBendXZ, bendingGeometric(force, L), -1.0);
  rotateToGlobal(local, frame.axes, Kg);
}

}  // namespace models
}  // namespace vematrix
