#pragma once
// What the skyline reduction decides at every pivot, shared by all of its kernels.
#include <cmath>
#include <utility>
#include <vector>

#include "SkylineLimits.h"

namespace Vessa {
namespace Matrix {
namespace skyline {

/// The mode of a reduction, and what it has found so far.
struct Pivots {
  int option;                  ///< 0 stiffness, 1 Sturm, any other: no division by the pivots
  double zero;                 ///< suppression threshold of the stiffness mode
  std::vector<int>* zeroDofs;  ///< the suppressed dofs, ascending
  std::pair<int, double> max;  ///< dof and value of the largest pivot
  std::pair<int, double> min;  ///< and of the smallest

  bool Divides() const { return option == 0 || option == 1; }
  bool IsSuppressed(double pivot) const { return option == 0 && std::fabs(pivot) < zero; }
  void Record(int dof, double pivot) {
    if (pivot > max.second) max = {dof, pivot};
    if (min.second > pivot) min = {dof, pivot};
  }
};

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
