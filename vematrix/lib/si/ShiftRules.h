#pragma once
#include <vector>

/// \file
/// Where a subspace iteration may move its shift. The rules read the Ritz values in the order in which the
/// solvers keep them, the k converged ones first, 0-based, and look for a place between two of them: shifting
/// onto an eigenvalue makes the shifted matrix singular. A rule that would have to read beyond the last Ritz
/// value refuses (mu = 0, false). NaN values never pass as a distance: see each rule.
namespace si {

/// Two values closer than this are the same (the spacing of doubles at 1).
constexpr double kTooClose = 2.220446049250313e-16;

/// What the rules of the two eigensolvers differ in.
struct ShiftRuleLimits {
  int lastScanned;      ///< the upward scan of the aggressive rule stops at this index
  bool rejectInfinity;  ///< an infinite target is refused
};

/// The midpoint of Ritz values k and k + 1; false and 0 when k < 1 or the two are too close to part.
bool conservativeShift(const std::vector<double>& ritz, int k, bool rejectInfinity, double& mu);

/// Right after progress (stage < 1): the harmonic mean of Ritz values k and wanted − 1, drawn back to the
/// midpoint of value k and the last one below it, but no further than value `wanted`. Later: the midpoint of
/// k and k + 1. For k < 1 it refuses and leaves mu as it is, unless that is +∞ (then 0, where infinity is
/// refused). Prints "aborting shift because mu was too close to eval" where it gives up for that reason.
bool aggressiveShift(const std::vector<double>& ritz, int k, int stage, int wanted,
                     const ShiftRuleLimits& limits, double& mu);

/// The midpoint of Ritz values k and j; each value from j down to k that it hits moves j one down and starts
/// again. 0 when j ≤ k. j returns where it ended.
double safeShift(const std::vector<double>& ritz, int k, int& j);

}  // namespace si
