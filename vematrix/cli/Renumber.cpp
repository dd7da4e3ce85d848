#include "Renumber.h"

#include <algorithm>

namespace vematrix {
namespace cli {
namespace {

/// Neighbours of every dof, from 0, in compressed form.
struct Graph {
  std::vector<std::size_t> start;
  std::vector<int> neighbour;

  explicit Graph(const UpperMatrix& matrix) : start(std::size_t(matrix.n()) + 1, 0) {
    const auto each = [&](auto&& action) {
      matrix.forEach([&](int i, int j, double v) {
        if (i == j || v == 0.0) return;
        action(i - 1, j - 1);
        action(j - 1, i - 1);
      });
    };
    each([&](int i, int) { ++start[std::size_t(i) + 1]; });
    for (std::size_t i = 1; i < start.size(); ++i) start[i] += start[i - 1];
    neighbour.resize(start.back());
    std::vector<std::size_t> next(start.begin(), start.end() - 1);
    each([&](int i, int j) { neighbour[next[std::size_t(i)]++] = j; });
  }
  int degree(int i) const { return int(start[std::size_t(i) + 1] - start[std::size_t(i)]); }
};

/// Breadth-first levels from a root over dofs not placed yet; returns the visited dofs in order and the
/// depth.
struct Levels {
  std::vector<int> visited;
  std::size_t lastLevel = 0;  ///< where the last level begins
  int depth = 0;
};

Levels levelsFrom(const Graph& graph, int root, std::vector<int>& mark, int stamp) {
  Levels levels;
  levels.visited = {root};
  mark[std::size_t(root)] = stamp;
  std::size_t from = 0;
  while (from < levels.visited.size()) {
    const std::size_t to = levels.visited.size();
    levels.lastLevel = from;
    ++levels.depth;
    for (std::size_t v = from; v < to; ++v) {
      const std::size_t first = levels.visited.size();
      const int i = levels.visited[v];
      for (std::size_t k = graph.start[std::size_t(i)]; k < graph.start[std::size_t(i) + 1]; ++k) {
        const int j = graph.neighbour[k];
        if (mark[std::size_t(j)] == stamp) continue;
        mark[std::size_t(j)] = stamp;
        levels.visited.push_back(j);
      }
      std::sort(levels.visited.begin() + std::ptrdiff_t(first), levels.visited.end(), [&](int a, int b) {
        return graph.degree(a) != graph.degree(b) ? graph.degree(a) < graph.degree(b) : a < b;
      });
    }
    from = to;
  }
  return levels;
}

}  // namespace

std::vector<int> smallProfileOrder(const UpperMatrix& matrix) {
  const Graph graph(matrix);
  std::vector<int> order, mark(std::size_t(matrix.n()), 0);
  std::vector<char> placed(std::size_t(matrix.n()), 0);
  int stamp = 0;
  for (int seed = 0; seed < matrix.n(); ++seed) {
    if (placed[std::size_t(seed)]) continue;
    Levels levels = levelsFrom(graph, seed, mark, ++stamp);
    for (int attempt = 0; attempt < 8;
         ++attempt) {  // towards a pair of dofs that lie as far apart as possible
      const int farthest =
          *std::min_element(levels.visited.begin() + std::ptrdiff_t(levels.lastLevel), levels.visited.end(),
                            [&](int a, int b) { return graph.degree(a) < graph.degree(b); });
      Levels next = levelsFrom(graph, farthest, mark, ++stamp);
      const bool deeper = next.depth > levels.depth;
      levels = std::move(next);
      if (!deeper) break;
    }
    for (int i : levels.visited) placed[std::size_t(i)] = 1;
    order.insert(order.end(), levels.visited.begin(), levels.visited.end());
  }
  std::reverse(order.begin(), order.end());
  for (int& dof : order) ++dof;
  return order;
}

UpperMatrix reordered(const UpperMatrix& matrix, const std::vector<int>& order) {
  std::vector<int> place(order.size() + 1, 0);
  for (std::size_t k = 0; k < order.size(); ++k) place[std::size_t(order[k])] = int(k) + 1;
  models::SymmetricTerms terms;
  terms.n = matrix.n();
  terms.reserve(matrix.numTerms());
  matrix.forEach([&](int i, int j, double v) {
    const int a = place[std::size_t(i)], b = place[std::size_t(j)];
    terms.add(std::min(a, b), std::max(a, b), v);
  });
  return UpperMatrix(terms);
}

std::vector<int> columnHeights(const UpperMatrix& matrix) {
  std::vector<int> height(std::size_t(matrix.n()), 1);
  matrix.forEach([&](int i, int j, double) {
    height[std::size_t(j) - 1] = std::max(height[std::size_t(j) - 1], j - i + 1);
  });
  return height;
}

}  // namespace cli
}  // namespace vematrix
