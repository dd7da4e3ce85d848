#include "CSparse.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <string>
#include <utility>

#include "MatrixImage.h"

namespace Vessa {
namespace Matrix {

CSparse::CSparse() : m_n(0), m_start(1, 0), m_log(nullptr), m_reduced(false) {}
CSparse::CSparse(const CSparse&) = default;
CSparse& CSparse::operator=(const CSparse&) = default;
CSparse::~CSparse() = default;

void CSparse::SetLog(CReport* r) {
  m_log = r;
}

void CSparse::Log(int level, const char* msg) const {
  if (m_log) m_log->Log(level, msg);
}

void CSparse::Note(const char* msg) const {
  if (m_log) m_log->Note(msg);
}

void CSparse::DropFactors() {
  m_reduced = false;
}

bool CSparse::SetNumDof(int n) {
  if (n < 0) return false;
  m_start.assign(static_cast<std::size_t>(n) + 1, 0);
  m_row.clear();
  m_value.clear();
  m_n = n;
  DropFactors();
  return true;
}

bool CSparse::Set(const CMatInt& pattern) {
  const int n = pattern.Size();
  std::vector<int> start(static_cast<std::size_t>(n) + 1, 0);
  long long count = 0;
  for (int j = 1; j <= n; ++j) {
    const int size = pattern.ColSize(j);
    for (int k = 0, previous = 0; k < size; ++k) {
      const int i = pattern.ColRow(j, k);
      if (i <= previous || i > n) {
        const std::string text = "Column " + std::to_string(j) + " of the pattern lists row " +
                                 std::to_string(i) + " after row " + std::to_string(previous) +
                                 ": expected increasing rows up to " + std::to_string(n);
        Log(2, text.c_str());
        return false;
      }
      previous = i;
    }
    count += size;
    if (count > INT_MAX) {
      Log(2, "The pattern holds more terms than an int can count");
      return false;
    }
    start[j] = static_cast<int>(count);
  }
  std::vector<int> row;
  row.reserve(static_cast<std::size_t>(count));
  for (int j = 1; j <= n; ++j) {
    for (int k = 0; k < pattern.ColSize(j); ++k) row.push_back(pattern.ColRow(j, k) - 1);
  }
  m_value.assign(row.size(), 0.0);
  m_start.swap(start);
  m_row.swap(row);
  m_n = n;
  DropFactors();
  return true;
}

bool CSparse::SetArrays(int n, std::vector<int>&& start, std::vector<int>&& row,
                        std::vector<double>&& value) {
  bool ok = n >= 0 && start.size() == static_cast<std::size_t>(n) + 1 && start[0] == 0 &&
            row.size() == static_cast<std::size_t>(start[n]) && value.size() == row.size();
  for (int j = 0; ok && j < n; ++j) {
    int previous = -1;
    ok = start[j] <= start[j + 1] && static_cast<std::size_t>(start[j + 1]) <= row.size();
    for (int k = start[j]; ok && k < start[j + 1]; ++k) {
      ok = row[k] > previous && row[k] < n;
      previous = row[k];
    }
  }
  if (!ok) {
    Log(2, "The arrays of a compressed-column matrix contradict each other");
    return false;
  }
  m_start = std::move(start);
  m_row = std::move(row);
  m_value = std::move(value);
  m_n = n;
  DropFactors();
  return true;
}

int CSparse::NumDof() const {
  return m_n;
}
int CSparse::NumTerm() const {
  return static_cast<int>(m_row.size());
}

int CSparse::Find(int i, int j) const {
  if (i < 1 || j < 1 || i > m_n || j > m_n) return -1;
  const auto first = m_row.begin() + m_start[j - 1];
  const auto last = m_row.begin() + m_start[j];
  const auto found = std::lower_bound(first, last, i - 1);
  return found != last && *found == i - 1 ? static_cast<int>(found - m_row.begin()) : -1;
}

void CSparse::SetAt(int i, int j, double v) {
  const int t = Find(i, j);
  if (t < 0) return;
  m_value[t] = v;
  if (m_reduced) DropFactors();
}

void CSparse::AddAt(int i, int j, double v) {
  const int t = Find(i, j);
  if (t < 0) return;
  m_value[t] += v;
  if (m_reduced) DropFactors();
}

double CSparse::GetAt(int i, int j) const {
  const int t = Find(i, j);
  return t < 0 ? 0.0 : m_value[t];
}

bool CSparse::Exist(int i, int j) const {
  return Find(i, j) >= 0;
}

void CSparse::SetZero() {
  std::fill(m_value.begin(), m_value.end(), 0.0);
  if (m_reduced) DropFactors();
}

void CSparse::Scale(double f) {
  for (double& v : m_value) v *= f;
  if (m_reduced) DropFactors();
}

void CSparse::Shift(const CSparse& M, double s) {
  if (M.m_n != m_n) {
    const std::string text =
        "Shift of a matrix of " + std::to_string(m_n) + " dof by one of " + std::to_string(M.m_n);
    Log(2, text.c_str());
    return;
  }
  std::vector<int> start(1, 0), row;
  std::vector<double> value;
  row.reserve(m_row.size());
  value.reserve(m_row.size());
  for (int j = 0; j < m_n; ++j) {
    int a = m_start[j], b = M.m_start[j];
    while (a < m_start[j + 1] || b < M.m_start[j + 1]) {
      const int rowA = a < m_start[j + 1] ? m_row[a] : INT_MAX;
      const int rowB = b < M.m_start[j + 1] ? M.m_row[b] : INT_MAX;
      double v = 0.0;
      if (rowA <= rowB) v = m_value[a++];
      if (rowB <= rowA) v -= s * M.m_value[b++];
      row.push_back(std::min(rowA, rowB));
      value.push_back(v);
    }
    if (row.size() > static_cast<std::size_t>(INT_MAX)) {
      Log(2, "The shifted matrix holds more terms than an int can count");
      return;
    }
    start.push_back(static_cast<int>(row.size()));
  }
  m_start.swap(start);
  m_row.swap(row);
  m_value.swap(value);
  if (m_reduced) DropFactors();
}

double CSparse::ColumnSRSS(int j) const {
  if (j < 1 || j > m_n) return 0.0;
  double sum = 0.0;
  for (int t = m_start[j - 1]; t < m_start[j] && m_row[t] < j; ++t) sum += m_value[t] * m_value[t];
  return std::sqrt(sum);
}

double CSparse::MaxMinRatio() const {
  return 1.0;
}

CVector CSparse::operator*(const CVector& x) const {
  if (x.Size() != m_n) {
    const std::string text =
        "Product of a matrix of " + std::to_string(m_n) + " dof with a vector of " + std::to_string(x.Size());
    Log(2, text.c_str());
    return CVector();
  }
  CVector y(m_n, 0.0);
  for (int j = 0; j < m_n; ++j) {
    const double xj = x.GetAtIndex(j);
    for (int t = m_start[j]; t < m_start[j + 1]; ++t) y.ElementAtIndex(m_row[t]) += m_value[t] * xj;
  }
  return y;
}

CMatrix<0> CSparse::operator*(const CMatrix<0>& X) const {
  if (X.NumRows() != m_n) {
    const std::string text = "Product of a matrix of " + std::to_string(m_n) + " dof with a block of " +
                             std::to_string(X.NumRows()) + " rows";
    Log(2, text.c_str());
    return CMatrix<0>();
  }
  const int width = X.NumCols();
  CMatrix<0> Y(m_n, width);
  for (int j = 0; j < m_n; ++j) {
    const double* from = X.Array() + static_cast<std::size_t>(j) * width;
    for (int t = m_start[j]; t < m_start[j + 1]; ++t) {
      double* to = Y.Array() + static_cast<std::size_t>(m_row[t]) * width;
      for (int c = 0; c < width; ++c) to[c] += m_value[t] * from[c];
    }
  }
  return Y;
}

bool CSparse::Write(std::FILE* f) {
  sparse::ImageWriter image(f);
  image.Put(static_cast<std::int64_t>(m_n));
  image.Put(m_start);
  image.Put(m_row);
  image.Put(m_value);
  if (image.Finish()) return true;
  Log(2, image.Message().c_str());
  return false;
}

bool CSparse::Read(std::FILE* f) {
  sparse::ImageReader image(f);
  int n = 0;
  std::vector<int> start, row;
  std::vector<double> value;
  if (!image.Get(n) || !image.Get(start) || !image.Get(row) || !image.Get(value) || !image.Finish() ||
      !sparse::IsColumnStructure(n, start, row, value.size())) {
    Log(2, image.Message().c_str());
    return false;
  }
  m_n = n;
  m_start.swap(start);
  m_row.swap(row);
  m_value.swap(value);
  DropFactors();
  return true;
}

}  // namespace Matrix
}  // namespace Vessa
