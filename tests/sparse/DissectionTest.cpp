#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <numeric>

#include "OrderingGraphs.h"
#include "sparse/analysis/EliminationTree.h"
#include "sparse/ordering/Coarsen.h"
#include "sparse/ordering/FindSeparator.h"
#include "sparse/ordering/OrderLeaf.h"

using namespace Vessa::Matrix::sparse;
using namespace ordering_test;

namespace {

GraphView View(const Graph& g) {
  return {g.n, g.start.data(), g.neighbour.data(), nullptr, g.weight.data()};
}

bool IsPermutation(std::vector<int> order, int n) {
  std::sort(order.begin(), order.end());
  std::vector<int> expected(n);
  std::iota(expected.begin(), expected.end(), 0);
  return order == expected;
}

double Operations(const Graph& graph, const std::vector<int>& order) {
  return CountFactor(graph, BuildEliminationTree(graph, order)).operations;
}

/// Weights of the edges of a view by their end points, those given twice in one list added up.
std::map<std::pair<int, int>, int> EdgesOf(const GraphView& g) {
  std::map<std::pair<int, int>, int> edges;
  for (int v = 0; v < g.n; ++v) {
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) edges[{v, g.neighbour[t]}] += g.edge ? g.edge[t] : 1;
  }
  return edges;
}

/// The edges of `fine` between different merged vertices.
std::map<std::pair<int, int>, int> MergedEdges(const GraphView& fine, const std::vector<int>& coarse) {
  std::map<std::pair<int, int>, int> edges;
  for (const auto& [ends, weight] : EdgesOf(fine)) {
    const int a = coarse[ends.first], b = coarse[ends.second];
    if (a != b) edges[{a, b}] += weight;
  }
  return edges;
}

void ExpectSeparates(const Graph& g, const Separation& s) {
  std::int64_t weight[3] = {0, 0, 0};
  std::vector<int> separator;
  for (int v = 0; v < g.n; ++v) {
    ASSERT_LE(s.side[v], kSeparator);
    weight[s.side[v]] += g.weight[v];
    if (s.side[v] == kSeparator) separator.push_back(v);
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) {
      const int sides = s.side[v] + s.side[g.neighbour[t]];
      EXPECT_FALSE(sides == 1) << v << " and " << g.neighbour[t] << " lie on different sides";
    }
  }
  std::vector<int> listed = s.separator;
  std::sort(listed.begin(), listed.end());
  EXPECT_EQ(listed, separator);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(s.weight[k], weight[k]) << k;
}

/// Minimum fill as the header defines it, from a full matrix of edges.
std::vector<int> LeafOrderByDefinition(const Graph& g, const std::vector<int>& piece) {
  std::vector<std::vector<char>> joined(g.n, std::vector<char>(g.n, 0));
  std::vector<char> inside(g.n, 0), left(g.n, 0);
  for (int v : piece) inside[v] = left[v] = 1;
  for (int v = 0; v < g.n; ++v) {
    for (int t = g.start[v]; t < g.start[v + 1]; ++t) joined[v][g.neighbour[t]] = 1;
  }
  const auto missing = [&](int v) {
    int count = 0;
    for (int a = 0; a < g.n; ++a) {
      for (int b = 0; b < g.n; ++b) {
        if (a == b || !joined[v][a] || !joined[v][b] || !left[a] || joined[a][b]) continue;
        if (left[b] || !inside[b]) ++count;
      }
    }
    return count;
  };
  std::map<int, int> fill;
  for (int v : piece) fill[v] = missing(v);
  std::vector<int> order;
  while (order.size() < piece.size()) {
    int next = -1;
    for (int v : piece) {
      if (left[v] && (next < 0 || fill[v] < fill[next])) next = v;
    }
    order.push_back(next);
    std::vector<int> around;
    for (int u = 0; u < g.n; ++u) {
      if (joined[next][u] && (left[u] || !inside[u])) around.push_back(u);
    }
    for (int u : around) fill[u] -= missing(u);
    left[next] = 0;
    for (int a : around) {
      for (int b : around) {
        if (a != b && (left[a] || left[b])) joined[a][b] = 1;
      }
    }
    for (int u : around) {
      if (left[u]) fill[u] = (fill[next] == 0 ? fill[u] : 0) + missing(u);
    }
  }
  return order;
}

}  // namespace

TEST(Coarsen, AddsUpWeightsAndEdgesOfMergedVertices) {
  for (const NamedGraph& sample : AllKindsOfGraphs()) {
    SCOPED_TRACE(sample.name);
    if (sample.graph.n == 0) continue;
    CoarsenScratch scratch;
    SmallRandom random(1);
    std::vector<CoarseGraph> level(2);
    GraphView fine = View(sample.graph);
    for (CoarseGraph& coarse : level) {
      Coarsen(fine, 12, random, scratch, coarse);

      std::vector<int> weight(coarse.n, 0), members(coarse.n, 0);
      for (int v = 0; v < fine.n; ++v) {
        weight[coarse.coarse[v]] += fine.weight[v];
        ++members[coarse.coarse[v]];
      }
      for (int c = 0; c < coarse.n; ++c) {
        EXPECT_EQ(coarse.weight[c], weight[c]);
        EXPECT_GE(members[c], 1);
        EXPECT_LE(members[c], 2);
        EXPECT_TRUE(members[c] == 1 || weight[c] <= 12);
      }
      EXPECT_EQ(EdgesOf(coarse.View()), MergedEdges(fine, coarse.coarse));
      EXPECT_EQ(static_cast<std::size_t>(coarse.start[coarse.n]), EdgesOf(coarse.View()).size())
          << "a repeat";
      fine = coarse.View();
    }
  }
}

