#include "FrontKernels.h"

#include <algorithm>
#include <new>

namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {
constexpr std::size_t cacheLine = 64;
}

void PivotStats::Merge(const PivotStats& other) {
  if (other.minIndex >= 0 && (minIndex < 0 || other.minPivot < minPivot ||
                              (other.minPivot == minPivot && other.minIndex < minIndex)))
    minPivot = other.minPivot, minIndex = other.minIndex;
  if (other.maxIndex >= 0 && (maxIndex < 0 || other.maxPivot > maxPivot ||
                              (other.maxPivot == maxPivot && other.maxIndex < maxIndex)))
    maxPivot = other.maxPivot, maxIndex = other.maxIndex;
  numNegative += other.numNegative;
  suppressed.insert(suppressed.end(), other.suppressed.begin(), other.suppressed.end());
  std::sort(suppressed.begin(), suppressed.end());
  if (other.failure != PivotFailure::None &&
      (failure == PivotFailure::None || other.failureIndex < failureIndex)) {
    failure = other.failure;
    failureIndex = other.failureIndex;
    failureValue = other.failureValue;
  }
}

Workspace::~Workspace() {
  ::operator delete(m_data, std::align_val_t(cacheLine));
}

double* Workspace::Need(std::size_t count) {
  if (count > m_count) {
    auto* grown = static_cast<double*>(::operator new(count * sizeof(double), std::align_val_t(cacheLine)));
    ::operator delete(m_data, std::align_val_t(cacheLine));
    m_data = grown;
    m_count = count;
  }
  return m_data;
}

bool FactorFront(double* F, std::ptrdiff_t ldf, int m, int k, double* D, const PivotRule& rule,
                 int firstIndex, PivotStats& stats, Workspace&) {
  return reference::FactorFront(F, ldf, m, k, D, rule, firstIndex, stats);
}

void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, Workspace&, Target target) {
  reference::UpdateTrailing(L, ldl, D, m, k, C, ldc, c0, c1, target);
}

void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, Workspace&,
                     Target target) {
  reference::SubtractProduct(A, lda, B, ldb, D, m, n, k, C, ldc, target);
}

void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y) {
  reference::Forward(L, ldl, m, k, x, y);
}

void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
              const double* y) {
  reference::Backward(L, ldl, D, m, k, x, y);
}

void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes) {
  reference::ForwardBlock(L, ldl, m, k, X, ldx, Y, ldy, rows, lanes);
}

void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes) {
  reference::BackwardBlock(L, ldl, D, m, k, X, ldx, Y, ldy, rows, lanes);
}

KernelLevel BestKernelLevel() {
  return KernelLevel::Baseline;
}
KernelLevel ActiveKernelLevel() {
  return KernelLevel::Baseline;
}
bool SetKernelLevel(KernelLevel level) {
  return level == KernelLevel::Baseline;
}

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
