#include "Front.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {
namespace sparse {

void Trapezoid::SetShape(int size, int columns) {
  m_panel.clear();
  PanelShape next{0, 0, size, 0, 0};
  while (next.first < columns) {
    next.width = std::min(kPanelWidth, columns - next.first);
    next.rows = size - next.first;
    next.stride = PanelStride(next.rows);
    m_panel.push_back(next);
    next.offset += static_cast<std::int64_t>(next.stride) * next.width;
    next.first += next.width;
  }
  m_address.assign(m_panel.size(), nullptr);
}

void Trapezoid::Set(double* data, int size, int columns) {
  SetShape(size, columns);
  for (std::size_t p = 0; p < m_panel.size(); ++p) m_address[p] = data + m_panel[p].offset;
}

void FindPlaces(const int* childRow, int childRows, int firstColumn, int columns, const int* parentRow,
                int* place) {
  int i = 0;
  for (; i < childRows && childRow[i] < firstColumn + columns; ++i) place[i] = childRow[i] - firstColumn;
  for (int k = 0; i < childRows; ++i, ++k) {
    while (parentRow[k] != childRow[i]) ++k;
    place[i] = columns + k;
  }
}

void RowPlaces::Set(const int* childRow, int childRows, int firstColumn, int columns, const int* parentRow) {
  place.resize(childRows);
  FindPlaces(childRow, childRows, firstColumn, columns, parentRow, place.data());
  runs.clear();
  for (int i = 0; i < childRows;) {
    int end = i + 1;
    while (end < childRows && place[end] == place[end - 1] + 1) ++end;
    runs.push_back({i, end, place[i]});
    i = end;
  }
  longRuns = static_cast<std::size_t>(childRows) >= 12 * runs.size();
  split = static_cast<int>(std::lower_bound(place.begin(), place.end(), columns) - place.begin());
}

void AddColumns(const Trapezoid& child, int childRows, const RowPlaces& places, int c0, int c1, int shift,
                const Trapezoid& target) {
  const int* place = places.place.data();
  std::size_t run = 0;
  for (int c = c0; c < c1; ++c) {
    const double* from = child.Column(c);
    double* to = target.Column(place[c] - shift) - shift;
    if (!places.longRuns) {
      for (int i = c; i < childRows; ++i) to[place[i]] += from[i];
      continue;
    }
    while (places.runs[run].end <= c) ++run;
    for (std::size_t r = run; r < places.runs.size(); ++r) {
      const RowPlaces::Run& piece = places.runs[r];
      const int begin = std::max(piece.begin, c);
      double* t = to + piece.target + (begin - piece.begin);
      const double* f = from + begin;
      for (int i = 0; i < piece.end - begin; ++i) t[i] += f[i];
    }
  }
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
