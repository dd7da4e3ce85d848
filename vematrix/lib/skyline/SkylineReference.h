#pragma once
// The definition of the skyline reduction, solution and products: straight from the formulas, one term at a
// time, never tuned. The kernels in use are held to these in the tests.
//
// All functions take the stored terms `value` (anything indexed from 0), and the addresses `end`: column j
// (1-based) fills [end[j-1], end[j]), its diagonal first, row j−t at end[j-1] + t.
#include <cmath>
#include <vector>

#include "SkylinePivots.h"

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace reference {

/// U(k, j) = A(k, j) − Σ L(k, i)·U(i, j) for the rows k of column j from the second stored one down to j − 1;
/// i falls from k − 1 to the higher of the two columns' tops. The top term has nothing above it.
template <class Values>
void ReduceTerms(Values& value, const int* end, int j) {
  const int diagonal = end[j - 1];
  const int top = j - (end[j] - end[j - 1]) + 1;
  for (int k = top + 1; k < j; ++k) {
    const int topOfRow = k - (end[k] - end[k - 1]) + 1;
    double sum = 0.0;
    for (int i = k - 1; i >= top && i >= topOfRow; --i) {
      const double product = value[end[k - 1] + (k - i)] * value[diagonal + (j - i)];
      sum += product;
    }
    value[diagonal + (j - k)] -= sum;
  }
}

/// L(j, k) = U(k, j) / D(k) for k = j − 1 up to the top, and D(j) = A(j, j) − Σ L(j, k)·U(k, j). In the Sturm
/// mode false at the first multiplier above the limit; that term and those above it are left undivided.
template <class Values>
bool DivideTerms(Values& value, const int* end, int j, int option) {
  const int diagonal = end[j - 1];
  double sum = 0.0;
  for (int a = diagonal + 1; a < end[j]; ++a) {
    const int k = j - (a - diagonal);
    const double multiplier = value[a] / value[end[k - 1]];
    if (option == 1 && std::fabs(multiplier) > kLargestMultiplier) return false;
    const double product = multiplier * value[a];
    sum += product;
    value[a] = multiplier;
  }
  if (diagonal + 1 < end[j]) value[diagonal] -= sum;
  return true;
}

/// Takes dof j out of the structure: unit pivot, zeros in the rest of its column and in its row.
template <class Values>
void Suppress(Values& value, const int* end, int n, int j) {
  value[end[j - 1]] = 1.0;
  for (int a = end[j - 1] + 1; a < end[j]; ++a) value[a] = 0.0;
  for (int m = j + 1; m <= n; ++m) {
    if (end[m] - end[m - 1] > m - j) value[end[m - 1] + (m - j)] = 0.0;
  }
}

/// The whole reduction; false on multiplier growth, which leaves the columns as they are at that moment.
template <class Values>
bool Reduce(Values& value, const int* end, int n, Pivots& pivots) {
  for (int j = 1; j <= n; ++j) {
    ReduceTerms(value, end, j);
    if (pivots.Divides() && !DivideTerms(value, end, j, pivots.option)) return false;
    double& pivot = value[end[j - 1]];
    if (pivots.IsSuppressed(pivot)) {
      pivots.zeroDofs->push_back(j);
      Suppress(value, end, n, j);
    } else if (pivot == 0.0) {
      pivot = kZeroPivot;
    } else {
      pivots.Record(j, pivot);
    }
  }
  return true;
}

/// x := (L·D·Lᵀ)⁻¹·x in three sweeps; x[0] belongs to dof 1.
template <class Values>
void Solve(Values& value, const int* end, int n, double* x) {
  for (int j = 1; j <= n; ++j) {
    double sum = 0.0;
    for (int a = end[j - 1] + 1; a < end[j]; ++a) sum += value[a] * x[j - (a - end[j - 1]) - 1];
    x[j - 1] -= sum;
  }
  for (int j = 1; j <= n; ++j) x[j - 1] /= value[end[j - 1]];
  for (int j = n; j >= 2; --j) {
    for (int a = end[j - 1] + 1; a < end[j]; ++a) x[j - (a - end[j - 1]) - 1] -= value[a] * x[j - 1];
  }
}

/// y := K·x with the assembled matrix.
template <class Values>
void MultiplyAssembled(Values& value, const int* end, int n, const double* x, double* y) {
  for (int i = 0; i < n; ++i) y[i] = 0.0;
  for (int j = 1; j <= n; ++j) {
    y[j - 1] += value[end[j - 1]] * x[j - 1];
    for (int a = end[j - 1] + 1; a < end[j]; ++a) {
      const int i = j - (a - end[j - 1]);
      y[i - 1] += value[a] * x[j - 1];
      y[j - 1] += value[a] * x[i - 1];
    }
  }
}

/// y := L·D·Lᵀ·x with the reduced matrix.
template <class Values>
void MultiplyReduced(Values& value, const int* end, int n, const double* x, double* y) {
  for (int i = 0; i < n; ++i) y[i] = x[i];
  for (int j = 1; j <= n; ++j) {
    for (int a = end[j - 1] + 1; a < end[j]; ++a) y[j - (a - end[j - 1]) - 1] += value[a] * x[j - 1];
  }
  for (int j = 1; j <= n; ++j) y[j - 1] *= value[end[j - 1]];
  for (int j = n; j >= 1; --j) {
    for (int a = end[j - 1] + 1; a < end[j]; ++a) y[j - 1] += value[a] * y[j - (a - end[j - 1]) - 1];
  }
}

}  // namespace reference
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
