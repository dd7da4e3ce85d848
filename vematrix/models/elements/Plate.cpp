#include "models/elements/Plate.h"

#include "models/elements/Quad.h"

namespace vematrix {
namespace models {

const std::vector<Component>& Plate::components() const {
  static const std::vector<Component> components{Uz, Rx, Ry};
  return components;
}

void Plate::stiffness(const Coordinates& x, Eigen::MatrixXd& K) const {
  K = plateStiffness(x.topRows<2>(), m_material, m_thickness);
}

void Plate::mass(const Coordinates& x, Eigen::MatrixXd& M) const {
  const Eigen::Matrix4d m = m_material.density * m_thickness * quadProducts(x.topRows<2>(), name());
  const double rotary = m_thickness * m_thickness / 12.0;
  M.setZero(12, 12);
  for (int a = 0; a < 4; ++a)
    for (int b = 0; b < 4; ++b) {
      M(3 * a, 3 * b) = m(a, b);
      M(3 * a + 1, 3 * b + 1) = M(3 * a + 2, 3 * b + 2) = rotary * m(a, b);
    }
}

void Plate::lumpedMass(const Coordinates& x, Eigen::VectorXd& m) const {
  const Eigen::Vector4d perNode =
      m_material.density * m_thickness * quadProducts(x.topRows<2>(), name()).rowwise().sum();
  m.resize(12);
  for (int a = 0; a < 4; ++a) {
    m[3 * a] = perNode[a];
    m.segment<2>(3 * a + 1).setConstant(perNode[a] * m_thickness * m_thickness / 12.0);
  }
}

}  // namespace models
}  // namespace vematrix
