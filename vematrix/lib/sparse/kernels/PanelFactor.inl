// LDLᵀ of a panel: recursion over columns, a diagonal block held in cache, rows below it solved tile by tile.
// Included once by each instruction set's source file.
#pragma once
#include "TrailingUpdate.inl"
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Columns that are factored without recursion; the diagonal block and a tile of rows stay in the first-level
/// cache.
constexpr int baseColumns = 32;

/// One base block: copies of its diagonal part in which all columns of a row can be had by one contiguous
/// read.
struct BaseBlock {
  alignas(
      64) double l[baseColumns * baseColumns];  // l[p·baseColumns + i] = L(i, p), rows beyond the block zero
  alignas(64) double w[baseColumns * baseColumns];  // L(i, p)·D(p)
  double* inverse;                                  // 1/D, 0.0 for a suppressed pivot
  int columns;
};

/// Tests one pivot as PivotRule says. Returns a PivotFailure; d is what D takes, inverse what multiplies the
/// column.
inline int JudgePivot(double p, int mode, double zeroStiff, double& d, double& inverse) {
  const double size = p < 0.0 ? -p : p;
  d = p;
  if (!(size <= 1.7976931348623157e308)) return 3;  // NaN or infinite
  if (mode == 0 && p <= 0.0) return 1;
  if (mode == 1 && size < zeroStiff) {
    d = 1.0;
    inverse = 0.0;
    return 0;
  }
  if (mode == 3 && size < zeroStiff)
    d = p < 0.0 ? -zeroStiff : zeroStiff;
  else if (p == 0.0)
    d = -1e-16;
  inverse = 1.0 / d;
  return 0;
}

/// Eliminates column Q of a width × width diagonal block held in registers (c[j]: rows of column j; lanes
/// above the diagonal hold numbers without meaning). Returns the failure of its pivot.
template <class S, int Q>
inline __attribute__((always_inline)) int EliminateColumn(typename S::Reg (&c)[S::width], int mode,
                                                          double zeroStiff, double* D, double* inverse,
                                                          typename S::Reg& l) {
  const typename S::Reg pivot = S::template Lane<Q>(c[Q]);
  const int failure = JudgePivot(S::First(pivot), mode, zeroStiff, D[Q], inverse[Q]);
  if (failure) return failure;
  l = S::Mul(c[Q], S::Broadcast(inverse[Q]));
  return 0;
}

/// c(j) −= l·c(j, Q) for the columns j > Q.
template <class S, int Q, int J>
inline __attribute__((always_inline)) void UpdateColumns(typename S::Reg (&c)[S::width], typename S::Reg l) {
  if constexpr (J < S::width) {
    c[J] = S::NegMulAdd(l, S::template Lane<J>(c[Q]), c[J]);
    UpdateColumns<S, Q, J + 1>(c, l);
  }
}

/// Columns Q … columns−1 of the block. Returns the failure; failed tells its column.
template <class S, int Q>
inline __attribute__((always_inline)) int EliminateColumns(typename S::Reg (&c)[S::width],
                                                           typename S::Reg (&l)[S::width], int columns,
                                                           int mode, double zeroStiff, double* D,
                                                           double* inverse, int& failed) {
  if constexpr (Q < S::width) {
    if (Q >= columns) return 0;
    if (const int failure = EliminateColumn<S, Q>(c, mode, zeroStiff, D, inverse, l[Q])) {
      failed = Q;
      return failure;
    }
    UpdateColumns<S, Q, Q + 1>(c, l[Q]);
    return EliminateColumns<S, Q + 1>(c, l, columns, mode, zeroStiff, D, inverse, failed);
  } else {
    return 0;
  }
}

/// Diagonal block of the columns j0 … j0+width−1 of a base block: update by the columns before, eliminate,
/// store.
template <class S>
int FactorDiagonal(BaseBlock& base, double* F, std::ptrdiff_t ldf, int j0, double* D, int mode,
                   double zeroStiff, int& failed, typename S::Reg& growth) {
  constexpr int W = S::width;
  const int columns = Least(base.columns - j0, W);
  typename S::Reg c[W], l[W];
  {
    typename S::Reg acc[1][W];
    Accumulate<S, 1, W, false>(j0, base.l + j0, baseColumns, base.w + j0, baseColumns, S::Lanes(0, W), acc);
    VEMATRIX_UNROLL
    for (int j = 0; j < W; ++j) {
      l[j] = S::Zero();
      c[j] =
          j < columns ? S::Sub(S::Load(F + j0 + (j0 + j) * ldf, S::Lanes(j, columns)), acc[0][j]) : S::Zero();
    }
  }
  const int failure =
      EliminateColumns<S, 0>(c, l, columns, mode, zeroStiff, D + j0, base.inverse + j0, failed);
  const int finished = failure ? failed : columns;
  for (int j = 0; j < finished; ++j) {
    const typename S::Mask below = S::Lanes(j + 1, columns);
    const typename S::Reg lower = S::Keep(l[j], below);
    const std::ptrdiff_t at = (j0 + j) * baseColumns + j0;
    growth = S::MaxAbs(growth, lower);
    S::Store(base.l + at, lower);
    S::Store(base.w + at, S::Keep(c[j], S::Lanes(j, columns)));
    double* out = F + j0 + (j0 + j) * ldf;
    S::Store(out, l[j], below);
    out[j] = 1.0;
  }
  failed += j0;
  return failure;
}

