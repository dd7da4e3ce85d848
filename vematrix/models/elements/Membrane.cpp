#include "models/elements/Membrane.h"

#include "models/elements/Quad.h"

namespace vematrix {
namespace models {

const std::vector<Component>& Membrane::components() const {
  static const std::vector<Component> components{Ux, Uy};
  return components;
}

void Membrane::stiffness(const Coordinates& x, Eigen::MatrixXd& K) const {
  K = membraneStiffness(x.topRows<2>(), m_material, m_thickness);
}

void Membrane::mass(const Coordinates& x, Eigen::MatrixXd& M) const {
  const Eigen::Matrix4d m = m_material.density * m_thickness * quadProducts(x.topRows<2>(), name());
  M.setZero(8, 8);
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b) M(2 * a, 2 * b) = M(2 * a + 1, 2 * b + 1) = m(a, b);
}

void Membrane::lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const {
  const Eigen::Vector4d perNode =
      m_material.density * m_thickness * quadProducts(x.topRows<2>(), name()).rowwise().sum();
  m.resize(8);
  for (int a = 0; a < 4; ++a) m.segment<2>(2 * a).setConstant(perNode[a]);
}

}  // namespace models
}  // namespace vematrix
