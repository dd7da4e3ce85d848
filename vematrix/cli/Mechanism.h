#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

#include "NullSpace.h"
#include "models/io/VtuMesh.h"

namespace vematrix {
namespace cli {

/// Where dofs sit, from a mesh; without one, dofs are only numbers.
class DofPlaces {
public:
  DofPlaces() = default;
  explicit DofPlaces(const models::VtuMesh& mesh);

  bool known() const { return !m_node.empty(); }
  int node(int dof) const { return m_node[std::size_t(dof) - 1]; }
  int component(int dof) const { return m_component[std::size_t(dof) - 1]; }
  Eigen::Vector3d point(int dof) const { return m_mesh->points.col(node(dof)); }
  /// "uz of node 17 at (1, 0, 2.5)", or "dof 17" without a mesh; nodes count from 0 as in the mesh file.
  std::string describe(int dof) const;

private:
  const models::VtuMesh* m_mesh = nullptr;
  std::vector<int> m_node, m_component;
};

/// One motion without stiffness, in words.
struct Mechanism {
  std::string kind;  ///< translation, rotation, screw, local, or unknown (no mesh)
  std::string text;
  Eigen::VectorXd motion;  ///< largest component 1
  Eigen::Vector3d axisPoint = Eigen::Vector3d::Zero(), axis = Eigen::Vector3d::Zero();  ///< of a rotation
  int numDofs = 0, numNodes = 0;
  std::vector<int> movers;  ///< dofs that move most, at most ten
};

/// Turns a null space into motions that one can name: rigid translations along and rotations about the axes
/// of connected parts where these are among them, then motions that leave as much as possible at rest, each
/// compared with a rigid motion of the nodes that it moves.
std::vector<Mechanism> describeMechanisms(const UpperMatrix& matrix, const NullSpace& space,
                                          const DofPlaces& places);

}  // namespace cli
}  // namespace vematrix
