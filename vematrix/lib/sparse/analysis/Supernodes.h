#pragma once
#include <cstdint>
#include <vector>
#include "../../sparse/analysis/EliminationTree.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Supernodes: runs of columns of L that are stored and eliminated together, and the tree they form.
///
/// A front of supernode s has k = columns(s) pivots and m = k + rows(s) rows. All numbers are steps of the
/// elimination (permuted dofs), 0-based. Supernodes are numbered in a postorder.
struct Supernodes {
  std::vector<int>
      firstColumn;  ///< count+1 columns; supernode s eliminates [firstColumn[s], firstColumn[s+1])
  std::vector<std::int64_t> rowStart;  ///< count+1 positions into row
  std::vector<int> row;                ///< rows of L below the pivots, increasing
  std::vector<int> parent;             ///< −1 for a root
  std::vector<int> childStart, child;  ///< children of s: child[childStart[s] … childStart[s+1]), increasing
  std::vector<int> order;              ///< groups in the order of elimination

  int Count() const { return static_cast<int>(parent.size()); }
  int Columns(int s) const { return firstColumn[s + 1] - firstColumn[s]; }
  int Rows(int s) const { return static_cast<int>(rowStart[s + 1] - rowStart[s]); }
  const int* RowsOf(int s) const { return row.data() + rowStart[s]; }
};

/// What merging a supernode into its parent costs and saves, in nanoseconds of one thread; measured with the
/// amalgamation benchmark on plates, shells, bricks, bars and frames.
struct AmalgamationCosts {
  double perFront = 600.0;         ///< handling one more front
  double perContribution = 0.1;    ///< writing one entry of a contribution block and adding it to the parent
  double perZero = 2.0;            ///< one more stored entry of L, factorised once and read by solves
  double perOperation = 1.0 / 80;  ///< one operation of the dense kernels
};

/// Finds the supernodes of a tree, merges children into parents where that is cheaper, orders children so
/// that the stack of contribution blocks stays low (Liu, ACM TOMS 12 (1986) 249-264) and lists the rows.
Supernodes FindSupernodes(const Graph& graph, const EliminationTree& tree, const AmalgamationCosts& costs);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
