#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// Straight pin-ended bar in space: carries an axial force only; two nodes with ux, uy, uz.
///
/// The mass moves along with all three displacements. The geometric stiffness of a bar force P is P/L across
/// the bar.
class Truss : public ElementType {
public:
  /// @param area cross-section, m²
  Truss(const Material& material, double area) : m_material(material), m_area(area) {}
  const char* name() const override { return "truss"; }
  int numNodes() const override { return 2; }
  const std::vector<Component>& components() const override;
  int vtkCell() const override { return 3; }
  void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const override;
  void mass(const Coordinates& x, Eigen::MatrixXd& M) const override;
  void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const override;
  void geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const override;

private:
  Material m_material;
  double m_area;
};

}  // namespace models
}  // namespace vematrix
