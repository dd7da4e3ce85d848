#include "DofPlaces.h"

#include <fmt/core.h>

#include <Eigen/Geometry>
#include <cmath>

namespace vematrix {
namespace cli {

DofPlaces::DofPlaces(const models::VtuMesh& mesh) : m_mesh(&mesh) {
  m_node.assign(std::size_t(mesh.numDofs()), 0);
  m_component.assign(std::size_t(mesh.numDofs()), 0);
  for (int p = 0; p < mesh.numPoints() && mesh.dofs.size() != 0; ++p)
    for (int c = 0; c < models::kDofsPerPoint; ++c)
      if (mesh.dofs(c, p) > 0) {
        m_node[std::size_t(mesh.dofs(c, p)) - 1] = p;
        m_component[std::size_t(mesh.dofs(c, p)) - 1] = c;
      }
}

std::string DofPlaces::describe(int dof) const {
  static const char* const names[] = {"ux", "uy", "uz", "rx", "ry", "rz"};
  if (!known()) return fmt::format("dof {}", dof);
  return fmt::format("{} of node {} at {}", names[component(dof)], node(dof), vectorText(point(dof)));
}

std::set<int> DofPlaces::nodesOf(const std::vector<int>& dofs) const {
  std::set<int> nodes;
  for (int dof : dofs) nodes.insert(node(dof));
  return nodes;
}

std::vector<int> DofPlaces::dofsOf(const std::set<int>& nodes) const {
  std::vector<int> dofs;
  for (int dof = 1; dof <= int(m_node.size()); ++dof)
    if (nodes.count(node(dof)) != 0) dofs.push_back(dof);
  return dofs;
}

Eigen::Vector3d DofPlaces::centre(const std::vector<int>& dofs) const {
  Eigen::Vector3d sum = Eigen::Vector3d::Zero();
  for (int dof : dofs) sum += point(dof);
  return sum / double(dofs.size());
}

Eigen::MatrixXd DofPlaces::rigidMotions(const std::vector<int>& dofs, const Eigen::Vector3d& origin) const {
  Eigen::MatrixXd motions = Eigen::MatrixXd::Zero(Eigen::Index(dofs.size()), 6);
  for (std::size_t k = 0; k < dofs.size(); ++k) {
    const int c = component(dofs[k]);
    const Eigen::Vector3d arm = point(dofs[k]) - origin;
    for (int axis = 0; axis < 3; ++axis) {
      const Eigen::Vector3d omega = Eigen::Vector3d::Unit(axis);
      if (c < 3) {
        motions(Eigen::Index(k), axis) = c == axis;
        motions(Eigen::Index(k), 3 + axis) = omega.cross(arm)[c];
      } else {
        motions(Eigen::Index(k), 3 + axis) = c - 3 == axis;
      }
    }
  }
  return motions;
}

namespace {

std::string number(double value) {
  return fmt::format("{:.4g}", std::fabs(value) < 1e-9 ? 0.0 : value);
}

}  // namespace

std::string vectorText(const Eigen::Vector3d& v) {
  return "(" + number(v[0]) + ", " + number(v[1]) + ", " + number(v[2]) + ")";
}

}  // namespace cli
}  // namespace vematrix
