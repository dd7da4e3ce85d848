#pragma once
#include <cstdint>

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Stored columns of one supernode: panels of at most kPanelWidth pivots, one after the other. Panel p starts
/// with the row of its own first pivot.
struct PanelShape {
  int first;            ///< first pivot within the front
  int width;            ///< pivots
  int rows;             ///< rows of the front from `first` on
  int stride;           ///< leading dimension
  std::int64_t offset;  ///< within the supernode's storage
};

constexpr int kPanelWidth = 128;

/// Leading dimension that keeps columns of long panels aligned without wasting much on short ones.
inline int PanelStride(int rows) noexcept {
  return rows < 24 ? rows : (rows + 7) / 8 * 8;
}

inline int PanelCount(int columns) noexcept {
  return (columns + kPanelWidth - 1) / kPanelWidth;
}

/// Panel p of `columns` columns over `size` rows.
inline PanelShape PanelAt(int size, int columns, int p) noexcept {
  PanelShape shape{0, 0, size, 0, 0};
  for (int q = 0;; ++q) {
    shape.first = q * kPanelWidth;
    shape.width = columns - shape.first < kPanelWidth ? columns - shape.first : kPanelWidth;
    shape.rows = size - shape.first;
    shape.stride = PanelStride(shape.rows);
    if (q == p) return shape;
    shape.offset += static_cast<std::int64_t>(shape.stride) * shape.width;
  }
}

/// Doubles taken by all panels of `columns` columns over `size` rows, a multiple of 8.
inline std::int64_t PanelStorage(int size, int columns) noexcept {
  if (columns == 0) return 0;
  const PanelShape last = PanelAt(size, columns, PanelCount(columns) - 1);
  return (last.offset + static_cast<std::int64_t>(last.stride) * last.width + 7) / 8 * 8;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
