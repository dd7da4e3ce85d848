#pragma once
#include <cstdint>
#include <vector>
#include "../../sparse/ordering/Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// The elimination tree of a graph in a given order, and how long the columns of L become.
struct EliminationTree {
  std::vector<int> order;           ///< vertex eliminated at step k, in a postorder of the tree
  std::vector<int> place;           ///< step of every vertex
  std::vector<int> parent;          ///< of step k, −1 for a root; parent[k] > k
  std::vector<std::int64_t> count;  ///< rows of the columns of step k in dofs, the group's own dofs included
};

/// What a factorisation in this order costs.
struct FactorCount {
  std::int64_t terms = 0;   ///< non-zeros of L, the diagonal included
  double operations = 0.0;  ///< Σ (column count)² over dofs
};

/// Source: tree: Liu, ACM TOMS 12 (1986) 127-148; counts: Gilbert, Ng, Peyton, SIAM J. Matrix Anal. Appl. 15
/// (1994) 1075-1091, with every row counted as often as its group has dofs.
/// @param order  any permutation of the vertices; the tree's own order is an equivalent postorder
EliminationTree BuildEliminationTree(const Graph& graph, const std::vector<int>& order);

FactorCount CountFactor(const Graph& graph, const EliminationTree& tree);

/// Upper bound of the operations when every row is filled from its first neighbour on: cheap, and near the
/// truth for band-like orders.
double ProfileOperations(const Graph& graph, const std::vector<int>& order);

/// Children before parents, each subtree contiguous, children in increasing order: post[k] is the k-th node.
std::vector<int> Postorder(const std::vector<int>& parent);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
