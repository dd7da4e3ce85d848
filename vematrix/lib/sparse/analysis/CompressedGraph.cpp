#include "CompressedGraph.h"

#include <cstdint>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// A well mixed 64-bit number for every vertex (the finaliser of splitmix64).
std::uint64_t Mix(std::uint64_t x) noexcept {
  x += 0x9e3779b97f4a7c15ull;
  x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ull;
  x = (x ^ (x >> 27)) * 0x94d049bb133111ebull;
  return x ^ (x >> 31);
}

/// hash[j] = Σ Mix(i) over j and its neighbours: equal for dofs with equal closed neighbourhoods.
std::vector<std::uint64_t> NeighbourhoodHashes(int n, const int* columnStart, const int* row) {
  std::vector<std::uint64_t> own(n), hash(n);
  for (int j = 0; j < n; ++j) hash[j] = own[j] = Mix(static_cast<std::uint64_t>(j));
  for (int j = 0; j < n; ++j) {
    std::uint64_t sum = 0;
    for (int t = columnStart[j]; t < columnStart[j + 1]; ++t) {
      const int i = row[t];
      if (i <= j) continue;
      sum += own[i];
      hash[i] += own[j];
    }
    hash[j] += sum;
  }
  return hash;
}

/// groupOf[j], groups numbered in order of their first dof; returns how many there are.
int GroupByHash(const std::vector<std::uint64_t>& hash, std::vector<int>& groupOf) {
  const int n = static_cast<int>(hash.size());
  std::size_t size = 16;
  while (size < 2 * static_cast<std::size_t>(n)) size *= 2;
  std::vector<int> slot(size, -1);  // open addressing; holds the first dof of a group
  groupOf.resize(n);
  int groups = 0;
  for (int j = 0; j < n; ++j) {
    if (j > 0 && hash[j] == hash[j - 1]) {
      groupOf[j] = groupOf[j - 1];
      continue;
    }
    std::size_t s = hash[j] & (size - 1);
    while (slot[s] >= 0 && hash[slot[s]] != hash[j]) s = (s + 1) & (size - 1);
    if (slot[s] < 0) {
      slot[s] = j;
      groupOf[j] = groups++;
    } else {
      groupOf[j] = groupOf[slot[s]];
    }
  }
  return groups;
}

/// Edges g > h of the groups' graph, by columns h, each once.
void LowerEdges(const CompressedGraph& c, const std::vector<int>& groupOf, const int* columnStart,
                const int* row, std::vector<int>& start, std::vector<int>& edge) {
  const int groups = c.graph.n;
  std::vector<int> mark(groups, -1);
  start.assign(1, 0);
  for (int g = 0; g < groups; ++g) {
    mark[g] = g;
    for (int d = c.dofStart[g]; d < c.dofStart[g + 1]; ++d) {
      const int j = c.dof[d];
      for (int t = columnStart[j]; t < columnStart[j + 1]; ++t) {
        if (row[t] <= j) continue;
        const int h = groupOf[row[t]];
        if (mark[h] == g) continue;
        mark[h] = g;
        edge.push_back(h);
      }
    }
    start.push_back(static_cast<int>(edge.size()));
  }
}

/// Both directions of the edges, neighbours increasing, repeats removed.
void Symmetrise(const std::vector<int>& start, const std::vector<int>& edge, Graph& graph) {
  const int n = graph.n;
  std::vector<int> count(n + 1, 0);
  for (int g = 0; g < n; ++g) {
    count[g + 1] += start[g + 1] - start[g];
    for (int t = start[g]; t < start[g + 1]; ++t) ++count[edge[t] + 1];
  }
  for (int g = 0; g < n; ++g) count[g + 1] += count[g];
  std::vector<int> second(count[n]);
  std::vector<int> next(count.begin(), count.end() - 1);
  std::vector<int> list(count[n]);
  for (int g = 0; g < n; ++g) {
    for (int t = start[g]; t < start[g + 1]; ++t) {
      list[next[g]++] = edge[t];
      list[next[edge[t]]++] = g;
    }
  }
  // Transposing the symmetric lists sorts them.
  next.assign(count.begin(), count.end() - 1);
  for (int g = 0; g < n; ++g) {
    for (int t = count[g]; t < count[g + 1]; ++t) second[next[list[t]]++] = g;
  }
  graph.start.assign(1, 0);
  graph.start.reserve(n + 1);
  graph.neighbour.clear();
  graph.neighbour.reserve(second.size());
  for (int g = 0; g < n; ++g) {
    int previous = -1;
    for (int t = count[g]; t < count[g + 1]; ++t) {
      if (second[t] != previous) graph.neighbour.push_back(second[t]);
      previous = second[t];
    }
    graph.start.push_back(static_cast<int>(graph.neighbour.size()));
  }
}

}  // namespace

CompressedGraph CompressGraph(int n, const int* columnStart, const int* row) {
  CompressedGraph c;
  std::vector<int> groupOf;
  c.graph.n = GroupByHash(NeighbourhoodHashes(n, columnStart, row), groupOf);
  c.dofStart.assign(c.graph.n + 1, 0);
  for (int j = 0; j < n; ++j) ++c.dofStart[groupOf[j] + 1];
  c.graph.weight.resize(c.graph.n);
  for (int g = 0; g < c.graph.n; ++g) {
    c.graph.weight[g] = c.dofStart[g + 1];
    c.dofStart[g + 1] += c.dofStart[g];
  }
  c.dof.resize(n);
  std::vector<int> next(c.dofStart.begin(), c.dofStart.end() - 1);
  for (int j = 0; j < n; ++j) c.dof[next[groupOf[j]]++] = j;
  std::vector<int> start, edge;
  LowerEdges(c, groupOf, columnStart, row, start, edge);
  Symmetrise(start, edge, c.graph);
  return c;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
