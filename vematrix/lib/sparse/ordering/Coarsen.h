#pragma once
// Coarser graphs for the multilevel search of separators.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vessa {
namespace Matrix {
namespace sparse {

/// A small generator of our own: the same numbers on every platform and thread.
/// Source: Steele, Lea, Flood, OOPSLA 2014, 453-472 (SplitMix64).
class SmallRandom {
public:
  explicit SmallRandom(std::uint64_t seed) : m_state(seed) {}

  /// 0 … bound−1, for bound ≥ 1
  int Below(int bound) {
    return static_cast<int>(((Next() >> 32) * static_cast<std::uint64_t>(bound)) >> 32);
  }

private:
  std::uint64_t Next() {
    std::uint64_t z = m_state += 0x9e3779b97f4a7c15u;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
    return z ^ (z >> 31);
  }

  std::uint64_t m_state;
};

/// A graph in arrays that belong to somebody else; both directions of every edge, 0-based.
struct GraphView {
  int n = 0;
  const int* start = nullptr;      ///< n+1 positions into neighbour
  const int* neighbour = nullptr;  ///< start[n] vertices
  const int* edge = nullptr;       ///< weight of the edge to every neighbour; null means 1 each
  const int* weight = nullptr;     ///< of every vertex, 1 or more
};

/// A graph made from a finer one by merging vertices. Used again and again: its arrays only grow, and are
/// longer than the graph.
struct CoarseGraph {
  int n = 0;
  std::vector<int> start, neighbour, edge, weight;
  std::vector<int> coarse;  ///< of every vertex of the finer graph, the vertex here that holds it

  GraphView View() const { return {n, start.data(), neighbour.data(), edge.data(), weight.data()}; }
};

/// Arrays of one thread for coarsening.
struct CoarsenScratch {
  std::vector<int> run, order, count, mate, slot;
};

/// Makes room for `size` entries; never gives memory back.
template <class T>
void GrowTo(std::vector<T>& array, std::size_t size) {
  if (array.size() < size) array.resize(size + size / 4);
}

/// Merges pairs of neighbours over heavy edges; where many vertices find no partner, also pairs with a common
/// neighbour, the leaves of a star, say.
///
/// Vertices with few neighbours choose first. Weights of merged vertices and of edges that fall together add
/// up. Cost: a few passes over the edges.
/// Source: Karypis, Kumar, SIAM J. Sci. Comput. 20 (1998) 359-392, 3.1 (sorted heavy-edge matching).
/// @param heaviest  weight that a merged vertex may have at most
void Coarsen(const GraphView& fine, int heaviest, SmallRandom& random, CoarsenScratch& scratch,
             CoarseGraph& coarse);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