/// What one strip of rows below a diagonal block reads and writes.
template <class S>
struct StripRows {
  double* f;  // first row, column 0 of the base block
  std::ptrdiff_t ldf;
  int rows;      // ≤ tileVectors·width
  double* done;  // L of these rows for the columns before the strip, extended by the strip
  std::ptrdiff_t doneStride;
  double* unscaled;  // L·D of these rows in base.w, for rows of the diagonal block
};

/// Columns j0 … j0+N−1 of V vectors of rows below their diagonal block: X·D·L₁₁ᵀ = A for X, columns left to
/// right. Unscaled: L·D is kept too. @return the largest multipliers, lane by lane
template <class S, int V, bool Tail, bool Partial, bool Unscaled>
inline __attribute__((always_inline)) typename S::Reg SolveStrip(const BaseBlock& base, int j0, int columns,
                                                                 const StripRows<S>& strip) {
  constexpr int N = S::tileColumns, W = S::width;
  const typename S::Mask tail = S::Lanes(0, strip.rows - (V - 1) * W);
  typename S::Reg x[V][N], growth[V];
  Accumulate<S, V, N, false>(j0, strip.done, strip.doneStride, base.w + j0, baseColumns, tail, x);
  double* const first = strip.f + j0 * strip.ldf;
  VEMATRIX_UNROLL
  for (int j = 0; j < N; ++j) {
    if (Partial && j >= columns) break;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      const double* at = first + j * strip.ldf + v * W;
      x[v][j] = S::Sub(Tail && v == V - 1 ? S::Load(at, tail) : S::Load(at), x[v][j]);
    }
  }
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) growth[v] = S::Zero();
  const double* lower = base.l + j0 * baseColumns + j0;
  const double* inverse = base.inverse + j0;
  double* done = strip.done + j0 * strip.doneStride;
  double* unscaled = Unscaled ? strip.unscaled + j0 * baseColumns : nullptr;
  VEMATRIX_UNROLL
  for (int q = 0; q < N; ++q) {
    if (Partial && q >= columns) break;
    VEMATRIX_UNROLL
    for (int j = q + 1; j < N; ++j) {
      const typename S::Reg l = S::Broadcast(lower[q * baseColumns + j]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) x[v][j] = S::NegMulAdd(x[v][q], l, x[v][j]);
    }
    const typename S::Reg scale = S::Broadcast(inverse[q]);
    double* at = first + q * strip.ldf;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      const typename S::Reg l = S::Mul(x[v][q], scale);
      growth[v] = S::MaxAbs(growth[v], l);
      S::Store(done + q * strip.doneStride + v * W, l);
      if (Unscaled) S::Store(unscaled + q * baseColumns + v * W, x[v][q]);
      if (Tail && v == V - 1)
        S::Store(at + v * W, l, tail);
      else
        S::Store(at + v * W, l);
    }
  }
  VEMATRIX_UNROLL
  for (int v = 1; v < V; ++v) growth[0] = S::MaxAbs(growth[0], growth[v]);
  return growth[0];
}

template <class S, int V, bool Unscaled>
typename S::Reg SolveStrip(const BaseBlock& base, int j0, int limit, const StripRows<S>& strip) {
  constexpr int N = S::tileColumns;
  const int columns = limit - j0;
  const bool whole = strip.rows == V * S::width;
  if (columns >= N)
    return whole ? SolveStrip<S, V, false, false, Unscaled>(base, j0, N, strip)
                 : SolveStrip<S, V, true, false, Unscaled>(base, j0, N, strip);
  return whole ? SolveStrip<S, V, false, true, Unscaled>(base, j0, columns, strip)
               : SolveStrip<S, V, true, true, Unscaled>(base, j0, columns, strip);
}

