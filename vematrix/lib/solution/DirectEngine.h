#pragma once
// The seam between Pardiso and the solver that does its work: MKL's PARDISO or the library's own
// factorisation.
#include <memory>
#include <string>
#include <vector>

namespace Vessa {
namespace Matrix {

/// The bound matrix as a solver reads it: the upper triangle of a symmetric matrix in compressed rows,
/// 0-based. Row i holds the columns index[start[i] .. start[i+1]), ascending, the diagonal first.
struct SymmetricArrays {
  int n;
  const int* start;
  const int* index;
  const double* value;
};

/// What a call passes besides arrays. The control words are those of PARDISO's documentation (0-based here);
/// an engine reads the ones it knows and writes the number of negative pivots to controls[22].
struct EngineCall {
  int matrixType;  ///< 2 positive definite, -2 indefinite
  int threads;     ///< for this call; 0: the setting of the process
  std::vector<int>* controls;
};

/// A sparse symmetric direct solver with its factors, if any. Every operation but Release returns PARDISO's
/// error code: 0 for success, -1 bad input, -2 memory, -3 ordering, -4 zero pivot, -5 internal.
///
/// The caller has checked the arrays (Pardiso does), calls Factorise after a successful Analyse of the same
/// arrays and Solve after a successful Factorise only.
class DirectEngine {
public:
  virtual ~DirectEngine() = default;

  /// Ordering and symbolic factorisation; drops what an earlier call left.
  virtual int Analyse(const SymmetricArrays& matrix, const EngineCall& call) = 0;

  /// Numerical factorisation A = L·D·Lᵀ; controls[22] receives the number of negative pivots.
  virtual int Factorise(const SymmetricArrays& matrix, const EngineCall& call) = 0;

  /// The smallest d(k)/a(k,k) over the pivots of the positive definite factorisation just made: what
  /// elimination has left of a diagonal entry. 1 for no dofs. Throws std::bad_alloc.
  virtual double SmallestPivotRatio(const SymmetricArrays& matrix) = 0;

  /// Solves A·X = B for nrhs columns of n values each. With controls[5] = 0 the solution goes to x and b is
  /// kept; with 1 it goes to b and x is work space of the same size. At most controls[7] steps of iterative
  /// refinement, which read the matrix again. Calls from several threads are taken one after the other.
  virtual int Solve(const SymmetricArrays& matrix, const EngineCall& call, int nrhs, double* b,
                    double* x) = 0;

  /// Forgets the factors; what an Analyse of the same pattern could use again may be kept.
  virtual void DropFactors() noexcept = 0;

  /// Why the last Analyse or Factorise found too little memory (error -2), with the figures; else empty.
  virtual std::string Shortage() const = 0;

  /// Whether this is the kind of engine that the factory with the same name makes.
  virtual bool IsMkl() const noexcept = 0;
};

/// Null when the library was built without MKL.
std::shared_ptr<DirectEngine> MakeMklEngine();
/// The library's own factorisation; null when there is none in this build.
std::shared_ptr<DirectEngine> MakeOwnEngine();

}  // namespace Matrix
}  // namespace Vessa
