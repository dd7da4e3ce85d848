#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// 4-node flat shell in space: membrane and plate (see membraneStiffness, plateStiffness) with six dofs at
/// each node.
///
/// The rotation about the normal is tied to the in-plane rotation of the membrane by the weak penalty
/// 1e-3·G·t·∫ (rz − (uy,x − ux,y)/2)² (Hughes and Brezzi, Comput. Meth. Appl. Mech. Engng 72 (1989) 105-121),
/// which costs no energy in a rigid motion or a constant strain. Nodes off the mean plane of a warped element
/// are joined to it by rigid links, so that rigid motions stay free of forces. Mass: rho·t for displacements,
/// rho·t³/12 for all three rotations. Nodes counter-clockwise around the normal.
class Shell : public ElementType {
public:
  /// @param thickness m
  Shell(const Material& material, double thickness) : m_material(material), m_thickness(thickness) {}
  const char* name() const override { return "shell"; }
  int numNodes() const override { return 4; }
  const std::vector<Component>& components() const override;
  int vtkCell() const override { return 9; }
  void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const override;
  void mass(const Coordinates& x, Eigen::MatrixXd& M) const override;
  void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const override;
  /// Of the membrane forces, for all three displacements; the moments give none.
  void geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const override;

private:
  Material m_material;
  double m_thickness;
};

}  // namespace models
}  // namespace vematrix
