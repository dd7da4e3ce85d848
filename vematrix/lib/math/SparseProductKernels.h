#pragma once
#include <cstddef>
#include <vector>

#include "../math/sparse_product.h"

namespace Vessa {
namespace Matrix {
namespace math {

/// Y += A·X for panels of 4 or 8 vectors stored row by row: entry (r, j) at r·width + j. Each stored entry is
/// read once and used on its row and on its column. Y is zero on entry; entries above the diagonal are
/// skipped.
void panel4Baseline(const LowerCsc& A, const double* X, double* Y);
void panel8Baseline(const LowerCsc& A, const double* X, double* Y);
void panel4Avx2(const LowerCsc& A, const double* X, double* Y);
void panel8Avx2(const LowerCsc& A, const double* X, double* Y);

/// Sizes (1 to 3) of the groups into which the columns fall, from the left: the columns of a group hold the
/// same rows below their common diagonal block, as the dofs of a node do, and nothing above the diagonal.
std::vector<int> columnGroups(const LowerCsc& A);

/// The same for panels of 8·vectors columns (vectors 1 to 3), both 64-byte aligned; groups as above.
void panelAvx512(const LowerCsc& A, const std::vector<int>& groups, int vectors, const double* X, double* Y);

/// Between n × columns blocks (column-major, leading dimension ld) and such panels, 64-byte aligned and a
/// multiple of eight wide; panel columns without a counterpart become zero.
void packPanelAvx512(int n, int columns, int width, const double* X, std::ptrdiff_t ld, double* panel);
void unpackPanelAvx512(int n, int columns, int width, const double* panel, double* Y, std::ptrdiff_t ld);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
