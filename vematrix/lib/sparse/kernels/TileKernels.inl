// Register tiles: the innermost loops that all kernels share. Included once by each instruction set's source
// file.
#pragma once
#include <cstddef>
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

#define VEMATRIX_UNROLL _Pragma("GCC unroll 8")

inline int Least(int a, int b) {
  return a < b ? a : b;
}

/// Asks for the cache line at p, which may lie anywhere.
inline void Prefetch(const double* p) {
  __builtin_prefetch(p, 0, 3);
}

/// In solves, L is read once and comes from memory. The processor sees the streams of tall columns by itself;
/// of short ones every line that is read asks for the one this many doubles further on, in the panels to come
/// (or before, where the sweep runs backwards): they follow one another in memory.
constexpr std::ptrdiff_t streamAhead = 1024;

/// acc(v, j) ← Σ a(v, p)·b(j, p) over p = 0 … k−1, in that order: the one sum of every product kernel.
/// @param a  vectors of V·width rows, stride sa from p to p+1;  @param b  N scalars, stride sb
/// @param tail  lanes of the last vector that may be read (Tail only)
template <class S, int V, int N, bool Tail>
inline __attribute__((always_inline)) void Accumulate(int k, const double* a, std::ptrdiff_t sa,
                                                      const double* b, std::ptrdiff_t sb,
                                                      typename S::Mask tail, typename S::Reg (&acc)[V][N]) {
  VEMATRIX_UNROLL
  for (int v = 0; v < V; ++v) {
    VEMATRIX_UNROLL
    for (int j = 0; j < N; ++j) acc[v][j] = S::Zero();
  }
  for (int p = 0; p < k; ++p) {
    typename S::Reg rows[V];
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      rows[v] = Tail && v == V - 1 ? S::Load(a + v * S::width, tail) : S::Load(a + v * S::width);
    VEMATRIX_UNROLL
    for (int j = 0; j < N; ++j) {
      const typename S::Reg scalar = S::Broadcast(b[j]);
      VEMATRIX_UNROLL
      for (int v = 0; v < V; ++v) acc[v][j] = S::MulAdd(rows[v], scalar, acc[v][j]);
    }
    a += sa;
    b += sb;
  }
}

/// A tile of C: its address, how much of it exists, and where the diagonal passes.
struct TileTarget {
  double* c;
  std::ptrdiff_t ldc;
  int rows;     // ≤ V·width
  int columns;  // ≤ tileColumns
  int diagonal;  // rows i ≥ j − diagonal of column j are written: 0 for a tile on the diagonal, large for one
                 // below
  bool fresh;
};

/// Depth from which the lines of C are asked for before the sum begins, so that they are there when it ends.
constexpr int prefetchDepth = 24;

/// Asks for all lines of a tile of C that is to be changed.
template <int rows>
inline void PrefetchTile(const TileTarget& t) {
  for (int j = 0; j < t.columns; ++j) {
    const double* c = t.c + j * t.ldc;
    for (int i = 0; i < rows; i += 8) __builtin_prefetch(c + i, 1, 3);
    __builtin_prefetch(c + rows - 1, 1, 3);
  }
}

/// C −= tile where all of it exists below the diagonal.
template <class S, int V, int N>
inline __attribute__((always_inline)) void SubtractWhole(const TileTarget& t,
                                                         const typename S::Reg (&acc)[V][N]) {
  VEMATRIX_UNROLL
  for (int j = 0; j < N; ++j) {
    double* c = t.c + j * t.ldc;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v)
      S::Store(c + v * S::width, S::Sub(t.fresh ? S::Zero() : S::Load(c + v * S::width), acc[v][j]));
  }
}

/// C −= tile at the edges of C or across its diagonal.
template <class S, int V, int N>
inline __attribute__((always_inline)) void SubtractPart(const TileTarget& t,
                                                        const typename S::Reg (&acc)[V][N]) {
  VEMATRIX_UNROLL
  for (int j = 0; j < N; ++j) {
    if (j >= t.columns) break;
    double* c = t.c + j * t.ldc;
    VEMATRIX_UNROLL
    for (int v = 0; v < V; ++v) {
      const int first = j - t.diagonal - v * S::width, last = t.rows - v * S::width;
      if (first >= S::width || last <= 0) continue;
      const typename S::Mask lanes = S::Lanes(first < 0 ? 0 : first, last > S::width ? S::width : last);
      const typename S::Reg old = t.fresh ? S::Zero() : S::Load(c + v * S::width, lanes);
      S::Store(c + v * S::width, S::Sub(old, acc[v][j]), lanes);
    }
  }
}

template <class S, int V>
inline void SubtractTile(const TileTarget& t, int k, const double* a, std::ptrdiff_t sa, bool padded,
                         const double* b) {
  constexpr int N = S::tileColumns;
  typename S::Reg acc[V][N];
  const bool whole = t.rows == V * S::width;
  if (k >= prefetchDepth) PrefetchTile<V * S::width>(t);
  if (whole || padded)
    Accumulate<S, V, N, false>(k, a, sa, b, N, S::Lanes(0, S::width), acc);
  else
    Accumulate<S, V, N, true>(k, a, sa, b, N, S::Lanes(0, t.rows - (V - 1) * S::width), acc);
  if (whole && t.columns == N && t.diagonal >= N - 1)
    SubtractWhole<S, V, N>(t, acc);
  else
    SubtractPart<S, V, N>(t, acc);
}

/// One tile of at most tileVectors·width rows; the height is rounded up to whole vectors.
/// @param a  rows of A with stride sa over p; padded: whole vectors may be read beyond t.rows
/// @param b  packed strip of B, tileColumns scalars for each p
template <class S>
void SubtractTile(const TileTarget& t, int k, const double* a, std::ptrdiff_t sa, bool padded,
                  const double* b) {
  static_assert(S::tileVectors == 3 || S::tileVectors == 6, "the cases below");
  const int vectors = (t.rows + S::width - 1) / S::width;
  if (S::tileVectors == 3) {
    if (vectors >= 3) return SubtractTile<S, 3>(t, k, a, sa, padded, b);
    if (vectors == 2) return SubtractTile<S, 2>(t, k, a, sa, padded, b);
    return SubtractTile<S, 1>(t, k, a, sa, padded, b);
  }
  if (vectors == 6) return SubtractTile<S, 6>(t, k, a, sa, padded, b);
  // Heights in between are rare at this level: one vector at a time.
  for (int v = 0; v < vectors; ++v) {
    TileTarget part = t;
    part.c += v * S::width;
    part.rows = Least(t.rows - v * S::width, S::width);
    part.diagonal += v * S::width;
    SubtractTile<S, 1>(part, k, a + v * S::width, sa, padded, b);
  }
}

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
