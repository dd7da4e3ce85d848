#include <algorithm>
#include <functional>

#include "AnalysisSteps.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

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

}  // namespace

void PredictMemory(LdltAnalysis& a) {
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

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
