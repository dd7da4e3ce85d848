#pragma once
#include "../math/sparse_product.h"

/// \file
/// Products with tall blocks: n rows, a vector per column, far fewer columns than rows; all column-major,
/// `ld` the distance between the starts of two columns in doubles. The rows are cut into pieces of fixed
/// length which threads share out; sums over pieces are added in the order of the pieces, so that results do
/// not depend on the number of threads (math::GetMaxThreads at most). Sizes of zero do nothing.
namespace Vessa {
namespace Matrix {
namespace math {

/// The lower triangle (diagonal included) of H ← XᵀT, k × k, for X and T n × k whose product is known to be
/// symmetric; X and T may be the same. The strict upper triangle of H is left alone. Work: n·k² operations.
void tallGram(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh);

/// R ← X·Q for X n × k, Q k × m and R n × m, which overlaps neither. Work: 2·n·k·m operations.
void tallProduct(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R, int ldr);

/// X ← X·U⁻¹ by substitution for X n × k and the upper triangle U (k × k, its own diagonal); below the
/// diagonal U is not read. A zero on the diagonal divides by zero. Work: n·k² operations.
void tallDivide(int n, int k, const double* U, int ldu, double* X, int ldx);

/// The same with the instruction set chosen by the caller (one the processor runs): AVX-512 has kernels of
/// its own, the others go through BLAS.
void tallGram(SimdLevel level, int n, int k, const double* X, int ldx, const double* T, int ldt, double* H,
              int ldh);
void tallProduct(SimdLevel level, int n, int k, int m, const double* X, int ldx, const double* Q, int ldq,
                 double* R, int ldr);

/// The definitions: the sums of the formulas, straight from left to right.
void tallGramReference(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh);
void tallProductReference(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R,
                          int ldr);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
