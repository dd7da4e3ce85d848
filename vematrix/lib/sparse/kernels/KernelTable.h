#pragma once
#include <cstddef>
/// The seam between the front kernels and their versions for each instruction set.
///
/// The versions are compiled from the same sources (*.inl) in one translation unit for each instruction set,
/// with that unit's own compiler flags. Such a unit must not emit code that others may link against, so it
/// includes no templates or inline functions of the standard library: only plain data crosses this seam.
namespace Vessa {
namespace Matrix {
namespace kernels {

/// How a panel factorisation ended.
struct PanelOutcome {
  int failure = 0;  ///< value of PivotFailure
  int column = -1;  ///< the failing column; those before it are finished
  double value = 0.0;
};

struct KernelTable {
  /// inverse: k values, 1/D, exactly 0.0 for suppressed pivots. scratch: ScratchForFactor(m, k) doubles.
  PanelOutcome (*factorPanel)(double* F, std::ptrdiff_t ldf, int m, int k, double* D, double* inverse,
                              int mode, double zeroStiff, double* scratch);
  /// scratch: ScratchForProduct(rows, columns, k) doubles, 64-byte aligned, here and below.
  void (*updateTrailing)(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                         std::ptrdiff_t ldc, int c0, int c1, bool fresh, double* scratch);
  void (*subtractProduct)(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                          const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, bool fresh,
                          double* scratch);
  void (*forward)(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y);
  void (*backward)(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
                   const double* y);
  void (*forwardBlock)(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx,
                       double* Y, std::ptrdiff_t ldy, const int* rows, int lanes);
  void (*backwardBlock)(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                        std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes);
};

/// Columns of k that are summed before C is touched: part of the definition of the rounding.
constexpr int depthBlock = 256;
/// Rows of A that are packed at a time; a multiple of every tile height.
constexpr int rowBlock = 192;
/// Widest column strip of any level: packed strips are padded to a multiple of it.
constexpr int widestStrip = 8;

constexpr int RoundUp(int value, int step) {
  return (value + step - 1) / step * step;
}

/// Doubles of scratch for a product with m rows, n columns, depth k: one packed block of A and all of B.
constexpr std::size_t ScratchForProduct(int n, int k) {
  return static_cast<std::size_t>(RoundUp(n, widestStrip) + rowBlock) *
         static_cast<std::size_t>(k < depthBlock ? k : depthBlock);
}

const KernelTable& BaselineKernels();
const KernelTable& Avx2Kernels();
const KernelTable& Avx512Kernels();

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
