#include "Multifrontal.h"

#include <algorithm>
#include <cstring>

#include "../TaskCrew.h"
#include "BlockStore.h"
#include "Front.h"
#include "LdltFactor.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// A front is shared among threads when it has at least so many operations.
constexpr double kSharedOperations = 3e7;
constexpr int kTileRows = 768;    ///< rows of C that one piece of a shared update takes
constexpr int kAddColumns = 64;   ///< columns that one piece of a shared addition takes
constexpr int kPanelsAtOnce = 3;  ///< panels of a contribution block between two waits of a shared front

/// One child of a front: its block, panel by panel, and where its rows go.
struct ChildBlock {
  int s = 0, rows = 0;
  Trapezoid block;
  RowPlaces places;
};

/// Scratch of one thread. The front is the one this thread leads.
struct Bench {
  kernels::Workspace work;
  kernels::PivotStats stats;
  BlockStore store;
  Trapezoid pivots, block;
  std::vector<ChildBlock> children;
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
    const std::size_t idle =
        static_cast<std::size_t>(analysis.panelStart.back()) / 32 / m_bench.size() + (1 << 15);
    for (Bench& bench : m_bench) bench.store.Limit(idle);
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
  struct Front {
    int s, columns, rows, numChildren;
    bool shared;
    Bench& bench;
    int worker;
  };

  bool RunTask(const TreeTask& task, int worker) {
    for (int s = task.begin; s < task.end; ++s) {
      if (!Eliminate(s, worker)) return false;
    }
    return true;
  }

  bool Eliminate(int s, int worker) {
    const int columns = m_a.tree.Columns(s), rows = m_a.tree.Rows(s);
    const double k = columns, size = columns + rows;
    Front front{
        s,     columns, rows, 0, m_crew.Threads() > 1 && k * size * size > kSharedOperations, m_bench[worker],
        worker};
    front.bench.pivots.Set(m_factor.panel.Data() + m_a.panelStart[s], columns + rows, columns);
    TakeChildren(front);
    for (int p = 0; p < front.bench.pivots.Panels(); ++p) AssemblePanel(front, p);
    if (!FactorPivots(front)) return false;
    BuildBlock(front);
    return true;
  }

  /// Panel p of the pivots: zeros, the matrix terms, the children's columns, whose memory goes back at once.
  void AssemblePanel(const Front& front, int p) {
    const Trapezoid& pivots = front.bench.pivots;
    const PanelShape& shape = pivots.Panel(p);
    double* panel = m_factor.panel.Data() + m_a.panelStart[front.s];
    const bool last = p + 1 == pivots.Panels();
    const std::int64_t begin = shape.offset;
    const std::int64_t end =
        last ? m_a.panelStart[front.s + 1] - m_a.panelStart[front.s] : pivots.Panel(p + 1).offset;
    std::memset(panel + begin, 0, static_cast<std::size_t>(end - begin) * sizeof(double));
    for (int e = m_a.termStart[front.s]; e < m_a.termStart[front.s + 1]; ++e) {
      const std::int64_t target = m_a.termTarget[e];
      if (target >= begin && target < end) panel[target] += m_value[m_a.termSource[e]];
    }
    for (int c = 0; c < front.numChildren; ++c)
      AddColumnsOf(front, front.bench.children[c], shape.first, shape.first + shape.width, 0, pivots);
  }

  /// What a child holds for columns [c0, c1) of the front.
  void AddColumnsOf(const Front& front, const ChildBlock& child, int c0, int c1, int shift,
                    const Trapezoid& target) {
    const std::vector<int>& place = child.places.place;
    const auto from = std::lower_bound(place.begin(), place.end(), c0);
    const auto to = std::lower_bound(from, place.end(), c1);
    const int stop = static_cast<int>(to - place.begin());
    AddRange(front, child, static_cast<int>(from - place.begin()), stop, shift, target);
    Release(front, child, stop);
  }

  void TakeChildren(Front& front) {
    const Supernodes& tree = m_a.tree;
    for (int t = tree.childStart[front.s]; t < tree.childStart[front.s + 1]; ++t) {
      const int c = tree.child[t];
      if (tree.Rows(c) == 0) continue;
      if (static_cast<int>(front.bench.children.size()) == front.numChildren)
        front.bench.children.emplace_back();
      ChildBlock& child = front.bench.children[front.numChildren++];
      child.s = c;
      child.rows = tree.Rows(c);
      child.block.SetShape(child.rows, child.rows);
      for (int p = 0; p < child.block.Panels(); ++p) child.block.Place(p, m_block[c][p].Data());
      child.places.Set(m_a.RowsAsChild(c), child.rows, tree.firstColumn[front.s], front.columns,
                       m_a.RowsAsParent(front.s));
    }
  }

  /// Gives back the panels of a child whose columns all lie before `end`.
  void Release(const Front& front, const ChildBlock& child, int end) {
    for (int p = 0; p < child.block.Panels(); ++p) {
      const PanelShape& shape = child.block.Panel(p);
      if (shape.first + shape.width > end) break;
      front.bench.store.Give(std::move(m_block[child.s][p]));
      m_block[child.s][p] = math::LargeArray();
    }
  }

