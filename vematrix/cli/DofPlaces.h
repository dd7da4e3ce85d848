#pragma once
#include <Eigen/Core>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "models/io/VtuMesh.h"

namespace vematrix {
namespace cli {

/// Where dofs sit, from a mesh; without one, dofs are only numbers. Refers to the mesh. Dofs count from 1,
/// nodes from 0 as in the mesh file.
class DofPlaces {
public:
  DofPlaces() = default;
  explicit DofPlaces(const models::VtuMesh& mesh);

  bool known() const { return !m_node.empty(); }
  int node(int dof) const { return m_node[std::size_t(dof) - 1]; }
  int component(int dof) const { return m_component[std::size_t(dof) - 1]; }
  Eigen::Vector3d point(int dof) const { return m_mesh->points.col(node(dof)); }
  /// "uz of node 17 at (1, 0, 2.5)", or "dof 17" without a mesh.
  std::string describe(int dof) const;

  std::set<int> nodesOf(const std::vector<int>& dofs) const;
  /// All dofs of some nodes, ascending.
  std::vector<int> dofsOf(const std::set<int>& nodes) const;
  /// The mean of the places of some dofs, at least one.
  Eigen::Vector3d centre(const std::vector<int>& dofs) const;
  /// The six rigid motions of some dofs about a point (0..2 along, 3..5 about the axes), as columns over
  /// these dofs.
  Eigen::MatrixXd rigidMotions(const std::vector<int>& dofs, const Eigen::Vector3d& origin) const;

private:
  const models::VtuMesh* m_mesh = nullptr;
  std::vector<int> m_node, m_component;
};

/// "(1, 0, 2.5)"
std::string vectorText(const Eigen::Vector3d& v);

}  // namespace cli
}  // namespace vematrix
