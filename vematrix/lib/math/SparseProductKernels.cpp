#include "../math/SparseProductKernels.h"

#include <algorithm>
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

namespace {

constexpr int kLargestGroup = 3;

/// Whether column c + g holds the rows of column c from its g-th on.
bool continues(const LowerCsc& A, int c, int g) {
  const int length = A.end[c] - A.start[c] - g;
  if (c + g >= A.n || length <= 0 || A.end[c + g] - A.start[c + g] != length) return false;
  const int* rows = A.row + A.start[c] + g;
  return rows[0] == c + g && std::equal(rows, rows + length, A.row + A.start[c + g]);
}

}  // namespace

std::vector<int> columnGroups(const LowerCsc& A) {
  std::vector<int> groups;
  groups.reserve(std::size_t(A.n));
  for (int c = 0; c < A.n; c += groups.back()) {
    int size = 1;
    const bool startsOnDiagonal = A.end[c] > A.start[c] && A.row[A.start[c]] == c;
    while (startsOnDiagonal && size < kLargestGroup && continues(A, c, size)) ++size;
    const auto above = [c, size](int r) { return r < c + size; };
    if (size > 1 && std::any_of(A.row + A.start[c] + size, A.row + A.end[c], above)) size = 1;
    groups.push_back(size);
  }
  return groups;
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
void panelAvx512(const LowerCsc&, const std::vector<int>&, int, const double*, double*) {}  // never called
void packPanelAvx512(int, int, int, const double*, std::ptrdiff_t, double*) {}
void unpackPanelAvx512(int, int, int, const double*, double*, std::ptrdiff_t) {}

#endif

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
