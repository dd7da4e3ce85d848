#pragma once
#include <cstddef>
#include <memory>
#include <string>
#include "../sparse/LdltTypes.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

class ImageReader;
class ImageWriter;
struct LdltAnalysis;
struct LdltFactor;

/// Sparse direct solution of A·x = b with A symmetric: P·A·Pᵀ = L·D·Lᵀ, L unit lower triangular, D diagonal.
///
/// Order of calls: Analyse(pattern) once, Factorize(values) for every set of values, Solve as often as
/// wanted. A call of Analyse with the pattern it already knows costs one comparison of the index arrays.
/// Results have the same bits at any number of threads and from run to run on the same machine.
/// Copies share the (immutable) analysis and factor and are cheap.
/// Not thread-safe for changes; Solve is const and may run from several threads on one object.
class SymmetricLdlt {
public:
  /// Fixes the pattern and finds the order of elimination.
  /// @param n            number of equations, ≥ 0
  /// @param columnStart  n+1 positions into row, 0-based, columnStart[0] = 0, not falling
  /// @param row          0-based row of every stored term; any order within a column; repeated terms are
  /// summed
  /// @param triangle     which of them count; a diagonal that is not stored counts as stored with value 0
  /// @return Ok, BadInput, OutOfMemory or OrderingFailed. Only Ok changes the object (a factor is dropped
  ///         when the pattern is a new one).
  LdltStatus Analyse(int n, const int* columnStart, const int* row, Triangle triangle = Triangle::Lower,
                     int threads = 1);

  /// Factorises with the values that belong to the pattern of the last Analyse.
  /// @param value      one double for every entry of row
  /// @param threshold  the pivot threshold of Stiffness and Indefinite (absolute); not read by the others
  /// @param threads    at most so many threads work, the calling one included; below 1 means 1; fewer where
  /// the
  ///                   memory is too short for all
  /// @return Ok, OutOfMemory, PivotFailed, GrowthFailed, NotFinite, Internal; a failure leaves no factor,
  ///         Pivots() then says how far it came.
  LdltStatus Factorize(const double* value, PivotMode mode, double threshold = 0.0, int threads = 1);

  /// Solves A·X = B in place. @param x numRhs columns of n values, column c at x + c·ldx, ldx ≥ n.
  LdltStatus Solve(double* x, int numRhs, std::ptrdiff_t ldx, int threads = 1) const;

  /// Solves A·X = B and improves X by at most maxSteps steps of iterative refinement.
  ///
  /// A step r = b − A·x, x += A⁻¹·r is kept while it halves ‖r‖∞; the last step that does not is undone.
  /// @param value  the values of A in the pattern of Analyse; not read, and no residual formed, without steps
  /// @param b, x   numRhs columns each, columns ld apart; b is only read, and must not overlap x
  /// @param steps  receives, when given, the number of steps kept (the most over the columns)
  LdltStatus SolveRefined(const double* value, const double* b, double* x, int numRhs, std::ptrdiff_t ld,
                          int maxSteps, int threads = 1, int* steps = nullptr) const;

  int NumDof() const;
  bool IsAnalysed() const { return m_analysis != nullptr; }
  bool IsFactorised() const { return m_factor != nullptr; }
  const PivotRecord& Pivots() const { return m_pivots; }
  int NumNegative() const { return m_pivots.numNegative; }
  /// The smallest d(k)/a(k,k): what elimination has left of a diagonal entry. 1 without dofs or a factor.
  /// @param value  the factorised values, as Factorize took them
  double SmallestPivotRatio(const double* value) const;

  /// All zeros before Analyse.
  LdltPrediction Prediction() const;

  /// What went wrong last, with the facts (sizes, the dof, the pivot); empty after Ok.
  const std::string& Message() const { return m_message; }

  /// Writes analysis and factor to an image / takes them from there for the pattern given (as in Analyse).
  /// False when the image holds no factor of this pattern; the object is then unchanged.
  void Save(ImageWriter& image) const;
  bool Load(ImageReader& image, int n, const int* columnStart, const int* row, Triangle triangle);

  /// Releases the factor and keeps the analysis / releases everything.
  void DropFactor();
  void Clear();

private:
  bool Knows(int n, const int* columnStart, const int* row, Triangle triangle) const;
  std::shared_ptr<LdltFactor> TakeFactor();
  LdltStatus Fail(LdltStatus status, const std::string& message);

  std::shared_ptr<const LdltAnalysis> m_analysis;
  std::shared_ptr<const LdltFactor> m_factor;
  PivotRecord m_pivots;
  std::string m_message;
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
