#pragma once
#include <Eigen/Core>
#include <Eigen/LU>

#include "models/Element.h"

namespace vematrix {
namespace models {

/// Lame constants of an isotropic solid.
struct Lame {
  double lambda, mu;
};

inline Lame solidConstants(const Material& m) {
  return {m.young * m.poisson / ((1.0 + m.poisson) * (1.0 - 2.0 * m.poisson)), m.shearModulus()};
}
/// Plane stress: lambda is the one left after the stress across the thickness has been set to zero.
inline Lame planeStressConstants(const Material& m) {
  return {m.young * m.poisson / (1.0 - m.poisson * m.poisson), m.shearModulus()};
}

/// K += weight · ∫ of the isotropic strain energy at one point, for functions with the gradients G (one
/// column each).
///
/// The block of the functions a and b is  lambda·ga·gbᵀ + mu·gb·gaᵀ + mu·(ga·gb)·I; unknowns are ordered
/// function by function. Fills both triangles.
template <int Dim, int Functions>
void addIsotropicStiffness(const Eigen::Matrix<double, Dim, Functions>& G, const Lame& c, double weight,
                           Eigen::Matrix<double, Dim * Functions, Dim * Functions>& K) {
  using Block = Eigen::Matrix<double, Dim, Dim>;
  for (int b = 0; b < Functions; ++b) {
    for (int a = 0; a <= b; ++a) {
      const auto ga = G.col(a), gb = G.col(b);
      Block block = (weight * c.lambda) * ga * gb.transpose() + (weight * c.mu) * gb * ga.transpose();
      block.diagonal().array() += weight * c.mu * ga.dot(gb);
      K.template block<Dim, Dim>(Dim * a, Dim * b) += block;
      if (a < b) K.template block<Dim, Dim>(Dim * b, Dim * a) += block.transpose();
    }
  }
}

/// Stress of the displacements with the gradients G and the nodal values u, function by function.
template <int Dim, int Functions>
Eigen::Matrix<double, Dim, Dim> isotropicStress(const Eigen::Matrix<double, Dim, Functions>& G, const Lame& c,
                                                const Eigen::Matrix<double, Dim * Functions, 1>& u) {
  Eigen::Matrix<double, Dim, Dim> slope = Eigen::Matrix<double, Dim, Dim>::Zero();
  for (int a = 0; a < Functions; ++a) slope += u.template segment<Dim>(Dim * a) * G.col(a).transpose();
  Eigen::Matrix<double, Dim, Dim> stress = c.mu * (slope + slope.transpose());
  stress.diagonal().array() += c.lambda * slope.trace();
  return stress;
}

/// The unknowns that condense has eliminated, after those that were kept: −Kii⁻¹·Kic·u.
template <int Kept, int Total>
Eigen::Matrix<double, Total, 1> recoverCondensed(const Eigen::Matrix<double, Total, Total>& K,
                                                 const Eigen::Matrix<double, Kept, 1>& u) {
  constexpr int Inner = Total - Kept;
  const Eigen::Matrix<double, Inner, Inner> Kii = K.template bottomRightCorner<Inner, Inner>();
  const Eigen::Matrix<double, Inner, 1> load = K.template bottomLeftCorner<Inner, Kept>() * u;
  Eigen::Matrix<double, Total, 1> all;
  all.template head<Kept>() = u;
  all.template tail<Inner>() = -Kii.partialPivLu().solve(load);
  return all;
}

/// Static condensation: eliminates the last Total − Kept unknowns, K = Kcc − Kci·Kii⁻¹·Kic, exactly
/// symmetric.
template <int Kept, int Total>
Eigen::Matrix<double, Kept, Kept> condense(const Eigen::Matrix<double, Total, Total>& K) {
  constexpr int Inner = Total - Kept;
  const Eigen::Matrix<double, Inner, Inner> Kii = K.template bottomRightCorner<Inner, Inner>();
  const Eigen::Matrix<double, Inner, Kept> Kic = K.template bottomLeftCorner<Inner, Kept>();
  const Eigen::Matrix<double, Inner, Kept> X = Kii.partialPivLu().solve(Kic);
  const Eigen::Matrix<double, Kept, Kept> S = K.template topLeftCorner<Kept, Kept>() - Kic.transpose() * X;
  return 0.5 * (S + S.transpose());
}

}  // namespace models
}  // namespace vematrix
