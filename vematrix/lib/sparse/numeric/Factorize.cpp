#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "../TaskCrew.h"
#include "../kernels/FrontKernels.h"
#include "Front.h"
#include "LdltFactor.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// A front is shared among threads when it has at least so many operations.
constexpr double kSharedOperations = 3e7;
constexpr int kTileRows = 768;   ///< rows of C that one piece of a shared update takes
constexpr int kAddColumns = 64;  ///< columns that one piece of a shared addition takes

/// Scratch of one thread.
struct Bench {
  kernels::Workspace work;
  kernels::PivotStats stats;
  RowPlaces places;
};

/// One factorisation: the fronts in the order of the tasks.
class Multifrontal {
public:
  Multifrontal(const LdltAnalysis& analysis, const double* value, PivotMode mode, double threshold,
               int threads, LdltFactor& factor)
      : m_a(analysis),
        m_value(value),
        m_factor(factor),
        m_crew(analysis.tasks, threads),
        m_bench(m_crew.Threads()),
        m_block(analysis.tree.Count()) {
    m_rule.mode = static_cast<int>(mode);
    m_rule.zeroStiff = threshold;
  }

  kernels::PivotStats Run() {
    m_crew.RunUpwards([this](int task, int worker) { return RunTask(m_a.tasks[task], worker); });
    kernels::PivotStats all;
    for (const Bench& bench : m_bench) all.Merge(bench.stats);
    return all;
  }

private:
  struct FrontShape {
    int s, columns, rows;
    Trapezoid pivots, block;
    bool shared;
  };

  bool RunTask(const TreeTask& task, int worker) {
    for (int s = task.begin; s < task.end; ++s) {
      if (!Eliminate(s, worker)) return false;
    }
    return true;
  }

  bool Eliminate(int s, int worker) {
    FrontShape front;
    front.s = s;
    front.columns = m_a.tree.Columns(s);
    front.rows = m_a.tree.Rows(s);
    const double k = front.columns, r = front.rows;
    front.shared = m_crew.Threads() > 1 && k * (k + r) * (k + r) > kSharedOperations;
    front.pivots =
        Trapezoid(m_factor.panel.Data() + m_a.panelStart[s], front.columns + front.rows, front.columns);
    AssembleTerms(front);
    AddChildrenToPivots(front, worker);
    if (!FactorPivots(front, worker)) return false;
    if (front.rows > 0) {
      m_block[s] = math::LargeArray(static_cast<std::size_t>(PanelStorage(front.rows, front.rows)));
      front.block = Trapezoid(m_block[s].Data(), front.rows, front.rows);
      UpdateBlock(front, worker);
      AddChildrenToBlock(front, worker);
    }
    const Supernodes& tree = m_a.tree;
    for (int t = tree.childStart[s]; t < tree.childStart[s + 1]; ++t)
      m_block[tree.child[t]] = math::LargeArray();
    return true;
  }

  void AssembleTerms(const FrontShape& front) {
    double* panel = m_factor.panel.Data() + m_a.panelStart[front.s];
    std::memset(
        panel, 0,
        static_cast<std::size_t>(m_a.panelStart[front.s + 1] - m_a.panelStart[front.s]) * sizeof(double));
    for (int e = m_a.termStart[front.s]; e < m_a.termStart[front.s + 1]; ++e) {
      panel[m_a.termTarget[e]] += m_value[m_a.termSource[e]];
    }
  }

  template <class Add>
  void ForEachChild(const FrontShape& front, int worker, Add add) {
    const Supernodes& tree = m_a.tree;
    for (int t = tree.childStart[front.s]; t < tree.childStart[front.s + 1]; ++t) {
      const int c = tree.child[t], rows = tree.Rows(c);
      if (rows == 0) continue;
      RowPlaces& places = m_bench[worker].places;
      places.Set(m_a.RowsAsChild(c), rows, tree.firstColumn[front.s], front.columns,
                 m_a.RowsAsParent(front.s));
      add(Trapezoid(m_block[c].Data(), rows, rows), rows, places);
    }
  }

  /// Columns [c0, c1) of a child, in pieces when the front is shared.
  void AddRange(const FrontShape& front, int worker, const Trapezoid& child, int rows,
                const RowPlaces& places, int c0, int c1, int shift, const Trapezoid& target) {
    if (!front.shared || c1 - c0 <= kAddColumns) {
      AddColumns(child, rows, places, c0, c1, shift, target);
      return;
    }
    m_crew.ForPieces((c1 - c0 + kAddColumns - 1) / kAddColumns, worker, [&](int piece, int) {
      const int begin = c0 + piece * kAddColumns;
      AddColumns(child, rows, places, begin, std::min(c1, begin + kAddColumns), shift, target);
    });
  }

