#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "../../math/thread_team.h"
#include "FindSeparator.h"
#include "OrderLeaf.h"
#include "Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kLeaf = 100;             ///< vertices; larger pieces are dissected
constexpr int kWorthTwoTries = 3000;   ///< vertices; the second try takes a small part of the time there
constexpr int kSmall = 500;            ///< vertices; from here on the whole graph is worth it, too
constexpr double kHardlySplit = 0.95;  ///< of the vertices on one side: minimum degree for the whole piece
constexpr std::size_t kPiecesPerThread = 8;

/// A piece of the whole graph and the places of the order that its vertices take.
struct Part {
  Graph graph;
  std::vector<int> vertex;  ///< of the whole graph
  int first = 0;            ///< the places are first … first+n−1

  GraphView View() const {
    return {graph.n, graph.start.data(), graph.neighbour.data(), nullptr, graph.weight.data()};
  }
};

/// Arrays of one thread.
struct DissectScratch {
  SeparatorScratch separator;
  LeafOrder leaf;
  std::vector<int> local, order;
};

Part WholeGraph(const Graph& graph) {
  Part whole;
  whole.graph = graph;
  if (graph.weight.empty()) whole.graph.weight.assign(graph.n, 1);
  whole.vertex.resize(graph.n);
  std::iota(whole.vertex.begin(), whole.vertex.end(), 0);
  return whole;
}

/// The vertices of one side with the edges among them. local is long enough for the part.
Part Extract(const Part& from, const Separation& s, int side, std::vector<int>& local) {
  const Graph& g = from.graph;
  Part part;
  std::size_t most = 0;
  for (int v = 0; v < g.n; ++v) {
    if (s.side[v] != side) continue;
    local[v] = part.graph.n++;
    most += g.start[v + 1] - g.start[v];
  }
  part.vertex.reserve(part.graph.n);
  part.graph.weight.reserve(part.graph.n);
  part.graph.start.reserve(part.graph.n + 1);
  part.graph.neighbour.resize(most);
  int end = 0;
  for (int v = 0; v < g.n; ++v) {
    if (s.side[v] != side) continue;
    part.vertex.push_back(from.vertex[v]);
    part.graph.weight.push_back(g.weight[v]);
    part.graph.start.push_back(end);
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
      if (s.side[g.neighbour[t]] == side) part.graph.neighbour[end++] = local[g.neighbour[t]];
    }
  }
  part.graph.start.push_back(end);
  part.graph.neighbour.resize(end);
  return part;
}

/// Dissects one graph. What happens to a part depends on the part and its place alone.
class Dissection {
public:
  Dissection(const Graph& whole, int seed, int* order) : m_whole(whole), m_seed(seed), m_order(order) {}

  /// Orders all of a part that is small or does not split, otherwise its separator; the sides are left to
  /// order.
  std::vector<Part> Split(const Part& part, DissectScratch& scratch) const {
    const int n = part.graph.n;
    if (n <= kLeaf || part.graph.neighbour.empty()) return OrderAll(part, scratch);
    const bool worthIt = n >= kWorthTwoTries || (n == m_whole.n && n >= kSmall);
    const int tries = worthIt ? 2 : 1;
    FindSeparator(part.View(), SeedOf(part), tries, scratch.separator);
    const Separation& s = scratch.separator.result;
    int count[3] = {0, 0, 0};
    for (int v = 0; v < n; ++v) ++count[s.side[v]];
    const bool split = std::min(count[0], count[1]) > 0 && std::max(count[0], count[1]) <= kHardlySplit * n;
    if (!split) return OrderAll(part, scratch);
    PutLast(part, s, part.first + count[0] + count[1]);
    GrowTo(scratch.local, n);
    std::vector<Part> sides;
    int first = part.first;
    for (int side = 0; side < 2; ++side) {
      sides.push_back(Extract(part, s, side, scratch.local));
      sides.back().first = first;
      first += count[side];
    }
    return sides;
  }

  void SplitCompletely(Part part, DissectScratch& scratch) const {
    std::vector<Part> waiting;
    waiting.push_back(std::move(part));
    while (!waiting.empty()) {
      const Part next = std::move(waiting.back());
      waiting.pop_back();
      for (Part& side : Split(next, scratch)) waiting.push_back(std::move(side));
    }
  }

private:
  std::uint64_t SeedOf(const Part& part) const {
    return (static_cast<std::uint64_t>(m_seed) << 32) + static_cast<std::uint64_t>(part.first) * 1000003u +
           static_cast<std::uint64_t>(part.graph.n);
  }

  std::vector<Part> OrderAll(const Part& part, DissectScratch& scratch) const {
    int* const place = m_order + part.first;
    std::copy(part.vertex.begin(), part.vertex.end(), place);
    if (part.graph.n <= kLeaf) {
      scratch.leaf.Run(m_whole, place, part.graph.n);
    } else if (OrderByMinimumDegree(part.graph, scratch.order)) {
      for (int k = 0; k < part.graph.n; ++k) place[k] = part.vertex[scratch.order[k]];
    }
    return {};
  }

  void PutLast(const Part& part, const Separation& s, int place) const {
    for (int v = 0; v < part.graph.n; ++v) {
      if (s.side[v] == kSeparator) m_order[place++] = part.vertex[v];
    }
  }

  const Graph& m_whole;
  const int m_seed;
  int* const m_order;
};

}  // namespace

void OrderByNestedDissection(const Graph& graph, int seed, int threads, std::vector<int>& order) {
  order.resize(graph.n);
  if (graph.n == 0) return;
  const Dissection dissection(graph, seed, order.data());
  std::vector<DissectScratch> scratch(std::max(threads, 1));
  std::vector<Part> parts(1);
  parts[0] = WholeGraph(graph);
  // Level by level until there are pieces enough to keep all threads at work.
  while (!parts.empty() && parts.size() < kPiecesPerThread * scratch.size()) {
    std::vector<std::vector<Part>> sides(parts.size());
    math::ForEachPiece(threads, static_cast<int>(parts.size()), [&](int piece, int worker) {
      sides[piece] = dissection.Split(parts[piece], scratch[worker]);
      parts[piece] = Part();
    });
    parts.clear();
    for (std::vector<Part>& pair : sides) {
      for (Part& side : pair) parts.push_back(std::move(side));
    }
  }
  math::ForEachPiece(threads, static_cast<int>(parts.size()), [&](int piece, int worker) {
    dissection.SplitCompletely(std::move(parts[piece]), scratch[worker]);
  });
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
