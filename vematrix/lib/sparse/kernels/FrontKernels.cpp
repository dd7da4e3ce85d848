#include "FrontKernels.h"

#include <algorithm>
#include <new>

#include "KernelTable.h"

namespace Vessa {
namespace Matrix {
namespace kernels {
namespace {

constexpr std::size_t cacheLine = 64;

const KernelTable* TableOf(KernelLevel level) {
#ifdef VEMATRIX_X86_KERNELS
  if (level == KernelLevel::Avx512) return &Avx512Kernels();
  if (level == KernelLevel::Avx2) return &Avx2Kernels();
#else
  (void)level;
#endif
  return &BaselineKernels();
}

struct Choice {
  KernelLevel level = BestKernelLevel();
  const KernelTable* table = TableOf(level);
};

Choice& CurrentChoice() {
  static Choice choice;
  return choice;
}

const KernelTable* Active() {
  return CurrentChoice().table;
}

/// Counts and extremes of the pivots of a finished front. A pivot of exactly zeroPivotReplacement, or of the
/// threshold of Indefinite, is taken for a replaced one.
void RecordPivots(const double* D, const double* inverse, int k, const PivotRule& rule, int firstIndex,
                  PivotStats& stats) {
  const double raised = rule.mode == PivotRule::Indefinite && rule.zeroStiff > 0.0 ? rule.zeroStiff : -1.0;
  for (int j = 0; j < k; ++j) {
    if (inverse[j] == 0.0) {
      stats.suppressed.push_back(firstIndex + j);
      continue;
    }
    if (D[j] < 0.0) ++stats.numNegative;
    if (D[j] == zeroPivotReplacement || D[j] == raised || -D[j] == raised) {
      ++stats.numReplaced;
      continue;
    }
    if (D[j] > stats.maxPivot) stats.maxPivot = D[j], stats.maxIndex = firstIndex + j;
    if (D[j] < stats.minPivot) stats.minPivot = D[j], stats.minIndex = firstIndex + j;
  }
}

}  // namespace

KernelLevel BestKernelLevel() {
#ifdef VEMATRIX_X86_KERNELS
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("fma"))
    return KernelLevel::Avx512;
  if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return KernelLevel::Avx2;
#endif
  return KernelLevel::Baseline;
}

KernelLevel ActiveKernelLevel() {
  return CurrentChoice().level;
}

bool SetKernelLevel(KernelLevel level) {
  if (level > BestKernelLevel()) return false;
  CurrentChoice().level = level;
  CurrentChoice().table = TableOf(level);
  return true;
}

void PivotStats::Merge(const PivotStats& other) {
  if (other.minIndex >= 0 && (minIndex < 0 || other.minPivot < minPivot ||
                              (other.minPivot == minPivot && other.minIndex < minIndex)))
    minPivot = other.minPivot, minIndex = other.minIndex;
  if (other.maxIndex >= 0 && (maxIndex < 0 || other.maxPivot > maxPivot ||
                              (other.maxPivot == maxPivot && other.maxIndex < maxIndex)))
    maxPivot = other.maxPivot, maxIndex = other.maxIndex;
  numNegative += other.numNegative;
  numReplaced += other.numReplaced;
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
                 int firstIndex, PivotStats& stats, Workspace& work) {
  const std::size_t inverses = static_cast<std::size_t>(RoundUp(k, widestStrip));
  double* inverse = work.Need(inverses + ScratchForProduct(k, k));
  const PanelOutcome outcome =
      Active()->factorPanel(F, ldf, m, k, D, inverse, rule.mode, rule.zeroStiff, inverse + inverses);
  if (outcome.failure) {
    stats.failure = static_cast<PivotFailure>(outcome.failure);
    stats.failureIndex = firstIndex + outcome.column;
    stats.failureValue = outcome.value;
    return false;
  }
  RecordPivots(D, inverse, k, rule, firstIndex, stats);
  return true;
}

void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, Workspace& work, Target target) {
  Active()->updateTrailing(L, ldl, D, m, k, C, ldc, c0, c1, target == Target::Fresh,
                           work.Need(ScratchForProduct(c1 - c0, k)));
}

void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, Workspace& work,
                     Target target) {
  Active()->subtractProduct(A, lda, B, ldb, D, m, n, k, C, ldc, target == Target::Fresh,
                            work.Need(ScratchForProduct(n, k)));
}

void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y) {
  Active()->forward(L, ldl, m, k, x, y);
}

void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
              const double* y) {
  Active()->backward(L, ldl, D, m, k, x, y);
}

void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes) {
  Active()->forwardBlock(L, ldl, m, k, X, ldx, Y, ldy, rows, lanes);
}

void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes) {
  Active()->backwardBlock(L, ldl, D, m, k, X, ldx, Y, ldy, rows, lanes);
}

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