  void AddChildrenToPivots(const FrontShape& front, int worker) {
    ForEachChild(front, worker, [&](const Trapezoid& child, int rows, const RowPlaces& places) {
      AddRange(front, worker, child, rows, places, 0, places.split, 0, front.pivots);
    });
  }

  void AddChildrenToBlock(const FrontShape& front, int worker) {
    ForEachChild(front, worker, [&](const Trapezoid& child, int rows, const RowPlaces& places) {
      AddRange(front, worker, child, rows, places, places.split, rows, front.columns, front.block);
    });
  }

  /// target panel q (whose first row is row `first` of the front) −= the pivots of panels 0 … count−1 of the
  /// front, rows [r0, r1) of the target panel.
  void UpdatePanel(const FrontShape& front, int count, double* target, const PanelShape& shape, int first,
                   int r0, int r1, kernels::Target kind, kernels::Workspace& work) {
    const double* pivot = m_factor.pivot.data() + m_a.tree.firstColumn[front.s];
    for (int p = 0; p < count; ++p) {
      const PanelShape& from = front.pivots.Panel(p);
      const double* rows = front.pivots.Address(p) + (first - from.first);
      const double* d = pivot + from.first;
      const int diagonalEnd = std::min(r1, shape.width);
      if (r0 == 0 && r1 == shape.rows) {
        kernels::UpdateTrailing(rows, from.stride, d, shape.rows, from.width, target, shape.stride, 0,
                                shape.width, work, kind);
      } else {
        if (r0 < shape.width) {  // a tile holds all of the diagonal block
          kernels::UpdateTrailing(rows, from.stride, d, diagonalEnd, from.width, target, shape.stride, 0,
                                  shape.width, work, kind);
        }
        const int begin = std::max(r0, diagonalEnd);
        if (begin < r1) {
          kernels::SubtractProduct(rows + begin, from.stride, rows, from.stride, d, r1 - begin, shape.width,
                                   from.width, target + begin, shape.stride, work, kind);
        }
      }
      kind = kernels::Target::Filled;
    }
  }

  static int Tiles(const PanelShape& shape) { return (shape.rows + kTileRows - 1) / kTileRows; }

  bool FactorPivots(const FrontShape& front, int worker) {
    double* pivot = m_factor.pivot.data() + m_a.tree.firstColumn[front.s];
    for (int q = 0; q < front.pivots.Panels(); ++q) {
      const PanelShape& shape = front.pivots.Panel(q);
      if (q > 0) {
        const int tiles = front.shared ? Tiles(shape) : 1;
        m_crew.ForPieces(tiles, worker, [&](int tile, int w) {
          const int r0 = tile * kTileRows;
          const int r1 = tiles == 1 ? shape.rows : std::min(shape.rows, r0 + kTileRows);
          UpdatePanel(front, q, front.pivots.Address(q), shape, shape.first, r0, r1, kernels::Target::Filled,
                      m_bench[w].work);
        });
      }
      if (!kernels::FactorFront(front.pivots.Address(q), shape.stride, shape.rows, shape.width,
                                pivot + shape.first, m_rule, m_a.tree.firstColumn[front.s] + shape.first,
                                m_bench[worker].stats, m_bench[worker].work)) {
        return false;
      }
    }
    return true;
  }

  void UpdateBlock(const FrontShape& front, int worker) {
    std::vector<std::pair<int, int>> tiles;  // (panel, tile of rows)
    for (int q = 0; q < front.block.Panels(); ++q) {
      const int count = front.shared ? Tiles(front.block.Panel(q)) : 1;
      for (int t = 0; t < count; ++t) tiles.emplace_back(q, t);
    }
    m_crew.ForPieces(static_cast<int>(tiles.size()), worker, [&](int piece, int w) {
      const int q = tiles[piece].first;
      const PanelShape& shape = front.block.Panel(q);
      const int r0 = tiles[piece].second * kTileRows;
      const int r1 = front.shared ? std::min(shape.rows, r0 + kTileRows) : shape.rows;
      UpdatePanel(front, front.pivots.Panels(), front.block.Address(q), shape, front.columns + shape.first,
                  r0, r1, kernels::Target::Fresh, m_bench[w].work);
    });
  }

  const LdltAnalysis& m_a;
  const double* m_value;
  LdltFactor& m_factor;
  kernels::PivotRule m_rule;
  TaskCrew m_crew;
  std::vector<Bench> m_bench;
  std::vector<math::LargeArray> m_block;  ///< contribution blocks by supernode, from elimination until added
};

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
  Multifrontal run(a, value, mode, threshold, threads, factor);
  const kernels::PivotStats stats = run.Run();
  record = ToDofs(a, stats);
  if (stats.failure == kernels::PivotFailure::None && !stats.suppressed.empty()) {
    DecoupleRows(a, stats.suppressed, factor);
  }
  return StatusOf(stats.failure);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
