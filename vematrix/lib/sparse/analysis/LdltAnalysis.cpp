#include "LdltAnalysis.h"

#include "../../math/memory_limit.h"
#include "../ordering/ChooseOrder.h"
#include "AnalysisSteps.h"
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

/// What the orderings take at their highest. Measured on graphs of 20,000 to 30,000 dofs without compression:
/// 35 to 38 bytes a neighbour with one thread, 53 to 56 with two.
std::int64_t OrderingBytes(const Graph& graph, int threads) {
  return (threads > 1 ? 60 : 40) * static_cast<std::int64_t>(graph.neighbour.size());
}

/// All that follows from the tree: where numbers lie, where terms go, tasks, cost.
AnalysisOutcome LayOut(LdltAnalysis& a) {
  a.panelStart.assign(1, 0);
  for (int s = 0; s < a.tree.Count(); ++s) {
    const int columns = a.tree.Columns(s);
    a.panelStart.push_back(a.panelStart.back() + PanelStorage(columns + a.tree.Rows(s), columns));
  }
  if (!PlaceTerms(a)) {
    return {LdltStatus::OutOfMemory, "a front of the factor exceeds 32 GB, more than its index can tell"};
  }
  CutIntoTasks(a);
  if (!LocaliseRows(a)) return {LdltStatus::OutOfMemory, "the rows of the factor outnumber an int"};
  PredictMemory(a);
  return {};
}

}  // namespace

std::vector<int> StepsOf(const LdltAnalysis& a) {
  std::vector<int> step(a.n);
  for (int k = 0; k < a.n; ++k) step[a.dofOf[k]] = k;
  return step;
}

std::vector<int> SupernodesOf(const LdltAnalysis& a) {
  std::vector<int> node(a.n);
  for (int s = 0; s < a.tree.Count(); ++s) {
    for (int k = a.tree.firstColumn[s]; k < a.tree.firstColumn[s + 1]; ++k) node[k] = s;
  }
  return node;
}

AnalysisOutcome AnalysePattern(int n, const int* columnStart, const int* row, Triangle triangle, int threads,
                               LdltAnalysis& a) {
  const std::string error = TakePattern(n, columnStart, row, triangle, a);
  if (!error.empty()) return {LdltStatus::BadInput, error};
  const CompressedGraph compressed = CompressGraph(n, a.patternStart.data(), a.patternRow.data());
  math::RequireMemory("the ordering", OrderingBytes(compressed.graph, threads));
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
  if (!RestoreTree(seed, a)) return misfit;
  a.prediction.ordering = "from a file";
  a.prediction.factorTerms = seed.factorTerms;
  a.prediction.operations = seed.operations;
  return LayOut(a);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
