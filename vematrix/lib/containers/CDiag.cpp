#include "CDiag.h"

#include <algorithm>
#include <cstddef>

namespace Vessa {
namespace Matrix {

namespace {

bool HasZero(const std::vector<double>& d) {
  return std::find(d.begin(), d.end(), 0.0) != d.end();
}

}  // namespace

CDiag::CDiag(int n) : m_d(n) {}
CDiag::CDiag(int n, double v) : m_d(n, v) {}
CDiag::CDiag(const CDiag&) = default;
CDiag& CDiag::operator=(const CDiag&) = default;
CDiag::~CDiag() = default;

int CDiag::NumDof() const {
  return static_cast<int>(m_d.size());
}

void CDiag::SetNumDof(int n) {
  if (n == NumDof()) return;
  m_d.assign(n, 0.0);
}

void CDiag::SetAll(double v) {
  std::fill(m_d.begin(), m_d.end(), v);
}
double CDiag::GetAt(int i, int j) const {
  return i == j ? m_d[i - 1] : 0.0;
}
void CDiag::SetAt(int i, int, double v) {
  m_d[i - 1] = v;
}
double& CDiag::ElementAt(int i, int) {
  return m_d[i - 1];
}

CDiag CDiag::operator*(double s) const {
  CDiag result(*this);
  for (double& d : result.m_d) d *= s;
  return result;
}

CVector CDiag::operator*(const CVector& x) const {
  CVector y;
  Multiply(x, y);
  return y;
}

void CDiag::Multiply(const CVector& x, CVector& y) const {
  if (&x == &y && x.Size() != NumDof()) {
    CVector product;
    Multiply(x, product);
    y.swap(product);
    return;
  }
  y.SetSize(NumDof());
  for (int i = 1; i <= NumDof(); ++i) y[i] = x[i] * m_d[i - 1];
}

double CDiag::PhiT_M_Phi(const CVector& phi) const {
  double sum = 0.0;
  for (int i = 1; i <= NumDof(); ++i) sum += phi[i] * m_d[i - 1] * phi[i];
  return sum;
}

bool CDiag::Invert() {
  if (HasZero(m_d)) return false;
  for (double& d : m_d) d = 1.0 / d;
  return true;
}

bool CDiag::Inverse(CDiag& out) const {
  out.SetNumDof(NumDof());
  for (std::size_t k = 0; k < m_d.size(); ++k) {
    if (m_d[k] == 0.0) return false;
    out.m_d[k] = 1.0 / m_d[k];
  }
  return true;
}

CDiag CDiag::Inverse() const {
  CDiag result(*this);
  return result.Invert() ? result : CDiag();
}

}  // namespace Matrix
}  // namespace Vessa
