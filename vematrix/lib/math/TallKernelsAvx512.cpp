#include "../math/TallKernels.h"

#include <algorithm>
#include <cstddef>
#include <vector>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {

#if defined(__x86_64__)

namespace {

#define VEMATRIX_UNROLL _Pragma("GCC unroll 8")
#define VEMATRIX_AVX512 __attribute__((target("avx512f")))

constexpr int kLanes = 8;
constexpr int kSlab = 32768;  // elements of X, and of T, that a Gram product keeps in the second-level cache
constexpr int kGramTile = 4;  // columns of X and of T whose products are summed side by side
constexpr int kStrip = 8;     // columns of Q, packed side by side
constexpr int kRowsAhead = 48;  // where the rows that a product needs next lie
constexpr int kTileRows = 3;    // vectors of rows of a product that are formed together

VEMATRIX_AVX512 inline __mmask8 firstLanes(int count) {
  return __mmask8((1u << count) - 1u);
}

VEMATRIX_AVX512 inline double sumOfLanes(__m512d v) {
  alignas(64) double lane[kLanes];
  _mm512_store_pd(lane, v);
  return ((lane[0] + lane[4]) + (lane[1] + lane[5])) + ((lane[2] + lane[6]) + (lane[3] + lane[7]));
}

/// sum(i, j) += X(:, i)·T(:, j) for one vector of rows.
template <int I, int J>
VEMATRIX_AVX512 inline __attribute__((always_inline)) void addProducts(__mmask8 lanes, const double* X,
                                                                       int ldx, const double* T, int ldt,
                                                                       __m512d (&sum)[I][J]) {
  __m512d x[I];
  VEMATRIX_UNROLL
  for (int i = 0; i < I; ++i) x[i] = _mm512_maskz_loadu_pd(lanes, X + std::ptrdiff_t(i) * ldx);
  VEMATRIX_UNROLL
  for (int j = 0; j < J; ++j) {
    const __m512d t = _mm512_maskz_loadu_pd(lanes, T + std::ptrdiff_t(j) * ldt);
    VEMATRIX_UNROLL
    for (int i = 0; i < I; ++i) sum[i][j] = _mm512_fmadd_pd(x[i], t, sum[i][j]);
  }
}

/// H(0..I, 0..J) += X(:, 0..I)ᵀ·T(:, 0..J)
template <int I, int J>
VEMATRIX_AVX512 void gramTile(int rows, const double* X, int ldx, const double* T, int ldt, double* H,
                              int ldh) {
  __m512d sum[I][J];
  VEMATRIX_UNROLL
  for (int i = 0; i < I; ++i) {
    VEMATRIX_UNROLL
    for (int j = 0; j < J; ++j) sum[i][j] = _mm512_setzero_pd();
  }
  int r = 0;
  for (; r + kLanes <= rows; r += kLanes) addProducts<I, J>(firstLanes(kLanes), X + r, ldx, T + r, ldt, sum);
  if (r < rows) addProducts<I, J>(firstLanes(rows - r), X + r, ldx, T + r, ldt, sum);
  VEMATRIX_UNROLL
  for (int i = 0; i < I; ++i) {
    VEMATRIX_UNROLL
    for (int j = 0; j < J; ++j) H[i + std::ptrdiff_t(j) * ldh] += sumOfLanes(sum[i][j]);
  }
}

using GramTile = void (*)(int, const double*, int, const double*, int, double*, int);

GramTile gramTileOf(int i, int j) {
  static const GramTile tiles[kGramTile][kGramTile] = {
      {gramTile<1, 1>, gramTile<1, 2>, gramTile<1, 3>, gramTile<1, 4>},
      {gramTile<2, 1>, gramTile<2, 2>, gramTile<2, 3>, gramTile<2, 4>},
      {gramTile<3, 1>, gramTile<3, 2>, gramTile<3, 3>, gramTile<3, 4>},
      {gramTile<4, 1>, gramTile<4, 2>, gramTile<4, 3>, gramTile<4, 4>}};
  return tiles[i - 1][j - 1];
}

/// V vectors of rows (the last one's lanes given) times a strip of N packed columns, of which `columns`
/// count.
template <int V, int N>
VEMATRIX_AVX512 void productTile(int k, const double* X, int ldx, const double* strip, int columns,
                                 __mmask8 lanes, double* R, int ldr) {
  __m512d sum[N][V];
  VEMATRIX_UNROLL
  for (int j = 0; j < N; ++j) {
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) sum[j][v] = _mm512_setzero_pd();
  }
  for (int q = 0; q < k; ++q, X += ldx, strip += N) {
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      _mm_prefetch(reinterpret_cast<const char*>(X + kRowsAhead + v * kLanes), _MM_HINT_T0);
    __m512d x[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      x[v] = v == V - 1 ? _mm512_maskz_loadu_pd(lanes, X + v * kLanes) : _mm512_loadu_pd(X + v * kLanes);
    VEMATRIX_UNROLL
    for (int j = 0; j < N; ++j) {
      const __m512d scalar = _mm512_set1_pd(strip[j]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) sum[j][v] = _mm512_fmadd_pd(scalar, x[v], sum[j][v]);
    }
  }
  VEMATRIX_UNROLL
  for (int j = 0; j < N; ++j) {
    if (j >= columns) break;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      double* to = R + std::ptrdiff_t(j) * ldr + v * kLanes;
      if (v == V - 1)
        _mm512_mask_storeu_pd(to, lanes, sum[j][v]);
      else
        _mm512_storeu_pd(to, sum[j][v]);
    }
  }
}

