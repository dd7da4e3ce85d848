#include <algorithm>
#include <numeric>

#include "Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

int Degree(const Graph& graph, int v) {
  return graph.start[v + 1] - graph.start[v];
}

/// Breadth-first order of the component of root, neighbours by rising degree; depth is the number of levels
/// and lastLevel the position in the list where the last level begins.
struct Levels {
  std::vector<int> list;
  int depth = 0;
  int lastLevel = 0;
};

Levels BreadthFirst(const Graph& graph, int root, std::vector<int>& mark, int stamp, bool byDegree) {
  Levels levels;
  levels.list.push_back(root);
  mark[root] = stamp;
  for (std::size_t begin = 0; begin < levels.list.size();) {
    const std::size_t end = levels.list.size();
    levels.lastLevel = static_cast<int>(begin);
    ++levels.depth;
    for (std::size_t k = begin; k < end; ++k) {
      const std::size_t firstNew = levels.list.size();
      const int v = levels.list[k];
      for (int t = graph.start[v]; t < graph.start[v + 1]; ++t) {
        const int u = graph.neighbour[t];
        if (mark[u] == stamp) continue;
        mark[u] = stamp;
        levels.list.push_back(u);
      }
      if (byDegree) {
        std::stable_sort(levels.list.begin() + firstNew, levels.list.end(),
                         [&](int a, int b) { return Degree(graph, a) < Degree(graph, b); });
      }
    }
    begin = end;
  }
  return levels;
}

/// A vertex of low degree in the last level, again and again while the levels grow in number.
int PseudoPeripheral(const Graph& graph, int start, std::vector<int>& mark, int& stamp) {
  int root = start;
  Levels levels = BreadthFirst(graph, root, mark, ++stamp, false);
  for (int tries = 0; tries < 8; ++tries) {
    const int next = *std::min_element(levels.list.begin() + levels.lastLevel, levels.list.end(),
                                       [&](int a, int b) { return Degree(graph, a) < Degree(graph, b); });
    Levels other = BreadthFirst(graph, next, mark, ++stamp, false);
    if (other.depth <= levels.depth) break;
    root = next;
    levels = std::move(other);
  }
  return root;
}

}  // namespace

std::vector<int> OrderByReverseCuthillMcKee(const Graph& graph) {
  std::vector<int> order, mark(graph.n, 0);
  std::vector<char> done(graph.n, 0);
  order.reserve(graph.n);
  int stamp = 0;
  for (int v = 0; v < graph.n; ++v) {
    if (done[v]) continue;
    const int root = PseudoPeripheral(graph, v, mark, stamp);
    const Levels levels = BreadthFirst(graph, root, mark, ++stamp, true);
    for (int u : levels.list) done[u] = 1;
    order.insert(order.end(), levels.list.begin(), levels.list.end());
  }
  std::reverse(order.begin(), order.end());
  return order;
}

std::vector<int> FromBothEnds(const Graph& graph, const std::vector<int>& order) {
  const long long total = std::accumulate(graph.weight.begin(), graph.weight.end(), 0LL);
  std::vector<char> inFirst(graph.n, 0);
  std::vector<int> result;
  result.reserve(order.size());
  long long weight = 0;
  std::size_t half = 0;
  for (; half < order.size() && 2 * weight < total; ++half) {
    weight += graph.weight[order[half]];
    inFirst[order[half]] = 1;
    result.push_back(order[half]);
  }
  std::vector<int> middle;
  for (std::size_t k = order.size(); k > half; --k) {
    const int v = order[k - 1];
    bool touches = false;
    for (int t = graph.start[v]; t < graph.start[v + 1] && !touches; ++t)
      touches = inFirst[graph.neighbour[t]] != 0;
    (touches ? middle : result).push_back(v);
  }
  result.insert(result.end(), middle.begin(), middle.end());
  return result;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
