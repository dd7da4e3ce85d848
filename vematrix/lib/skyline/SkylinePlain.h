#pragma once
// The plain column loops of the skyline: for short columns, for values that are not finite and for a store
// cut into chunks. Arguments as in SkylineReference.h; `value` is a pointer when the store is one chunk.
#include <algorithm>
#include <vector>

#include "SkylinePivots.h"

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace plain {

/// Σ value(a + l)·value(b + l), l = 1..count, product by product from the first.
template <class Values>
inline double Dot(Values& value, int a, int b, int count) {
  double sum = 0.0;
  int l = 1;
  for (; l + 3 <= count; l += 4) {
    sum += value[a + l] * value[b + l];
    sum += value[a + l + 1] * value[b + l + 1];
    sum += value[a + l + 2] * value[b + l + 2];
    sum += value[a + l + 3] * value[b + l + 3];
  }
  for (; l <= count; ++l) sum += value[a + l] * value[b + l];
  return sum;
}

/// Zeros in the rows of dofs suppressed so far, before column j is reduced.
template <class Values>
inline void ClearSuppressedRows(Values& value, const int* end, int j, const std::vector<int>& zeroDofs) {
  const int height = end[j] - end[j - 1];
  for (std::size_t k = zeroDofs.size(); k > 0 && j - zeroDofs[k - 1] < height; --k) {
    value[end[j - 1] + (j - zeroDofs[k - 1])] = 0.0;
  }
}

template <class Values>
inline void ReduceTerms(Values& value, const int* end, int j) {
  const int top = end[j] - 1;
  const int count = top - (end[j - 1] + 1);  // of the terms between the diagonal and the top
  int k = j - count;
  for (int above = 1; above <= count; ++above, ++k) {
    const int offDiagonal = end[k] - end[k - 1] - 1;
    if (offDiagonal < 1) continue;
    value[top - above] -= Dot(value, end[k - 1], top - above, std::min(above, offDiagonal));
  }
}

template <class Values>
inline bool DivideTerms(Values& value, const int* end, int j, bool sturm) {
  const int diagonal = end[j - 1];
  double sum = 0.0;
  int k = j - 1;
  for (int a = diagonal + 1; a < end[j]; ++a, --k) {
    const double term = value[a];
    const double multiplier = term / value[end[k - 1]];
    if (sturm && std::fabs(multiplier) > kLargestMultiplier) return false;
    sum += multiplier * term;
    value[a] = multiplier;
  }
  if (diagonal + 1 < end[j]) value[diagonal] -= sum;
  return true;
}

/// Decides on the pivot of column j; returns its final value. The row of a suppressed dof in later columns is
/// left to ClearSuppressedRows.
template <class Values>
inline void CheckPivot(Values& value, const int* end, int j, Pivots& pivots) {
  double& pivot = value[end[j - 1]];
  if (pivots.IsSuppressed(pivot)) {
    pivots.zeroDofs->push_back(j);
    pivot = 1.0;
    for (int a = end[j - 1] + 1; a < end[j]; ++a) value[a] = 0.0;
  } else if (pivot == 0.0) {
    pivot = kZeroPivot;
  } else {
    pivots.Record(j, pivot);
  }
}

/// Reduces the columns first..last, all before them being reduced; false on multiplier growth.
template <class Values>
bool ReduceColumns(Values& value, const int* end, int first, int last, Pivots& pivots) {
  for (int j = first; j <= last; ++j) {
    ClearSuppressedRows(value, end, j, *pivots.zeroDofs);
    ReduceTerms(value, end, j);
    if (pivots.Divides() && !DivideTerms(value, end, j, pivots.option == 1)) return false;
    CheckPivot(value, end, j, pivots);
  }
  return true;
}

/// Σ value(a + t)·x(i − t), t = 0..count − 1 (i is 0-based), in the order of SkylineSweep.h.
template <class Values>
inline double ColumnDot(Values& value, int a, const double* x, int i, int count) {
  double part[8] = {};
  int t = 0;
  for (; t + 8 <= count; t += 8)
    for (int k = 0; k < 8; ++k) part[k] += value[a + t + k] * x[i - t - k];
  double sum = ((part[0] + part[4]) + (part[2] + part[6])) + ((part[1] + part[5]) + (part[3] + part[7]));
  for (; t < count; ++t) sum += value[a + t] * x[i - t];
  return sum;
}

/// x(i − t) += f·value(a + t)
template <class Values>
inline void AddColumn(Values& value, int a, double* x, int i, int count, double f) {
  for (int t = 0; t < count; ++t) x[i - t] += f * value[a + t];
}

/// x := (L·D·Lᵀ)⁻¹·x; x[0] belongs to dof 1.
template <class Values>
void Solve(Values& value, const int* end, int n, double* x) {
  for (int j = 2; j <= n; ++j)
    x[j - 1] -= ColumnDot(value, end[j - 1] + 1, x, j - 2, end[j] - end[j - 1] - 1);
  for (int j = 1; j <= n; ++j) x[j - 1] /= value[end[j - 1]];
  for (int j = n; j >= 2; --j) AddColumn(value, end[j - 1] + 1, x, j - 2, end[j] - end[j - 1] - 1, -x[j - 1]);
}

/// y := K·x with the assembled matrix.
template <class Values>
void MultiplyAssembled(Values& value, const int* end, int n, const double* x, double* y) {
  std::fill_n(y, n, 0.0);
  for (int j = 1; j <= n; ++j) {
    const int a = end[j - 1] + 1;
    y[j - 1] += value[a - 1] * x[j - 1];
    y[j - 1] += ColumnDot(value, a, x, j - 2, end[j] - a);
    AddColumn(value, a, y, j - 2, end[j] - a, x[j - 1]);
  }
}

/// y := L·D·Lᵀ·x with the reduced matrix.
template <class Values>
void MultiplyReduced(Values& value, const int* end, int n, const double* x, double* y) {
  std::copy_n(x, n, y);
  for (int j = 2; j <= n; ++j) AddColumn(value, end[j - 1] + 1, y, j - 2, end[j] - end[j - 1] - 1, x[j - 1]);
  for (int j = 1; j <= n; ++j) y[j - 1] *= value[end[j - 1]];
  for (int j = n; j >= 2; --j)
    y[j - 1] += ColumnDot(value, end[j - 1] + 1, y, j - 2, end[j] - end[j - 1] - 1);
}

}  // namespace plain
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
