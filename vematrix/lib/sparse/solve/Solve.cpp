#include "Solve.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "../TaskCrew.h"
#include "../kernels/FrontKernels.h"
#include "../numeric/Front.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// Right-hand sides taken together: always up to kFewLanes, more while their work space takes at most a
/// kSpaceShare-th of what the factor does. The factor passes through the caches once for all of them.
constexpr int kFewLanes = 24, kMostLanes = 104;
constexpr std::size_t kSpaceShare = 2;
/// Stored terms from which on another thread pays.
constexpr std::int64_t kTermsForThreads = 300000;

/// One sweep up and down for `lanes` right-hand sides (1, or a multiple of kernels::laneGroup of which some
/// may be unused). Row k of the work array holds the values of step k side by side; behind the n steps lie
/// the areas of the tasks' roots (LdltAnalysis::outerRow).
class Sweeps {
public:
  Sweeps(const LdltFactor& factor, int threads, int lanes)
      : m_f(factor),
        m_a(*factor.analysis),
        m_lanes(lanes),
        m_crew(m_a.tasks, threads),
        m_scratch(m_crew.Threads()),
        m_work(factor.sweepSpace.Take((static_cast<std::size_t>(m_a.n) + m_a.outerRow.size()) * lanes)) {}
  ~Sweeps() { m_f.sweepSpace.GiveBack(std::move(m_work), m_f.panel.Count() / kSpaceShare); }
  Sweeps(const Sweeps&) = delete;
  Sweeps& operator=(const Sweeps&) = delete;

  void Run(const double* b, double* x, int numRhs, std::ptrdiff_t ld) {
    m_b = b;
    m_x = x;
    m_numRhs = numRhs;
    m_ld = ld;
    m_crew.RunUpwards([this](int task, int worker) { return Up(m_a.tasks[task], worker); });
    m_crew.RunDownwards([this](int task, int worker) { return Down(m_a.tasks[task], worker); });
  }

private:
  struct Scratch {
    std::vector<double> values;
    std::vector<int> rows, places;
  };

  double* Row(int k) { return m_work.Data() + static_cast<std::ptrdiff_t>(k) * m_lanes; }
  double* Outer(int s) { return Row(m_a.n + m_a.outerStart[s]); }

  void Load(int begin, int end) {
    for (int k = begin; k < end; ++k) {
      double* row = Row(k);
      const double* from = m_b + m_a.dofOf[k];
      for (int c = 0; c < m_numRhs; ++c) row[c] = from[c * m_ld];
      for (int c = m_numRhs; c < m_lanes; ++c) row[c] = 0.0;
    }
  }

  void Store(int begin, int end) {
    for (int k = begin; k < end; ++k) {
      const double* row = Row(k);
      double* to = m_x + m_a.dofOf[k];
      for (int c = 0; c < m_numRhs; ++c) to[c * m_ld] = row[c];
    }
  }

  bool Up(const TreeTask& task, int worker) {
    const Supernodes& tree = m_a.tree;
    Load(tree.firstColumn[task.begin], tree.firstColumn[task.end]);
    for (int s = task.begin; s < task.end; ++s) {
      if (m_a.outerStart[s] >= 0) ClearOuter(s);
    }
    for (int s = task.begin; s < task.end; ++s) {
      if (task.single) TakeFromChildren(s, worker);
      ForwardFront(s, worker);
    }
    return true;
  }

  void ClearOuter(int s) {
    std::memset(Outer(s), 0, static_cast<std::size_t>(m_a.tree.Rows(s)) * m_lanes * sizeof(double));
  }

  /// Adds what the children's tasks left for the pivots and for the rows of s.
  void TakeFromChildren(int s, int worker) {
    const Supernodes& tree = m_a.tree;
    std::vector<int>& places = m_scratch[worker].places;
    const int columns = tree.Columns(s), first = tree.firstColumn[s];
    for (int t = tree.childStart[s]; t < tree.childStart[s + 1]; ++t) {
      const int c = tree.child[t], rows = tree.Rows(c);
      places.resize(rows);
      FindPlaces(m_a.RowsAsChild(c), rows, first, columns, m_a.RowsAsParent(s), places.data());
      const double* from = Outer(c);
      for (int i = 0; i < rows; ++i, from += m_lanes) {
        double* to = places[i] < columns
                         ? Row(first + places[i])
                         : Outer(s) + static_cast<std::ptrdiff_t>(places[i] - columns) * m_lanes;
        for (int lane = 0; lane < m_lanes; ++lane) to[lane] += from[lane];
      }
    }
  }

  /// Rows below panel p: later pivots of the front, then the rows of the front. A lone panel needs no list of
  /// its own.
  const int* RowsBelow(int s, const PanelShape& panel, int columns, int rows, int worker) {
    const int end = panel.first + panel.width;
    if (end == columns) return m_a.tree.RowsOf(s);
    std::vector<int>& list = m_scratch[worker].rows;
    list.resize(static_cast<std::size_t>(columns - end) + rows);
    for (int k = end; k < columns; ++k) list[k - end] = m_a.tree.firstColumn[s] + k;
    std::copy(m_a.tree.RowsOf(s), m_a.tree.RowsOf(s) + rows, list.begin() + (columns - end));
    return list.data();
  }

