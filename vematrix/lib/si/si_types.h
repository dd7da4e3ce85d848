#pragma once
#include <functional>

namespace si {

/// How an iteration moves its shift between two of its steps; the numbers are part of the interface, any
/// other value means that it stays where the caller put it.
enum ShiftStrat : int {
  SHIFT_AGGRESSIVE = 0,    ///< towards the harmonic mean of the next and the last wanted value
  SHIFT_CONSERVATIVE = 1,  ///< midway between the next two values
  SHIFT_NONE = 2
};

/// How a solve ended.
enum Status : int {
  STATUS_OK = 0,  ///< all wanted pairs converged, or the iterations were spent: ask get_numpairs_converged
  STATUS_LAPACK = -3,        ///< the projected problem, or the orthonormalisation between two steps, failed
  STATUS_FACTORIZE = -101,   ///< the factorisation failed, or a solve with the factors
  STATUS_NOT_POSDEF = -102,  ///< B has negative eigenvalues (explicit iteration)
  STATUS_ORTHO = -210        ///< the start vectors could not be orthonormalised
};

/// The end of the spectrum that si::sep looks at.
enum EVAL_LOCATION : int { EVAL_LOWEST = 0, EVAL_HIGHEST = 1 };

/// Where a running solve stands, at the beginning of an iteration.
struct SolveProgress {
  int iteration;   ///< from 1
  int converged;   ///< leading pairs converged so far
  int multiplies;  ///< operator applications so far, one per vector
};

/// Called on the solving thread at the beginning of every iteration.
using ProgressCallback = std::function<void(const SolveProgress&)>;

/// Where the time of the last solve went, wall clock in seconds; what is not listed is total minus the sum.
struct SolveTimes {
  double total = 0.0;
  double factor = 0.0;          ///< factorisations, ordering included
  double solve = 0.0;           ///< block solves with the factors
  double product = 0.0;         ///< products with the sparse matrices, those inside cholp excepted
  double projection = 0.0;      ///< projected problems and the rotation of the vectors
  double orthonormalize = 0.0;  ///< QR, or cholp with its products
  double convergence = 0.0;     ///< convergence tests
  double shift = 0.0;           ///< forming A − σ·B
  int factorizations = 0;
};

}  // namespace si
