#include "../math/tall_products.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

#include "../math/TallKernels.h"
#include "../math/blas.h"
#include "../math/parallel.h"
#include "../math/threads.h"

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr int kPiece = 4096;  // rows

using PieceWork = std::function<void(int piece, int firstRow, int rows)>;

/// Pieces begin … end−1, halved as long as there are threads for the halves. The math library works on the
/// calling thread alone: threads of its own would wait spinning where ours want to go on.
void onThreads(int threads, int begin, int end, int n, int columns, const PieceWork& work) {
  if (threads < 2 || end - begin < 2) {
    const LocalThreads alone(1);
    for (int piece = begin; piece < end; ++piece)
      work(piece, piece * kPiece, std::min(kPiece, n - piece * kPiece));
    return;
  }
  const int middle = begin + (end - begin + 1) / 2;
  invokeBoth(
      std::size_t(middle - begin) * kPiece * std::size_t(columns),
      [&] { onThreads(threads - threads / 2, begin, middle, n, columns, work); },
      [&] { onThreads(threads / 2, middle, end, n, columns, work); });
}

int pieces(int n) {
  return n / kPiece + (n % kPiece != 0 ? 1 : 0);
}

void forPieces(int n, int columns, const PieceWork& work) {
  onThreads(GetMaxThreads(), 0, pieces(n), n, columns, work);
}

}  // namespace

void tallGram(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh) {
  tallGram(simdLevel(), n, k, X, ldx, T, ldt, H, ldh);
}

void tallGram(SimdLevel level, int n, int k, const double* X, int ldx, const double* T, int ldt, double* H,
              int ldh) {
  if (k <= 0) return;
  const std::size_t size = std::size_t(k) * std::size_t(k);
  std::vector<double> parts(std::size_t(std::max(1, pieces(n))) * size, 0.0);
  forPieces(n, k, [&](int piece, int first, int rows) {
    double* part = parts.data() + std::size_t(piece) * size;
    if (level == SimdLevel::Avx512)
      addGramAvx512(rows, k, X + first, ldx, T + first, ldt, part, k);
    else
      dgemmtLower(k, rows, 1.0, X + first, ldx, T + first, ldt, 0.0, part, k);
  });
  for (int j = 0; j < k; ++j) {
    for (int i = j; i < k; ++i) {
      double sum = 0.0;
      for (std::size_t at = std::size_t(i) + std::size_t(j) * std::size_t(k); at < parts.size(); at += size)
        sum += parts[at];
      H[i + std::ptrdiff_t(j) * ldh] = sum;
    }
  }
}

void tallProduct(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R,
                 int ldr) {
  tallProduct(simdLevel(), n, k, m, X, ldx, Q, ldq, R, ldr);
}

void tallProduct(SimdLevel level, int n, int k, int m, const double* X, int ldx, const double* Q, int ldq,
                 double* R, int ldr) {
  if (m <= 0) return;
  forPieces(n, std::max(k, m), [&](int, int first, int rows) {
    if (level == SimdLevel::Avx512)
      productAvx512(rows, k, m, X + first, ldx, Q, ldq, R + first, ldr);
    else
      dgemm(Transpose::No, Transpose::No, rows, m, k, 1.0, X + first, ldx, Q, ldq, 0.0, R + first, ldr);
  });
}

void tallDivide(int n, int k, const double* U, int ldu, double* X, int ldx) {
  forPieces(n, k, [&](int, int first, int rows) { dtrsmRightUpper(rows, k, U, ldu, X + first, ldx); });
}

void tallGramReference(int n, int k, const double* X, int ldx, const double* T, int ldt, double* H, int ldh) {
  for (int j = 0; j < k; ++j) {
    for (int i = j; i < k; ++i) {
      double sum = 0.0;
      for (int r = 0; r < n; ++r) sum += X[r + std::ptrdiff_t(i) * ldx] * T[r + std::ptrdiff_t(j) * ldt];
      H[i + std::ptrdiff_t(j) * ldh] = sum;
    }
  }
}

void tallProductReference(int n, int k, int m, const double* X, int ldx, const double* Q, int ldq, double* R,
                          int ldr) {
  for (int j = 0; j < m; ++j) {
    for (int r = 0; r < n; ++r) {
      double sum = 0.0;
      for (int q = 0; q < k; ++q) sum += X[r + std::ptrdiff_t(q) * ldx] * Q[q + std::ptrdiff_t(j) * ldq];
      R[r + std::ptrdiff_t(j) * ldr] = sum;
    }
  }
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
