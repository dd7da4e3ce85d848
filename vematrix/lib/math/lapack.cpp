#include "../math/lapack.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <vector>

#include "../math/parallel.h"
#include "../math/threads.h"
#ifdef VEMATRIX_MATH_MKL
#include <mkl_lapacke.h>
#else
#include <lapacke.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

/// A small problem is solved on the calling thread: threads of the math library would take longer to start,
/// and then wait spinning on processors that the caller's own threads want.
class FewThreads {
public:
  explicit FewThreads(int rows, int columns)
      : m_threads(std::size_t(std::max(rows, 0)) * std::size_t(std::max(columns, 0)) < kParallelPays ? 1
                                                                                                     : 0) {}

private:
  LocalThreads m_threads;
};

/// LAPACK gives up on a NaN before it fills the pivots: whatever is not a permutation of 1…n becomes the
/// identity.
void guardPivots(int n, int* pivots) {
  std::vector<char> seen(n, 0);
  for (int j = 0; j < n; ++j) {
    const bool valid = pivots[j] >= 1 && pivots[j] <= n && !seen[pivots[j] - 1];
    if (!valid) {
      std::iota(pivots, pivots + n, 1);
      return;
    }
    seen[pivots[j] - 1] = 1;
  }
}

}  // namespace

int dsyevd(int n, double* A, int lda, double* w) {
  RequireLibrary();
  const FewThreads threads(n, n);
  return LAPACKE_dsyevd(LAPACK_COL_MAJOR, 'V', 'L', n, A, std::max(lda, 1), w);
}

int dsyevr(int n, double* A, int lda, double abstol, int& m, double* w, double* Z, int ldz) {
  std::vector<int> support(2 * std::max(n, 1));
  RequireLibrary();
  const FewThreads threads(n, n);
  return LAPACKE_dsyevr(LAPACK_COL_MAJOR, 'V', 'A', 'L', n, A, std::max(lda, 1), 0.0, 0.0, 0, 0, abstol, &m,
                        w, Z, std::max(ldz, 1), support.data());
}

int dsygv(int n, double* A, int lda, double* B, int ldb, double* w) {
  RequireLibrary();
  const FewThreads threads(n, n);
  return LAPACKE_dsygv(LAPACK_COL_MAJOR, 1, 'V', 'L', n, A, std::max(lda, 1), B, std::max(ldb, 1), w);
}

int dsygvd(int n, double* A, int lda, double* B, int ldb, double* w) {
  RequireLibrary();
  const FewThreads threads(n, n);
  return LAPACKE_dsygvd(LAPACK_COL_MAJOR, 1, 'V', 'L', n, A, std::max(lda, 1), B, std::max(ldb, 1), w);
}

int dpstrfUpper(int n, double* S, int lds, int* pivots, int& rank, double tol) {
  std::fill(pivots, pivots + n, 0);
  rank = 0;
  RequireLibrary();
  const FewThreads threads(n, n);
  const int info = LAPACKE_dpstrf(LAPACK_COL_MAJOR, 'U', n, S, std::max(lds, 1), pivots, &rank, tol);
  guardPivots(n, pivots);
  return info;
}

int dgeqrf(int m, int n, double* A, int lda, double* tau) {
  RequireLibrary();
  const FewThreads threads(m, n);
  return LAPACKE_dgeqrf(LAPACK_COL_MAJOR, m, n, A, std::max(lda, 1), tau);
}

int dorgqr(int m, int n, int k, double* A, int lda, const double* tau) {
  RequireLibrary();
  const FewThreads threads(m, n);
  return LAPACKE_dorgqr(LAPACK_COL_MAJOR, m, n, k, A, std::max(lda, 1), tau);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
