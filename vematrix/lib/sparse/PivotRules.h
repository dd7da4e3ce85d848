#pragma once
// What becomes of one pivot: the rule of each mode in one place, for the reference and the fast engine.
#include <cmath>
#include "../sparse/LdltTypes.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

constexpr double kGrowthLimit = 1e7;  ///< largest multiplier |l(i,j)| the Sturm mode accepts
constexpr double kZeroPivotStandIn =
    -1e-16;  ///< counts as negative, so that a Sturm count sees the eigenvalue

struct PivotVerdict {
  LdltStatus status = LdltStatus::Ok;
  double pivot = 1.0;
  bool suppressed = false;  ///< the dof is decoupled
  bool replaced = false;    ///< the value is not the one elimination gave
};

inline PivotVerdict JudgePivot(double d, PivotMode mode, double threshold) noexcept {
  PivotVerdict v;
  v.pivot = d;
  if (!std::isfinite(d)) {
    v.status = LdltStatus::NotFinite;
  } else if (mode == PivotMode::PositiveDefinite) {
    if (!(d > 0.0)) v.status = LdltStatus::PivotFailed;
  } else if (mode == PivotMode::Stiffness && std::fabs(d) < threshold) {
    v.pivot = 1.0;
    v.suppressed = true;
  } else if (mode == PivotMode::Indefinite && std::fabs(d) < threshold) {
    v.pivot = d < 0.0 ? -threshold : threshold;
    v.replaced = true;
  } else if (d == 0.0) {
    v.pivot = kZeroPivotStandIn;
    v.replaced = true;
  }
  return v;
}

/// Extremes leave out suppressed and replaced pivots; the inertia leaves out suppressed ones.
inline void RecordPivot(const PivotVerdict& v, int dof, PivotRecord& record) {
  if (v.suppressed) {
    record.suppressed.push_back(dof);
    return;
  }
  if (v.pivot < 0.0) ++record.numNegative;
  if (v.replaced) {
    ++record.numReplaced;
    return;
  }
  if (record.largestDof == 0 || v.pivot > record.largest) {
    record.largest = v.pivot;
    record.largestDof = dof;
  }
  if (record.smallestDof == 0 || v.pivot < record.smallest) {
    record.smallest = v.pivot;
    record.smallestDof = dof;
  }
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
