#pragma once
// The words shared by the stages of the sparse LDLᵀ engine and by everybody who drives it.
#include <cstdint>
#include <string>
#include <vector>

namespace Vessa {
namespace Matrix {
namespace sparse {

/// What a pivot D(j) of A = L·D·Lᵀ may be, and what happens when it is not.
enum class PivotMode : int {
  PositiveDefinite = 0,  ///< a pivot that is not above zero ends the factorisation (PivotFailed)
  Stiffness = 1,  ///< |D| below the threshold: D := 1, row and column of that dof decoupled and remembered
  Sturm = 2,  ///< any sign; D = 0 becomes −1e-16; a multiplier above 1e7 in magnitude ends it (GrowthFailed)
  Indefinite = 3  ///< any sign; |D| below the threshold becomes ±threshold with the sign of D (+ for 0)
};

/// How a stage ended.
enum class LdltStatus : int {
  Ok,
  BadInput,        ///< sizes or indices contradict each other, nothing was changed
  OutOfMemory,     ///< the factor does not fit the memory this process may use, or the indices of this engine
  OrderingFailed,  ///< the ordering library reported an error
  PivotFailed,     ///< PositiveDefinite: a pivot ≤ 0
  GrowthFailed,    ///< Sturm: a multiplier above 1e7
  NotFinite,       ///< a NaN or infinity in the matrix, or one that arose (overflow)
  NotFactorised,   ///< Solve before a successful Factorize
  Internal         ///< an exception of unknown kind
};

/// Which entries of the arrays given to Analyse count.
enum class Triangle {
  Lower,  ///< only rows ≥ column may occur; anything else is BadInput
  Both    ///< a full symmetric matrix; entries above the diagonal are not read
};

/// What the factorisation will cost, known after the analysis alone.
struct LdltPrediction {
  std::int64_t factorTerms =
      0;  ///< non-zeros of L, the diagonal included, as the elimination tree counts them
  std::int64_t storedTerms = 0;  ///< doubles kept for L: factorTerms plus explicit zeros of merged supernodes
  double operations = 0.0;  ///< Σ (column count)², the multiply-add pairs ×2 of an LLᵀ of the same matrix
  std::int64_t analysisBytes = 0;  ///< what the analysis itself holds
  std::int64_t factorBytes = 0;    ///< what the finished factor holds
  std::int64_t peakBytes = 0;      ///< analysis + factor + work space of one thread at its highest
  std::string ordering;            ///< which candidate won, for people
};

/// The pivots of the last factorisation. Dofs are 1-based.
struct PivotRecord {
  double largest = 0.0,
         smallest = 1e20;  ///< algebraically, over the pivots that were neither suppressed nor replaced
  int largestDof = 0, smallestDof = 0;  ///< 0 while there is none
  int numNegative = 0;                  ///< pivots below zero, replaced ones (−1e-16) included
  int numReplaced = 0;          ///< Sturm: zeros made −1e-16; Indefinite: pivots raised to the threshold
  int numFinished = 0;          ///< columns eliminated: n after success, fewer after a failure
  int failedDof = 0;            ///< the dof whose column ended the factorisation, 0 if none
  std::vector<int> suppressed;  ///< Stiffness: the decoupled dofs, increasing
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
