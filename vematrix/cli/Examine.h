#pragma once
#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// What a factorisation tells about the sign of a matrix.
struct Definiteness {
  bool positiveDefinite = true, singular = false;
  int negative = 0;  ///< negative eigenvalues, where it is neither
};

/// Factorises as positive definite, then, if that fails, as indefinite, and probes for a motion without
/// stiffness.
/// @throws NoResult when it cannot be factorised at all
Definiteness examine(const UpperMatrix& matrix, const SolverChoice& choice);

}  // namespace cli
}  // namespace vematrix
