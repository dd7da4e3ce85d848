#include "../math/SparseProductKernels.h"

#include <cstddef>
#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

template <int Width>
void panelBaseline(const LowerCsc& A, const double* X, double* Y) {
  for (int c = 0; c < A.n; ++c) {
    const double* xc = X + std::size_t(c) * Width;
    double sum[Width] = {};
    for (int k = A.start[c]; k < A.end[c]; ++k) {
      const int r = A.row[k];
      if (r < c) continue;
      const double a = A.value[k];
      const double* xr = X + std::size_t(r) * Width;
      for (int j = 0; j < Width; ++j) sum[j] += a * xr[j];
      if (r == c) continue;
      double* yr = Y + std::size_t(r) * Width;
      for (int j = 0; j < Width; ++j) yr[j] += a * xc[j];
    }
    double* yc = Y + std::size_t(c) * Width;
    for (int j = 0; j < Width; ++j) yc[j] += sum[j];
  }
}

}  // namespace

void panel4Baseline(const LowerCsc& A, const double* X, double* Y) {
  panelBaseline<4>(A, X, Y);
}
void panel8Baseline(const LowerCsc& A, const double* X, double* Y) {
  panelBaseline<8>(A, X, Y);
}

#if defined(__x86_64__)

SimdLevel simdLevel() {
  static const SimdLevel level = __builtin_cpu_supports("avx512f") ? SimdLevel::Avx512
                                 : __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")
                                     ? SimdLevel::Avx2
                                     : SimdLevel::Baseline;
  return level;
}

__attribute__((target("avx2,fma"))) void panel4Avx2(const LowerCsc& A, const double* X, double* Y) {
  for (int c = 0; c < A.n; ++c) {
    const __m256d xc = _mm256_loadu_pd(X + std::size_t(c) * 4);
    __m256d sum = _mm256_loadu_pd(Y + std::size_t(c) * 4);
    for (int k = A.start[c]; k < A.end[c]; ++k) {
      const int r = A.row[k];
      if (r < c) continue;
      const __m256d a = _mm256_broadcast_sd(A.value + k);
      sum = _mm256_fmadd_pd(a, _mm256_loadu_pd(X + std::size_t(r) * 4), sum);
      if (r == c) continue;
      double* yr = Y + std::size_t(r) * 4;
      _mm256_storeu_pd(yr, _mm256_fmadd_pd(a, xc, _mm256_loadu_pd(yr)));
    }
    _mm256_storeu_pd(Y + std::size_t(c) * 4, sum);
  }
}

__attribute__((target("avx2,fma"))) void panel8Avx2(const LowerCsc& A, const double* X, double* Y) {
  for (int c = 0; c < A.n; ++c) {
    const double* x = X + std::size_t(c) * 8;
    double* y = Y + std::size_t(c) * 8;
    const __m256d xc0 = _mm256_loadu_pd(x), xc1 = _mm256_loadu_pd(x + 4);
    __m256d sum0 = _mm256_loadu_pd(y), sum1 = _mm256_loadu_pd(y + 4);
    for (int k = A.start[c]; k < A.end[c]; ++k) {
      const int r = A.row[k];
      if (r < c) continue;
      const __m256d a = _mm256_broadcast_sd(A.value + k);
      const double* xr = X + std::size_t(r) * 8;
      sum0 = _mm256_fmadd_pd(a, _mm256_loadu_pd(xr), sum0);
      sum1 = _mm256_fmadd_pd(a, _mm256_loadu_pd(xr + 4), sum1);
      if (r == c) continue;
      double* yr = Y + std::size_t(r) * 8;
      _mm256_storeu_pd(yr, _mm256_fmadd_pd(a, xc0, _mm256_loadu_pd(yr)));
      _mm256_storeu_pd(yr + 4, _mm256_fmadd_pd(a, xc1, _mm256_loadu_pd(yr + 4)));
    }
    _mm256_storeu_pd(y, sum0);
    _mm256_storeu_pd(y + 4, sum1);
  }
}

__attribute__((target("avx512f"))) void panel8Avx512(const LowerCsc& A, const double* X, double* Y) {
  for (int c = 0; c < A.n; ++c) {
    const __m512d xc = _mm512_loadu_pd(X + std::size_t(c) * 8);
    __m512d sum = _mm512_loadu_pd(Y + std::size_t(c) * 8);
    for (int k = A.start[c]; k < A.end[c]; ++k) {
      const int r = A.row[k];
      if (r < c) continue;
      const __m512d a = _mm512_set1_pd(A.value[k]);
      sum = _mm512_fmadd_pd(a, _mm512_loadu_pd(X + std::size_t(r) * 8), sum);
      if (r == c) continue;
      double* yr = Y + std::size_t(r) * 8;
      _mm512_storeu_pd(yr, _mm512_fmadd_pd(a, xc, _mm512_loadu_pd(yr)));
    }
    _mm512_storeu_pd(Y + std::size_t(c) * 8, sum);
  }
}

#else

SimdLevel simdLevel() {
  return SimdLevel::Baseline;
}
void panel4Avx2(const LowerCsc& A, const double* X, double* Y) {
  panelBaseline<4>(A, X, Y);
}
void panel8Avx2(const LowerCsc& A, const double* X, double* Y) {
  panelBaseline<8>(A, X, Y);
}
void panel8Avx512(const LowerCsc& A, const double* X, double* Y) {
  panelBaseline<8>(A, X, Y);
}

#endif

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
