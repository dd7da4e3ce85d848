#pragma once
// The definition of the sparse LDLᵀ: one row at a time, no supernodes, no blocking. Tests hold the fast
// engine against it; it is never tuned.
#include <vector>
#include "../../sparse/LdltTypes.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// A symmetric matrix, lower triangle by compressed columns; 0-based, rows in any order, repeats are summed.
struct LowerColumns {
  int n = 0;
  std::vector<int> start;  ///< n+1 positions into row and value
  std::vector<int> row;
  std::vector<double> value;
};

/// The factor P·A·Pᵀ = L·D·Lᵀ by columns.
struct SimplicialFactor {
  int n = 0;
  std::vector<int> order;  ///< order[k] is the dof (0-based) eliminated at step k
  std::vector<std::vector<int>> row;
  std::vector<std::vector<double>>
      value;  ///< column k of L below the diagonal, rows increasing (eliminated numbering)
  std::vector<double> pivot;
  PivotRecord record;

  /// In place on n values in the numbering of the matrix.
  void Solve(double* x) const;
};

/// Up-looking factorisation in the given order (a permutation of 0..n−1).
///
/// Row k of L solves L·D·l = a(1..k−1, k); the rows met are found along the elimination tree.
/// Source: Davis, Direct Methods for Sparse Linear Systems (2006), 4.7; ACM TOMS 31 (2005) 587–591.
LdltStatus FactorizeSimplicial(const LowerColumns& a, const std::vector<int>& order, PivotMode mode,
                               double threshold, SimplicialFactor& factor);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