  void ForwardFront(int s, int worker) {
    const int columns = m_a.tree.Columns(s), rows = m_a.tree.Rows(s), first = m_a.tree.firstColumn[s];
    for (int p = 0; p < PanelCount(columns); ++p) {
      const PanelShape panel = PanelAt(columns + rows, columns, p);
      const double* L = m_f.PanelsOf(s) + panel.offset;
      const int* list = RowsBelow(s, panel, columns, rows, worker);
      double* own = Row(first + panel.first);
      if (m_lanes > 1) {
        kernels::ForwardBlock(L, panel.stride, panel.rows, panel.width, own, m_lanes, m_work.Data(), m_lanes,
                              list, m_lanes);
        continue;
      }
      std::vector<double>& y = m_scratch[worker].values;
      const int below = panel.rows - panel.width;
      y.resize(below);
      kernels::Forward(L, panel.stride, panel.rows, panel.width, own, y.data());
      double* work = m_work.Data();
      for (int i = 0; i < below; ++i) work[list[i]] -= y[i];
    }
  }

  bool Down(const TreeTask& task, int worker) {
    const Supernodes& tree = m_a.tree;
    for (int s = task.begin; s < task.end; ++s) {
      if (m_a.outerStart[s] < 0) continue;
      for (int i = 0; i < tree.Rows(s); ++i) {
        std::copy_n(Row(m_a.outerRow[m_a.outerStart[s] + i]), m_lanes,
                    Outer(s) + static_cast<std::ptrdiff_t>(i) * m_lanes);
      }
    }
    for (int s = task.end - 1; s >= task.begin; --s) BackwardFront(s, worker);
    Store(tree.firstColumn[task.begin], tree.firstColumn[task.end]);
    return true;
  }

  void BackwardFront(int s, int worker) {
    const int columns = m_a.tree.Columns(s), rows = m_a.tree.Rows(s), first = m_a.tree.firstColumn[s];
    for (int p = PanelCount(columns) - 1; p >= 0; --p) {
      const PanelShape panel = PanelAt(columns + rows, columns, p);
      const double* L = m_f.PanelsOf(s) + panel.offset;
      const double* D = m_f.pivot.data() + first + panel.first;
      const int* list = RowsBelow(s, panel, columns, rows, worker);
      double* own = Row(first + panel.first);
      if (m_lanes > 1) {
        kernels::BackwardBlock(L, panel.stride, D, panel.rows, panel.width, own, m_lanes, m_work.Data(),
                               m_lanes, list, m_lanes);
        continue;
      }
      std::vector<double>& y = m_scratch[worker].values;
      const int below = panel.rows - panel.width;
      y.resize(below);
      const double* work = m_work.Data();
      for (int i = 0; i < below; ++i) y[i] = work[list[i]];
      kernels::Backward(L, panel.stride, D, panel.rows, panel.width, own, y.data());
    }
  }

  const LdltFactor& m_f;
  const LdltAnalysis& m_a;
  const int m_lanes;
  TaskCrew m_crew;
  std::vector<Scratch> m_scratch;
  math::LargeArray m_work;
  const double* m_b = nullptr;
  double* m_x = nullptr;
  int m_numRhs = 0;
  std::ptrdiff_t m_ld = 0;
};

int WholeGroups(int lanes) {
  return (lanes + kernels::laneGroup - 1) / kernels::laneGroup * kernels::laneGroup;
}

int MostLanes(const LdltFactor& factor) {
  const LdltAnalysis& a = *factor.analysis;
  const std::size_t rows = static_cast<std::size_t>(a.n) + a.outerRow.size();
  const std::size_t lanes = factor.panel.Count() / kSpaceShare / rows;
  const int most = static_cast<int>(std::min<std::size_t>(lanes, kMostLanes));
  return std::max(kFewLanes, most / kernels::laneGroup * kernels::laneGroup);
}

}  // namespace

void SolveFronts(const LdltFactor& factor, const double* b, double* x, int numRhs, std::ptrdiff_t ld,
                 int threads) {
  if (factor.analysis->n == 0) return;
  if (factor.analysis->prediction.storedTerms < kTermsForThreads) threads = 1;
  const int most = MostLanes(factor);
  for (int c = 0; c < numRhs;) {
    const int left = numRhs - c, blocks = (left + most - 1) / most;
    const int count = blocks == 1 ? left : WholeGroups((left + blocks - 1) / blocks);
    Sweeps(factor, threads, count == 1 ? 1 : WholeGroups(count)).Run(b + c * ld, x + c * ld, count, ld);
    c += count;
  }
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
