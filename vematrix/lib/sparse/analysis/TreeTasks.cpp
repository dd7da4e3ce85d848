#include <algorithm>
#include <limits>

#include "AnalysisSteps.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// Work of a front in nanoseconds, roughly: only the balance of tasks depends on it.
double FrontWork(const Supernodes& tree, int s) {
  const double k = tree.Columns(s), r = tree.Rows(s), m = k + r;
  return k * (m * m - m * k + k * k / 3.0) / 50.0 + r * r + m * k + 500.0;
}

/// Work of every subtree, and the first supernode of each.
struct Subtrees {
  std::vector<double> work;
  std::vector<int> lowest;
  double total = 0.0;

  explicit Subtrees(const Supernodes& tree) : work(tree.Count()), lowest(tree.Count()) {
    for (int s = 0; s < tree.Count(); ++s) {
      work[s] = FrontWork(tree, s);
      total += work[s];
      lowest[s] = s;
      for (int t = tree.childStart[s]; t < tree.childStart[s + 1]; ++t) {
        work[s] += work[tree.child[t]];
        lowest[s] = std::min(lowest[s], lowest[tree.child[t]]);
      }
    }
  }
};

/// Parents and numbers of children of the tasks, from the task of every supernode that ends one.
void LinkTasks(const std::vector<int>& taskOf, LdltAnalysis& a) {
  for (TreeTask& task : a.tasks) {
    const int p = a.tree.parent[task.end - 1];
    if (p < 0) continue;
    task.parent = taskOf[p];
    ++a.tasks[taskOf[p]].numChildren;
  }
}

}  // namespace

void CutIntoTasks(LdltAnalysis& a) {
  const Supernodes& tree = a.tree;
  const Subtrees subtree(tree);
  const double limit = std::max(subtree.total / 32.0, 20000.0);
  std::vector<int> taskOf(tree.Count(), -1);
  double bundled = 0.0;
  for (int s = 0; s < tree.Count(); ++s) {
    const int p = tree.parent[s];
    const bool top = subtree.work[s] > limit;
    if (!top && p >= 0 && subtree.work[p] <= limit) continue;  // inside a subtree
    TreeTask task;
    task.begin = top ? s : subtree.lowest[s];
    task.end = s + 1;
    task.single = top;
    // Small neighbours under the same parent share a task.
    const bool joins = !top && !a.tasks.empty() && !a.tasks.back().single &&
                       a.tasks.back().end == task.begin && tree.parent[a.tasks.back().end - 1] == p &&
                       bundled + subtree.work[s] <= 0.5 * limit;
    if (joins) {
      a.tasks.back().end = task.end;
      bundled += subtree.work[s];
    } else {
      a.tasks.push_back(task);
      bundled = subtree.work[s];
    }
    taskOf[s] = static_cast<int>(a.tasks.size()) - 1;
  }
  LinkTasks(taskOf, a);
}

bool LocaliseRows(LdltAnalysis& a) {
  Supernodes& tree = a.tree;
  a.outerStart.assign(tree.Count(), -1);
  std::vector<int> name(a.n);
  std::int64_t total = 0;
  for (const TreeTask& task : a.tasks) {
    for (int s = task.begin; s < task.end; ++s) {
      if (tree.parent[s] < 0 || tree.parent[s] >= task.end) total += tree.Rows(s);
    }
  }
  if (total > std::numeric_limits<int>::max() - a.n) return false;
  a.outerRow.reserve(static_cast<std::size_t>(total));
  for (const TreeTask& task : a.tasks) {
    for (int begin = task.begin, root = task.begin; begin < task.end; begin = root + 1) {
      root = begin;
      while (tree.parent[root] >= 0 && tree.parent[root] < task.end) root = tree.parent[root];
      a.outerStart[root] = static_cast<int>(a.outerRow.size());
      for (int i = 0; i < tree.Rows(root); ++i) {
        const int step = tree.RowsOf(root)[i];
        name[step] = a.n + static_cast<int>(a.outerRow.size());
        a.outerRow.push_back(step);
      }
      const int end = tree.firstColumn[root + 1];
      for (int s = begin; s <= root; ++s) {
        for (std::int64_t t = tree.rowStart[s + 1] - 1; t >= tree.rowStart[s] && tree.row[t] >= end; --t) {
          tree.row[t] = name[tree.row[t]];
        }
      }
    }
  }
  return true;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
