// Products C −= A·D·Bᵀ built of register tiles. Included once by each instruction set's source file.
#pragma once
#include "KernelTable.h"
#include "TileKernels.inl"
namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

/// Strips of tileColumns rows of B, each strip p by p, scaled by D; the last strip is padded with zeros.
template <class S>
void PackColumns(const double* B, std::ptrdiff_t ldb, const double* D, int n, int k, double* packed) {
  constexpr int N = S::tileColumns;
  constexpr int perStrip = N / S::width;
  static_assert(N % S::width == 0, "strips are whole vectors");
  for (int j = 0; j < n; j += N) {
    for (int v = 0; v < perStrip; ++v) {
      const int first = j + v * S::width;
      const int lanes = n - first < 0 ? 0 : Least(n - first, S::width);
      const typename S::Mask mask = S::Lanes(0, lanes);
      double* out = packed + v * S::width;
      const double* in = B + first;
      for (int p = 0; p < k; ++p, out += N, in += ldb) {
        typename S::Reg r = lanes == S::width ? S::Load(in) : S::Load(in, mask);
        if (D) r = S::Mul(r, S::Broadcast(D[p]));
        S::Store(out, r);
      }
    }
    packed += static_cast<std::ptrdiff_t>(N) * k;
  }
}

/// Tiles of tileVectors·width rows of A, each tile p by p; the last one is padded with zeros.
template <class S>
void PackRows(const double* A, std::ptrdiff_t lda, int m, int k, double* packed) {
  constexpr int V = S::tileVectors, tileRows = V * S::width;
  for (int i = 0; i < m; i += tileRows) {
    const int rows = Least(m - i, tileRows);
    const double* in = A + i;
    if (rows == tileRows) {
      for (int p = 0; p < k; ++p, in += lda, packed += tileRows) {
        VEMATRIX_UNROLL
        for (int v = 0; v < V; ++v) S::Store(packed + v * S::width, S::Load(in + v * S::width));
      }
    } else {
      typename S::Mask mask[V];
      for (int v = 0; v < V; ++v) {
        const int lanes = rows - v * S::width;
        mask[v] = S::Lanes(0, lanes < 0 ? 0 : Least(lanes, S::width));
      }
      for (int p = 0; p < k; ++p, in += lda, packed += tileRows) {
        VEMATRIX_UNROLL
        for (int v = 0; v < V; ++v) S::Store(packed + v * S::width, S::Load(in + v * S::width, mask[v]));
      }
    }
  }
}

/// The part of a product that one call works on: rows × columns of C, triangular when lower is set: then row
/// i of C belongs to column i + 0 (c is the address of a diagonal entry) and only rows i ≥ j are computed.
struct ProductBlock {
  double* c;
  std::ptrdiff_t ldc;
  int rows, columns;
  bool lower;
  bool fresh;
};

/// Rows of A straight from the caller's array, tiles starting at the diagonal of each strip.
template <class S>
void MultiplyDirect(const ProductBlock& block, const double* A, std::ptrdiff_t lda, int k,
                    const double* packedB) {
  constexpr int N = S::tileColumns, tileRows = S::tileVectors * S::width;
  for (int j = 0; j < block.columns; j += N) {
    const int start = block.lower ? j : 0;
    for (int i = start; i < block.rows; i += tileRows) {
      const TileTarget tile{block.c + i + j * block.ldc,     block.ldc,
                            Least(block.rows - i, tileRows), Least(block.columns - j, N),
                            block.lower ? i - j : N,         block.fresh};
      SubtractTile<S>(tile, k, A + i, lda, false, packedB + static_cast<std::ptrdiff_t>(j) * k);
    }
  }
}

/// Rows of A packed block by block; tiles lie on a grid from row 0, the first of each strip is cut at the
/// diagonal.
template <class S>
void MultiplyPacked(const ProductBlock& block, const double* A, std::ptrdiff_t lda, int k,
                    const double* packedB, double* packedA) {
  constexpr int N = S::tileColumns, tileRows = S::tileVectors * S::width;
  static_assert(rowBlock % tileRows == 0 && N % S::width == 0, "tiles fill a block, strips start on vectors");
  for (int i0 = 0; i0 < block.rows; i0 += rowBlock) {
    const int blockRows = Least(block.rows - i0, rowBlock);
    PackRows<S>(A + i0, lda, blockRows, k, packedA);
    for (int j = 0; j < block.columns; j += N) {
      int i = block.lower && j > i0 ? j - i0 : 0;
      if (i >= blockRows) break;
      while (i < blockRows) {
        const int inTile = i % tileRows, rows = Least(blockRows - i, tileRows - inTile);
        const int row = i0 + i;
        const TileTarget tile{block.c + row + j * block.ldc, block.ldc,  rows, Least(block.columns - j, N),
                              block.lower ? row - j : N,     block.fresh};
        SubtractTile<S>(tile, k, packedA + static_cast<std::ptrdiff_t>(i - inTile) * k + inTile, tileRows,
                        true, packedB + static_cast<std::ptrdiff_t>(j) * k);
        i += rows;
      }
    }
  }
}

/// Whether packing the rows pays: it costs a pass over A and saves strided reads for every strip.
inline bool PackingPays(int rows, int columns, int k) {
  return rows >= 96 && columns >= 64 && k >= 48;
}

template <class S>
void MultiplyBlocked(ProductBlock block, const double* A, std::ptrdiff_t lda, const double* B,
                     std::ptrdiff_t ldb, const double* D, int k, double* scratch) {
  if (block.rows <= 0 || block.columns <= 0) return;
  const int depth = k < depthBlock ? k : depthBlock;
  double* packedA = scratch;
  double* packedB = scratch + static_cast<std::ptrdiff_t>(rowBlock) * depth;
  int p = 0;
  do {
    const int step = Least(k - p, depthBlock);
    const double* a = A + p * lda;
    PackColumns<S>(B + p * ldb, ldb, D ? D + p : D, block.columns, step, packedB);
    if (PackingPays(block.rows, block.columns, step))
      MultiplyPacked<S>(block, a, lda, step, packedB, packedA);
    else
      MultiplyDirect<S>(block, a, lda, step, packedB);
    block.fresh = false;
    p += step;
  } while (p < k);
}

template <class S>
void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, bool fresh, double* scratch) {
  const ProductBlock block{C + c0 + c0 * ldc, ldc, m - c0, c1 - c0, true, fresh};
  MultiplyBlocked<S>(block, L + c0, ldl, L + c0, ldl, D, k, scratch);
}

template <class S>
void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, bool fresh,
                     double* scratch) {
  const ProductBlock block{C, ldc, m, n, false, fresh};
  MultiplyBlocked<S>(block, A, lda, B, ldb, D, k, scratch);
}

}  // namespace
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
