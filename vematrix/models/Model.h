#pragma once
#include <Eigen/Core>
#include <array>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "models/Element.h"
#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace models {

/// What becomes of supported dofs when the dofs are numbered.
enum class Supports {
  Deleted,  ///< they get no number: the matrices are those of the supported structure
  Free      ///< they are numbered like all others: the structure floats and its stiffness is singular
};

/// A finite-element model: nodes, elements, supports, loads, and the numbering of its degrees of freedom.
///
/// The miniature host of the solver library. Order of calls: addNode, addType and addElement build the mesh,
/// fix and addLoad the boundary conditions, numberDofs fixes the numbering; then the assemble functions hand
/// their terms to any sink callable as `void(int i, int j, double v)` with 1 <= i <= j <= numDofs(), for
/// example
///
///     model.assembleStiffness([&](int i, int j, double v) { matrix.AddTerm(i, j, v); });
///
/// Nodes, types and elements count from 0 (positions in arrays); dofs count from 1, as in the library.
class Model {
public:
  /// Adds a node at (x, y, z), metres. @return its index
  int addNode(double x, double y, double z = 0.0);
  /// Adds an element formulation. @return its index, for addElement
  int addType(std::shared_ptr<const ElementType> type);
  /// Adds an element of a formulation on the given nodes (the formulation says how they are ordered).
  /// @throws std::invalid_argument for a wrong number of nodes, an unknown node or type
  int addElement(int type, const std::vector<int>& nodes);

  void fix(int node, Component component);
  /// Fixes all six components of a node.
  void clamp(int node);
  /// Adds a nodal force (N) or moment (N·m) to a load case; cases count from 0 and appear as they are used.
  /// A load on a supported or absent dof goes into the support and is left out of loads().
  void addLoad(int node, Component component, double value, int loadCase = 0);
  /// Adds the consistent nodal loads of a uniform acceleration (m/s²), for example gravity (0, 0, -9.81). On
  /// a plate of thickness t and density rho, a pressure p is the acceleration p / (rho·t) along the normal.
  void addAcceleration(const Eigen::Vector3d& acceleration, int loadCase = 0);

  /// Numbers the dofs 1..numDofs() node by node in the order of the nodes; at a node in the order of
  /// Component. Only components that an element gives stiffness to count. May be called again, with other
  /// supports too.
  void numberDofs(Supports supports = Supports::Deleted);

  int numDofs() const { return static_cast<int>(m_places.size()); }
  int numNodes() const { return static_cast<int>(m_nodes.size()); }
  int numElements() const { return static_cast<int>(m_elementType.size()); }
  int numLoadCases() const { return m_numLoadCases; }
  const Eigen::Vector3d& node(int index) const { return m_nodes[static_cast<std::size_t>(index)]; }
  /// Whether fix or clamp has been called for this component.
  bool isFixed(int node, Component component) const {
    return m_fixed[static_cast<std::size_t>(node)][static_cast<std::size_t>(component)];
  }
  const std::vector<std::shared_ptr<const ElementType>>& types() const { return m_types; }
  /// Index into types() of an element's formulation.
  int typeIndex(int element) const { return m_elementType[static_cast<std::size_t>(element)]; }
  const ElementType& typeOf(int element) const {
    return *m_types[static_cast<std::size_t>(m_elementType[static_cast<std::size_t>(element)])];
  }
  /// The nodes of an element: begin and number.
  std::pair<const int*, int> nodesOf(int element) const;
  /// The number of a dof (from 1), or 0 when this component is supported or has no stiffness.
  int dof(int node, Component component) const {
    return m_dofs[static_cast<std::size_t>(node)][static_cast<std::size_t>(component)];
  }
  /// Where a dof sits: node index and component. @pre 1 <= dof <= numDofs()
  std::pair<int, Component> place(int dof) const { return m_places[static_cast<std::size_t>(dof) - 1]; }
  /// A dof in words, for messages: "uz of node 17 at (1, 0, 2.5)".
  std::string describeDof(int dof) const;
  /// The node nearest to a point. @throws std::logic_error for a model without nodes
  int nodeNear(double x, double y, double z) const;

