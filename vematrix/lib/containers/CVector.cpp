#include "CVector.h"

#include <utility>

#include "../math/resize.h"
#include "AlignedMemory.h"
#include "DumpFile.h"

namespace Vessa {
namespace Matrix {

namespace {

Eigen::Index CheckedSize(long long n) {
  if (n < 0) throw std::bad_alloc();
  return static_cast<Eigen::Index>(n);
}

}  // namespace

CVector::CVector() = default;
CVector::CVector(int n) : m_v(CheckedSize(n)) {}
CVector::CVector(long n) : m_v(CheckedSize(n)) {}
CVector::CVector(long long n) : m_v(CheckedSize(n)) {}
CVector::CVector(int n, double value) : m_v(Eigen::VectorXd::Constant(CheckedSize(n), value)) {}
CVector::CVector(const CVector& b) = default;
CVector::CVector(const Eigen::VectorXd& v) : m_v(v) {}
CVector::CVector(CVector&& b) noexcept {
  m_v.swap(b.m_v);
}
CVector::~CVector() = default;

CVector& CVector::operator=(const CVector& b) {
  math::Resize(m_v, b.m_v.size(), 1);
  m_v = b.m_v;
  return *this;
}

CVector& CVector::operator=(CVector&& b) noexcept {
  return *this = std::move(b.m_v);
}

// Eigen's own move assignment swaps, which would hand our old elements to the source.
CVector& CVector::operator=(Eigen::VectorXd&& v) noexcept {
  Eigen::VectorXd taken;
  taken.swap(v);
  m_v.swap(taken);
  return *this;
}

void CVector::swap(CVector& b) noexcept {
  m_v.swap(b.m_v);
}

double CVector::operator[](int i) const {
  return m_v[i - 1];
}
double& CVector::operator[](int i) {
  return m_v[i - 1];
}
double& CVector::ElementAt(int i) {
  return m_v[i - 1];
}
const double& CVector::ElementAt(int i) const {
  return m_v[i - 1];
}
const double& CVector::GetAt(int i) const {
  return m_v[i - 1];
}
double& CVector::ElementAtIndex(int k) {
  return m_v[k];
}
double CVector::GetAtIndex(int k) const {
  return m_v[k];
}
void CVector::SetAt(int i, const double& v) {
  m_v[i - 1] = v;
}
void CVector::AddAt(int i, const double& v) {
  m_v[i - 1] += v;
}
double* CVector::Array() {
  return m_v.data();
}
const double* CVector::Array() const {
  return m_v.data();
}
double* CVector::ArrayRef() {
  return m_v.data();
}
const double* CVector::ArrayRef() const {
  return m_v.data();
}
Eigen::VectorXd& CVector::Inner() {
  return m_v;
}
const Eigen::VectorXd& CVector::Inner() const {
  return m_v;
}

int CVector::Size() const {
  return static_cast<int>(m_v.size());
}
int CVector::NumDof() const {
  return Size();
}
void CVector::SetSize(int n) {
  math::Resize(m_v, CheckedSize(n), 1);
}

bool CVector::SetNumDof(int n) {
  SetSize(n);
  return true;
}

void CVector::SetAll(double v) {
  m_v.setConstant(v);
}

double CVector::Max() const {
  return m_v.size() == 0 ? 0.0 : m_v.maxCoeff<Eigen::PropagateNaN>();
}
double CVector::Min() const {
  return m_v.size() == 0 ? 0.0 : m_v.minCoeff<Eigen::PropagateNaN>();
}
double CVector::MaxAbs() const {
  return m_v.size() == 0 ? 0.0 : m_v.cwiseAbs().maxCoeff<Eigen::PropagateNaN>();
}
double CVector::Sum() const {
  return m_v.sum();
}
double CVector::Norm() const {
  return m_v.norm();
}
double CVector::Dot(const CVector& b) const {
  return b.m_v.size() == 0 ? 0.0 : m_v.dot(b.m_v.head(m_v.size()));
}
double CVector::operator*(const CVector& b) const {
  return Dot(b);
}

CVector CVector::operator+(const CVector& b) const {
  return Eigen::VectorXd(m_v + b.m_v.head(m_v.size()));
}
CVector CVector::operator-(const CVector& b) const {
  return Eigen::VectorXd(m_v - b.m_v.head(m_v.size()));
}
CVector CVector::operator*(double s) const {
  return Eigen::VectorXd(m_v * s);
}
CVector CVector::operator/(double s) const {
  return Eigen::VectorXd(m_v / s);
}

CVector& CVector::operator+=(const CVector& b) {
  m_v += b.m_v.head(m_v.size());
  return *this;
}

CVector& CVector::operator-=(const CVector& b) {
  m_v -= b.m_v.head(m_v.size());
  return *this;
}

CVector& CVector::operator*=(double s) {
  m_v *= s;
  return *this;
}

CVector& CVector::operator/=(double s) {
  m_v /= s;
  return *this;
}

void CVector::AddVector(const CVector& b) {
  *this += b;
}
void CVector::AddFactoredVector(double f, const CVector& b) {
  m_v += f * b.m_v.head(m_v.size());
}
void CVector::Copy(const CVector& b) {
  m_v = b.m_v.head(m_v.size());
}

void CVector::Trace(const std::string&) const {}

bool CVector::Dump(const char* fileName, const char* folder, bool flag) const {
  std::ofstream out;
  if (!OpenDumpFile(out, fileName, "vector.csv", folder, flag)) return false;
  out << "VECTOR DUMP\n\n";
  for (int i = 1; i <= Size(); ++i) out << i << "," << GetAt(i) << "\n";
  out.close();
  return out.good();
}

void* CVector::operator new(std::size_t size) {
  return AlignedAllocate(size);
}
void* CVector::operator new[](std::size_t size) {
  return AlignedAllocate(size);
}
void* CVector::operator new(std::size_t, void* p) noexcept {
  return p;
}
void* CVector::operator new[](std::size_t, void* p) noexcept {
  return p;
}
void* CVector::operator new(std::size_t size, const std::nothrow_t&) {
  return AlignedAllocate(size);
}
void CVector::operator delete(void* p) noexcept {
  AlignedFree(p);
}
void CVector::operator delete[](void* p) noexcept {
  AlignedFree(p);
}
void CVector::operator delete(void* p, std::size_t) noexcept {
  AlignedFree(p);
}
void CVector::operator delete[](void* p, std::size_t) noexcept {
  AlignedFree(p);
}
void CVector::operator delete(void*, void*) noexcept {}
void CVector::operator delete[](void*, void*) noexcept {}
void CVector::operator delete(void* p, const std::nothrow_t&) noexcept {
  AlignedFree(p);
}

}  // namespace Matrix
}  // namespace Vessa
