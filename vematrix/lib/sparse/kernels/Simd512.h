#pragma once
#include <immintrin.h>
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Eight doubles in a 512-bit register, and the register tile that suits 32 of them.
struct Simd512 {
  static constexpr int width = 8;
  static constexpr int tileVectors = 3;  // tile of a product: 24 rows …
  static constexpr int tileColumns = 8;  // … by 8 columns
  static constexpr int laneVectors = 3;  // block solves: 24 lanes at a time
  using Reg = __m512d;
  using Mask = __mmask8;

  static Reg Zero() { return _mm512_setzero_pd(); }
  static Reg Load(const double* p) { return _mm512_loadu_pd(p); }
  static Reg Load(const double* p, Mask m) { return _mm512_maskz_loadu_pd(m, p); }
  static void Store(double* p, Reg r) { _mm512_storeu_pd(p, r); }
  static void Store(double* p, Reg r, Mask m) { _mm512_mask_storeu_pd(p, m, r); }
  static Reg Broadcast(double x) { return _mm512_set1_pd(x); }
  static Reg Add(Reg a, Reg b) { return _mm512_add_pd(a, b); }
  static Reg Sub(Reg a, Reg b) { return _mm512_sub_pd(a, b); }
  static Reg Mul(Reg a, Reg b) { return _mm512_mul_pd(a, b); }
  static Reg Div(Reg a, Reg b) { return _mm512_div_pd(a, b); }
  static Reg MulAdd(Reg a, Reg b, Reg c) { return _mm512_fmadd_pd(a, b, c); }      // a·b + c
  static Reg NegMulAdd(Reg a, Reg b, Reg c) { return _mm512_fnmadd_pd(a, b, c); }  // c − a·b
  static Reg MaxAbs(Reg bound, Reg r) {
    return _mm512_max_pd(_mm512_abs_pd(r), bound);
  }  // a NaN in r is skipped
  /// r in lanes of the mask, zero in the others.
  static Reg Keep(Reg r, Mask m) { return _mm512_maskz_mov_pd(m, r); }
  /// Lanes from ≤ lane < to, both within 0..width.
  static Mask Lanes(int from, int to) { return static_cast<Mask>(((1u << to) - 1u) & ~((1u << from) - 1u)); }
  /// Lane J in all lanes.
  template <int J>
  static Reg Lane(Reg r) {
    return _mm512_permutexvar_pd(_mm512_set1_epi64(J), r);
  }
  static double First(Reg r) { return _mm512_cvtsd_f64(r); }
  static double Sum(Reg r) { return _mm512_reduce_add_pd(r); }
  static double Largest(Reg r) { return _mm512_reduce_max_pd(r); }
};

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
