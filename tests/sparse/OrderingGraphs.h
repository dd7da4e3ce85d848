#pragma once
#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "sparse/ordering/Orderings.h"

/// Small graphs of every kind for the tests of the orderings.
namespace ordering_test {

using Vessa::Matrix::sparse::Graph;

using Edges = std::vector<std::pair<int, int>>;

struct NamedGraph {
  std::string name;
  Graph graph;
};

/// Both directions of every edge, loops and repeats left out; weights of 1.
inline Graph FromEdges(int n, const Edges& edges) {
  std::vector<std::vector<int>> list(n);
  for (const auto& [a, b] : edges) {
    if (a == b) continue;
    list[a].push_back(b);
    list[b].push_back(a);
  }
  Graph g;
  g.n = n;
  g.start.push_back(0);
  g.weight.assign(n, 1);
  for (std::vector<int>& neighbours : list) {
    std::sort(neighbours.begin(), neighbours.end());
    neighbours.erase(std::unique(neighbours.begin(), neighbours.end()), neighbours.end());
    g.neighbour.insert(g.neighbour.end(), neighbours.begin(), neighbours.end());
    g.start.push_back(static_cast<int>(g.neighbour.size()));
  }
  return g;
}

inline Edges GridEdges(int nx, int ny, int nz, int first = 0) {
  Edges edges;
  const auto at = [=](int x, int y, int z) { return first + (z * ny + y) * nx + x; };
  for (int z = 0; z < nz; ++z) {
    for (int y = 0; y < ny; ++y) {
      for (int x = 0; x < nx; ++x) {
        if (x + 1 < nx) edges.emplace_back(at(x, y, z), at(x + 1, y, z));
        if (y + 1 < ny) edges.emplace_back(at(x, y, z), at(x, y + 1, z));
        if (z + 1 < nz) edges.emplace_back(at(x, y, z), at(x, y, z + 1));
      }
    }
  }
  return edges;
}

inline Graph Grid(int nx, int ny, int nz = 1) {
  return FromEdges(nx * ny * nz, GridEdges(nx, ny, nz));
}

inline Graph Star(int leaves) {
  Edges edges;
  for (int v = 1; v <= leaves; ++v) edges.emplace_back(0, v);
  return FromEdges(leaves + 1, edges);
}

inline Graph Complete(int n) {
  Edges edges;
  for (int a = 0; a < n; ++a) {
    for (int b = 0; b < a; ++b) edges.emplace_back(a, b);
  }
  return FromEdges(n, edges);
}

inline Graph RandomGraph(int n, int edgeCount, unsigned seed) {
  std::mt19937 generator(seed);
  Edges edges;
  for (int k = 0; k < edgeCount; ++k) {
    const int a = static_cast<int>(generator() % n), b = static_cast<int>(generator() % n);
    edges.emplace_back(a, b);
  }
  return FromEdges(n, edges);
}

/// A grid, and vertices that are joined to all of it.
inline Graph GridWithDenseVertices(int nx, int ny, int dense) {
  Edges edges = GridEdges(nx, ny, 1);
  for (int d = 0; d < dense; ++d) {
    for (int v = 0; v < nx * ny; ++v) edges.emplace_back(nx * ny + d, v);
  }
  return FromEdges(nx * ny + dense, edges);
}

/// Three grids, a path and vertices on their own.
inline Graph Disconnected() {
  Edges edges = GridEdges(20, 20, 1);
  for (const Edges& more : {GridEdges(9, 9, 3, 400), GridEdges(5, 5, 1, 643), GridEdges(300, 1, 1, 668)}) {
    edges.insert(edges.end(), more.begin(), more.end());
  }
  return FromEdges(1000, edges);
}

inline Graph Weighted(Graph g, unsigned seed) {
  std::mt19937 generator(seed);
  for (int& w : g.weight) w = 1 + static_cast<int>(generator() % 6);
  g.weight[0] = 100000;
  return g;
}

inline std::vector<NamedGraph> AllKindsOfGraphs() {
  return {{"nothing", FromEdges(0, {})},
          {"one vertex", FromEdges(1, {})},
          {"two apart", FromEdges(2, {})},
          {"two joined", FromEdges(2, {{0, 1}})},
          {"isolated", FromEdges(500, {})},
          {"isolated but two", FromEdges(500, {{7, 300}})},
          {"pairs", FromEdges(400,
                              [] {
                                Edges edges;
                                for (int v = 0; v < 400; v += 2) edges.emplace_back(v, v + 1);
                                return edges;
                              }())},
          {"path", Grid(1500, 1)},
          {"star", Star(1200)},
          {"complete", Complete(150)},
          {"plane grid", Grid(40, 35)},
          {"space grid", Grid(12, 11, 10)},
          {"long bar", Grid(4, 4, 120)},
          {"weighted grid", Weighted(Grid(30, 30), 3)},
          {"dense vertices", GridWithDenseVertices(25, 25, 12)},
          {"disconnected", Disconnected()},
          {"random", RandomGraph(800, 1600, 4)},
          {"random, thick", RandomGraph(400, 6000, 5)}};
}

}  // namespace ordering_test
