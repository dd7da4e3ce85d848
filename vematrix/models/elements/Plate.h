#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// 4-node quadrilateral of a plate in bending with transverse shear, in a plane of constant z; uz, rx and ry
/// at each node. Good for thin and thick plates; see plateStiffness.
///
/// Nodes counter-clockwise seen from +z. The mass has the rotary inertia rho·t³/12.
class Plate : public ElementType {
public:
  /// @param thickness m
  Plate(const Material& material, double thickness) : m_material(material), m_thickness(thickness) {}
  const char* name() const override { return "plate"; }
  int numNodes() const override { return 4; }
  const std::vector<Component>& components() const override;
  int vtkCell() const override { return 9; }
  void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const override;
  void mass(const Coordinates& x, Eigen::MatrixXd& M) const override;
  void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const override;

private:
  Material m_material;
  double m_thickness;
};

}  // namespace models
}  // namespace vematrix
