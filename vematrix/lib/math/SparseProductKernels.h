#pragma once
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
void panel8Avx512(const LowerCsc& A, const double* X, double* Y);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