/// Width of the strip for the next `columns` columns.
int stripWidth(int columns) {
  return columns > 4 ? kStrip : columns > 2 ? 4 : columns;
}

/// The columns of Q strip by strip, row by row within a strip; columns that are not there are zero.
std::vector<double> packStrips(int k, int m, const double* Q, int ldq) {
  std::vector<double> packed;
  packed.reserve(std::size_t(k) * (std::size_t(m) + kStrip));
  for (int first = 0; first < m;) {
    const int width = stripWidth(m - first);
    for (int q = 0; q < k; ++q)
      for (int j = first; j < first + width; ++j)
        packed.push_back(j < m ? Q[q + std::ptrdiff_t(j) * ldq] : 0.0);
    first += width;
  }
  return packed;
}

/// V vectors of rows, strip by strip.
template <int V>
void productRows(int k, int m, const double* X, int ldx, const double* packed, __mmask8 lanes, double* R,
                 int ldr) {
  for (int first = 0; first < m;) {
    const int width = stripWidth(m - first), columns = std::min(width, m - first);
    double* to = R + std::ptrdiff_t(first) * ldr;
    if (width == kStrip)
      productTile<V, kStrip>(k, X, ldx, packed, columns, lanes, to, ldr);
    else if (width == 4)
      productTile<V, 4>(k, X, ldx, packed, columns, lanes, to, ldr);
    else if (width == 2)
      productTile<V, 2>(k, X, ldx, packed, columns, lanes, to, ldr);
    else
      productTile<V, 1>(k, X, ldx, packed, columns, lanes, to, ldr);
    packed += std::ptrdiff_t(k) * width;
    first += width;
  }
}

/// Rows of a slab, whole vectors.
int slabRows(int k) {
  return std::max(4, std::min(kSlab / k / kLanes, 128)) * kLanes;
}

}  // namespace

void addGramAvx512(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh) {
  const int slab = slabRows(k);
  for (int r = 0; r < n; r += slab) {
    const int rows = std::min(slab, n - r);
    for (int j = 0; j < k; j += kGramTile) {
      for (int i = j; i < k; i += kGramTile)
        gramTileOf(std::min(kGramTile, k - i), std::min(kGramTile, k - j))(
            rows, X + r + std::ptrdiff_t(i) * ldx, ldx, T + r + std::ptrdiff_t(j) * ldt, ldt,
            H + i + std::ptrdiff_t(j) * ldh, ldh);
    }
  }
}

void productAvx512(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R,
                   int ldr) {
  const std::vector<double> packed = packStrips(k, m, Q, ldq);
  constexpr int tile = kTileRows * kLanes;
  int r = 0;
  for (; r + tile <= n; r += tile)
    productRows<kTileRows>(k, m, X + r, ldx, packed.data(), firstLanes(kLanes), R + r, ldr);
  for (; r < n; r += kLanes)
    productRows<1>(k, m, X + r, ldx, packed.data(), firstLanes(std::min(kLanes, n - r)), R + r, ldr);
}

#else

void addGramAvx512(int, int, const double*, int, const double*, int, double*, int) {}  // never called
void productAvx512(int, int, int, const double*, int, const double*, int, double*, int) {}

#endif

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
