#pragma once
#include <Eigen/Core>

namespace Vessa {
namespace Matrix {
namespace math {

/// m.resize(rows, cols) that survives a failed allocation: std::bad_alloc leaves m empty. Eigen's own frees
/// first and keeps the freed pointer when the allocation throws, to free it again later; an empty matrix has
/// none to keep. The values are undefined after a change of the number of entries.
template <class Dense>
void Resize(Dense& m, Eigen::Index rows, Eigen::Index cols) {
  if (m.rows() == rows && m.cols() == cols) return;
  if (m.size() != rows * cols) Dense().swap(m);
  m.resize(rows, cols);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
