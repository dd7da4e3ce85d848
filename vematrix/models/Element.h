#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

namespace vematrix {
namespace models {

/// The six components of motion of a node: displacements along and rotations about the global axes
/// (right-hand rule).
enum Component : int { Ux = 0, Uy = 1, Uz = 2, Rx = 3, Ry = 4, Rz = 5 };
constexpr int kNumComponents = 6;

/// The most nodes an element may have; bounds the coordinate array, which lives on the stack.
constexpr int kMaxNodes = 27;

/// Node positions of one element, one column per node, metres.
using Coordinates = Eigen::Matrix<double, 3, Eigen::Dynamic, Eigen::ColMajor, 3, kMaxNodes>;

/// Isotropic linear-elastic material in SI units.
struct Material {
  double young;    ///< modulus of elasticity E, N/m²
  double poisson;  ///< Poisson's ratio
  double density;  ///< kg/m³

  double shearModulus() const { return young / (2.0 * (1.0 + poisson)); }
};

/// Structural steel, E = 210e9 N/m².
inline Material steel() {
  return {210.0e9, 0.3, 7850.0};
}
/// Concrete, E = 32e9 N/m².
inline Material concrete() {
  return {32.0e9, 0.2, 2500.0};
}

/// A finite element formulation with its material and section; shared by all elements of a model that look
/// alike.
///
/// Element dofs are ordered node by node; every node has the same components(), in that order. So an element
/// has numDofs() = numNodes() * components().size() dofs. Matrices are in global axes, full (both triangles),
/// symmetric. Output arguments are resized by the element; what they held is lost.
class ElementType {
public:
  virtual ~ElementType() = default;

  virtual const char* name() const = 0;
  virtual int numNodes() const = 0;
  /// The components of motion that this element gives stiffness to at each of its nodes, rising.
  virtual const std::vector<Component>& components() const = 0;
  /// Cell type of the VTK file format (3 line, 9 quadrilateral, 12 hexahedron, ...).
  virtual int vtkCell() const = 0;

  /// Stiffness matrix K, N/m and N·m. @throws std::domain_error for a shape without volume or turned inside
  /// out
  virtual void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const = 0;
  /// Consistent mass matrix M, kg and kg·m².
  virtual void mass(const Coordinates& x, Eigen::MatrixXd& M) const = 0;
  /// Diagonal of the lumped mass matrix: the element's mass goes to its nodes, the same in each direction.
  virtual void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const = 0;
  /// Geometric (initial stress) stiffness of the stresses that the element displacements `u` cause.
  /// @throws std::logic_error when the formulation has none
  virtual void geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const;

  int numDofs() const { return numNodes() * static_cast<int>(components().size()); }
};

}  // namespace models
}  // namespace vematrix
