#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// Spring between the same component of two nodes, without mass and without length.
///
/// With stiffness zero it only makes the component a dof: the way to get a loose dof into a model.
class Spring : public ElementType {
public:
  /// @param stiffness N/m for a displacement, N·m for a rotation
  Spring(Component component, double stiffness) : m_components{component}, m_stiffness(stiffness) {}
  const char* name() const override { return "spring"; }
  int numNodes() const override { return 2; }
  const std::vector<Component>& components() const override { return m_components; }
  int vtkCell() const override { return 3; }
  void stiffness(const Coordinates&, Eigen::MatrixXd& K) const override {
    K.setConstant(2, 2, -m_stiffness);
    K.diagonal().setConstant(m_stiffness);
  }
  void mass(const Coordinates&, Eigen::MatrixXd& M) const override { M.setZero(2, 2); }
  void lumpedMass(const Coordinates&, Eigen::VectorXd& m) const override { m.setZero(2); }

private:
  std::vector<Component> m_components;
  double m_stiffness;
};

}  // namespace models
}  // namespace vematrix
