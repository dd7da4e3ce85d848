#pragma once

/// \file
/// One piece of a tall product on one thread, in AVX-512 instructions; the arguments of tall_products.h. To
/// be called where simdLevel() is Avx512 only.
namespace Vessa {
namespace Matrix {
namespace math {

/// H += lower triangle of XᵀT; inside diagonal blocks of four columns entries above the diagonal change too.
void addGramAvx512(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh);

/// R ← X·Q.
void productAvx512(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R,
                   int ldr);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
