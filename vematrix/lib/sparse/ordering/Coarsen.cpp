#include "Coarsen.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kRun = 32;
constexpr double kManyNeighbours = 0.55;  ///< of the average; beyond that more neighbours make no difference
constexpr double kFewPairs = 0.4;         ///< of the vertices; below that matching over edges has stalled

/// scratch.run = the runs of kRun consecutive vertices in random order. Vertices near in numbering are near
/// in memory: shuffling single ones takes up to twice the time and is hardly better.
int ShuffleRuns(int n, SmallRandom& random, CoarsenScratch& scratch) {
  const int runs = (n + kRun - 1) / kRun;
  GrowTo(scratch.run, runs);
  for (int r = 0; r < runs; ++r) {
    const int other = random.Below(r + 1);
    scratch.run[r] = scratch.run[other];
    scratch.run[other] = r;
  }
  return runs;
}

/// scratch.order = the vertices by number of neighbours, equal ones by the shuffled runs.
void SortByDegree(const GraphView& g, SmallRandom& random, CoarsenScratch& scratch) {
  const int most = static_cast<int>(kManyNeighbours * g.start[g.n] / g.n) + 1;
  const auto degree = [&](int v) { return std::min(g.start[v + 1] - g.start[v], most); };
  scratch.count.assign(most + 2, 0);
  int* const count = scratch.count.data();
  for (int v = 0; v < g.n; ++v) ++count[degree(v) + 1];
  for (int d = 0; d <= most; ++d) count[d + 1] += count[d];
  const int runs = ShuffleRuns(g.n, random, scratch);
  GrowTo(scratch.order, g.n);
  for (int r = 0; r < runs; ++r) {
    const int begin = scratch.run[r] * kRun, end = std::min(g.n, begin + kRun);
    for (int v = begin; v < end; ++v) scratch.order[count[degree(v)]++] = v;
  }
}

/// The unmatched neighbour over the heaviest edge, among equals the lightest; −1 when none is light enough.
int HeaviestFreeNeighbour(const GraphView& g, int v, int heaviest, const int* mate) {
  int best = -1, bestEdge = 0, room = heaviest - g.weight[v];
  for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
    const int u = g.neighbour[t];
    if (mate[u] >= 0 || g.weight[u] > room) continue;
    const int edge = g.edge ? g.edge[t] : 1;
    if (edge > bestEdge || (edge == bestEdge && g.weight[u] < g.weight[best])) {
      best = u;
      bestEdge = edge;
    }
  }
  return best;
}

/// mate[v] and mate[u] name each other; the number of pairs.
int MatchOverEdges(const GraphView& g, int heaviest, CoarsenScratch& scratch) {
  int pairs = 0;
  int* const mate = scratch.mate.data();
  for (int k = 0; k < g.n; ++k) {
    const int v = scratch.order[k];
    if (mate[v] >= 0) continue;
    const int u = HeaviestFreeNeighbour(g, v, heaviest, mate);
    if (u < 0) continue;
    mate[v] = u;
    mate[u] = v;
    ++pairs;
  }
  return pairs;
}

void MatchAroundHubs(const GraphView& g, int heaviest, CoarsenScratch& scratch) {
  int* const mate = scratch.mate.data();
  for (int hub = 0; hub < g.n; ++hub) {
    int waiting = -1;
    for (int t = g.start[hub]; t < g.start[hub + 1]; ++t) {
      const int u = g.neighbour[t];
      if (mate[u] >= 0) continue;
      if (waiting < 0 || g.weight[waiting] + g.weight[u] > heaviest) {
        waiting = u;
        continue;
      }
      mate[waiting] = u;
      mate[u] = waiting;
      waiting = -1;
    }
  }
}

/// Numbers the merged vertices in the order of their first members, so neighbours stay near in memory.
void NumberPairs(const GraphView& g, const int* mate, CoarseGraph& coarse) {
  GrowTo(coarse.coarse, g.n);
  GrowTo(coarse.weight, g.n);
  coarse.n = 0;
  for (int v = 0; v < g.n; ++v) {
    const int u = mate[v];
    if (u >= 0 && u < v) {
      coarse.coarse[v] = coarse.coarse[u];
      continue;
    }
    coarse.weight[coarse.n] = g.weight[v] + (u >= 0 ? g.weight[u] : 0);
    coarse.coarse[v] = coarse.n++;
  }
}

/// Adds the lists of merged vertices. slot[c] is where neighbour c stands in the list being made; what older
/// lists have left there lies before the list's beginning.
void MergeLists(const GraphView& g, CoarsenScratch& scratch, CoarseGraph& coarse) {
  GrowTo(coarse.start, coarse.n + 1);
  GrowTo(coarse.neighbour, g.start[g.n]);
  GrowTo(coarse.edge, g.start[g.n]);
  scratch.slot.assign(coarse.n, -1);
  int* const slot = scratch.slot.data();
  int* const neighbour = coarse.neighbour.data();
  int* const edge = coarse.edge.data();
  const int* const map = coarse.coarse.data();
  int end = 0, made = 0;
  for (int v = 0; v < g.n; ++v) {
    if (map[v] != made) continue;
    const int begin = coarse.start[made] = end;
    int member = v;
    for (int turn = 0; turn < 2 && member >= 0; ++turn, member = scratch.mate[v]) {
      for (int t = g.start[member]; t < g.start[member + 1]; ++t) {
        const int c = map[g.neighbour[t]];
        if (c == made) continue;
        const int w = g.edge ? g.edge[t] : 1;
        if (slot[c] >= begin) {
          edge[slot[c]] += w;
        } else {
          slot[c] = end;
          neighbour[end] = c;
          edge[end++] = w;
        }
      }
    }
    ++made;
  }
  coarse.start[coarse.n] = end;
}

}  // namespace

void Coarsen(const GraphView& fine, int heaviest, SmallRandom& random, CoarsenScratch& scratch,
             CoarseGraph& coarse) {
  SortByDegree(fine, random, scratch);
  scratch.mate.assign(fine.n, -1);
  const int pairs = MatchOverEdges(fine, heaviest, scratch);
  if (pairs < kFewPairs * fine.n) MatchAroundHubs(fine, heaviest, scratch);
  NumberPairs(fine, scratch.mate.data(), coarse);
  MergeLists(fine, scratch, coarse);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