/// One strip for any number of rows ≤ tileVectors·width.
template <class S, bool Unscaled>
typename S::Reg SolveStripRows(const BaseBlock& base, int j0, int limit, const StripRows<S>& strip) {
  constexpr int W = S::width, V = S::tileVectors;
  if (strip.rows > (V - 1) * W) return SolveStrip<S, V, Unscaled>(base, j0, limit, strip);
  if (V == 3 && strip.rows > W) return SolveStrip<S, 2, Unscaled>(base, j0, limit, strip);
  typename S::Reg growth = S::Zero();
  for (int i = 0; i < strip.rows; i += W) {
    const StripRows<S> part{strip.f + i,    strip.ldf,        Least(strip.rows - i, W),
                            strip.done + i, strip.doneStride, Unscaled ? strip.unscaled + i : nullptr};
    growth = S::MaxAbs(growth, SolveStrip<S, 1, Unscaled>(base, j0, limit, part));
  }
  return growth;
}

/// The first column < limit with a multiplier above the bound; −1 when there is none.
inline int FindGrowth(const double* F, std::ptrdiff_t ldf, int m, int limit, double& value) {
  for (int j = 0; j < limit; ++j)
    for (int i = j + 1; i < m; ++i) {
      value = F[i + j * ldf];
      if (value > 1e7 || value < -1e7) return j;
    }
  return -1;
}

/// Factors at most baseColumns columns.
template <class S>
PanelOutcome FactorBase(double* F, std::ptrdiff_t ldf, int m, int k, double* D, double* inverse, int mode,
                        double zeroStiff) {
  constexpr int W = S::width, N = S::tileColumns, tileRows = S::tileVectors * W;
  static_assert(W == N && baseColumns % N == 0, "a strip is as wide as a vector is long");
  BaseBlock base;
  base.inverse = inverse;
  base.columns = k;
  PanelOutcome outcome;
  typename S::Reg growth = S::Zero();
  int limit = k;
  for (int j0 = 0; j0 < limit; j0 += N) {
    outcome.failure = FactorDiagonal<S>(base, F, ldf, j0, D, mode, zeroStiff, outcome.column, growth);
    if (outcome.failure) {
      limit = outcome.column;
      outcome.value = D[limit];
    }
    for (int i = j0 + N; i < k && j0 < limit; i += tileRows)
      growth = S::MaxAbs(growth, SolveStripRows<S, true>(base, j0, limit,
                                                         {F + i, ldf, Least(k - i, tileRows), base.l + i,
                                                          baseColumns, base.w + i}));
  }
  alignas(64) double done[baseColumns * tileRows];
  for (int i = k; i < m; i += tileRows) {
    const StripRows<S> strip{F + i, ldf, Least(m - i, tileRows), done, tileRows, nullptr};
    for (int j0 = 0; j0 < limit; j0 += N)
      growth = S::MaxAbs(growth, SolveStripRows<S, false>(base, j0, limit, strip));
  }
  if (mode == 2 && S::Largest(growth) > 1e7) {
    outcome.failure = 2;
    outcome.column = FindGrowth(F, ldf, m, limit, outcome.value);
  }
  return outcome;
}

/// Halves the columns until they fit a base block: left half, its update of the right half, right half.
template <class S>
PanelOutcome FactorColumns(double* F, std::ptrdiff_t ldf, int m, int k, double* D, double* inverse, int mode,
                           double zeroStiff, double* scratch) {
  if (k <= baseColumns) return FactorBase<S>(F, ldf, m, k, D, inverse, mode, zeroStiff);
  const int left = RoundUp(k / 2, baseColumns);
  PanelOutcome outcome = FactorColumns<S>(F, ldf, m, left, D, inverse, mode, zeroStiff, scratch);
  if (outcome.failure) return outcome;
  double* right = F + left + left * ldf;
  UpdateTrailing<S>(F + left, ldf, D, m - left, left, right, ldf, 0, k - left, false, scratch);
  outcome =
      FactorColumns<S>(right, ldf, m - left, k - left, D + left, inverse + left, mode, zeroStiff, scratch);
  outcome.column += left;
  return outcome;
}

template <class S>
PanelOutcome FactorPanel(double* F, std::ptrdiff_t ldf, int m, int k, double* D, double* inverse, int mode,
                         double zeroStiff, double* scratch) {
  const PanelOutcome outcome = FactorColumns<S>(F, ldf, m, k, D, inverse, mode, zeroStiff, scratch);
  if (mode == 1 && !outcome.failure)
    for (int j = 0; j < k; ++j)
      if (inverse[j] == 0.0)
        for (int p = 0; p < j; ++p) F[j + p * ldf] = 0.0;
  return outcome;
}

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
