#pragma once
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "models/Registry.h"
#include "sparse/reference/SimplicialLdlt.h"

/// Matrices for the tests of the sparse LDLᵀ: lower triangles by compressed columns.
namespace ldlt_test {

using Vessa::Matrix::sparse::LowerColumns;

/// Stored entries of a dense symmetric matrix: the diagonal and what is not zero.
inline LowerColumns FromDense(const std::vector<std::vector<double>>& a) {
  LowerColumns m;
  m.n = static_cast<int>(a.size());
  m.start.push_back(0);
  for (int j = 0; j < m.n; ++j) {
    for (int i = j; i < m.n; ++i) {
      if (i != j && a[i][j] == 0.0) continue;
      m.row.push_back(i);
      m.value.push_back(a[i][j]);
    }
    m.start.push_back(static_cast<int>(m.row.size()));
  }
  return m;
}

inline std::vector<std::vector<double>> ToDense(const LowerColumns& m) {
  std::vector<std::vector<double>> a(m.n, std::vector<double>(m.n, 0.0));
  for (int j = 0; j < m.n; ++j) {
    for (int t = m.start[j]; t < m.start[j + 1]; ++t) {
      a[m.row[t]][j] += m.value[t];
      if (m.row[t] != j) a[j][m.row[t]] += m.value[t];
    }
  }
  return a;
}

/// Random entries with the given density; positive definite by a heavy diagonal, or with a light one of any
/// sign.
inline LowerColumns Random(int n, double density, bool definite, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> number(-1.0, 1.0), chance(0.0, 1.0);
  std::vector<std::vector<double>> a(n, std::vector<double>(n, 0.0));
  for (int j = 0; j < n; ++j) {
    for (int i = j + 1; i < n; ++i) {
      if (chance(generator) < density) a[i][j] = number(generator);
    }
  }
  for (int j = 0; j < n; ++j) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += std::fabs(i > j ? a[i][j] : a[j][i]);
    const double sign = definite || number(generator) > 0.0 ? 1.0 : -1.0;
    a[j][j] = sign * (sum + 0.5 + chance(generator));
  }
  return FromDense(a);
}

inline LowerColumns FromModel(const vematrix::models::Model& model) {
  std::vector<std::vector<std::pair<int, double>>> column(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { column[i - 1].emplace_back(j - 1, v); });
  LowerColumns m;
  m.n = model.numDofs();
  m.start.push_back(0);
  for (auto& terms : column) {
    std::stable_sort(terms.begin(), terms.end(),
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    for (const auto& term : terms) {
      if (static_cast<int>(m.row.size()) > m.start.back() && m.row.back() == term.first) {
        m.value.back() += term.second;
      } else {
        m.row.push_back(term.first);
        m.value.push_back(term.second);
      }
    }
    m.start.push_back(static_cast<int>(m.row.size()));
  }
  return m;
}

/// ‖b − A·x‖∞ / (‖A‖∞·‖x‖∞ + ‖b‖∞), the residual in long double.
inline double BackwardError(const LowerColumns& a, const double* x, const double* b) {
  std::vector<long double> r(b, b + a.n);
  std::vector<double> sums(a.n, 0.0);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      const int i = a.row[t];
      r[i] -= static_cast<long double>(a.value[t]) * x[j];
      sums[i] += std::fabs(a.value[t]);
      if (i == j) continue;
      r[j] -= static_cast<long double>(a.value[t]) * x[i];
      sums[j] += std::fabs(a.value[t]);
    }
  }
  double residual = 0.0, norm = 0.0, xMax = 0.0, bMax = 0.0;
  for (int i = 0; i < a.n; ++i) {
    if (!std::isfinite(x[i])) return INFINITY;
    residual = std::max(residual, static_cast<double>(std::fabs(r[i])));
    norm = std::max(norm, sums[i]);
    xMax = std::max(xMax, std::fabs(x[i]));
    bMax = std::max(bMax, std::fabs(b[i]));
  }
  const double scale = norm * xMax + bMax;
  return scale > 0.0 ? residual / scale : residual;
}

}  // namespace ldlt_test
