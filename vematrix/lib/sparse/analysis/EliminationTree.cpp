#include "EliminationTree.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// parent of every step in the given order, with path compression over virtual ancestors.
std::vector<int> FindParents(const Graph& graph, const std::vector<int>& order,
                             const std::vector<int>& place) {
  std::vector<int> parent(graph.n, -1), ancestor(graph.n, -1);
  for (int k = 0; k < graph.n; ++k) {
    const int v = order[k];
    for (int t = graph.start[v]; t < graph.start[v + 1]; ++t) {
      for (int i = place[graph.neighbour[t]]; i >= 0 && i < k;) {
        const int next = ancestor[i];
        ancestor[i] = k;
        if (next < 0) parent[i] = k;
        i = next;
      }
    }
  }
  return parent;
}

/// Whether step j is a leaf of the row subtree of i, and the least common ancestor with the leaf before.
class RowLeaves {
public:
  explicit RowLeaves(int n) : m_maxFirst(n, -1), m_previous(n, -1), m_ancestor(n) {
    for (int i = 0; i < n; ++i) m_ancestor[i] = i;
  }

  /// 0: no leaf; 1: the first leaf; 2: a later one, lca is set.
  int Test(int i, int j, int first, int& lca) {
    if (first <= m_maxFirst[i]) return 0;
    m_maxFirst[i] = first;
    const int previous = m_previous[i];
    m_previous[i] = j;
    if (previous < 0) return 1;
    int root = previous;
    while (root != m_ancestor[root]) root = m_ancestor[root];
    for (int s = previous; s != root;) {
      const int next = m_ancestor[s];
      m_ancestor[s] = root;
      s = next;
    }
    lca = root;
    return 2;
  }

  void Join(int j, int parent) { m_ancestor[j] = parent; }

private:
  std::vector<int> m_maxFirst, m_previous, m_ancestor;
};

std::vector<std::int64_t> ColumnCounts(const Graph& graph, const EliminationTree& tree) {
  const int n = graph.n;
  std::vector<int> first(n, -1);  // lowest descendant; steps are a postorder
  std::vector<std::int64_t> count(n, 0);
  for (int k = 0; k < n; ++k) {
    if (first[k] < 0) {  // a leaf of the tree
      first[k] = k;
      count[k] = graph.weight[tree.order[k]];
    }
    const int p = tree.parent[k];
    if (p >= 0 && first[p] < 0) first[p] = first[k];
  }
  RowLeaves leaves(n);
  for (int j = 0; j < n; ++j) {
    const int v = tree.order[j];
    if (tree.parent[j] >= 0) count[tree.parent[j]] -= graph.weight[v];
    for (int t = graph.start[v]; t < graph.start[v + 1]; ++t) {
      const int u = graph.neighbour[t];
      const int i = tree.place[u];
      if (i <= j) continue;
      int lca = -1;
      const int kind = leaves.Test(i, j, first[j], lca);
      if (kind >= 1) count[j] += graph.weight[u];
      if (kind == 2) count[lca] -= graph.weight[u];
    }
    if (tree.parent[j] >= 0) leaves.Join(j, tree.parent[j]);
  }
  for (int j = 0; j < n; ++j) {
    if (tree.parent[j] >= 0) count[tree.parent[j]] += count[j];
  }
  return count;
}

}  // namespace

std::vector<int> Postorder(const std::vector<int>& parent) {
  const int n = static_cast<int>(parent.size());
  std::vector<int> head(n, -1), next(n, -1), post;
  post.reserve(n);
  for (int k = n - 1; k >= 0; --k) {
    if (parent[k] < 0) continue;
    next[k] = head[parent[k]];
    head[parent[k]] = k;
  }
  std::vector<int> stack;
  for (int root = 0; root < n; ++root) {
    if (parent[root] >= 0) continue;
    stack.push_back(root);
    while (!stack.empty()) {
      const int k = stack.back();
      const int child = head[k];
      if (child >= 0) {
        head[k] = next[child];
        stack.push_back(child);
      } else {
        post.push_back(k);
        stack.pop_back();
      }
    }
  }
  return post;
}

EliminationTree BuildEliminationTree(const Graph& graph, const std::vector<int>& order) {
  const int n = graph.n;
  EliminationTree tree;
  tree.place.resize(n);
  for (int k = 0; k < n; ++k) tree.place[order[k]] = k;
  const std::vector<int> parent = FindParents(graph, order, tree.place);
  const std::vector<int> post = Postorder(parent);
  std::vector<int> rank(n);
  for (int k = 0; k < n; ++k) rank[post[k]] = k;
  tree.order.resize(n);
  tree.parent.resize(n);
  for (int k = 0; k < n; ++k) {
    tree.order[k] = order[post[k]];
    tree.place[tree.order[k]] = k;
    const int p = parent[post[k]];
    tree.parent[k] = p < 0 ? -1 : rank[p];
  }
  tree.count = ColumnCounts(graph, tree);
  return tree;
}

FactorCount CountFactor(const Graph& graph, const EliminationTree& tree) {
  FactorCount c;
  for (int k = 0; k < graph.n; ++k) {
    for (int t = 0; t < graph.weight[tree.order[k]]; ++t) {
      const std::int64_t rows = tree.count[k] - t;
      c.terms += rows;
      c.operations += static_cast<double>(rows) * static_cast<double>(rows);
    }
  }
  return c;
}

double ProfileOperations(const Graph& graph, const std::vector<int>& order) {
  const int n = graph.n;
  std::vector<int> place(n);
  std::vector<std::int64_t> firstDof(n + 1, 0);
  for (int k = 0; k < n; ++k) {
    place[order[k]] = k;
    firstDof[k + 1] = firstDof[k] + graph.weight[order[k]];
  }
  // Row k fills from its first neighbour on: column j holds the rows k > j with first(k) <= j.
  std::vector<std::int64_t> change(n + 1, 0);
  for (int k = 0; k < n; ++k) {
    int first = k;
    for (int t = graph.start[order[k]]; t < graph.start[order[k] + 1]; ++t) {
      first = std::min(first, place[graph.neighbour[t]]);
    }
    change[first] += graph.weight[order[k]];
    change[k] -= graph.weight[order[k]];  // below: the rows strictly under group k
  }
  double operations = 0.0;
  std::int64_t below = 0;
  for (int k = 0; k < n; ++k) {
    below += change[k];
    const double rows = static_cast<double>(below + graph.weight[order[k]]);
    operations += rows * rows * graph.weight[order[k]];
  }
  return operations;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