  template <class Sink>
  void assembleStiffness(Sink&& sink) const {
    assemble([this](int e, Eigen::MatrixXd& K) { typeOf(e).stiffness(coordinates(e), K); }, sink);
  }
  /// Consistent mass.
  template <class Sink>
  void assembleMass(Sink&& sink) const {
    assemble([this](int e, Eigen::MatrixXd& M) { typeOf(e).mass(coordinates(e), M); }, sink);
  }
  /// Lumped mass: diagonal terms only.
  template <class Sink>
  void assembleLumpedMass(Sink&& sink) const {
    Eigen::VectorXd m;
    std::vector<int> dofs;
    for (int e = 0; e < numElements(); ++e) {
      typeOf(e).lumpedMass(coordinates(e), m);
      elementDofs(e, dofs);
      for (std::size_t a = 0; a < dofs.size(); ++a)
        if (dofs[a] > 0) sink(dofs[a], dofs[a], m[static_cast<Eigen::Index>(a)]);
    }
  }
  /// Geometric stiffness of the stresses under the displacements u (length numDofs(), 0-based, supported dofs
  /// at rest).
  template <class Sink>
  void assembleGeometricStiffness(const Eigen::VectorXd& u, Sink&& sink) const {
    assemble(
        [this, &u](int e, Eigen::MatrixXd& Kg) {
          typeOf(e).geometricStiffness(coordinates(e), elementDisplacements(e, u), Kg);
        },
        sink);
  }

  /// Load vector of a case, length numDofs(). @throws std::out_of_range for a case that does not exist
  Eigen::VectorXd loads(int loadCase = 0) const;
  /// Number of terms that assembleStiffness and assembleMass hand over: the room to reserve.
  std::size_t numTerms() const;

  SymmetricTerms stiffnessTerms() const;   ///< assembleStiffness into a list, duplicates not summed
  SymmetricTerms massTerms() const;        ///< assembleMass into a list, duplicates not summed
  SymmetricTerms lumpedMassTerms() const;  ///< assembleLumpedMass into a list, duplicates summed

  /// One 3-vector per node (columns) from a solution vector: its displacements, zero where there is no dof.
  Eigen::Matrix3Xd nodalDisplacements(const Eigen::VectorXd& u) const;
  /// The same for the rotations.
  Eigen::Matrix3Xd nodalRotations(const Eigen::VectorXd& u) const;

  /// The motion of all nodes as a rigid body (0..2 translations along, 3..5 rotations about the axes through
  /// the origin), as a vector over the dofs. Unsupported structures have no stiffness against it.
  Eigen::VectorXd rigidBodyMotion(int mode) const;

private:
  struct NodalLoad {
    int node;
    Component component;
    double value;
    int loadCase;
  };
  struct Acceleration {
    Eigen::Vector3d value;
    int loadCase;
  };

  template <class ElementMatrix, class Sink>
  void assemble(const ElementMatrix& elementMatrix, Sink& sink) const {
    Eigen::MatrixXd K;
    std::vector<int> dofs;
    for (int e = 0; e < numElements(); ++e) {
      elementMatrix(e, K);
      elementDofs(e, dofs);
      scatter(K, dofs, sink);
    }
  }
  template <class Sink>
  static void scatter(const Eigen::MatrixXd& K, const std::vector<int>& dofs, Sink& sink) {
    const int count = static_cast<int>(dofs.size());
    for (int b = 0; b < count; ++b) {
      const int j = dofs[static_cast<std::size_t>(b)];
      if (j == 0) continue;
      for (int a = 0; a <= b; ++a) {
        const int i = dofs[static_cast<std::size_t>(a)];
        if (i == 0) continue;
        if (i < j)
          sink(i, j, K(a, b));
        else
          sink(j, i,
               i == j && a != b ? 2.0 * K(a, b) : K(a, b));  // a node used twice: both halves fall on it
      }
    }
  }

  Coordinates coordinates(int element) const;
  void elementDofs(int element, std::vector<int>& dofs) const;
  Eigen::VectorXd elementDisplacements(int element, const Eigen::VectorXd& u) const;
  void addAccelerationLoads(const Acceleration& a, Eigen::VectorXd& f) const;
  Eigen::Matrix3Xd nodalVectors(const Eigen::VectorXd& u, Component first) const;
  void useLoadCase(int loadCase);

  std::vector<Eigen::Vector3d> m_nodes;
  std::vector<std::shared_ptr<const ElementType>> m_types;
  std::vector<int> m_elementType;                 // per element
  std::vector<int> m_elementStart{0}, m_connect;  // element e has nodes m_connect[start[e]] .. [start[e + 1])
  std::vector<std::array<bool, kNumComponents>> m_fixed;
  std::vector<std::array<int, kNumComponents>> m_dofs;
  std::vector<std::pair<int, Component>> m_places;
  std::vector<NodalLoad> m_nodalLoads;
  std::vector<Acceleration> m_accelerations;
  int m_numLoadCases = 0;
};

}  // namespace models
}  // namespace vematrix
