#include "../math/blas.h"

#include <algorithm>
#include <cstddef>

#include "../math/threads.h"
#ifdef VEMATRIX_MATH_MKL
#include <mkl_cblas.h>
#else
#include <cblas.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

CBLAS_TRANSPOSE cblasTranspose(Transpose t) {
  return t == Transpose::Yes ? CblasTrans : CblasNoTrans;
}

}  // namespace

void dgemm(Transpose transA, Transpose transB, int m, int n, int k, double alpha, const double* A, int lda,
           const double* B, int ldb, double beta, double* C, int ldc) {
  if (m <= 0 || n <= 0) return;
  RequireLibrary();
  cblas_dgemm(CblasColMajor, cblasTranspose(transA), cblasTranspose(transB), m, n, k, alpha, A,
              std::max(lda, 1), B, std::max(ldb, 1), beta, C, std::max(ldc, 1));
}

void dgemmtLower(int n, int k, double alpha, const double* A, int lda, const double* B, int ldb, double beta,
                 double* C, int ldc) {
  if (n <= 0) return;
#ifdef VEMATRIX_MATH_MKL
  RequireLibrary();
  cblas_dgemmt(CblasColMajor, CblasLower, CblasTrans, CblasNoTrans, n, k, alpha, A, std::max(lda, 1), B,
               std::max(ldb, 1), beta, C, std::max(ldc, 1));
#else
  // Few CBLAS libraries have gemmt: full products over the rows at and below each block of columns.
  constexpr int kTriangleBlock = 32;
  for (int j = 0; j < n; j += kTriangleBlock) {
    const int columns = std::min(kTriangleBlock, n - j);
    dgemm(Transpose::Yes, Transpose::No, n - j, columns, k, alpha, A + std::ptrdiff_t(j) * lda, lda,
          B + std::ptrdiff_t(j) * ldb, ldb, beta, C + std::ptrdiff_t(j) * ldc + j, ldc);
  }
#endif
}

void dtrsmRightUpper(int m, int n, const double* U, int ldu, double* B, int ldb) {
  if (m <= 0 || n <= 0) return;
  RequireLibrary();
  cblas_dtrsm(CblasColMajor, CblasRight, CblasUpper, CblasNoTrans, CblasNonUnit, m, n, 1.0, U,
              std::max(ldu, 1), B, std::max(ldb, 1));
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
