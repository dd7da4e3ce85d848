#include "Supernodes.h"

#include <algorithm>
#include <numeric>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// The tree while it is being merged. Nodes keep their number; a merged one is no longer alive.
struct MergeTree {
  std::vector<int> columns;  ///< pivots in dofs
  std::vector<int> size;     ///< rows of the front in dofs, pivots included
  std::vector<int> parent;
  std::vector<std::vector<int>> child;  ///< alive children
  std::vector<int> head, tail, next;    ///< the steps of a node as a list in order of elimination
  std::vector<char> alive;
};

/// Largest supernodes: step k joins its only reason to exist, k−1, when their columns have the same
/// structure.
MergeTree MaximalSupernodes(const Graph& graph, const EliminationTree& tree) {
  MergeTree m;
  const int n = graph.n;
  std::vector<int> node(n);
  m.next.assign(n, -1);
  for (int k = 0; k < n; ++k) {
    const int weight = graph.weight[tree.order[k]];
    const bool joins = k > 0 && tree.parent[k - 1] == k &&
                       tree.count[k - 1] == tree.count[k] + graph.weight[tree.order[k - 1]];
    if (joins) {
      node[k] = node[k - 1];
      m.columns[node[k]] += weight;
      m.next[m.tail[node[k]]] = k;
      m.tail[node[k]] = k;
    } else {
      node[k] = static_cast<int>(m.columns.size());
      m.columns.push_back(weight);
      m.size.push_back(static_cast<int>(tree.count[k]));
      m.head.push_back(k);
      m.tail.push_back(k);
    }
  }
  const int count = static_cast<int>(m.columns.size());
  m.parent.resize(count);
  m.child.resize(count);
  m.alive.assign(count, 1);
  for (int s = 0; s < count; ++s) {
    const int p = tree.parent[m.tail[s]];
    m.parent[s] = p < 0 ? -1 : node[p];
    if (p >= 0) m.child[node[p]].push_back(s);
  }
  return m;
}

/// Nanoseconds lost by merging child c into s; negative when merging pays.
double MergeLoss(const MergeTree& m, int c, int s, const AmalgamationCosts& costs) {
  const double k = m.columns[c], rows = m.size[c], longer = m.size[s] + k - rows, block = rows - k;
  const double zeros = k * longer;
  const double operations = k * longer * (2.0 * rows - k + longer);
  return operations * costs.perOperation + zeros * costs.perZero - costs.perFront -
         0.5 * block * block * costs.perContribution;
}

void Merge(MergeTree& m, int c, int s) {
  m.columns[s] += m.columns[c];
  m.size[s] += m.columns[c];
  m.next[m.tail[c]] = m.head[s];
  m.head[s] = m.head[c];
  m.alive[c] = 0;
  for (int g : m.child[c]) {
    m.parent[g] = s;
    m.child[s].push_back(g);
  }
  m.child[c].clear();
}

/// Bottom-up, the most profitable child first; children of a merged child are considered in turn.
void Amalgamate(MergeTree& m, const AmalgamationCosts& costs) {
  for (int s = 0; s < static_cast<int>(m.parent.size()); ++s) {
    std::vector<int> candidates, kept;
    candidates.swap(m.child[s]);
    std::vector<std::pair<double, int>> ranked;
    while (!candidates.empty()) {
      ranked.clear();
      for (int c : candidates) ranked.emplace_back(MergeLoss(m, c, s, costs), c);
      std::sort(ranked.begin(), ranked.end());
      for (const auto& entry : ranked) {
        if (MergeLoss(m, entry.second, s, costs) < 0.0) {
          Merge(m, entry.second, s);
        } else {
          kept.push_back(entry.second);
        }
      }
      candidates.swap(m.child[s]);
      m.child[s].clear();
    }
    m.child[s].swap(kept);
  }
}

