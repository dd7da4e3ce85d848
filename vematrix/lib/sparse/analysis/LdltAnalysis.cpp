#include "LdltAnalysis.h"

#include <algorithm>
#include <functional>
#include <limits>

#include "../ordering/ChooseOrder.h"
#include "CompressedGraph.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

std::string PatternError(int n, const int* start, const int* row, Triangle triangle) {
  if (n < 0) return "the number of equations is " + std::to_string(n) + ", expected 0 or more";
  if (n > 0 && start[0] != 0)
    return "the first column starts at " + std::to_string(start[0]) + ", expected 0";
  for (int j = 0; j < n; ++j) {
    if (start[j + 1] < start[j]) return "column " + std::to_string(j + 1) + " ends before it starts";
    for (int t = start[j]; t < start[j + 1]; ++t) {
      if (row[t] >= j && row[t] < n) continue;
      if (row[t] >= 0 && row[t] < n && triangle == Triangle::Both) continue;
      const bool above = row[t] >= 0 && row[t] < j;
      return "column " + std::to_string(j + 1) + " stores row " + std::to_string(row[t] + 1) +
             (above ? ", above the diagonal; expected the lower triangle only" : " of " + std::to_string(n));
    }
  }
  return std::string();
}

/// Checks the arrays and copies them; the text of what is wrong with them, or nothing.
std::string TakePattern(int n, const int* columnStart, const int* row, Triangle triangle, LdltAnalysis& a) {
  const std::string error = PatternError(n, columnStart, row, triangle);
  if (!error.empty()) return error;
  a.n = n;
  a.triangle = triangle;
  a.patternStart.assign(1, 0);  // a matrix without dofs may come with null arrays
  if (n > 0) a.patternStart.assign(columnStart, columnStart + n + 1);
  a.patternRow.assign(row, row + a.patternStart[n]);
  return error;
}

/// Dofs in the order of elimination.
void NumberDofs(const CompressedGraph& c, LdltAnalysis& a) {
  a.dofOf.clear();
  a.dofOf.reserve(a.n);
  for (int group : a.tree.order) {
    a.dofOf.insert(a.dofOf.end(), c.dof.begin() + c.dofStart[group], c.dof.begin() + c.dofStart[group + 1]);
  }
  a.tree.order = std::vector<int>();
}

std::vector<int> StepsOf(const LdltAnalysis& a) {
  std::vector<int> step(a.n);
  for (int k = 0; k < a.n; ++k) step[a.dofOf[k]] = k;
  return step;
}

/// Sorts the terms by the supernode whose columns they belong to and finds their place there.
bool PlaceTerms(const std::vector<int>& step, LdltAnalysis& a) {
  const Supernodes& tree = a.tree;
  std::vector<int> nodeOf(a.n);
  for (int s = 0; s < tree.Count(); ++s) {
    for (int k = tree.firstColumn[s]; k < tree.firstColumn[s + 1]; ++k) nodeOf[k] = s;
  }
  a.termStart.assign(tree.Count() + 1, 0);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] >= j) ++a.termStart[nodeOf[std::min(step[a.patternRow[t]], step[j])] + 1];
    }
  }
  for (int s = 0; s < tree.Count(); ++s) a.termStart[s + 1] += a.termStart[s];
  std::vector<int> next(a.termStart.begin(), a.termStart.end() - 1);
  a.termSource.resize(a.termStart.back());
  a.termTarget.resize(a.termStart.back());
  std::vector<int> column(a.termStart.back());
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] < j) continue;
      const int p = step[a.patternRow[t]], q = step[j];
      const int place = next[nodeOf[std::min(p, q)]]++;
      a.termSource[place] = t;
      column[place] = std::min(p, q);
      a.termTarget[place] = static_cast<std::uint32_t>(std::max(p, q));
    }
  }
  std::vector<int> local(a.n);
  for (int s = 0; s < tree.Count(); ++s) {
    const int first = tree.firstColumn[s], columns = tree.Columns(s), rows = tree.Rows(s),
              size = columns + rows;
    if (PanelStorage(size, columns) > std::numeric_limits<std::uint32_t>::max()) return false;
    for (int k = 0; k < columns; ++k) local[first + k] = k;
    for (int k = 0; k < rows; ++k) local[tree.RowsOf(s)[k]] = columns + k;
    PanelShape panel{0, 0, 0, 0, 0};
    for (int e = a.termStart[s]; e < a.termStart[s + 1]; ++e) {
      const int c = column[e] - first;
      if (c < panel.first || c >= panel.first + panel.width) panel = PanelAt(size, columns, c / kPanelWidth);
      a.termTarget[e] = static_cast<std::uint32_t>(panel.offset +
                                                   static_cast<std::int64_t>(c - panel.first) * panel.stride +
                                                   (local[a.termTarget[e]] - panel.first));
    }
  }
  return true;
}

/// Work of a front in nanoseconds, roughly: only the balance of tasks depends on it.
double FrontWork(const Supernodes& tree, int s) {
  const double k = tree.Columns(s), r = tree.Rows(s), m = k + r;
  return k * (m * m - m * k + k * k / 3.0) / 50.0 + r * r + m * k + 500.0;
}

