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

/// order[k] is the vertex eliminated at step k. False when the ordering library failed.
///
/// Approximate minimum degree: Amestoy, Davis, Duff, ACM TOMS 30 (2004) 381-388.
bool OrderByMinimumDegree(const Graph& graph, std::vector<int>& order);

/// One try of nested dissection: the same settings give the same order.
struct DissectionSettings {
  int seed = 1;
  int separators = 1;  ///< separators tried at every level, the best is kept
  int refinements = 10;
};

/// Multilevel nested dissection: Karypis, Kumar, SIAM J. Sci. Comput. 20 (1998) 359-392.
///
/// The library behind it draws from the C random generator: calls are serialised, and the host's own sequence
/// of rand() goes on afterwards as if nothing had happened (where the C library allows that).
bool OrderByNestedDissection(const Graph& graph, const DissectionSettings& settings, std::vector<int>& order);

/// Reverse Cuthill-McKee from a pseudo-peripheral vertex of every component.
/// Source: George, Liu, Computer Solution of Large Sparse Positive Definite Systems (1981), ch. 4.
std::vector<int> OrderByReverseCuthillMcKee(const Graph& graph);

/// A linear order eliminated from both ends towards the middle: two independent branches of half the length.
///
/// The vertices of the second half that touch the first one come last. Costs about what the order itself
/// costs.
std::vector<int> FromBothEnds(const Graph& graph, const std::vector<int>& order);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
