#include "CBandSym.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace Vessa {
namespace Matrix {

namespace {

std::size_t StoredValues(int rows, int band) {
  if (rows < 0 || band < 0)
    throw std::length_error("CBandSym: negative size " + std::to_string(rows) + " x " + std::to_string(band));
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(band);
}

}  // namespace

CBandSym::CBandSym() : m_rows(0), m_band(0) {}
CBandSym::CBandSym(int rows, int band) : CBandSym(rows, band, 0.0) {}
CBandSym::CBandSym(int rows, int band, double v)
    : m_rows(rows), m_band(band), m_v(StoredValues(rows, band), v) {}
CBandSym::CBandSym(const CBandSym&) = default;
CBandSym::~CBandSym() = default;

CBandSym& CBandSym::operator=(const CBandSym& B) {
  m_v = B.m_v;
  m_rows = B.m_rows;
  m_band = B.m_band;
  return *this;
}

void CBandSym::Copy(CBandSym const& B) {
  *this = B;
}

int CBandSym::NumRows() const {
  return m_rows;
}
int CBandSym::NumBand() const {
  return m_band;
}

bool CBandSym::SetSize(int rows, int band) {
  if (rows < 0 || band < 0) return false;
  const std::size_t count = StoredValues(rows, band);
  if (m_v.size() != count) m_v = std::vector<double>(count, 0.0);
  m_rows = rows;
  m_band = band;
  return m_v.size() == count;
}

void CBandSym::SetAll(double v) {
  std::fill(m_v.begin(), m_v.end(), v);
}

double& CBandSym::ElementAt(int i, int j) {
  return m_v[Index(i, j)];
}
const double& CBandSym::ElementAt(int i, int j) const {
  return m_v[Index(i, j)];
}
void CBandSym::SetAt(int i, int j, double v) {
  m_v[Index(i, j)] = v;
}

double CBandSym::GetAt(int i, int j) const {
  CheckAndSwap(i, j);
  return j - i > m_band - 1 ? 0.0 : m_v[Index(i, j)];
}

CBandSym CBandSym::Transpose() const {
  return *this;
}
CBandSym CBandSym::operator+(CBandSym const& B) const {
  return Combined(1.0, B);
}
CBandSym CBandSym::operator-(CBandSym const& B) const {
  return Combined(-1.0, B);
}

CBandSym& CBandSym::operator+=(CBandSym const& B) {
  if (B.m_band > m_band) return *this = *this + B;
  AddInPlace(1.0, B);
  return *this;
}

CBandSym& CBandSym::operator-=(CBandSym const& B) {
  if (B.m_band > m_band) return *this = *this - B;
  AddInPlace(-1.0, B);
  return *this;
}

CBandSym CBandSym::operator*(CBandSym const& B) const {
  const int b = std::min(m_band, B.m_band), n = CommonRows(B);
  CBandSym product(m_rows, b);
  for (int i = 1; i <= n; ++i) {
    for (int j = i; j <= std::min(n, i + b - 1); ++j) {
      double sum = 0.0;
      for (int k = std::max(1, i - b); k <= std::min(n, i + b); ++k) sum += GetAt(i, k) * B.GetAt(k, j);
      product.SetAt(i, j, sum);
    }
  }
  return product;
}

CBandSym& CBandSym::operator*=(CBandSym const& B) {
  return *this = *this * B;
}

CBandSym CBandSym::operator*(double s) const {
  CBandSym product(*this);
  product *= s;
  return product;
}

CBandSym& CBandSym::operator*=(double s) {
  for (double& v : m_v) v *= s;
  return *this;
}

CVector CBandSym::operator*(CVector const& x) const {
  CVector y;
  Multiply(x, y);
  return y;
}

void CBandSym::Multiply(CVector const& x, CVector& y) const {
  if (&x == &y) {
    const CVector operand(x);
    Multiply(operand, y);
    return;
  }
  y.SetSize(m_rows);
  y.SetAll(0.0);
  if (m_band < 1) return;
  const double* in = x.Array();
  double* out = y.Array();
  for (int i = 1; i <= m_rows; ++i) {
    const double* row = &m_v[Index(i, i)];
    const int beside = LastColumn(i) - i;  // terms to the right of the diagonal
    const double xi = in[i - 1];
    double sum = row[0] * xi;
    for (int k = 1; k <= beside; ++k) sum += row[k] * in[i - 1 + k];
    for (int k = 1; k <= beside; ++k) out[i - 1 + k] += row[k] * xi;
    out[i - 1] += sum;
  }
}

std::size_t CBandSym::Index(int i, int j) const {
  return static_cast<std::size_t>(i - 1) * static_cast<std::size_t>(m_band) + static_cast<std::size_t>(j - i);
}

void CBandSym::CheckAndSwap(int& i, int& j) const {
  if (i > j) std::swap(i, j);
}

int CBandSym::LastColumn(int i) const {
  return static_cast<int>(std::min<long long>(m_rows, static_cast<long long>(i) + m_band - 1));
}

int CBandSym::CommonRows(CBandSym const& B) const {
  assert(m_rows == B.m_rows);
  return std::min(m_rows, B.m_rows);
}

// this += factor·B for a B that is no wider
void CBandSym::AddInPlace(double factor, CBandSym const& B) {
  const int n = CommonRows(B);
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= std::min(n, B.LastColumn(i)); ++j) ElementAt(i, j) += factor * B.GetAt(i, j);
}

CBandSym CBandSym::Combined(double factor, CBandSym const& B) const {
  CBandSym sum(m_rows, std::max(m_band, B.m_band));
  for (int i = 1; i <= m_rows; ++i)
    for (int j = i; j <= LastColumn(i); ++j) sum.SetAt(i, j, GetAt(i, j));
  sum.AddInPlace(factor, B);
  return sum;
}

}  // namespace Matrix
}  // namespace Vessa
