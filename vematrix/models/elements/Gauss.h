#pragma once
#include <array>
#include <cmath>

namespace vematrix {
namespace models {

/// A Gauss-Legendre point on [-1, 1] with its weight.
struct GaussPoint {
  double x, weight;
};

/// Exact for polynomials up to degree 3.
inline std::array<GaussPoint, 2> gauss2() {
  const double x = 1.0 / std::sqrt(3.0);
  return {{{-x, 1.0}, {x, 1.0}}};
}

/// Exact for polynomials up to degree 5.
inline std::array<GaussPoint, 3> gauss3() {
  const double x = std::sqrt(0.6);
  return {{{-x, 5.0 / 9.0}, {0.0, 8.0 / 9.0}, {x, 5.0 / 9.0}}};
}

}  // namespace models
}  // namespace vematrix
