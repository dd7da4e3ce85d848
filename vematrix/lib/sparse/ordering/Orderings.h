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

/// Nested dissection: multilevel vertex separators, minimum fill in the pieces of up to a hundred vertices.
///
/// The same graph and seed give the same order for any number of threads, which work on different pieces.
/// Memory is linear in the graph, and one array as long as the graph for every thread.
/// Source: George, SIAM J. Numer. Anal. 10 (1973) 345-363; Hendrickson, Rothberg, SIAM J. Sci. Comput. 20
/// (1998) 468-489.
void OrderByNestedDissection(const Graph& graph, int seed, int threads, std::vector<int>& order);

/// The nested dissection of METIS: Karypis, Kumar, SIAM J. Sci. Comput. 20 (1998) 359-392.
///
/// METIS draws from the C random generator: calls are serialised, and the host's own sequence of rand() goes
/// on afterwards as if nothing had happened (where the C library allows that).
bool OrderByMetis(const Graph& graph, int seed, std::vector<int>& order);

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
