#pragma once
#include <Eigen/Core>

#include "models/Element.h"

namespace vematrix {
namespace models {

/// Corners of a plane quadrilateral, counter-clockwise, one column per node, metres.
using QuadNodes = Eigen::Matrix<double, 2, 4>;

/// What the formulations on a 4-node quadrilateral need at a point (xi, eta) of [-1, 1]².
struct QuadPoint {
  Eigen::Vector4d N;                      ///< shape functions
  Eigen::Matrix<double, 2, 4> slopes;     ///< derivatives along xi and eta
  Eigen::Matrix2d J;                      ///< J(r, c) = ∂x_c/∂(xi, eta)_r
  double det;                             ///< determinant of J, > 0, m²
  Eigen::Matrix<double, 2, 4> gradients;  ///< derivatives along x and y
};

/// @throws std::domain_error naming `element` when the Jacobian is not positive (wrong order, bent inwards,
/// flat)
QuadPoint quadPoint(const QuadNodes& x, double xi, double eta, const char* element);

/// Plane stress, unknowns ux, uy node by node, with the incompatible modes 1 − xi² and 1 − eta² condensed
/// out: bends in its plane without locking and passes the patch test (Taylor, Beresford, Wilson 1976). 2x2
/// Gauss points.
Eigen::Matrix<double, 8, 8> membraneStiffness(const QuadNodes& x, const Material& material, double thickness);

/// ∫ ∇N_aᵀ·n·∇N_b with the membrane forces n (N/m) of the in-plane displacements u (ux, uy node by node): the
/// geometric stiffness of one displacement component, symmetric to the bit.
Eigen::Matrix4d membraneGeometricStiffness(const QuadNodes& x, const Material& material, double thickness,
                                           const Eigen::Matrix<double, 8, 1>& u);

/// Mindlin-Reissner plate, unknowns uz, rx, ry node by node. The transverse shear strains are interpolated
/// from the middles of the edges, so that thin plates do not lock: the MITC4 element (Bathe and Dvorkin, Int.
/// J. Numer. Meth. Engng 21 (1985) 367-383). Shear correction 5/6, 2x2 Gauss points.
Eigen::Matrix<double, 12, 12> plateStiffness(const QuadNodes& x, const Material& material, double thickness);

/// ∫ N_a·N_b over the area, m², symmetric to the bit.
Eigen::Matrix4d quadProducts(const QuadNodes& x, const char* element);

}  // namespace models
}  // namespace vematrix
