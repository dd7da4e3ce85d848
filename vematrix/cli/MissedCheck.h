#pragma once
#include <Eigen/Core>
#include <functional>
#include <string>

#include "Json.h"
#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// What the inertia says about values that may have been missed.
struct MissedCheck {
  bool done = false, sure = false;  ///< sure: counted and none missed
  int expected = 0, found = 0;      ///< values below the upper bound (and above the lower one)
  int beyond = 0;                   ///< values found that hang together with others that were not asked for
  std::string text;                 ///< in words
};

/// Counts the eigenvalues below a number; -1 when that cannot be said.
using CountBelow = std::function<int(double)>;

/// The inertia of A - mu B through the solution matrix. Refers to a and b.
CountBelow inertiaCounter(const UpperMatrix& a, const UpperMatrix& b, const SolverChoice& choice);

/// Compares the values found (ascending) with the count below a bound just above the last of them, and,
/// unless nothing can lie below the first, with the count just below it. Values that hang together with one
/// beyond the last are left out of the comparison.
/// @param lowestKnown  it is known that no eigenvalue lies below the first
/// @param what  "mode" or "eigenvalue", for the text
MissedCheck checkMissed(const Eigen::VectorXd& values, bool lowestKnown, const CountBelow& countBelow,
                        const std::string& what);
/// The same at the upper end of n eigenvalues; values ascending too.
MissedCheck checkMissedAtTop(const Eigen::VectorXd& values, int n, const CountBelow& countBelow);

Json toJson(const MissedCheck& check);

}  // namespace cli
}  // namespace vematrix
