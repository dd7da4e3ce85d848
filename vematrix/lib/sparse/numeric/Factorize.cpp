#include <algorithm>

#include "Front.h"
#include "LdltFactor.h"
#include "Multifrontal.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// The rows of suppressed dofs in the panels of their descendants become zero.
void DecoupleRows(const LdltAnalysis& a, const std::vector<int>& suppressed, LdltFactor& factor) {
  std::vector<char> isSuppressed(a.n, 0);
  for (int step : suppressed) isSuppressed[step] = 1;
  for (int s = 0; s < a.tree.Count(); ++s) {
    const int columns = a.tree.Columns(s), rows = a.tree.Rows(s), first = a.tree.firstColumn[s];
    const Trapezoid panels(factor.panel.Data() + a.panelStart[s], columns + rows, columns);
    for (int i = 0; i < columns + rows; ++i) {
      const int step = i < columns ? first + i : a.StepOf(a.tree.RowsOf(s)[i - columns]);
      if (!isSuppressed[step]) continue;
      for (int c = 0; c < std::min(i, columns); ++c) panels.Column(c)[i] = 0.0;
    }
  }
}

PivotRecord ToDofs(const LdltAnalysis& a, const kernels::PivotStats& stats) {
  PivotRecord record;
  if (stats.maxIndex >= 0) {
    record.largest = stats.maxPivot;
    record.largestDof = a.dofOf[stats.maxIndex] + 1;
  }
  if (stats.minIndex >= 0) {
    record.smallest = stats.minPivot;
    record.smallestDof = a.dofOf[stats.minIndex] + 1;
  }
  record.numNegative = stats.numNegative;
  record.numReplaced = stats.numReplaced;
  for (int step : stats.suppressed) record.suppressed.push_back(a.dofOf[step] + 1);
  std::sort(record.suppressed.begin(), record.suppressed.end());
  record.numFinished = a.n;
  if (stats.failure != kernels::PivotFailure::None) {
    record.numFinished = stats.failureIndex;
    record.failedDof = a.dofOf[stats.failureIndex] + 1;
  }
  return record;
}

LdltStatus StatusOf(kernels::PivotFailure failure) {
  switch (failure) {
    case kernels::PivotFailure::None:
      return LdltStatus::Ok;
    case kernels::PivotFailure::NotPositive:
      return LdltStatus::PivotFailed;
    case kernels::PivotFailure::Growth:
      return LdltStatus::GrowthFailed;
    case kernels::PivotFailure::NotFinite:
      return LdltStatus::NotFinite;
  }
  return LdltStatus::Internal;
}

}  // namespace

LdltStatus FactorizeFronts(const double* value, PivotMode mode, double threshold, int threads,
                           LdltFactor& factor, PivotRecord& record) {
  const LdltAnalysis& a = *factor.analysis;
  const std::size_t count = static_cast<std::size_t>(a.panelStart.back());
  if (factor.panel.Count() != count) factor.panel = math::LargeArray(count);
  factor.pivot.resize(a.n);
  const kernels::PivotStats stats = EliminateFronts(value, mode, threshold, threads, factor);
  record = ToDofs(a, stats);
  if (stats.failure == kernels::PivotFailure::None && !stats.suppressed.empty()) {
    DecoupleRows(a, stats.suppressed, factor);
  }
  return StatusOf(stats.failure);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
