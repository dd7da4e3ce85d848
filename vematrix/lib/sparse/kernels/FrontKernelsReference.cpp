#include <cmath>

#include "FrontKernels.h"

namespace Vessa {
namespace Matrix {
namespace kernels {
namespace reference {
namespace {

/// Tests one pivot and writes what D takes; false ends the factorisation. suppressed tells whether L is to be
/// zero.
bool JudgePivot(double p, const PivotRule& rule, int index, double& d, bool& suppressed, PivotStats& stats) {
  suppressed = false;
  d = p;
  const bool notPositive = rule.mode == PivotRule::PositiveDefinite && p <= 0.0;
  if (!std::isfinite(p) || notPositive) {
    stats.failure = notPositive && std::isfinite(p) ? PivotFailure::NotPositive : PivotFailure::NotFinite;
    stats.failureIndex = index;
    stats.failureValue = p;
    return false;
  }
  if (rule.mode == PivotRule::Stiffness && std::fabs(p) < rule.zeroStiff) {
    d = 1.0;
    suppressed = true;
    stats.suppressed.push_back(index);
    return true;
  }
  if (rule.mode == PivotRule::Indefinite && std::fabs(p) < rule.zeroStiff) {
    d = p < 0.0 ? -rule.zeroStiff : rule.zeroStiff;
    if (d < 0.0) ++stats.numNegative;
    ++stats.numReplaced;
    return true;
  }
  if (p == 0.0) {
    d = zeroPivotReplacement;
    ++stats.numNegative;
    ++stats.numReplaced;
    return true;
  }
  if (p < 0.0) ++stats.numNegative;
  if (p > stats.maxPivot) stats.maxPivot = p, stats.maxIndex = index;
  if (p < stats.minPivot) stats.minPivot = p, stats.minIndex = index;
  return true;
}

}  // namespace

bool FactorFront(double* F, std::ptrdiff_t ldf, int m, int k, double* D, const PivotRule& rule,
                 int firstIndex, PivotStats& stats) {
  for (int j = 0; j < k; ++j) {
    bool suppressed = false;
    if (!JudgePivot(F[j + j * ldf], rule, firstIndex + j, D[j], suppressed, stats)) return false;
    if (suppressed)
      for (int p = 0; p < j; ++p) F[j + p * ldf] = 0.0;
    for (int i = j + 1; i < m; ++i) {
      const double multiplier = suppressed ? F[i + j * ldf] * 0.0 : F[i + j * ldf] / D[j];
      if (rule.mode == PivotRule::Sturm && std::fabs(multiplier) > largestMultiplier) {
        stats.failure = PivotFailure::Growth;
        stats.failureIndex = firstIndex + j;
        stats.failureValue = multiplier;
        return false;
      }
      F[i + j * ldf] = multiplier;
    }
    F[j + j * ldf] = 1.0;
    for (int c = j + 1; c < k; ++c)
      for (int i = c; i < m; ++i) F[i + c * ldf] -= F[i + j * ldf] * D[j] * F[c + j * ldf];
  }
  return true;
}

void SubtractProduct(const double* A, std::ptrdiff_t lda, const double* B, std::ptrdiff_t ldb,
                     const double* D, int m, int n, int k, double* C, std::ptrdiff_t ldc, Target target) {
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < m; ++i) {
      double sum = 0.0;
      for (int p = 0; p < k; ++p) sum += A[i + p * lda] * (D ? B[j + p * ldb] * D[p] : B[j + p * ldb]);
      C[i + j * ldc] = (target == Target::Fresh ? 0.0 : C[i + j * ldc]) - sum;
    }
}

void UpdateTrailing(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* C,
                    std::ptrdiff_t ldc, int c0, int c1, Target target) {
  for (int j = c0; j < c1; ++j)
    SubtractProduct(L + j, ldl, L + j, ldl, D, m - j, 1, k, C + j + j * ldc, ldc, target);
}

void Forward(const double* L, std::ptrdiff_t ldl, int m, int k, double* x, double* y) {
  for (int j = 0; j < k; ++j)
    for (int i = j + 1; i < k; ++i) x[i] -= L[i + j * ldl] * x[j];
  for (int i = k; i < m; ++i) {
    double sum = 0.0;
    for (int j = 0; j < k; ++j) sum += L[i + j * ldl] * x[j];
    y[i - k] = sum;
  }
}

void Backward(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* x,
              const double* y) {
  for (int j = k - 1; j >= 0; --j) {
    double value = D ? x[j] / D[j] : x[j];
    for (int i = k; i < m; ++i) value -= L[i + j * ldl] * y[i - k];
    for (int i = j + 1; i < k; ++i) value -= L[i + j * ldl] * x[i];
    x[j] = value;
  }
}

void ForwardBlock(const double* L, std::ptrdiff_t ldl, int m, int k, double* X, std::ptrdiff_t ldx, double* Y,
                  std::ptrdiff_t ldy, const int* rows, int lanes) {
  for (int r = 0; r < lanes; ++r) {
    for (int j = 0; j < k; ++j)
      for (int i = j + 1; i < k; ++i) X[i * ldx + r] -= L[i + j * ldl] * X[j * ldx + r];
    for (int i = k; i < m; ++i) {
      double sum = 0.0;
      for (int j = 0; j < k; ++j) sum += L[i + j * ldl] * X[j * ldx + r];
      Y[(rows ? rows[i - k] : i - k) * ldy + r] -= sum;
    }
  }
}

void BackwardBlock(const double* L, std::ptrdiff_t ldl, const double* D, int m, int k, double* X,
                   std::ptrdiff_t ldx, const double* Y, std::ptrdiff_t ldy, const int* rows, int lanes) {
  for (int r = 0; r < lanes; ++r)
    for (int j = k - 1; j >= 0; --j) {
      double value = D ? X[j * ldx + r] / D[j] : X[j * ldx + r];
      for (int i = k; i < m; ++i) value -= L[i + j * ldl] * Y[(rows ? rows[i - k] : i - k) * ldy + r];
      for (int i = j + 1; i < k; ++i) value -= L[i + j * ldl] * X[i * ldx + r];
      X[j * ldx + r] = value;
    }
}

}  // namespace reference
}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