TEST(Coarsen, HalvesGridsAndStars) {
  CoarsenScratch scratch;
  SmallRandom random(1);
  for (const Graph& graph : {Grid(40, 35), Grid(12, 11, 10), Star(1200), Grid(1500, 1)}) {
    CoarseGraph coarse;
    Coarsen(View(graph), 1000, random, scratch, coarse);

    EXPECT_LE(coarse.n, 0.62 * graph.n);
  }
}

TEST(FindSeparator, SeparatesGraphsOfEveryKind) {
  SeparatorScratch scratch;  // one for all: nothing of an earlier graph may shine through
  for (const NamedGraph& sample : AllKindsOfGraphs()) {
    if (sample.graph.n == 0) continue;
    for (std::uint64_t seed = 1; seed <= 3; ++seed) {
      SCOPED_TRACE(sample.name + ", seed " + std::to_string(seed));

      FindSeparator(View(sample.graph), seed, 2, scratch);

      ExpectSeparates(sample.graph, scratch.result);
    }
  }
}

TEST(FindSeparator, FindsTheShortestLineAcrossAGrid) {
  SeparatorScratch scratch;
  FindSeparator(View(Grid(90, 15)), 1, 2, scratch);

  EXPECT_EQ(scratch.result.weight[kSeparator], 15);
  EXPECT_LE(std::max(scratch.result.weight[0], scratch.result.weight[1]), 0.64 * 90 * 15);
}

TEST(FindSeparator, NeedsNoSeparatorBetweenComponents) {
  Edges edges = GridEdges(15, 15, 1);
  const Edges more = GridEdges(15, 15, 1, 225);
  edges.insert(edges.end(), more.begin(), more.end());
  SeparatorScratch scratch;

  FindSeparator(View(FromEdges(450, edges)), 1, 2, scratch);

  EXPECT_EQ(scratch.result.weight[0], 225);
  EXPECT_EQ(scratch.result.weight[kSeparator], 0);
}

TEST(Advance, ReturnsToTheBestStateItMet) {
  const Graph grid = Grid(21, 7);
  Separation s;
  s.side.assign(grid.n, 1);
  for (int v = 0; v < grid.n; ++v) {
    const int x = v % 21, edge = 8 + (v / 21) % 2;  // a ragged line, of 14 vertices
    if (x < edge - 1) s.side[v] = 0;
    if (x >= edge - 1 && x <= edge) s.side[v] = kSeparator;
    if (s.side[v] == kSeparator) s.separator.push_back(v);
    s.weight[s.side[v]] += 1;
  }
  RefineScratch scratch;
  const double before = Badness(s.weight);

  EXPECT_TRUE(Advance(View(grid), 0, Patience(), s, scratch));

  EXPECT_LT(Badness(s.weight), before);
  ExpectSeparates(grid, s);
  EXPECT_EQ(s.weight[kSeparator], 7);
}

TEST(LeafOrder, IsThatOfTheDefinition) {
  LeafOrder leaf;
  for (const NamedGraph& sample : {NamedGraph{"grid", Grid(9, 8)}, NamedGraph{"space", Grid(5, 5, 6)},
                                   NamedGraph{"random", RandomGraph(120, 300, 7)},
                                   NamedGraph{"dense", GridWithDenseVertices(8, 8, 3)}}) {
    for (int step : {1, 2, 3}) {
      SCOPED_TRACE(sample.name + ", every " + std::to_string(step));
      std::vector<int> piece;
      for (int v = 0; v < std::min(sample.graph.n, 110); ++v) {
        if ((v / 7) % step == 0) piece.push_back(v);
      }
      std::vector<int> order = piece;

      leaf.Run(sample.graph, order.data(), static_cast<int>(order.size()));

      EXPECT_EQ(order, LeafOrderByDefinition(sample.graph, piece));
    }
  }
}

TEST(NestedDissection, IsAPermutationAndTheSameForAnyNumberOfThreads) {
  for (const NamedGraph& sample : AllKindsOfGraphs()) {
    SCOPED_TRACE(sample.name);
    std::vector<int> alone;
    OrderByNestedDissection(sample.graph, 1, 1, alone);

    EXPECT_TRUE(IsPermutation(alone, sample.graph.n));
    for (int threads : {1, 2, 3, 8}) {
      std::vector<int> order;
      OrderByNestedDissection(sample.graph, 1, threads, order);
      EXPECT_EQ(order, alone) << threads;
    }
  }
}

TEST(NestedDissection, TakesAGraphWithoutWeights) {
  Graph graph = Grid(30, 30);
  std::vector<int> weighted, order;
  OrderByNestedDissection(graph, 1, 1, weighted);
  graph.weight.clear();

  OrderByNestedDissection(graph, 1, 1, order);

  EXPECT_EQ(order, weighted);
}

TEST(NestedDissection, IsAboutAsGoodAsMetis) {
  double product = 1.0;
  int count = 0;
  for (const NamedGraph& sample : AllKindsOfGraphs()) {
    if (sample.graph.n < 100) continue;
    std::vector<int> own, metis;
    OrderByNestedDissection(sample.graph, 1, 1, own);
    ASSERT_TRUE(OrderByMetis(sample.graph, 1, metis));

    const double ratio = Operations(sample.graph, own) / Operations(sample.graph, metis);

    EXPECT_LE(ratio, 1.12) << sample.name;
    product *= ratio;
    ++count;
  }
  EXPECT_LE(std::pow(product, 1.0 / count), 1.02);
}
