#include "../math/SparseProductKernels.h"

#if defined(__x86_64__)

#include <immintrin.h>

#include <algorithm>
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

namespace {

constexpr int kSide = 8;         // rows and columns that are transposed together
constexpr __mmask8 kAll = 0xff;  // g++ 12 warns of the intrinsics without a mask
constexpr int kSlab = 64;        // rows that are packed while they stay in the nearest cache

/// Transposes four times four pairs of doubles; row[k] is every second row of the result from its first on.
VEMATRIX_AVX512 inline __attribute__((always_inline)) void transposePairs(__m512d a, __m512d b, __m512d c,
                                                                          __m512d d, __m512d (&row)[4]) {
  const __m512d evenAb = _mm512_maskz_shuffle_f64x2(kAll, a, b, 0x88),
                oddAb = _mm512_maskz_shuffle_f64x2(kAll, a, b, 0xdd);
  const __m512d evenCd = _mm512_maskz_shuffle_f64x2(kAll, c, d, 0x88),
                oddCd = _mm512_maskz_shuffle_f64x2(kAll, c, d, 0xdd);
  row[0] = _mm512_maskz_shuffle_f64x2(kAll, evenAb, evenCd, 0x88);
  row[1] = _mm512_maskz_shuffle_f64x2(kAll, oddAb, oddCd, 0x88);
  row[2] = _mm512_maskz_shuffle_f64x2(kAll, evenAb, evenCd, 0xdd);
  row[3] = _mm512_maskz_shuffle_f64x2(kAll, oddAb, oddCd, 0xdd);
}

VEMATRIX_AVX512 inline __attribute__((always_inline)) void transpose(__m512d (&v)[kSide]) {
  __m512d low[4], high[4], even[4], odd[4];
  VEMATRIX_UNROLL
  for (int k = 0; k < 4; ++k) {
    low[k] = _mm512_maskz_unpacklo_pd(kAll, v[2 * k], v[2 * k + 1]);
    high[k] = _mm512_maskz_unpackhi_pd(kAll, v[2 * k], v[2 * k + 1]);
  }
  transposePairs(low[0], low[1], low[2], low[3], even);
  transposePairs(high[0], high[1], high[2], high[3], odd);
  VEMATRIX_UNROLL
  for (int k = 0; k < 4; ++k) {
    v[2 * k] = even[k];
    v[2 * k + 1] = odd[k];
  }
}

/// Up to eight rows of up to eight columns into a panel, or out of it.
VEMATRIX_AVX512 void packSquare(int rows, int columns, int width, const double* X, std::ptrdiff_t ld,
                                double* panel) {
  const __mmask8 lanes = __mmask8((1u << rows) - 1u);
  __m512d v[kSide];
  VEMATRIX_UNROLL
  for (int j = 0; j < kSide; ++j)
    v[j] = j < columns ? _mm512_maskz_loadu_pd(lanes, X + j * ld) : _mm512_setzero_pd();
  transpose(v);
  VEMATRIX_UNROLL
  for (int r = 0; r < kSide; ++r)
    if (r < rows) _mm512_store_pd(panel + std::ptrdiff_t(r) * width, v[r]);
}

VEMATRIX_AVX512 void unpackSquare(int rows, int columns, int width, const double* panel, double* Y,
                                  std::ptrdiff_t ld) {
  const __mmask8 lanes = __mmask8((1u << rows) - 1u);
  __m512d v[kSide];
  VEMATRIX_UNROLL
  for (int r = 0; r < kSide; ++r)
    v[r] = r < rows ? _mm512_load_pd(panel + std::ptrdiff_t(r) * width) : _mm512_setzero_pd();
  transpose(v);
  VEMATRIX_UNROLL
  for (int j = 0; j < kSide; ++j)
    if (j < columns) _mm512_mask_storeu_pd(Y + j * ld, lanes, v[j]);
}

/// Calls square(row, rows, column, columns) for squares that cover n rows and `width` columns of a panel, of
/// which `columns` count.
template <class Square>
void forSquares(int n, int columns, int width, const Square& square) {
  for (int slab = 0; slab < n; slab += kSlab)
    for (int c = 0; c < width; c += kSide)
      for (int r = slab; r < std::min(n, slab + kSlab); r += kSide)
        square(r, std::min(kSide, n - r), c, std::max(0, std::min(kSide, columns - c)));
}

}  // namespace

void packPanelAvx512(int n, int columns, int width, const double* X, std::ptrdiff_t ld, double* panel) {
  forSquares(n, columns, width, [&](int r, int rows, int c, int count) {
    packSquare(rows, count, width, X + c * ld + r, ld, panel + std::ptrdiff_t(r) * width + c);
  });
}

void unpackPanelAvx512(int n, int columns, int width, const double* panel, double* Y, std::ptrdiff_t ld) {
  forSquares(n, columns, width, [&](int r, int rows, int c, int count) {
    unpackSquare(rows, count, width, panel + std::ptrdiff_t(r) * width + c, Y + c * ld + r, ld);
  });
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa

#endif
