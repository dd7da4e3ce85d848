#include "../math/SparseProductKernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

#define VEMATRIX_UNROLL _Pragma("GCC unroll 8")
#define VEMATRIX_AVX512 __attribute__((target("avx512f")))

/// One column whose rows are its own; entries above the diagonal are skipped.
template <int V>
VEMATRIX_AVX512 void loneColumn(const LowerCsc& A, int c, const double* X, double* Y) {
  constexpr int W = 8 * V;
  __m512d x[V], sum[V];
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) {
    x[v] = _mm512_load_pd(X + std::size_t(c) * W + 8 * v);
    sum[v] = _mm512_load_pd(Y + std::size_t(c) * W + 8 * v);
  }
  for (int k = A.start[c]; k < A.end[c]; ++k) {
    const int r = A.row[k];
    if (r < c) continue;
    const __m512d a = _mm512_set1_pd(A.value[k]);
    const double* xr = X + std::size_t(r) * W;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) sum[v] = _mm512_fmadd_pd(a, _mm512_load_pd(xr + 8 * v), sum[v]);
    if (r == c) continue;
    double* yr = Y + std::size_t(r) * W;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      _mm512_store_pd(yr + 8 * v, _mm512_fmadd_pd(a, x[v], _mm512_load_pd(yr + 8 * v)));
  }
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) _mm512_store_pd(Y + std::size_t(c) * W + 8 * v, sum[v]);
}

/// The diagonal block of G columns: column g holds its rows g … G−1.
template <int V, int G>
VEMATRIX_AVX512 inline __attribute__((always_inline)) void diagonalBlock(const double* const (&value)[G],
                                                                         const __m512d (&x)[G][V],
                                                                         __m512d (&sum)[G][V]) {
  VEMATRIX_UNROLL
  for (int g = 0; g < G; ++g) {
    VEMATRIX_UNROLL
    for (int h = g; h < G; ++h) {
      const __m512d a = _mm512_set1_pd(value[g][h - g]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) {
        sum[g][v] = _mm512_fmadd_pd(a, x[h][v], sum[g][v]);
        if (h != g) sum[h][v] = _mm512_fmadd_pd(a, x[g][v], sum[h][v]);
      }
    }
  }
}

/// G columns that share the rows below their diagonal block: a row of X and of Y is fetched once for all of
/// them. Every sum has the order it has column by column.
template <int V, int G>
VEMATRIX_AVX512 void sharedColumns(const LowerCsc& A, int c, const double* X, double* Y) {
  constexpr int W = 8 * V;
  __m512d x[G][V], sum[G][V];
  const double* value[G];
  VEMATRIX_UNROLL
  for (int g = 0; g < G; ++g) {
    value[g] = A.value + A.start[c + g];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      x[g][v] = _mm512_load_pd(X + std::size_t(c + g) * W + 8 * v);
      sum[g][v] = _mm512_load_pd(Y + std::size_t(c + g) * W + 8 * v);
    }
  }
  diagonalBlock<V, G>(value, x, sum);
  VEMATRIX_UNROLL
  for (int g = 0; g < G; ++g) value[g] += G - g;
  const int* rows = A.row + A.start[c] + G;
  const int count = A.end[c] - A.start[c] - G;
  for (int t = 0; t < count; ++t) {
    const double* xr = X + std::size_t(rows[t]) * W;
    double* yr = Y + std::size_t(rows[t]) * W;
    __m512d xv[V], yv[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      xv[v] = _mm512_load_pd(xr + 8 * v);
      yv[v] = _mm512_load_pd(yr + 8 * v);
    }
    VEMATRIX_UNROLL
    for (int g = 0; g < G; ++g) {
      const __m512d a = _mm512_set1_pd(value[g][t]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) {
        sum[g][v] = _mm512_fmadd_pd(a, xv[v], sum[g][v]);
        yv[v] = _mm512_fmadd_pd(a, x[g][v], yv[v]);
      }
    }
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) _mm512_store_pd(yr + 8 * v, yv[v]);
  }
  VEMATRIX_UNROLL
  for (int g = 0; g < G; ++g) {
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) _mm512_store_pd(Y + std::size_t(c + g) * W + 8 * v, sum[g][v]);
  }
}

template <int V>
void panel(const LowerCsc& A, const std::vector<int>& groups, const double* X, double* Y) {
  int c = 0;
  for (const int size : groups) {
    if (size == 3)
      sharedColumns<V, 3>(A, c, X, Y);
    else if (size == 2)
      sharedColumns<V, 2>(A, c, X, Y);
    else
      loneColumn<V>(A, c, X, Y);
    c += size;
  }
}

}  // namespace

void panelAvx512(const LowerCsc& A, const std::vector<int>& groups, int vectors, const double* X, double* Y) {
  if (vectors == 1) return panel<1>(A, groups, X, Y);
  if (vectors == 2) return panel<2>(A, groups, X, Y);
  panel<3>(A, groups, X, Y);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa

#endif
