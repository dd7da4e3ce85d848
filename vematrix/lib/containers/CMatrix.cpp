#include "CMatrix.h"

#include <new>

#include "../math/resize.h"
#include "DumpFile.h"

namespace Vessa {
namespace Matrix {

namespace {

void CheckShape(int rows, int cols) {
  if (rows < 0 || cols < 0) throw std::bad_alloc();
}

}  // namespace

template <int Layout>
CMatrix<Layout>::CMatrix() = default;

template <int Layout>
CMatrix<Layout>::CMatrix(int rows, int cols) : CMatrix(rows, cols, 0.0) {}

template <int Layout>
CMatrix<Layout>::CMatrix(int rows, int cols, double v) {
  CheckShape(rows, cols);
  m_m.setConstant(rows, cols, v);
}

template <int Layout>
CMatrix<Layout>::CMatrix(const CMatrix&) = default;

template <int Layout>
CMatrix<Layout>::CMatrix(CMatrix&& b) noexcept {
  m_m.swap(b.m_m);
}

template <int Layout>
CMatrix<Layout>::CMatrix(const Eigen::MatrixXd& m) : m_m(m) {}

template <int Layout>
CMatrix<Layout>& CMatrix<Layout>::operator=(const CMatrix& b) {
  math::Resize(m_m, b.m_m.rows(), b.m_m.cols());
  m_m = b.m_m;
  return *this;
}

template <int Layout>
CMatrix<Layout>& CMatrix<Layout>::operator=(CMatrix&& b) noexcept {
  Inner_t taken;
  taken.swap(b.m_m);
  m_m.swap(taken);
  return *this;
}

template <int Layout>
CMatrix<Layout>::~CMatrix() = default;

template <int Layout>
int CMatrix<Layout>::NumRows() const {
  return static_cast<int>(m_m.rows());
}

template <int Layout>
int CMatrix<Layout>::NumCols() const {
  return static_cast<int>(m_m.cols());
}

template <int Layout>
bool CMatrix<Layout>::SetSize(int rows, int cols) {
  if (rows == NumRows() && cols == NumCols()) return true;
  CheckShape(rows, cols);
  math::Resize(m_m, rows, cols);
  m_m.setZero();
  return true;
}

template <int Layout>
void CMatrix<Layout>::SetAll(double v) {
  m_m.setConstant(v);
}

template <int Layout>
double& CMatrix<Layout>::ElementAt(int i, int j) {
  return m_m(i - 1, j - 1);
}

template <int Layout>
const double& CMatrix<Layout>::ElementAt(int i, int j) const {
  return m_m(i - 1, j - 1);
}

template <int Layout>
double CMatrix<Layout>::GetAt(int i, int j) const {
  return m_m(i - 1, j - 1);
}

template <int Layout>
void CMatrix<Layout>::SetAt(int i, int j, const double& v) {
  m_m(i - 1, j - 1) = v;
}

template <int Layout>
void CMatrix<Layout>::AddAt(int i, int j, const double& v) {
  m_m(i - 1, j - 1) += v;
}

template <int Layout>
double* CMatrix<Layout>::Array() {
  return m_m.data();
}

template <int Layout>
const double* CMatrix<Layout>::Array() const {
  return m_m.data();
}

template <int Layout>
typename CMatrix<Layout>::Inner_t& CMatrix<Layout>::Inner() {
  return m_m;
}

template <int Layout>
const typename CMatrix<Layout>::Inner_t& CMatrix<Layout>::Inner() const {
  return m_m;
}

template <int Layout>
bool CMatrix<Layout>::Dump(const char* fileName, const char* folder, bool flag) const {
  std::ofstream out;
  if (!OpenDumpFile(out, fileName, "matrix.csv", folder, flag)) return false;
  out << "MATRIX DUMP\n\n";
  for (int i = 1; i <= NumRows(); ++i) {
    out << i;
    for (int j = 1; j <= NumCols(); ++j) out << "," << GetAt(i, j);
    out << "\n";
  }
  out.close();
  return out.good();
}

template class CMatrix<0>;
template class CMatrix<1>;

}  // namespace Matrix
}  // namespace Vessa
