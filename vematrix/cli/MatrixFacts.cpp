#include "MatrixFacts.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "containers/Memory.h"

namespace vematrix {
namespace cli {

UpperMatrix::UpperMatrix(const models::SymmetricTerms& terms) : m_n(terms.n) {
  Vessa::Matrix::RequireMemory("sorting the terms", static_cast<std::int64_t>(56 * terms.size()));
  models::SymmetricTerms sorted = terms;
  std::swap(sorted.row,
            sorted.col);  // sorted by the second index, then the first: rows of the upper triangle
  sorted.sumDuplicates();
  m_start.assign(std::size_t(m_n) + 1, 0);
  for (int row : sorted.col) ++m_start[std::size_t(row)];
  for (std::size_t i = 1; i < m_start.size(); ++i) m_start[i] += m_start[i - 1];
  m_col = std::move(sorted.row);
  for (int& col : m_col) --col;
  m_value = std::move(sorted.value);
}

Eigen::VectorXd UpperMatrix::residual(const Eigen::VectorXd& x, const Eigen::VectorXd& f) const {
  std::vector<long double> r(std::size_t(m_n), 0.0L);
  for (int i = 0; i < m_n; ++i) {
    const long double xi = x[i];
    long double sum = 0.0L;
    for (std::size_t k = m_start[std::size_t(i)]; k < m_start[std::size_t(i) + 1]; ++k) {
      const int j = m_col[k];
      const long double a = m_value[k];
      sum += a * x[j];
      if (j != i) r[std::size_t(j)] += a * xi;
    }
    r[std::size_t(i)] += sum;
  }
  Eigen::VectorXd result(m_n);
  for (int i = 0; i < m_n; ++i) result[i] = double(r[std::size_t(i)] - f[i]);
  return result;
}

Eigen::VectorXd UpperMatrix::largestInRows() const {
  Eigen::VectorXd largest = Eigen::VectorXd::Zero(m_n);
  forEach([&](int i, int j, double v) {
    largest[i - 1] = std::max(largest[i - 1], std::fabs(v));
    largest[j - 1] = std::max(largest[j - 1], std::fabs(v));
  });
  return largest;
}

namespace {

/// The power of two next to 1 / sqrt(size).
double inverseRoot(double size) {
  return size == 0.0 ? 1.0 : std::ldexp(1.0, -(std::ilogb(size) >> 1));
}

}  // namespace

Eigen::VectorXd UpperMatrix::balancing() const {
  const Eigen::VectorXd largest = largestInRows();
  Eigen::VectorXd d = largest.unaryExpr(&inverseRoot);
  forEach([&](int i, int j, double v) {
    if (i == j && v != 0.0) d[i - 1] = inverseRoot(std::fabs(v));
  });
  for (int pass = 0; pass < 20; ++pass) {
    const Eigen::VectorXd rows = scaled(d).largestInRows();
    if (rows.size() == 0 || rows.maxCoeff() <= 16.0) break;
    d = d.cwiseProduct(rows.unaryExpr(&inverseRoot));
  }
  return d;
}

UpperMatrix UpperMatrix::scaled(const Eigen::VectorXd& d) const {
  UpperMatrix result = *this;
  for (int i = 0; i < m_n; ++i)
    for (std::size_t k = m_start[std::size_t(i)]; k < m_start[std::size_t(i) + 1]; ++k)
      result.m_value[k] *= d[i] * d[m_col[k]];
  return result;
}

UpperMatrix UpperMatrix::shifted(const UpperMatrix& b, double shift) const {
  models::SymmetricTerms sum = terms();
  sum.reserve(numTerms() + b.numTerms());
  b.forEach([&](int i, int j, double v) { sum.add(i, j, -shift * v); });
  return UpperMatrix(sum);
}

UpperMatrix UpperMatrix::without(const std::vector<int>& dofs, std::vector<int>& kept) const {
  std::vector<int> number(std::size_t(m_n) + 1, 0);
  for (int dof : dofs) number[std::size_t(dof)] = -1;
  kept.clear();
  for (int dof = 1; dof <= m_n; ++dof) {
    if (number[std::size_t(dof)] != 0) continue;
    kept.push_back(dof);
    number[std::size_t(dof)] = int(kept.size());
  }
  models::SymmetricTerms rest;
  rest.n = int(kept.size());
  forEach([&](int i, int j, double v) {
    if (number[std::size_t(i)] > 0 && number[std::size_t(j)] > 0)
      rest.add(number[std::size_t(i)], number[std::size_t(j)], v);
  });
  return UpperMatrix(rest);
}

models::SymmetricTerms UpperMatrix::terms() const {
  models::SymmetricTerms result;
  result.n = m_n;
  result.reserve(numTerms());
  forEach(result);
  return result;
}

MatrixFacts::MatrixFacts(const UpperMatrix& matrix)
    : n(matrix.n()), diagonal(Eigen::VectorXd::Zero(n)), rowMax(Eigen::VectorXd::Zero(n)) {
  Eigen::VectorXd rowSum = Eigen::VectorXd::Zero(n);
  std::vector<int> height(std::size_t(n), 1);
  matrix.forEach([&](int i, int j, double v) {
    const double size = std::fabs(v);
    rowSum[i - 1] += size;
    rowMax[i - 1] = std::max(rowMax[i - 1], size);
    int& h = height[std::size_t(j) - 1];
    h = std::max(h, j - i + 1);
    if (i == j) {
      diagonal[i - 1] = v;
      return;
    }
    rowSum[j - 1] += size;
    rowMax[j - 1] = std::max(rowMax[j - 1], size);
    if (v != 0.0) bandwidth = std::max(bandwidth, j - i);
  });
  if (n > 0) normInf = rowSum.maxCoeff();
  for (int i = 1; i <= n; ++i) {
    profile += height[std::size_t(i) - 1];
    skylineOperations += 0.5 * double(height[std::size_t(i) - 1]) * double(height[std::size_t(i) - 1]);
    if (rowMax[i - 1] == 0.0)
      emptyRows.push_back(i);
    else if (diagonal[i - 1] == 0.0)
      zeroDiagonals.push_back(i);
    else if (diagonal[i - 1] < 0.0)
      negativeDiagonals.push_back(i);
  }
}

std::vector<int> connectedParts(const UpperMatrix& matrix) {
  const std::size_t n = std::size_t(matrix.n());
  std::vector<int> parent(n);
  for (std::size_t i = 0; i < n; ++i) parent[i] = int(i);
  const auto root = [&](int i) {
    while (parent[std::size_t(i)] != i)
      i = parent[std::size_t(i)] = parent[std::size_t(parent[std::size_t(i)])];
    return i;
  };
  matrix.forEach([&](int i, int j, double v) {
    if (v == 0.0) return;
    const int a = root(i - 1), b = root(j - 1);
    parent[std::size_t(std::max(a, b))] = std::min(a, b);
  });
  std::vector<int> part(n, -1);
  int parts = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t r = std::size_t(root(int(i)));
    if (part[r] < 0) part[r] = parts++;
    part[i] = part[r];
  }
  return part;
}

}  // namespace cli
}  // namespace vematrix
