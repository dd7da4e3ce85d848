#pragma once
#include <Eigen/Core>
#include <functional>
#include <string>
#include <vector>

#include "MatrixFacts.h"
#include "Program.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// Options that modes and eig share.
struct EigenOptions {
  int count = 10, subspace = 0, maxIterations = 200;
  double tolerance = 1e-10, shift = 0.0;
  bool shiftGiven = false, check = true;
  std::string strategy = "none", output;
  SolverChoice solver;

  void addTo(CLI::App& command);
  /// @throws UsageError when they do not fit a matrix of order n
  void settleFor(int n);
};

/// Eigenpairs of A x = lambda B x, computed anew from what a solver returned: every value is the Rayleigh
/// quotient of its vector, every residual |A x - lambda B x| / ((|A| + |lambda| |B|) |x|) on the matrices
/// with unit diagonal, all in extended precision.
struct EigenPairs {
  Eigen::VectorXd values;
  Eigen::MatrixXd vectors;  ///< B-normalised columns
  Eigen::VectorXd residuals;

  /// @param vectors  columns in the coordinates of a and b
  /// @param scale    powers of two; residuals are taken of D A D and D B D
  EigenPairs(const UpperMatrix& a, const UpperMatrix& b, const Eigen::MatrixXd& vectors,
             const Eigen::VectorXd& scale);
};

/// What the inertia says about values that may have been missed.
struct MissedCheck {
  bool done = false, sure = false;  ///< sure: counted and none missed
  int expected = 0, found = 0;      ///< values below the upper bound (and above the lower one)
  int beyond = 0;                   ///< values found that hang together with others that were not asked for
  std::string text;                 ///< in words
};

/// Counts the eigenvalues below a number; -1 when that cannot be said.
using CountBelow = std::function<int(double)>;

/// Compares the values found (ascending) with the count below a bound just above the last of them, and,
/// unless nothing can lie below the first, with the count just below it. Values that hang together with one
/// beyond the last are left out of the comparison.
/// @param lowestKnown  it is known that no eigenvalue lies below the first
/// @param what  "mode" or "eigenvalue", for the text
MissedCheck checkMissed(const Eigen::VectorXd& values, bool lowestKnown, const CountBelow& countBelow,
                        const std::string& what);
/// The same at the upper end of n eigenvalues; values ascending too.
MissedCheck checkMissedAtTop(const Eigen::VectorXd& values, int n, const CountBelow& countBelow);

/// The inertia of A - mu B through the solution matrix.
CountBelow inertiaCounter(const UpperMatrix& a, const UpperMatrix& b, const SolverChoice& choice);

}  // namespace cli
}  // namespace vematrix