  /// Columns [c0, c1) of a child, in pieces when the front is shared.
  void AddRange(const Front& front, const ChildBlock& child, int c0, int c1, int shift,
                const Trapezoid& target) {
    if (!front.shared || c1 - c0 <= kAddColumns) {
      AddColumns(child.block, child.rows, child.places, c0, c1, shift, target);
      return;
    }
    m_crew.ForPieces((c1 - c0 + kAddColumns - 1) / kAddColumns, front.worker, [&](int piece, int) {
      const int begin = c0 + piece * kAddColumns;
      AddColumns(child.block, child.rows, child.places, begin, std::min(c1, begin + kAddColumns), shift,
                 target);
    });
  }

  /// The contribution block, a few panels at a time: −L·D·Lᵀ, then the children's parts, whose memory goes
  /// back as soon as it is used up.
  void BuildBlock(const Front& front) {
    if (front.rows == 0) return;
    Trapezoid& block = front.bench.block;
    block.SetShape(front.rows, front.rows);
    std::vector<math::LargeArray>& memory = m_block[front.s];
    memory.resize(block.Panels());
    for (int q0 = 0; q0 < block.Panels(); q0 += kPanelsAtOnce) {
      const int q1 = std::min(block.Panels(), q0 + kPanelsAtOnce);
      for (int q = q0; q < q1; ++q) {
        memory[q] = front.bench.store.Take(block.Doubles(q));
        block.Place(q, memory[q].Data());
      }
      UpdateBlock(front, q0, q1);
      const int end = front.columns + block.Panel(q1 - 1).first + block.Panel(q1 - 1).width;
      for (int c = 0; c < front.numChildren; ++c) {
        AddColumnsOf(front, front.bench.children[c], front.columns + block.Panel(q0).first, end,
                     front.columns, block);
      }
    }
  }

  /// target panel q (whose first row is row `first` of the front) −= the pivots of panels 0 … count−1 of the
  /// front, rows [r0, r1) of the target panel.
  void UpdatePanel(const Front& front, int count, double* target, const PanelShape& shape, int first, int r0,
                   int r1, kernels::Target kind, kernels::Workspace& work) {
    const double* pivot = m_factor.pivot.data() + m_a.tree.firstColumn[front.s];
    for (int p = 0; p < count; ++p) {
      const PanelShape& from = front.bench.pivots.Panel(p);
      const double* rows = front.bench.pivots.Address(p) + (first - from.first);
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

  bool FactorPivots(const Front& front) {
    double* pivot = m_factor.pivot.data() + m_a.tree.firstColumn[front.s];
    for (int q = 0; q < front.bench.pivots.Panels(); ++q) {
      const PanelShape& shape = front.bench.pivots.Panel(q);
      if (q > 0) {
        const int tiles = front.shared ? Tiles(shape) : 1;
        m_crew.ForPieces(tiles, front.worker, [&](int tile, int w) {
          const int r0 = tile * kTileRows;
          const int r1 = tiles == 1 ? shape.rows : std::min(shape.rows, r0 + kTileRows);
          UpdatePanel(front, q, front.bench.pivots.Address(q), shape, shape.first, r0, r1,
                      kernels::Target::Filled, m_bench[w].work);
        });
      }
      if (!kernels::FactorFront(front.bench.pivots.Address(q), shape.stride, shape.rows, shape.width,
                                pivot + shape.first, m_rule, m_a.tree.firstColumn[front.s] + shape.first,
                                front.bench.stats, front.bench.work)) {
        return false;
      }
    }
    return true;
  }

  void UpdateBlock(const Front& front, int q0, int q1) {
    const Trapezoid& block = front.bench.block;
    const int count = front.bench.pivots.Panels();
    if (!front.shared) {
      for (int q = q0; q < q1; ++q) {
        const PanelShape& shape = block.Panel(q);
        UpdatePanel(front, count, block.Address(q), shape, front.columns + shape.first, 0, shape.rows,
                    kernels::Target::Fresh, front.bench.work);
      }
      return;
    }
    std::vector<std::pair<int, int>> tiles;  // (panel, tile of rows)
    for (int q = q0; q < q1; ++q) {
      for (int t = 0; t < Tiles(block.Panel(q)); ++t) tiles.emplace_back(q, t);
    }
    m_crew.ForPieces(static_cast<int>(tiles.size()), front.worker, [&](int piece, int w) {
      const int q = tiles[piece].first;
      const PanelShape& shape = block.Panel(q);
      const int r0 = tiles[piece].second * kTileRows, r1 = std::min(shape.rows, r0 + kTileRows);
      UpdatePanel(front, count, block.Address(q), shape, front.columns + shape.first, r0, r1,
                  kernels::Target::Fresh, m_bench[w].work);
    });
  }

  const LdltAnalysis& m_a;
  const double* m_value;
  LdltFactor& m_factor;
  kernels::PivotRule m_rule;
  TaskCrew m_crew;
  std::vector<Bench> m_bench;
  std::vector<std::vector<math::LargeArray>>
      m_block;  ///< contribution blocks by supernode, from elimination until added
};

}  // namespace

kernels::PivotStats EliminateFronts(const double* value, PivotMode mode, double threshold, int threads,
                                    LdltFactor& factor) {
  return Multifrontal(*factor.analysis, value, mode, threshold, threads, factor).Run();
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
