#pragma once

/// \file
/// The dense products the library uses, over whichever CBLAS it was built with. All matrices are
/// column-major; `ld` is the distance between the starts of two neighbouring columns, in doubles. Sizes of
/// zero do nothing.
namespace Vessa {
namespace Matrix {
namespace math {

enum class Transpose { No, Yes };

/// C ← alpha·op(A)·op(B) + beta·C, with op(A) m × k, op(B) k × n and C m × n. With beta = 0 C need not be
/// set.
void dgemm(Transpose transA, Transpose transB, int m, int n, int k, double alpha, const double* A, int lda,
           const double* B, int ldb, double beta, double* C, int ldc);

/// The lower triangle (diagonal included) of C ← alpha·AᵀB + beta·C, for A and B k × n whose product is known
/// to be symmetric. The strict upper triangle of C (n × n) may be overwritten with anything inside diagonal
/// blocks of 32 columns, and is left alone elsewhere. Cost: k·n² multiply-adds, half of a full product.
void dgemmtLower(int n, int k, double alpha, const double* A, int lda, const double* B, int ldb, double beta,
                 double* C, int ldc);

/// B ← B·U⁻¹ for B m × n and the upper triangle U (n × n, its own diagonal); the strict lower triangle is not
/// read. A zero on the diagonal divides by zero, as in the textbook substitution.
void dtrsmRightUpper(int m, int n, const double* U, int ldu, double* B, int ldb);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