/// Cuts the tree: near the root one task per supernode, below whole subtrees of a thirty-second of the work
/// at most.
void CutIntoTasks(LdltAnalysis& a) {
  const Supernodes& tree = a.tree;
  const int count = tree.Count();
  std::vector<double> work(count);
  std::vector<int> lowest(count);  // first supernode of the subtree
  double total = 0.0;
  for (int s = 0; s < count; ++s) {
    work[s] = FrontWork(tree, s);
    total += work[s];
    lowest[s] = s;
    for (int t = tree.childStart[s]; t < tree.childStart[s + 1]; ++t) {
      work[s] += work[tree.child[t]];
      lowest[s] = std::min(lowest[s], lowest[tree.child[t]]);
    }
  }
  const double limit = std::max(total / 32.0, 20000.0);
  std::vector<int> taskOf(count, -1);
  double bundled = 0.0;
  for (int s = 0; s < count; ++s) {
    const int p = tree.parent[s];
    const bool top = work[s] > limit;
    if (!top && p >= 0 && work[p] <= limit) continue;  // inside a subtree
    TreeTask task;
    task.begin = top ? s : lowest[s];
    task.end = s + 1;
    task.single = top;
    // Small neighbours under the same parent share a task.
    const bool joins = !top && !a.tasks.empty() && !a.tasks.back().single &&
                       a.tasks.back().end == task.begin && tree.parent[a.tasks.back().end - 1] == p &&
                       bundled + work[s] <= 0.5 * limit;
    if (joins) {
      a.tasks.back().end = task.end;
      bundled += work[s];
    } else {
      a.tasks.push_back(task);
      bundled = work[s];
    }
    taskOf[s] = static_cast<int>(a.tasks.size()) - 1;
  }
  for (std::size_t t = 0; t < a.tasks.size(); ++t) {
    const int p = tree.parent[a.tasks[t].end - 1];
    if (p < 0) continue;
    a.tasks[t].parent = taskOf[p];
    ++a.tasks[taskOf[p]].numChildren;
  }
}

/// Gives every root of a task its area and renames the rows of its subtree that lie outside (see
/// LdltAnalysis).
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

/// The stack of contribution blocks of every task at its highest, largest task first.
void SortTaskStacks(const std::vector<std::int64_t>& stays, LdltAnalysis& a) {
  a.taskStack.clear();
  for (const TreeTask& task : a.tasks) {
    std::int64_t stack = 0, highest = 0;
    for (int s = task.begin; s < task.end; ++s) {
      std::int64_t below = 0;
      for (int t = a.tree.childStart[s]; t < a.tree.childStart[s + 1] && !task.single; ++t)
        below += stays[a.tree.child[t]];
      highest = std::max(highest, stack + std::max<std::int64_t>(0, stays[s] - below));
      stack += stays[s] - below;
    }
    a.taskStack.push_back(highest);
  }
  std::sort(a.taskStack.begin(), a.taskStack.end(), std::greater<std::int64_t>());
}

/// Blocks below a megabyte, packed operands and what lies idle for the next block, for each thread.
constexpr std::int64_t kThreadBytes = 8000000;

void Predict(LdltAnalysis& a) {
  LdltPrediction& p = a.prediction;
  const Supernodes& tree = a.tree;
  // The factor grows as the stack of contribution blocks rises and falls.
  std::vector<std::int64_t> stays(tree.Count(), 0);
  std::int64_t stack = 0, highest = 0;
  a.stackDoubles = 0;
  for (int s = 0; s < tree.Count(); ++s) {
    const std::int64_t k = tree.Columns(s), m = k + tree.Rows(s);
    p.storedTerms += k * m - k * (k - 1) / 2;
    stays[s] = PanelStorage(tree.Rows(s), tree.Rows(s));
    std::int64_t below = 0;
    for (int t = tree.childStart[s]; t < tree.childStart[s + 1]; ++t) below += stays[tree.child[t]];
    const std::int64_t top = stack + std::max<std::int64_t>(0, stays[s] - below);
    highest = std::max(highest, a.panelStart[s + 1] + top);
    a.stackDoubles = std::max(a.stackDoubles, top);
    stack += stays[s] - below;
  }
  highest = std::max(highest - a.panelStart.back(), std::int64_t(0)) + a.panelStart.back() / 32;
  const auto bytes = [](std::size_t count, std::size_t each) {
    return static_cast<std::int64_t>(count * each);
  };
  p.analysisBytes = bytes(a.patternStart.size() + a.patternRow.size() + a.dofOf.size() + a.termStart.size() +
                              a.termSource.size() + a.termTarget.size() + tree.row.size() +
                              a.outerRow.size() + 6 * tree.parent.size(),
                          sizeof(int)) +
                    bytes(2 * tree.parent.size(), sizeof(std::int64_t));
  p.factorBytes = (a.panelStart.back() + a.n) * static_cast<std::int64_t>(sizeof(double));
  p.peakBytes =
      p.analysisBytes + p.factorBytes + highest * static_cast<std::int64_t>(sizeof(double)) + kThreadBytes;
  SortTaskStacks(stays, a);
}

}  // namespace