/// Children in the order that keeps the stack low: falling (highest point − what stays).
void OrderChildren(MergeTree& m) {
  std::vector<double> highest(m.parent.size(), 0.0), stays(m.parent.size(), 0.0);
  for (std::size_t s = 0; s < m.parent.size(); ++s) {
    if (!m.alive[s]) continue;
    std::stable_sort(m.child[s].begin(), m.child[s].end(),
                     [&](int a, int b) { return highest[a] - stays[a] > highest[b] - stays[b]; });
    const double block = static_cast<double>(m.size[s] - m.columns[s]);
    stays[s] = 0.5 * block * block;
    double below = 0.0;
    for (int c : m.child[s]) {
      highest[s] = std::max(highest[s], below + highest[c]);
      below += stays[c];
    }
    highest[s] = std::max(highest[s], below + stays[s]);
  }
}

/// Alive nodes, children before parents, in the order of the child lists.
std::vector<int> Traverse(const MergeTree& m) {
  std::vector<int> result, stack;
  std::vector<std::size_t> next(m.parent.size(), 0);
  for (std::size_t root = 0; root < m.parent.size(); ++root) {
    if (!m.alive[root] || m.parent[root] >= 0) continue;
    stack.push_back(static_cast<int>(root));
    while (!stack.empty()) {
      const int s = stack.back();
      if (next[s] < m.child[s].size()) {
        stack.push_back(m.child[s][next[s]++]);
      } else {
        result.push_back(s);
        stack.pop_back();
      }
    }
  }
  return result;
}

/// Calls visit(s, v) for every supernode s that has group v among its rows, v rising: v is a row of every
/// supernode on the paths from its earlier neighbours up the tree to its own.
template <class Visit>
void VisitRows(const Graph& graph, const std::vector<int>& order, const std::vector<int>& place,
               const std::vector<int>& node, const std::vector<int>& parent, Visit visit) {
  std::vector<int> mark(parent.size(), -1);
  for (int v = 0; v < graph.n; ++v) {
    mark[node[v]] = v;
    for (int t = graph.start[order[v]]; t < graph.start[order[v] + 1]; ++t) {
      const int u = place[graph.neighbour[t]];
      if (u >= v) continue;
      for (int s = node[u]; mark[s] != v; s = parent[s]) {
        mark[s] = v;
        visit(s, v);
      }
    }
  }
}

}  // namespace

Supernodes FindSupernodes(const Graph& graph, const EliminationTree& tree, const AmalgamationCosts& costs) {
  MergeTree m = MaximalSupernodes(graph, tree);
  Amalgamate(m, costs);
  OrderChildren(m);
  const std::vector<int> nodes = Traverse(m);
  const int count = static_cast<int>(nodes.size());
  Supernodes result;
  result.firstColumn.assign(1, 0);
  result.parent.assign(count, -1);
  result.childStart.assign(1, 0);
  std::vector<int> number(m.parent.size(), -1), place(graph.n), node(graph.n), firstDof(graph.n + 1, 0);
  for (int s = 0; s < count; ++s) number[nodes[s]] = s;
  result.order.reserve(graph.n);
  for (int s = 0; s < count; ++s) {
    for (int k = m.head[nodes[s]]; k >= 0; k = k == m.tail[nodes[s]] ? -1 : m.next[k]) {
      const int position = static_cast<int>(result.order.size());
      const int group = tree.order[k];
      result.order.push_back(group);
      place[group] = position;
      node[position] = s;
      firstDof[position + 1] = firstDof[position] + graph.weight[group];
    }
    result.firstColumn.push_back(firstDof[result.order.size()]);
    const int p = m.parent[nodes[s]];
    result.parent[s] = p < 0 ? -1 : number[p];
    for (int c : m.child[nodes[s]]) result.child.push_back(number[c]);
    result.childStart.push_back(static_cast<int>(result.child.size()));
  }
  result.rowStart.assign(1, 0);
  for (int s = 0; s < count; ++s) {
    result.rowStart.push_back(result.rowStart.back() + m.size[nodes[s]] - m.columns[nodes[s]]);
  }
  result.row.resize(static_cast<std::size_t>(result.rowStart.back()));
  std::vector<std::int64_t> next(result.rowStart.begin(), result.rowStart.end() - 1);
  VisitRows(graph, result.order, place, node, result.parent, [&](int s, int v) {
    for (int d = firstDof[v]; d < firstDof[v + 1]; ++d) result.row[static_cast<std::size_t>(next[s]++)] = d;
  });
  return result;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
