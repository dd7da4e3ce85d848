// Forward and backward substitution of a block of vectors with one panel. Included once by each instruction
// set's source file.
#pragma once
#include "TileKernels.inl"
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Rows of X that are multiplied at a time: with all their lanes they stay in the first-level cache.
constexpr int blockDepth = 128;

/// Row r of Y for the kernels below.
inline std::ptrdiff_t RowOf(const int* rows, int i) {
  return rows ? rows[i] : i;
}

/// Accumulate with b read from memory: asks for the line that is `ahead` doubles beyond each column's.
template <class S, int V, int N>
inline __attribute__((always_inline)) void AccumulateStream(int k, const double* a, std::ptrdiff_t sa,
                                                            const double* b, std::ptrdiff_t sb,
                                                            std::ptrdiff_t ahead,
                                                            typename S::Reg (&acc)[V][N]) {
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) {
    VEMATRIX_UNROLL
    for (int j = 0; j < N; ++j) acc[v][j] = S::Zero();
  }
  for (int p = 0; p < k; ++p, a += sa, b += sb) {
    Prefetch(b + ahead);
    typename S::Reg lanes[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) lanes[v] = S::Load(a + v * S::width);
    VEMATRIX_UNROLL
    for (int j = 0; j < N; ++j) {
      const typename S::Reg scalar = S::Broadcast(b[j]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) acc[v][j] = S::MulAdd(lanes[v], scalar, acc[v][j]);
    }
  }
}

/// How far ahead the block sweeps ask for L: down the same columns when the panel is large, else into the
/// next panels.
inline std::ptrdiff_t LinesAhead(std::ptrdiff_t ldl, int depth) {
  return ldl * depth > 8 * streamAhead ? 24 : streamAhead;
}

/// N rows: Y(rows[i], :) −= Σ L(i, p)·X(p, :) over depth values of p.
template <class S, int V, int N>
void SubtractRows(const double* L, std::ptrdiff_t ldl, int depth, const double* X, std::ptrdiff_t ldx,
                  double* Y, std::ptrdiff_t ldy, const int* rows, int i, std::ptrdiff_t ahead) {
  constexpr int W = S::width;
  typename S::Reg acc[V][N];
  AccumulateStream<S, V, N>(depth, X, ldx, L + i, ldl, ahead, acc);
  VEMATRIX_UNROLL
  for (int r = 0; r < N; ++r) {
    double* y = Y + RowOf(rows, i + r) * ldy;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) S::Store(y + v * W, S::Sub(S::Load(y + v * W), acc[v][r]));
  }
}