FactorizationMemory MemoryOfFactorization(const LdltAnalysis& a, int threads) {
  const auto tasks = static_cast<int>(a.taskStack.size());
  const int others = std::max(1, std::min({threads, tasks, 256})) - 1;
  constexpr auto each = static_cast<std::int64_t>(sizeof(double));
  std::int64_t besides = 0;
  for (int k = 0; k < others; ++k) besides += a.taskStack[k] * each + kThreadBytes;
  const LdltPrediction& p = a.prediction;
  return {p.peakBytes - p.analysisBytes + besides,
          p.factorBytes + (a.stackDoubles + a.panelStart.back() / 32) * each + kThreadBytes + besides};
}

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

/// Children and rows of every supernode from columns, parents and pattern; false when a path up the tree
/// misses its goal. A step is a row of every supernode on the paths from its earlier neighbours up to its
/// own.
bool ListRows(LdltAnalysis& a) {
  Supernodes& tree = a.tree;
  const int count = tree.Count();
  tree.childStart.assign(count + 1, 0);
  for (int s = 0; s < count; ++s) {
    if (tree.parent[s] >= 0) ++tree.childStart[tree.parent[s] + 1];
  }
  for (int s = 0; s < count; ++s) tree.childStart[s + 1] += tree.childStart[s];
  tree.child.resize(tree.childStart[count]);
  std::vector<int> next(tree.childStart.begin(), tree.childStart.end() - 1), node(a.n);
  for (int s = 0; s < count; ++s) {
    if (tree.parent[s] >= 0) tree.child[next[tree.parent[s]]++] = s;
    for (int k = tree.firstColumn[s]; k < tree.firstColumn[s + 1]; ++k) node[k] = s;
  }
  const std::vector<int> step = StepsOf(a);
  std::vector<std::vector<int>> earlier(a.n), rows(count);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] <= j) continue;
      const int p = step[a.patternRow[t]], q = step[j];
      earlier[std::max(p, q)].push_back(std::min(p, q));
    }
  }
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

/// All that follows from the tree: where numbers lie, where terms go, tasks, cost.
AnalysisOutcome LayOut(LdltAnalysis& a) {
  a.panelStart.assign(1, 0);
  for (int s = 0; s < a.tree.Count(); ++s) {
    const int columns = a.tree.Columns(s);
    a.panelStart.push_back(a.panelStart.back() + PanelStorage(columns + a.tree.Rows(s), columns));
  }
  if (!PlaceTerms(StepsOf(a), a)) {
    return {LdltStatus::OutOfMemory, "a front of the factor exceeds 32 GB, more than its index can tell"};
  }
  CutIntoTasks(a);
  if (!LocaliseRows(a)) return {LdltStatus::OutOfMemory, "the rows of the factor outnumber an int"};
  Predict(a);
  return {};
}

}  // namespace

std::int64_t PanelStorage(int size, int columns) noexcept {
  if (columns == 0) return 0;
  const PanelShape last = PanelAt(size, columns, PanelCount(columns) - 1);
  return (last.offset + static_cast<std::int64_t>(last.stride) * last.width + 7) / 8 * 8;
}

AnalysisOutcome AnalysePattern(int n, const int* columnStart, const int* row, Triangle triangle, int threads,
                               LdltAnalysis& a) {
  const std::string error = TakePattern(n, columnStart, row, triangle, a);
  if (!error.empty()) return {LdltStatus::BadInput, error};
  const CompressedGraph compressed = CompressGraph(n, a.patternStart.data(), a.patternRow.data());
  const ChosenOrder chosen = ChooseOrder(compressed.graph, threads);
  if (!chosen.ok) return {LdltStatus::OrderingFailed, "no order of elimination was found"};
  a.tree = FindSupernodes(compressed.graph, chosen.tree, AmalgamationCosts());
  NumberDofs(compressed, a);
  a.prediction.ordering = chosen.name;
  a.prediction.factorTerms = chosen.cost.terms;
  a.prediction.operations = chosen.cost.operations;
  return LayOut(a);
}

AnalysisOutcome RestoreAnalysis(int n, const int* columnStart, const int* row, Triangle triangle,
                                const AnalysisSeed& seed, LdltAnalysis& a) {
  const AnalysisOutcome misfit{LdltStatus::BadInput, "the order of elimination does not fit the pattern"};
  const std::string error = TakePattern(n, columnStart, row, triangle, a);
  if (!error.empty()) return {LdltStatus::BadInput, error};
  if (!IsElimination(n, seed)) return misfit;
  a.dofOf = seed.dofOf;
  a.tree.firstColumn = seed.firstColumn;
  a.tree.parent = seed.parent;
  if (!ListRows(a)) return misfit;
  a.prediction.ordering = "from a file";
  a.prediction.factorTerms = seed.factorTerms;
  a.prediction.operations = seed.operations;
  return LayOut(a);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
