// Forward and backward substitution of one vector with one panel. Included once by each instruction set's
// source file.
#pragma once
#include "TileKernels.inl"
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Columns that a single-vector sweep reads side by side.
constexpr int sweepColumns = 8;

/// Leading dimension from which columns are tall.
constexpr std::ptrdiff_t tallColumn = 160;

/// z(i) ← z(i) ± Σ L(i, q)·x(q) over N columns, q rising. Fresh: z(i) is taken as zero.
template <class S, int N, bool Add, bool Fresh, bool Ahead>
inline void SweepDown(const double* L, std::ptrdiff_t ldl, int rows, const double* x, double* z) {
  constexpr int W = S::width;
  typename S::Reg scalar[N];
  VEMATRIX_UNROLL
  for (int q = 0; q < N; ++q) scalar[q] = S::Broadcast(x[q]);
  int i = 0;
  for (; i + W <= rows; i += W) {
    typename S::Reg r = Fresh ? S::Zero() : S::Load(z + i);
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) {
      const double* at = L + i + q * ldl;
      if (Ahead) Prefetch(at + streamAhead);
      const typename S::Reg l = S::Load(at);
      r = Add ? S::MulAdd(l, scalar[q], r) : S::NegMulAdd(l, scalar[q], r);
    }
    S::Store(z + i, r);
  }
  if (i < rows) {
    const typename S::Mask tail = S::Lanes(0, rows - i);
    typename S::Reg r = Fresh ? S::Zero() : S::Load(z + i, tail);
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) {
      const typename S::Reg l = S::Load(L + i + q * ldl, tail);
      r = Add ? S::MulAdd(l, scalar[q], r) : S::NegMulAdd(l, scalar[q], r);
    }
    S::Store(z + i, r, tail);
  }
}

/// sums(q) += Σ L(i, q)·z(i) lane by lane, i rising.
template <class S, int N, bool Ahead>
inline void SweepDots(const double* L, std::ptrdiff_t ldl, int rows, const double* z,
                      typename S::Reg (&sums)[N]) {
  constexpr int W = S::width;
  int i = 0;
  for (; i + W <= rows; i += W) {
    const typename S::Reg r = S::Load(z + i);
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) {
      const double* at = L + i + q * ldl;
      if (Ahead) Prefetch(at - streamAhead);
      sums[q] = S::MulAdd(S::Load(at), r, sums[q]);
    }
  }
  if (i < rows) {
    const typename S::Mask tail = S::Lanes(0, rows - i);
    const typename S::Reg r = S::Load(z + i, tail);
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) sums[q] = S::MulAdd(S::Load(L + i + q * ldl, tail), r, sums[q]);
  }
}

/// One group of N columns of a forward sweep; L is the address of its diagonal entry, x of its first value.
template <class S, int N, bool Ahead>
void ForwardGroup(const double* L, std::ptrdiff_t ldl, int below, int m, bool first, double* x, double* y) {
  for (int q = 0; q < N; ++q)
    for (int j = q + 1; j < N; ++j) x[j] -= L[j + q * ldl] * x[q];
  SweepDown<S, N, false, false, Ahead>(L + N, ldl, below, x, x + N);
  const double* rest = L + N + below;
  if (first)
    SweepDown<S, N, true, true, Ahead>(rest, ldl, m, x, y);
  else
    SweepDown<S, N, true, false, Ahead>(rest, ldl, m, x, y);
}

template <class S, int N, bool Ahead>
void BackwardGroup(const double* L, std::ptrdiff_t ldl, const double* D, int below, int m, double* x,
                   const double* y) {
  typename S::Reg sums[N];
  for (int q = 0; q < N; ++q) sums[q] = S::Zero();
  SweepDots<S, N, Ahead>(L + N + below, ldl, m, y, sums);
  SweepDots<S, N, Ahead>(L + N, ldl, below, x + N, sums);
  for (int q = N - 1; q >= 0; --q) {
    double value = (D ? x[q] / D[q] : x[q]) - S::Sum(sums[q]);
    for (int j = N - 1; j > q; --j) value -= L[j + q * ldl] * x[j];
    x[q] = value;
  }
}

/// The last `columns` ≤ N columns of a sweep may be fewer than a group.
template <class S, int N, bool Ahead>
void ForwardUpTo(int columns, const double* L, std::ptrdiff_t ldl, int below, int m, bool first, double* x,
                 double* y) {
  if (columns == N) return ForwardGroup<S, N, Ahead>(L, ldl, below, m, first, x, y);
  if constexpr (N > 1) ForwardUpTo<S, N - 1, Ahead>(columns, L, ldl, below, m, first, x, y);
}

template <class S, int N, bool Ahead>
void BackwardUpTo(int columns, const double* L, std::ptrdiff_t ldl, const double* D, int below, int m,
                  double* x, const double* y) {
  if (columns == N) return BackwardGroup<S, N, Ahead>(L, ldl, D, below, m, x, y);
  if constexpr (N > 1) BackwardUpTo<S, N - 1, Ahead>(columns, L, ldl, D, below, m, x, y);
}

template <class S, bool Ahead>
void SweepForward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y) {
  for (int j = 0; j < k; j += sweepColumns) {
    const int columns = Least(k - j, sweepColumns);
    ForwardUpTo<S, sweepColumns, Ahead>(columns, L + j + j * ldl, ldl, k - j - columns, m - k, j == 0, x + j,
                                        y);
  }
}

template <class S, bool Ahead>
void SweepBackward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
                   const double* y) {
  for (int j = (k - 1) / sweepColumns * sweepColumns; j >= 0; j -= sweepColumns) {
    const int columns = Least(k - j, sweepColumns);
    BackwardUpTo<S, sweepColumns, Ahead>(columns, L + j + j * ldl, ldl, D ? D + j : D, k - j - columns, m - k,
                                         x + j, y);
  }
}

template <class S>
void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y) {
  for (int i = 0; k <= 0 && i < m; ++i) y[i] = 0.0;
  if (ldl < tallColumn)
    SweepForward<S, true>(L, ldl, m, k, x, y);
  else
    SweepForward<S, false>(L, ldl, m, k, x, y);
}

template <class S>
void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
              const double* y) {
  if (k <= 0) return;
  if (ldl < tallColumn)
    SweepBackward<S, true>(L, ldl, D, m, k, x, y);
  else
    SweepBackward<S, false>(L, ldl, D, m, k, x, y);
}

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
