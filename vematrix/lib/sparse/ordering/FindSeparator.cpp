#include "FindSeparator.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kFork = 1000;    ///< vertices; coarser levels are made anew for every try
constexpr int kCoarsest = 50;  ///< vertices; sides are grown there
constexpr int kGrowths = 2;    ///< from different vertices
constexpr int kGrownPasses = 3, kPasses = 8;
constexpr double kStalled = 0.9;  ///< of the vertices are left: coarsening ends

/// One search in a graph and its coarser levels; level 0 is the graph itself.
class Search {
public:
  Search(const GraphView& graph, std::uint64_t seed, SeparatorScratch& scratch)
      : m_graph(graph), m_random(seed), m_scratch(scratch) {
    std::int64_t total = 0;
    for (int v = 0; v < graph.n; ++v) total += graph.weight[v];
    m_heaviest = static_cast<int>(1 + total / kCoarsest + total / (2 * kCoarsest));
  }

  void Run(int tries) {
    const int fork = CoarsenFrom(0, kFork);
    double best = std::numeric_limits<double>::max();
    for (int k = 0; k < tries; ++k) {
      const int coarsest = CoarsenFrom(fork, kCoarsest);
      GrowOnLevel(coarsest);
      CarryBack(coarsest, fork);
      TakeIfBetter(m_scratch.result, m_scratch.best, best);
      if (coarsest == fork) break;
    }
    std::swap(m_scratch.result, m_scratch.best);
    CarryBack(fork, 0);
  }

private:
  GraphView Level(int level) const { return level == 0 ? m_graph : m_scratch.levels[level - 1].View(); }

  /// Makes coarser levels until one is small enough or merging stalls; the last one.
  int CoarsenFrom(int level, int target) {
    while (Level(level).n > target) {
      const GraphView fine = Level(level);
      if (static_cast<int>(m_scratch.levels.size()) == level) m_scratch.levels.emplace_back();
      Coarsen(fine, m_heaviest, m_random, m_scratch.coarsen, m_scratch.levels[level]);
      ++level;
      if (Level(level).n > kStalled * fine.n) break;
    }
    return level;
  }

  static void TakeIfBetter(Separation& candidate, Separation& taken, double& best) {
    const double badness = Badness(candidate.weight);
    if (badness >= best) return;
    best = badness;
    std::swap(candidate, taken);
  }

  void GrowOnLevel(int level) {
    const GraphView g = Level(level);
    double best = std::numeric_limits<double>::max();
    for (int k = 0; k < kGrowths; ++k) {
      GrowSide(g, m_scratch.other);
      Refine(g, kGrownPasses, m_scratch.other, m_scratch.refine);
      TakeIfBetter(m_scratch.other, m_scratch.result, best);
    }
  }

  static void PutAllOnSideOne(const GraphView& g, Separation& s) {
    GrowTo(s.side, g.n);
    std::fill(s.side.begin(), s.side.begin() + g.n, static_cast<unsigned char>(1));
    s.separator.clear();
    s.weight[0] = s.weight[1] = s.weight[kSeparator] = 0;
    for (int v = 0; v < g.n; ++v) s.weight[1] += g.weight[v];
  }

  /// Side 0 grows from a random vertex; from further ones when it has used up their components and is still
  /// below 40 %.
  void GrowSide(const GraphView& g, Separation& s) {
    PutAllOnSideOne(g, s);
    int v = m_random.Below(g.n);
    for (int looked = 0; looked < g.n; ++looked, v = v + 1 < g.n ? v + 1 : 0) {
      if (!s.separator.empty() || 5 * s.weight[0] >= 2 * s.Total()) return;
      if (s.side[v] != 1) continue;
      s.side[v] = kSeparator;
      s.separator.push_back(v);
      s.weight[1] -= g.weight[v];
      s.weight[kSeparator] += g.weight[v];
      Advance(g, 0, Patience(), s, m_scratch.refine);
    }
  }

  /// Carries the result from a coarse level to a finer one and refines it on all the way.
  void CarryBack(int from, int to) {
    for (int level = from - 1; level >= to; --level) {
      Project(Level(level).n, m_scratch.levels[level], m_scratch.result, m_scratch.other);
      std::swap(m_scratch.result, m_scratch.other);
      Refine(Level(level), kPasses, m_scratch.result, m_scratch.refine);
    }
  }

  /// Members go where their merged vertex is.
  static void Project(int n, const CoarseGraph& coarse, const Separation& from, Separation& to) {
    GrowTo(to.side, n);
    to.separator.clear();
    for (int v = 0; v < n; ++v) {
      to.side[v] = from.side[coarse.coarse[v]];
      if (to.side[v] == kSeparator) to.separator.push_back(v);
    }
    std::copy(from.weight, from.weight + 3, to.weight);
  }

  const GraphView m_graph;
  SmallRandom m_random;
  SeparatorScratch& m_scratch;
  int m_heaviest = 0;
};

}  // namespace

void FindSeparator(const GraphView& graph, std::uint64_t seed, int tries, SeparatorScratch& scratch) {
  Search(graph, seed, scratch).Run(tries);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
