#include <algorithm>

#include "AnalysisSteps.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// Whether the arrays are a permutation, a division of its steps, and a tree whose parents come later.
bool IsElimination(int n, const AnalysisSeed& seed) {
  if (seed.dofOf.size() != static_cast<std::size_t>(n) || seed.firstColumn.size() != seed.parent.size() + 1)
    return false;
  std::vector<char> met(n, 0);
  for (int dof : seed.dofOf) {
    if (dof < 0 || dof >= n || met[dof]) return false;
    met[dof] = 1;
  }
  const int count = static_cast<int>(seed.parent.size());
  if (seed.firstColumn[0] != 0 || seed.firstColumn[count] != n) return false;
  for (int s = 0; s < count; ++s) {
    if (seed.firstColumn[s + 1] <= seed.firstColumn[s]) return false;
    if (seed.parent[s] >= 0 && (seed.parent[s] <= s || seed.parent[s] >= count)) return false;
  }
  return true;
}

/// childStart and child, from the parents.
void ListChildren(Supernodes& tree) {
  const int count = tree.Count();
  tree.childStart.assign(count + 1, 0);
  for (int s = 0; s < count; ++s) {
    if (tree.parent[s] >= 0) ++tree.childStart[tree.parent[s] + 1];
  }
  for (int s = 0; s < count; ++s) tree.childStart[s + 1] += tree.childStart[s];
  tree.child.resize(tree.childStart[count]);
  std::vector<int> next(tree.childStart.begin(), tree.childStart.end() - 1);
  for (int s = 0; s < count; ++s) {
    if (tree.parent[s] >= 0) tree.child[next[tree.parent[s]]++] = s;
  }
}

/// The neighbours of every step that are eliminated before it.
std::vector<std::vector<int>> EarlierNeighbours(const LdltAnalysis& a) {
  const std::vector<int> step = StepsOf(a);
  std::vector<std::vector<int>> earlier(a.n);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] <= j) continue;
      const int p = step[a.patternRow[t]], q = step[j];
      earlier[std::max(p, q)].push_back(std::min(p, q));
    }
  }
  return earlier;
}

/// rowStart and row, from columns, parents and pattern; false when a path up the tree misses its goal. A step
/// is a row of every supernode on the paths from its earlier neighbours up to its own.
bool ListRows(LdltAnalysis& a) {
  Supernodes& tree = a.tree;
  const int count = tree.Count();
  const std::vector<int> node = SupernodesOf(a);
  const std::vector<std::vector<int>> earlier = EarlierNeighbours(a);
  std::vector<std::vector<int>> rows(count);
  std::vector<int> mark(count, -1);
  for (int v = 0; v < a.n; ++v) {
    mark[node[v]] = v;
    for (int u : earlier[v]) {
      for (int s = node[u]; s < 0 || mark[s] != v; s = tree.parent[s]) {
        if (s < 0 || s > node[v]) return false;
        mark[s] = v;
        rows[s].push_back(v);
      }
    }
  }
  tree.rowStart.assign(1, 0);
  for (int s = 0; s < count; ++s) {
    tree.row.insert(tree.row.end(), rows[s].begin(), rows[s].end());
    tree.rowStart.push_back(static_cast<std::int64_t>(tree.row.size()));
  }
  return true;
}

}  // namespace

bool RestoreTree(const AnalysisSeed& seed, LdltAnalysis& a) {
  if (!IsElimination(a.n, seed)) return false;
  a.dofOf = seed.dofOf;
  a.tree.firstColumn = seed.firstColumn;
  a.tree.parent = seed.parent;
  ListChildren(a.tree);
  return ListRows(a);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
