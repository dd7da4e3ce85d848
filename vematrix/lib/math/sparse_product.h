#pragma once
#include <Eigen/SparseCore>
#include <cstddef>

/// \file
/// Products of a sparse symmetric matrix with dense vectors. The matrix is column-compressed, 0-based; of
/// what it stores only the entries with row ≥ column take part, each strictly lower one acting on its row and
/// its column. Entries above the diagonal are ignored, stored or not.
namespace Vessa {
namespace Matrix {
namespace math {

/// The arrays of a column-compressed matrix: column c occupies positions [start[c], end[c]) of row and value;
/// start has n + 1 entries, the last one the room taken. In Eigen's uncompressed mode the columns have gaps,
/// end[c] ≤ start[c + 1].
struct LowerCsc {
  int n;
  const int* start;
  const int* end;
  const int* row;
  const double* value;
};

/// y ← A·x. x and y are n doubles and must not overlap. With MKL a compressed matrix goes through
/// mkl_cspblas_dcsrsymv, which reads the columns as the rows of an upper triangle; else our own kernel.
void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, const double* x, double* y);

/// Y ← A·X for n × columns blocks, column-major with leading dimensions ldx and ldy (≥ n); no overlap.
/// One pass over the matrix serves up to 24 columns. Work: 2·columns multiply-adds per stored strictly lower
/// entry.
void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, int columns, const double* X, int ldx,
                double* Y, int ldy);

/// Y ← A·X; Y is resized when its shape differs.
void symProduct(const Eigen::SparseMatrix<double, 0, int>& A, const Eigen::MatrixXd& X, Eigen::MatrixXd& Y);

/// The definition the others are held against: entry by entry, column by column, straight from the formula.
void symProductReference(const LowerCsc& A, int columns, const double* X, int ldx, double* Y, int ldy);

/// Our own kernels, y ← A·x and Y ← A·X, whatever library the build uses.
void symProductOwn(const LowerCsc& A, const double* x, double* y);
void symProductOwn(const LowerCsc& A, int columns, const double* X, int ldx, double* Y, int ldy);

/// Instruction sets our block kernel has a version for, slowest first.
enum class SimdLevel { Baseline, Avx2, Avx512 };

/// The fastest level this processor runs.
SimdLevel simdLevel();

/// symProductOwn on blocks, with threads and level chosen by the caller (a level the processor runs).
void symProductOwn(int threads, SimdLevel level, const LowerCsc& A, int columns, const double* X,
                   std::ptrdiff_t ldx, double* Y, std::ptrdiff_t ldy);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
