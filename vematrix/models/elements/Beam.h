#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// Cross-section of a bar or beam; y and z are its principal axes.
struct BeamSection {
  double area;      ///< m²
  double inertiaY;  ///< second moment about y, m⁴: bending with displacements along z
  double inertiaZ;  ///< second moment about z, m⁴: bending with displacements along y
  double torsion;   ///< torsion constant, m⁴

  double polar() const { return inertiaY + inertiaZ; }
};

/// Solid rectangle, `width` along y and `height` along z, metres.
BeamSection rectangle(double width, double height);
/// Solid circle, metres.
BeamSection circle(double diameter);

/// Straight Euler-Bernoulli beam in space, two nodes with six dofs each; exact at the nodes for loads at the
/// nodes.
///
/// The local x axis runs from the first to the second node; `up` shows into the half-plane of the local z
/// axis (along the member: the global x axis takes its place). Cubic bending and linear axial and twist
/// functions give the stiffness, the consistent mass (with the polar inertia of the twist, without the rotary
/// inertia of bending) and the geometric stiffness of the axial force (Przemieniecki, Theory of Matrix
/// Structural Analysis (1968), 5.6, 11.8, 15.3; the twist gets none). Lumped: half the mass to each node,
/// with the rotary inertia m·L²/78 about each axis that diagonal scaling of the consistent mass gives.
class Beam : public ElementType {
public:
  Beam(const Material& material, const BeamSection& section,
       const Eigen::Vector3d& up = Eigen::Vector3d::UnitZ())
      : m_material(material), m_section(section), m_up(up) {}
  const char* name() const override { return "beam"; }
  int numNodes() const override { return 2; }
  const std::vector<Component>& components() const override;
  int vtkCell() const override { return 3; }
  void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const override;
  void mass(const Coordinates& x, Eigen::MatrixXd& M) const override;
  void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const override;
  void geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const override;

private:
  Material m_material;
  BeamSection m_section;
  Eigen::Vector3d m_up;
};

}  // namespace models
}  // namespace vematrix
