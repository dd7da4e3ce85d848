#include "models/elements/Shell.h"

#include <Eigen/Geometry>
#include <stdexcept>

#include "models/elements/Gauss.h"
#include "models/elements/Quad.h"

namespace vematrix {
namespace models {
namespace {

using Matrix24 = Eigen::Matrix<double, 24, 24>;
using Row12 = Eigen::Matrix<double, 1, 12>;

constexpr double kDrilling = 1e-3;  // share of the shear modulus

// Places of the local dofs among the 24 (ux uy uz rx ry rz at each node).
constexpr int kMembrane[2] = {0, 1};
constexpr int kPlate[3] = {2, 3, 4};
constexpr int kInPlane[3] = {0, 1, 5};  // with the rotation about the normal

struct MeanPlane {
  Eigen::Matrix3d axes;    // rows: local x, y, normal
  QuadNodes nodes;         // projections of the four nodes
  Eigen::Vector4d height;  // of the nodes over the plane
};

MeanPlane meanPlane(const Coordinates& x) {
  const Eigen::Vector3d centre = 0.25 * (x.col(0) + x.col(1) + x.col(2) + x.col(3));
  const Eigen::Vector3d d1 = x.col(2) - x.col(0), d2 = x.col(3) - x.col(1);
  const Eigen::Vector3d cross = d1.cross(d2);
  if (!(cross.norm() > 0.0)) throw std::domain_error("shell: the four nodes lie on a line");
  const Eigen::Vector3d normal = cross.normalized();
  Eigen::Vector3d ex = x.col(1) + x.col(2) - x.col(0) - x.col(3);
  ex = (ex - normal.dot(ex) * normal).normalized();
  MeanPlane plane;
  plane.axes.row(0) = ex;
  plane.axes.row(1) = normal.cross(ex);
  plane.axes.row(2) = normal;
  for (int a = 0; a < 4; ++a) {
    const Eigen::Vector3d local = plane.axes * (x.col(a) - centre);
    plane.nodes.col(a) = local.head<2>();
    plane.height[a] = local[2];
  }
  return plane;
}

template <int PerNode, class Matrix>
void scatter(const int (&place)[PerNode], const Matrix& k, Matrix24& K) {
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b)
      for (int i = 0; i < PerNode; ++i)
        for (int j = 0; j < PerNode; ++j)
          K(6 * a + place[i], 6 * b + place[j]) += k(PerNode * a + i, PerNode * b + j);
}

// Penalty on rz − (uy,x − ux,y)/2; unknowns ux, uy, rz node by node.
Eigen::Matrix<double, 12, 12> drillingStiffness(const QuadNodes& x, double factor) {
  Eigen::Matrix<double, 12, 12> K = Eigen::Matrix<double, 12, 12>::Zero();
  for (const auto& p : gauss2())
    for (const auto& q : gauss2()) {
      const QuadPoint point = quadPoint(x, p.x, q.x, "shell");
      Row12 B;
      for (int a = 0; a < 4; ++a) {
        B(3 * a) = 0.5 * point.gradients(1, a);
        B(3 * a + 1) = -0.5 * point.gradients(0, a);
        B(3 * a + 2) = point.N[a];
      }
      K += (factor * point.det * p.weight * q.weight) * B.transpose() * B;
    }
  return K;
}

// Global motion of a node to local motion of its foot on the mean plane: u + r × (−h·n), then rotated.
Eigen::Matrix<double, 6, 6> nodeTransform(const MeanPlane& plane, int a) {
  const Eigen::Vector3d link = -plane.height[a] * plane.axes.row(2).transpose();
  Eigen::Matrix3d cross;
  cross << 0, -link[2], link[1], link[2], 0, -link[0], -link[1], link[0], 0;
  Eigen::Matrix<double, 6, 6> T = Eigen::Matrix<double, 6, 6>::Zero();
  T.topLeftCorner<3, 3>() = plane.axes;
  T.topRightCorner<3, 3>() = -plane.axes * cross;
  T.bottomRightCorner<3, 3>() = plane.axes;
  return T;
}

}  // namespace

const std::vector<Component>& Shell::components() const {
  static const std::vector<Component> components{Ux, Uy, Uz, Rx, Ry, Rz};
  return components;
}

void Shell::stiffness(const Coordinates& x, Eigen::MatrixXd& K) const {
  const MeanPlane plane = meanPlane(x);
  Matrix24 local = Matrix24::Zero();
  scatter(kMembrane, membraneStiffness(plane.nodes, m_material, m_thickness), local);
  scatter(kPlate, plateStiffness(plane.nodes, m_material, m_thickness), local);
  scatter(kInPlane, drillingStiffness(plane.nodes, kDrilling * m_material.shearModulus() * m_thickness),
          local);
  K.resize(24, 24);
  for (int a = 0; a < 4; ++a)
    for (int b = a; b < 4; ++b) {
      const Eigen::Matrix<double, 6, 6> block =
          nodeTransform(plane, a).transpose() * local.block<6, 6>(6 * a, 6 * b) * nodeTransform(plane, b);
      K.block<6, 6>(6 * a, 6 * b) = a == b ? (0.5 * (block + block.transpose())).eval() : block;
      if (a < b) K.block<6, 6>(6 * b, 6 * a) = block.transpose();
    }
}

void Shell::mass(const Coordinates& x, Eigen::MatrixXd& M) const {
  const Eigen::Matrix4d m = m_material.density * m_thickness * quadProducts(meanPlane(x).nodes, name());
  const double rotary = m_thickness * m_thickness / 12.0;
  M.setZero(24, 24);
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b)
      for (int c = 0; c < 6; ++c) M(6 * a + c, 6 * b + c) = c < 3 ? m(a, b) : rotary * m(a, b);
}

void Shell::lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const {
  const Eigen::Vector4d perNode =
      m_material.density * m_thickness * quadProducts(meanPlane(x).nodes, name()).rowwise().sum();
  m.resize(24);
  for (int a = 0; a < 4; ++a) {
    m.segment<3>(6 * a).setConstant(perNode[a]);
    m.segment<3>(6 * a + 3).setConstant(perNode[a] * m_thickness * m_thickness / 12.0);
  }
}

void Shell::geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const {
  const MeanPlane plane = meanPlane(x);
  Eigen::Matrix<double, 8, 1> inPlane;
  for (int a = 0; a < 4; ++a) {
    const Eigen::Matrix<double, 6, 1> local = nodeTransform(plane, a) * u.segment<6>(6 * a);
    inPlane.segment<2>(2 * a) = local.head<2>();
  }
  const Eigen::Matrix4d k = membraneGeometricStiffness(plane.nodes, m_material, m_thickness, inPlane);
  Kg.setZero(24, 24);
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b)
      for (int c = 0; c < 3; ++c) Kg(6 * a + c, 6 * b + c) = k(a, b);  // the same in any axes
}

}  // namespace models
}  // namespace vematrix
