#pragma once

/// \file
/// The LAPACK routines of the eigensolvers, over whichever LAPACKE the library was built with. Matrices are
/// column-major. Every function returns LAPACKE's info: 0 success, −i for a bad i-th LAPACKE argument (a NaN
/// in a matrix argument counts as bad), positive as the routine documents.
namespace Vessa {
namespace Matrix {
namespace math {

/// All eigenvalues (ascending, in w) and orthonormal eigenvectors (overwriting A) of the symmetric n × n
/// matrix whose lower triangle is in A. Divide and conquer.
int dsyevd(int n, double* A, int lda, double* w);

/// The same by relatively robust representations: m receives the number of eigenvalues found (n), w their
/// values, ascending, Z (n × n) the eigenvectors. A is destroyed. `abstol` is the absolute tolerance of the
/// bisection.
int dsyevr(int n, double* A, int lda, double abstol, int& m, double* w, double* Z, int ldz);

/// A·z = w·B·z for symmetric A and positive definite B (lower triangles): w ascending, the vectors, with
/// ZᵀBZ = I, overwrite A; B receives its Cholesky factor. Info n + i: the leading minor i of B is not
/// positive.
int dsygv(int n, double* A, int lda, double* B, int ldb, double* w);

/// As dsygv, by divide and conquer.
int dsygvd(int n, double* A, int lda, double* B, int ldb, double* w);

/// Pivoted Cholesky PᵀSP = RᵀR of the positive semidefinite S (upper triangle read, R returned there).
/// pivots (n ints, 1-based): column j of R belongs to column pivots[j] − 1 of S. The factorisation stops,
/// with info 1 and the order reached in rank, at the first remaining diagonal not above `tol` (absolute).
/// pivots is a valid permutation on return whatever LAPACK did: the identity when it left them unset.
int dpstrfUpper(int n, double* S, int lds, int* pivots, int& rank, double tol);

/// Householder QR of A (m × n, m ≥ n): R above the diagonal, reflectors below it, their factors in tau (n).
int dgeqrf(int m, int n, double* A, int lda, double* tau);

/// Replaces the first k reflectors that dgeqrf left in A by the first n columns of Q (m ≥ n ≥ k).
int dorgqr(int m, int n, int k, double* A, int lda, const double* tau);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
