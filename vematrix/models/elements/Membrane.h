#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// 4-node quadrilateral in plane stress, in a plane of constant z, ux and uy at each node; see
/// membraneStiffness.
///
/// Nodes counter-clockwise seen from +z.
class Membrane : public ElementType {
public:
  /// @param thickness m
  Membrane(const Material& material, double thickness) : m_material(material), m_thickness(thickness) {}
  const char* name() const override { return "membrane"; }
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
