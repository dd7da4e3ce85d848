#pragma once
#include <immintrin.h>
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Four doubles in a 256-bit register, and the register tile that suits 16 of them.
struct Simd256 {
  static constexpr int width = 4;
  static constexpr int tileVectors = 3;
  static constexpr int tileColumns = 4;
  static constexpr int laneVectors = 2;
  using Reg = __m256d;
  using Mask = __m256i;

  static Reg Zero() { return _mm256_setzero_pd(); }
  static Reg Load(const double* p) { return _mm256_loadu_pd(p); }
  static Reg Load(const double* p, Mask m) { return _mm256_maskload_pd(p, m); }
  static void Store(double* p, Reg r) { _mm256_storeu_pd(p, r); }
  static void Store(double* p, Reg r, Mask m) { _mm256_maskstore_pd(p, m, r); }
  static Reg Broadcast(double x) { return _mm256_set1_pd(x); }
  static Reg Add(Reg a, Reg b) { return _mm256_add_pd(a, b); }
  static Reg Sub(Reg a, Reg b) { return _mm256_sub_pd(a, b); }
  static Reg Mul(Reg a, Reg b) { return _mm256_mul_pd(a, b); }
  static Reg Div(Reg a, Reg b) { return _mm256_div_pd(a, b); }
  static Reg MulAdd(Reg a, Reg b, Reg c) { return _mm256_fmadd_pd(a, b, c); }
  static Reg NegMulAdd(Reg a, Reg b, Reg c) { return _mm256_fnmadd_pd(a, b, c); }
  static Reg MaxAbs(Reg bound, Reg r) {
    return _mm256_max_pd(_mm256_andnot_pd(_mm256_set1_pd(-0.0), r), bound);
  }
  static Reg Keep(Reg r, Mask m) { return _mm256_and_pd(r, _mm256_castsi256_pd(m)); }
  static Mask Lanes(int from, int to) {
    const __m256i lane = _mm256_setr_epi64x(0, 1, 2, 3);
    return _mm256_and_si256(_mm256_cmpgt_epi64(_mm256_set1_epi64x(to), lane),
                            _mm256_cmpgt_epi64(lane, _mm256_set1_epi64x(from - 1)));
  }
  template <int J>
  static Reg Lane(Reg r) {
    return _mm256_permute4x64_pd(r, J * 0x55);
  }
  static double First(Reg r) { return _mm256_cvtsd_f64(r); }
  static double Sum(Reg r) {
    const __m128d half = _mm_add_pd(_mm256_castpd256_pd128(r), _mm256_extractf128_pd(r, 1));
    return _mm_cvtsd_f64(_mm_add_sd(half, _mm_unpackhi_pd(half, half)));
  }
  static double Largest(Reg r) {
    const __m128d half = _mm_max_pd(_mm256_castpd256_pd128(r), _mm256_extractf128_pd(r, 1));
    return _mm_cvtsd_f64(_mm_max_sd(half, _mm_unpackhi_pd(half, half)));
  }
};

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
