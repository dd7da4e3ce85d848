#include "../math/sparse_product.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <vector>

#include "../math/SparseProductKernels.h"
#include "../math/parallel.h"
#include "../math/resize.h"
#include "../math/threads.h"
#ifdef VEMATRIX_MATH_MKL
#include <mkl_spblas.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr int kPanel = 8;             // columns of a panel, or of one vector of a wide one
constexpr int kWidestPanel = 3;       // vectors
constexpr int kNarrowPanel = 4;       // columns of the panel for the last few
constexpr int kCachedTerms = 700000;  // stored terms that the last-level cache keeps beside the panels

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

constexpr int kSlab = 64;  // rows that are packed while they stay in the nearest cache

bool packsInVectors(SimdLevel level, int width) {
  return level == SimdLevel::Avx512 && width % kPanel == 0;
}

/// The panel kernels want a row's vector entries side by side: panel(r, j) = X(r, j), zero beyond the last
/// column.
void packPanel(SimdLevel level, int n, int columns, int width, const double* X, std::ptrdiff_t ldx,
               double* panel) {
  if (packsInVectors(level, width)) return packPanelAvx512(n, columns, width, X, ldx, panel);
  for (int first = 0; first < n; first += kSlab) {
    const int end = std::min(n, first + kSlab);
    double* slab = panel + std::size_t(first) * width;
    if (columns < width) std::fill(slab, panel + std::size_t(end) * width, 0.0);
    for (int j = 0; j < columns; ++j) {
      const double* x = X + std::ptrdiff_t(j) * ldx;
      for (int r = first; r < end; ++r) slab[std::size_t(r - first) * width + j] = x[r];
    }
  }
}

void unpackPanel(SimdLevel level, int n, int columns, int width, const double* panel, double* Y,
                 std::ptrdiff_t ldy) {
  if (packsInVectors(level, width)) return unpackPanelAvx512(n, columns, width, panel, Y, ldy);
  for (int first = 0; first < n; first += kSlab) {
    const int end = std::min(n, first + kSlab);
    const double* slab = panel + std::size_t(first) * width;
    for (int j = 0; j < columns; ++j) {
      double* y = Y + std::ptrdiff_t(j) * ldy;
      for (int r = first; r < end; ++r) y[r] = slab[std::size_t(r - first) * width + j];
    }
  }
}

/// Y += A·X for a panel of the given width; groups are needed by the widest instruction set only.
void multiplyPanel(SimdLevel level, const LowerCsc& A, const std::vector<int>& groups, int width,
                   const double* X, double* Y) {
  if (width == kNarrowPanel)
    return level == SimdLevel::Baseline ? panel4Baseline(A, X, Y) : panel4Avx2(A, X, Y);
  if (level == SimdLevel::Avx512) return panelAvx512(A, groups, width / kPanel, X, Y);
  return level == SimdLevel::Avx2 ? panel8Avx2(A, X, Y) : panel8Baseline(A, X, Y);
}

/// Width of the panel for the next `columns` columns. A matrix that stays in the caches is passed once for
/// every eight, because the panels stay there too; one that does not, as seldom as possible.
int panelWidth(SimdLevel level, const LowerCsc& A, int columns) {
  const bool grouped = level == SimdLevel::Avx512;
  if (columns <= (grouped ? kNarrowPanel / 2 : kNarrowPanel)) return kNarrowPanel;
  const bool wide = grouped && A.start[A.n] > kCachedTerms;
  return wide ? std::min((columns + kPanel - 1) / kPanel, kWidestPanel) * kPanel : kPanel;
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
  Resize(Y, X.rows(), X.cols());
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

/// Uninitialised doubles, 64-byte aligned, from the heap: memory that the next product gets again without the
/// system having to clear it.
class Scratch {
public:
  explicit Scratch(std::size_t count) : m_memory(new double[count + kLine]) {
    std::size_t room = (count + kLine) * sizeof(double);
    void* at = m_memory.get();
    m_data = static_cast<double*>(std::align(kLine * sizeof(double), count * sizeof(double), at, room));
  }
  double* Data() { return m_data; }

private:
  static constexpr std::size_t kLine = 8;  // doubles of a cache line
  std::unique_ptr<double[]> m_memory;
  double* m_data;
};

/// One thread's part: panel after panel.
void multiplyPanels(SimdLevel level, const LowerCsc& A, const std::vector<int>& groups, int columns,
                    const double* X, std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy) {
  const std::size_t size = std::size_t(A.n) * panelWidth(level, A, columns);
  Scratch x(size), y(size);
  for (int first = 0; first < columns;) {
    const int width = panelWidth(level, A, columns - first), count = std::min(width, columns - first);
    packPanel(level, A.n, count, width, X + std::ptrdiff_t(first) * ldx, ldx, x.Data());
    std::fill_n(y.Data(), std::size_t(A.n) * width, 0.0);
    multiplyPanel(level, A, groups, width, x.Data(), y.Data());
    unpackPanel(level, A.n, count, width, y.Data(), Y + std::ptrdiff_t(first) * ldy, ldy);
    first += count;
  }
}

/// Halves the columns, in whole panels, as long as there are threads for the halves.
void multiplyOnThreads(int threads, SimdLevel level, const LowerCsc& A, const std::vector<int>& groups,
                       int columns, const double* X, std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy) {
  const int first = (columns / kPanel + 1) / 2 * kPanel;
  if (threads < 2 || first >= columns) {
    multiplyPanels(level, A, groups, columns, X, ldx, Y, ldy);
    return;
  }
  invokeBoth(
      std::size_t(A.start[A.n]),
      [&] { multiplyOnThreads(threads / 2, level, A, groups, first, X, ldx, Y, ldy); },
      [&] {
        multiplyOnThreads(threads - threads / 2, level, A, groups, columns - first,
                          X + std::ptrdiff_t(first) * ldx, ldx, Y + std::ptrdiff_t(first) * ldy, ldy);
      });
}

}  // namespace

void symProductOwn(const LowerCsc& A, int columns, const double* X, int ldx, double* Y, int ldy) {
  symProductOwn(GetMaxThreads(), simdLevel(), A, columns, X, ldx, Y, ldy);
}

void symProductOwn(int threads, SimdLevel level, const LowerCsc& A, int columns, const double* X,
                   std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy) {
  if (A.n <= 0 || columns <= 0) return;
  const bool grouped = level == SimdLevel::Avx512;
  const std::vector<int> groups = grouped ? columnGroups(A) : std::vector<int>();
  multiplyOnThreads(threads, level, A, groups, columns, X, ldx, Y, ldy);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
