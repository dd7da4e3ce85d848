#pragma once
#include "models/Element.h"

namespace vematrix {
namespace models {

/// 8-node brick for solids (ux, uy, uz at each node) with incompatible modes, so that it bends without
/// locking.
///
/// Nodes: the four of the face zeta = -1 counter-clockwise seen from zeta = +1, then the four above them.
/// To the trilinear displacements come the quadratic bubbles 1 − xi², 1 − eta², 1 − zeta² in each direction,
/// condensed out in the element. Their gradients are taken with the Jacobian of the element's centre, so that
/// any patch of elements represents a constant strain exactly (Taylor, Beresford, Wilson, Int. J. Numer.
/// Meth. Engng 10 (1976) 1211-1219). Stiffness by 2x2x2, mass by 3x3x3 Gauss points.
class Brick : public ElementType {
public:
  explicit Brick(const Material& material) : m_material(material) {}
  const char* name() const override { return "brick"; }
  int numNodes() const override { return 8; }
  const std::vector<Component>& components() const override;
  int vtkCell() const override { return 12; }
  void stiffness(const Coordinates& x, Eigen::MatrixXd& K) const override;
  void mass(const Coordinates& x, Eigen::MatrixXd& M) const override;
  void lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const override;
  /// ∫ ∇Nᵀ·σ·∇N for each displacement, with the stresses of the incompatible modes too.
  void geometricStiffness(const Coordinates& x, const Eigen::VectorXd& u, Eigen::MatrixXd& Kg) const override;

private:
  Material m_material;
};

}  // namespace models
}  // namespace vematrix
