#include <algorithm>
#include <limits>

#include "AnalysisSteps.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// termStart and termSource; the step of every term's column in `column`, that of its row in termTarget.
void SortBySupernode(LdltAnalysis& a, std::vector<int>& column) {
  const std::vector<int> step = StepsOf(a), node = SupernodesOf(a);
  const int count = a.tree.Count();
  a.termStart.assign(count + 1, 0);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] >= j) ++a.termStart[node[std::min(step[a.patternRow[t]], step[j])] + 1];
    }
  }
  for (int s = 0; s < count; ++s) a.termStart[s + 1] += a.termStart[s];
  std::vector<int> next(a.termStart.begin(), a.termStart.end() - 1);
  a.termSource.resize(a.termStart.back());
  a.termTarget.resize(a.termStart.back());
  column.resize(a.termStart.back());
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] < j) continue;
      const int p = step[a.patternRow[t]], q = step[j];
      const int place = next[node[std::min(p, q)]]++;
      a.termSource[place] = t;
      column[place] = std::min(p, q);
      a.termTarget[place] = static_cast<std::uint32_t>(std::max(p, q));
    }
  }
}

/// Turns the steps of the terms of supernode s into offsets; `local` is room for n numbers.
void FindOffsets(const std::vector<int>& column, int s, std::vector<int>& local, LdltAnalysis& a) {
  const Supernodes& tree = a.tree;
  const int first = tree.firstColumn[s], columns = tree.Columns(s), rows = tree.Rows(s),
            size = columns + rows;
  for (int k = 0; k < columns; ++k) local[first + k] = k;
  for (int k = 0; k < rows; ++k) local[tree.RowsOf(s)[k]] = columns + k;
  PanelShape panel{0, 0, 0, 0, 0};
  for (int e = a.termStart[s]; e < a.termStart[s + 1]; ++e) {
    const int c = column[e] - first;
    if (c < panel.first || c >= panel.first + panel.width) panel = PanelAt(size, columns, c / kPanelWidth);
    a.termTarget[e] =
        static_cast<std::uint32_t>(panel.offset + static_cast<std::int64_t>(c - panel.first) * panel.stride +
                                   (local[a.termTarget[e]] - panel.first));
  }
}

}  // namespace

bool PlaceTerms(LdltAnalysis& a) {
  const Supernodes& tree = a.tree;
  std::vector<int> column, local(a.n);
  SortBySupernode(a, column);
  for (int s = 0; s < tree.Count(); ++s) {
    const std::int64_t places = PanelStorage(tree.Columns(s) + tree.Rows(s), tree.Columns(s));
    if (places > std::numeric_limits<std::uint32_t>::max()) return false;
    FindOffsets(column, s, local, a);
  }
  return true;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
