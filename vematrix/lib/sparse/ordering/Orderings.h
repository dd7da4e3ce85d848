#pragma once
// Fill-reducing orders of a graph, each a function graph -> order of elimination. All are deterministic.
#include <vector>

namespace Vessa {
namespace Matrix {
namespace sparse {

/// An undirected graph by adjacency lists: both directions stored, no loops, no repeats. 0-based.
struct Graph {
  int n = 0;
  std::vector<int> start;  ///< n+1 positions into neighbour
  std::vector<int> neighbour;
  std::vector<int> weight;  ///< dofs of every vertex; empty means 1 each
};

/// order[k] is the vertex eliminated at step k. All return false when the ordering library failed.
///
/// Approximate minimum degree: Amestoy, Davis, Duff, ACM TOMS 30 (2004) 381-388.
bool OrderByMinimumDegree(const Graph& graph, std::vector<int>& order);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
