#pragma once
// The lower trapezoid of a front as panels of columns, and the adding of one front's block to another.
#include <cstdint>
#include <vector>
#include "../../sparse/analysis/LdltAnalysis.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Lower trapezoid of `columns` columns over `size` rows, in panels (PanelAt) that lie one after the other or
/// apart.
class Trapezoid {
public:
  Trapezoid() = default;
  /// All panels in one array.
  Trapezoid(double* data, int size, int columns) { Set(data, size, columns); }

  /// Shape only; Place gives the panels their memory. Keeps its own memory for the next shape.
  void SetShape(int size, int columns);
  void Set(double* data, int size, int columns);

  int Panels() const { return static_cast<int>(m_panel.size()); }
  const PanelShape& Panel(int p) const { return m_panel[p]; }
  void Place(int p, double* data) { m_address[p] = data; }
  /// Entry (first pivot of the panel, first pivot of the panel).
  double* Address(int p) const { return m_address[p]; }
  std::size_t Doubles(int p) const { return static_cast<std::size_t>(m_panel[p].stride) * m_panel[p].width; }
  /// Address such that [row] is the entry in that row of the front, row ≥ first pivot of the column's panel.
  double* Column(int c) const {
    const int p = c / kPanelWidth;
    return m_address[p] + static_cast<std::int64_t>(c - m_panel[p].first) * m_panel[p].stride -
           m_panel[p].first;
  }

private:
  std::vector<PanelShape> m_panel;
  std::vector<double*> m_address;
};

/// place[i] is the row of the parent's front (0-based) in which row i of the child's block lies.
/// @param parentColumns  first step and number of the parent's pivots
void FindPlaces(const int* childRow, int childRows, int firstColumn, int columns, const int* parentRow,
                int* place);

/// Where a child's rows lie in the parent: the places, and whether they come in long runs.
struct RowPlaces {
  std::vector<int> place;
  struct Run {
    int begin, end, target;
  };  ///< rows begin … end−1 go to target, target+1, …
  std::vector<Run> runs;
  bool longRuns = false;
  int split = 0;  ///< rows below split belong to the parent's pivots

  void Set(const int* childRow, int childRows, int firstColumn, int columns, const int* parentRow);
};

/// Adds columns [c0, c1) of a child's block to target; row place[i] − shift of target takes row i.
void AddColumns(const Trapezoid& child, int childRows, const RowPlaces& places, int c0, int c1, int shift,
                const Trapezoid& target);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
