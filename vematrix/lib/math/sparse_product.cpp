#include "../math/sparse_product.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "../math/SparseProductKernels.h"
#include "../math/parallel.h"
#include "../math/threads.h"
#ifdef VEMATRIX_MATH_MKL
#include <mkl_spblas.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr int kPanel = 8;  // columns that one pass over the matrix serves

LowerCsc arraysOf(const Eigen::SparseMatrix<double, 0, int>& A, std::vector<int>& ends) {
  const int n = int(A.cols());
  const int* start = A.outerIndexPtr();
  if (A.isCompressed()) return {n, start, start + 1, A.innerIndexPtr(), A.valuePtr()};
  ends.resize(n);
  for (int c = 0; c < n; ++c) ends[c] = start[c] + A.innerNonZeroPtr()[c];
  return {n, start, ends.data(), A.innerIndexPtr(), A.valuePtr()};
}

#ifdef VEMATRIX_MATH_MKL
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
void mklSymProduct(const Eigen::SparseMatrix<double, 0, int>& A, const double* x, double* y) {
  const int n = int(A.cols());
  mkl_cspblas_dcsrsymv("U", &n, A.valuePtr(), A.outerIndexPtr(), A.innerIndexPtr(), x, y);
}
#pragma GCC diagnostic pop
#endif

/// The panel kernels want a row's vector entries side by side: panel(r, j) = X(r, j), zero beyond the last
/// column.
void packPanel(int n, int columns, int width, const double* X, int ldx, double* panel) {
  if (columns < width) std::fill(panel, panel + std::size_t(n) * width, 0.0);
  for (int j = 0; j < columns; ++j) {
    const double* x = X + std::ptrdiff_t(j) * ldx;
    for (int r = 0; r < n; ++r) panel[std::size_t(r) * width + j] = x[r];
  }
}

void unpackPanel(int n, int columns, int width, const double* panel, double* Y, int ldy) {
  for (int j = 0; j < columns; ++j) {
    double* y = Y + std::ptrdiff_t(j) * ldy;
    for (int r = 0; r < n; ++r) y[r] = panel[std::size_t(r) * width + j];
  }
}

using PanelKernel = void (*)(const LowerCsc& A, const double* X, double* Y);

PanelKernel panelKernel(SimdLevel level, int width) {
  const bool wide = width == kPanel;
  switch (level) {
    case SimdLevel::Avx512:
      return wide ? panel8Avx512 : panel4Avx2;
    case SimdLevel::Avx2:
      return wide ? panel8Avx2 : panel4Avx2;
    default:
      return wide ? panel8Baseline : panel4Baseline;
  }
}

}  // namespace

void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, const double* x, double* y) {
#ifdef VEMATRIX_MATH_MKL
  if (A.isCompressed()) {
    mklSymProduct(A, x, y);
    return;
  }
#endif
  std::vector<int> ends;
  symProductOwn(arraysOf(A, ends), x, y);
}

void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, int columns, const double* X, int ldx,
                double* Y, int ldy) {
  if (columns == 1) {
    symProduct(A, X, Y);
    return;
  }
  std::vector<int> ends;
  symProductOwn(arraysOf(A, ends), columns, X, ldx, Y, ldy);
}

void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
  Y.resize(X.rows(), X.cols());
  symProduct(A, int(X.cols()), X.data(), int(X.rows()), Y.data(), int(Y.rows()));
}

void symProductReference(const LowerCsc& A, int columns, const double* X, int ldx, double* Y, int ldy) {
  for (int j = 0; j < columns; ++j) {
    const double* x = X + std::ptrdiff_t(j) * ldx;
    double* y = Y + std::ptrdiff_t(j) * ldy;
    std::fill(y, y + A.n, 0.0);
    for (int c = 0; c < A.n; ++c) {
      for (int k = A.start[c]; k < A.end[c]; ++k) {
        const int r = A.row[k];
        if (r < c) continue;
        y[r] += A.value[k] * x[c];
        if (r != c) y[c] += A.value[k] * x[r];
      }
    }
  }
}

void symProductOwn(const LowerCsc& A, const double* x, double* y) {
  std::fill(y, y + A.n, 0.0);
  for (int c = 0; c < A.n; ++c) {
    const double xc = x[c];
    double sum = 0.0;
    for (int k = A.start[c]; k < A.end[c]; ++k) {
      const int r = A.row[k];
      if (r > c) {
        y[r] += A.value[k] * xc;
        sum += A.value[k] * x[r];
      } else if (r == c) {
        sum += A.value[k] * xc;
      }
    }
    y[c] += sum;
  }
}

namespace {

/// Halves the columns, in whole panels, as long as there are threads for the halves.
void symProductThreads(int threads, SimdLevel level, const LowerCsc& A, int columns, const double* X, int ldx,
                       double* Y, int ldy) {
  const int first = (columns / kPanel + 1) / 2 * kPanel;
  if (threads < 2 || first >= columns) {
    symProductOwn(level, A, columns, X, ldx, Y, ldy);
    return;
  }
  invokeBoth(
      std::size_t(A.start[A.n]), [&] { symProductThreads(threads / 2, level, A, first, X, ldx, Y, ldy); },
      [&] {
        symProductThreads(threads - threads / 2, level, A, columns - first, X + std::ptrdiff_t(first) * ldx,
                          ldx, Y + std::ptrdiff_t(first) * ldy, ldy);
      });
}

}  // namespace

void symProductOwn(const LowerCsc& A, int columns, const double* X, int ldx, double* Y, int ldy) {
  if (A.n > 0) symProductThreads(GetMaxThreads(), simdLevel(), A, columns, X, ldx, Y, ldy);
}

void symProductOwn(SimdLevel level, const LowerCsc& A, int columns, const double* X, int ldx, double* Y,
                   int ldy) {
  std::vector<double> x, y;
  for (int first = 0; first < columns; first += kPanel) {
    const int count = std::min(kPanel, columns - first);
    const int width = count <= kPanel / 2 ? kPanel / 2 : kPanel;
    x.resize(std::size_t(A.n) * width);
    y.assign(std::size_t(A.n) * width, 0.0);
    packPanel(A.n, count, width, X + std::ptrdiff_t(first) * ldx, ldx, x.data());
    panelKernel(level, width)(A, x.data(), y.data());
    unpackPanel(A.n, count, width, y.data(), Y + std::ptrdiff_t(first) * ldy, ldy);
  }
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