template <class S, int V>
void SubtractRows(int count, const double* L, std::ptrdiff_t ldl, int depth, const double* X,
                  std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy, const int* rows, int i,
                  std::ptrdiff_t ahead) {
  constexpr int N = S::tileColumns;
  if (count == N) return SubtractRows<S, V, N>(L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
  if (N > 4 && count >= 4) {
    SubtractRows<S, V, 4>(L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
    i += 4;
    count -= 4;
  }
  if (count == 3) return SubtractRows<S, V, 3>(L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
  if (count == 2) return SubtractRows<S, V, 2>(L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
  if (count == 1) return SubtractRows<S, V, 1>(L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
}

/// All rows 0 ≤ i < m: Y(rows[i], :) −= L(i, 0..depth)·X.
template <class S, int V>
void SubtractAllRows(const double* L, std::ptrdiff_t ldl, int m, int depth, const double* X,
                     std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy, const int* rows) {
  const std::ptrdiff_t ahead = LinesAhead(ldl, depth);
  for (int i = 0; i < m; i += S::tileColumns)
    SubtractRows<S, V>(Least(m - i, S::tileColumns), L, ldl, depth, X, ldx, Y, ldy, rows, i, ahead);
}

/// N columns of L against many rows: X(q, :) −= Σ L(i, q)·Y(rows[i], :) over i = 0 … m−1.
template <class S, int V, int N>
void SubtractDots(const double* L, std::ptrdiff_t ldl, int m, const double* Y, std::ptrdiff_t ldy,
                  const int* rows, double* X, std::ptrdiff_t ldx) {
  constexpr int W = S::width;
  typename S::Reg acc[V][N];
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) {
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) acc[v][q] = S::Zero();
  }
  for (int i = 0; i < m; ++i) {
    const double* y = Y + RowOf(rows, i) * ldy;
    typename S::Reg r[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) r[v] = S::Load(y + v * W);
    VEMATRIX_UNROLL
    for (int q = 0; q < N; ++q) {
      const typename S::Reg l = S::Broadcast(L[i + q * ldl]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) acc[v][q] = S::MulAdd(r[v], l, acc[v][q]);
    }
  }
  VEMATRIX_UNROLL
  for (int q = 0; q < N; ++q) {
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      S::Store(X + q * ldx + v * W, S::Sub(S::Load(X + q * ldx + v * W), acc[v][q]));
  }
}

template <class S, int V>
void SubtractDots(int count, const double* L, std::ptrdiff_t ldl, int m, const double* Y, std::ptrdiff_t ldy,
                  const int* rows, double* X, std::ptrdiff_t ldx) {
  constexpr int N = S::tileColumns;
  if (count == N) return SubtractDots<S, V, N>(L, ldl, m, Y, ldy, rows, X, ldx);
  if (N > 4 && count >= 4) {
    SubtractDots<S, V, 4>(L, ldl, m, Y, ldy, rows, X, ldx);
    L += 4 * ldl;
    X += 4 * ldx;
    count -= 4;
  }
  if (count == 3) return SubtractDots<S, V, 3>(L, ldl, m, Y, ldy, rows, X, ldx);
  if (count == 2) return SubtractDots<S, V, 2>(L, ldl, m, Y, ldy, rows, X, ldx);
  if (count == 1) return SubtractDots<S, V, 1>(L, ldl, m, Y, ldy, rows, X, ldx);
}

/// X ← L₁₁⁻¹·X for n ≤ tileColumns rows.
template <class S, int V>
void SolveDownSmall(const double* L, std::ptrdiff_t ldl, int n, double* X, std::ptrdiff_t ldx) {
  constexpr int W = S::width;
  for (int j = 1; j < n; ++j) {
    typename S::Reg x[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) x[v] = S::Load(X + j * ldx + v * W);
    for (int q = 0; q < j; ++q) {
      const typename S::Reg l = S::Broadcast(L[j + q * ldl]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) x[v] = S::NegMulAdd(S::Load(X + q * ldx + v * W), l, x[v]);
    }
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) S::Store(X + j * ldx + v * W, x[v]);
  }
}

/// X ← L₁₁⁻ᵀ·X for n ≤ tileColumns rows.
template <class S, int V>
void SolveUpSmall(const double* L, std::ptrdiff_t ldl, int n, double* X, std::ptrdiff_t ldx) {
  constexpr int W = S::width;
  for (int q = n - 2; q >= 0; --q) {
    typename S::Reg x[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) x[v] = S::Load(X + q * ldx + v * W);
    for (int j = n - 1; j > q; --j) {
      const typename S::Reg l = S::Broadcast(L[j + q * ldl]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) x[v] = S::NegMulAdd(S::Load(X + j * ldx + v * W), l, x[v]);
    }
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) S::Store(X + q * ldx + v * W, x[v]);
  }
}

/// V vectors of lanes: blocks of blockDepth columns, each solved strip by strip and then taken to all rows
/// below.
template <class S, int V>
void ForwardLanes(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows) {
  constexpr int N = S::tileColumns;
  for (int b = 0; b < k; b += blockDepth) {
    const int depth = Least(k - b, blockDepth);
    const double* block = L + b + b * ldl;
    double* x = X + b * ldx;
    for (int j = 0; j < depth; j += N) {
      const int columns = Least(depth - j, N);
      SubtractRows<S, V>(columns, block, ldl, j, x, ldx, x, ldx, nullptr, j, LinesAhead(ldl, depth));
      SolveDownSmall<S, V>(block + j + j * ldl, ldl, columns, x + j * ldx, ldx);
    }
    SubtractAllRows<S, V>(block + depth, ldl, k - b - depth, depth, x, ldx, x + depth * ldx, ldx, nullptr);
    SubtractAllRows<S, V>(block + (k - b), ldl, m - k, depth, x, ldx, Y, ldy, rows);
  }
}

template <class S, int V>
void BackwardLanes(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows) {
  constexpr int N = S::tileColumns, W = S::width;
  for (int j = k <= 0 ? -1 : (k - 1) / N * N; j >= 0; j -= N) {
    const int columns = Least(k - j, N);
    double* x = X + j * ldx;
    for (int q = 0; D && q < columns; ++q) {
      const typename S::Reg inverse = S::Broadcast(1.0 / D[j + q]);
      for (int v = 0; v < V; ++v)
        S::Store(x + q * ldx + v * W, S::Mul(S::Load(x + q * ldx + v * W), inverse));
    }
    SubtractDots<S, V>(columns, L + k + j * ldl, ldl, m - k, Y, ldy, rows, x, ldx);
    const int below = j + columns;
    SubtractDots<S, V>(columns, L + below + j * ldl, ldl, k - below, X + below * ldx, ldx, nullptr, x, ldx);
    SolveUpSmall<S, V>(L + j + j * ldl, ldl, columns, x, ldx);
  }
}

/// Vectors of lanes to take next when that many are left: the widest tile, without leaving a lone one behind
/// it.
template <class S>
int NextLaneVectors(int vectors) {
  if (S::laneVectors == 3 && vectors == 4) return 2;
  return Least(vectors, S::laneVectors);
}

template <class S>
void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes) {
  for (int left = lanes / S::width; left > 0;) {
    const int vectors = NextLaneVectors<S>(left);
    if (vectors == S::laneVectors)
      ForwardLanes<S, S::laneVectors>(L, ldl, m, k, X, ldx, Y, ldy, rows);
    else if (vectors == 2)
      ForwardLanes<S, 2>(L, ldl, m, k, X, ldx, Y, ldy, rows);
    else
      ForwardLanes<S, 1>(L, ldl, m, k, X, ldx, Y, ldy, rows);
    if (k > 0) X += vectors * S::width;  // what has no rows may be null
    if (m > k) Y += vectors * S::width;
    left -= vectors;
  }
}

template <class S>
void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes) {
  for (int left = lanes / S::width; left > 0;) {
    const int vectors = NextLaneVectors<S>(left);
    if (vectors == S::laneVectors)
      BackwardLanes<S, S::laneVectors>(L, ldl, D, m, k, X, ldx, Y, ldy, rows);
    else if (vectors == 2)
      BackwardLanes<S, 2>(L, ldl, D, m, k, X, ldx, Y, ldy, rows);
    else
      BackwardLanes<S, 1>(L, ldl, D, m, k, X, ldx, Y, ldy, rows);
    if (k > 0) X += vectors * S::width;  // what has no rows may be null
    if (m > k) Y += vectors * S::width;
    left -= vectors;
  }
}

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
