// Products, shifts, scaling and the like of an assembled matrix.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "../math/sparse_product.h"
#include "CSolnMatrix.h"

namespace Vessa {
namespace Matrix {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

CVector CSolnMatrix::operator*(const CVector& x) {
  switch (m_method) {
    case SolSkyline:
      return m_skyline * x;
    case SolCompColumn:
      return m_comp * x;
    case SolPardiso: {
      const int n = static_cast<int>(m_sparse.rows());
      if (x.Size() != n) {
        Log(2,
            ("Product: a vector of " + std::to_string(x.Size()) + " values for " + std::to_string(n) + " dof")
                .c_str());
        return CVector();
      }
      CVector y(n, 0.0);
      if (n > 0) math::symProduct(m_sparse, x.Array(), y.Array());
      return y;
    }
    default:
      return CVector();
  }
}

CMatrix<0> CSolnMatrix::operator*(const CMatrix<0>& X) {
  switch (m_method) {
    case SolSkyline:
      return m_skyline * X;
    case SolCompColumn:
      return m_comp * X;
    default:
      return CMatrix<0>();
  }
}

// Diagonal term j by the method of the matrix itself; 0.0 where there is none.
double CSolnMatrix::DiagonalTerm(int j) const {
  return j <= NumDof() ? GetAt(j, j) : 0.0;
}

// A matrix of another size is not subtracted in part.
bool CSolnMatrix::ShiftFits(int numDof) const {
  if (numDof == NumDof()) return true;
  Log(2, ("Shift of a matrix of " + std::to_string(NumDof()) + " dof by one of " + std::to_string(numDof))
             .c_str());
  return false;
}

void CSolnMatrix::Shift(const CSolnMatrix& M, double s) {
  switch (m_method) {
    case SolSkyline:
      if (ShiftFits(M.m_skyline.NumDof())) m_skyline.Shift(M.m_skyline, s);
      break;
    case SolCompColumn:
      if (M.m_diagonal)
        ShiftCompColumnByDiagonal(M, s);
      else
        m_comp.Shift(M.m_comp, s);
      break;
    case SolPardiso:
      if (M.m_diagonal)
        ShiftPardisoByDiagonal(M, s);
      else
        ShiftPardiso(M, s);
      break;
    default:
      break;
  }
}

void CSolnMatrix::Shift(const CSkyLine& M, double s) {
  if (m_method == SolSkyline && ShiftFits(M.NumDof())) m_skyline.Shift(M, s);
}

void CSolnMatrix::ShiftCompColumnByDiagonal(const CSolnMatrix& M, double s) {
  for (int j = 1; j <= m_numDof; ++j)
    m_comp.AddAt(j, j, -(s * M.DiagonalTerm(j)));  // nothing where none is stored
}

namespace {

// Position of the stored entry (j, j), 0-based, of a compressed matrix; −1 when there is none.
Eigen::Index DiagonalPosition(const Sparse& a, int j) {
  const int* first = a.innerIndexPtr() + a.outerIndexPtr()[j];
  const int* last = a.innerIndexPtr() + a.outerIndexPtr()[j + 1];
  const int* found = std::lower_bound(first, last, j);
  return found != last && *found == j ? found - a.innerIndexPtr() : -1;
}

bool SamePattern(const Sparse& a, const Sparse& b) {
  return a.isCompressed() && b.isCompressed() && a.nonZeros() == b.nonZeros() &&
         std::equal(a.outerIndexPtr(), a.outerIndexPtr() + a.outerSize() + 1, b.outerIndexPtr()) &&
         std::equal(a.innerIndexPtr(), a.innerIndexPtr() + a.nonZeros(), b.innerIndexPtr());
}

}  // namespace

// The matrix is compressed again before it is left: the solver would misread it otherwise.
void CSolnMatrix::ShiftPardisoByDiagonal(const CSolnMatrix& M, double s) {
  m_sparse.makeCompressed();
  const int n = std::min(m_numDof, static_cast<int>(m_sparse.rows()));
  std::vector<Eigen::Triplet<double, int>> missing;
  for (int j = 0; j < n; ++j) {
    const double d = s * M.DiagonalTerm(j + 1);
    const Eigen::Index k = DiagonalPosition(m_sparse, j);
    if (k >= 0)
      m_sparse.valuePtr()[k] -= d;
    else
      missing.emplace_back(j, j, -d);
  }
  if (missing.empty()) return;
  Sparse added(m_sparse.rows(), m_sparse.cols());
  added.setFromTriplets(missing.begin(), missing.end());
  Sparse sum;
  sum = m_sparse + added;
  sum.makeCompressed();
  sum.swap(m_sparse);
}

void CSolnMatrix::ShiftPardiso(const CSolnMatrix& M, double s) {
  if (!ShiftFits(static_cast<int>(M.m_sparse.rows()))) return;
  if (SamePattern(m_sparse, M.m_sparse)) {
    const double* m = M.m_sparse.valuePtr();
    double* k = m_sparse.valuePtr();
    for (Eigen::Index t = 0, end = m_sparse.nonZeros(); t < end; ++t) k[t] -= s * m[t];
    return;
  }
  Sparse shifted;
  shifted = m_sparse - s * M.m_sparse;
  shifted.makeCompressed();
  shifted.swap(m_sparse);
}

void CSolnMatrix::Scale(double f) {
  switch (m_method) {
    case SolSkyline:
      m_skyline.Scale(f);
      break;
    case SolCompColumn:
      m_comp.Scale(f);
      break;
    case SolPardiso:
      for (int c = 0; c < m_sparse.outerSize(); ++c)
        for (Sparse::InnerIterator it(m_sparse, c); it; ++it) it.valueRef() *= f;
      break;
    default:
      break;
  }
}

void CSolnMatrix::Diag(CDiag& d) const {
  d.SetNumDof(NumDof());
}

namespace {

// √(Σ a(i,j)²) over the stored rows i < j.
double AboveDiagonalNorm(const CSkyLine& skyline, int j) {
  if (j < 1 || j > skyline.NumDof()) return 0.0;
  double sum = 0.0;
  for (int i = j - 1, top = j - skyline.ColHeight(j); i > top; --i)
    sum += skyline.GetAt(i, j) * skyline.GetAt(i, j);
  return std::sqrt(sum);
}

double ColumnNorm(const Sparse& a, int c) {
  if (c < 0 || c >= a.outerSize()) return 0.0;
  double sum = 0.0;
  for (Sparse::InnerIterator it(a, c); it; ++it) sum += it.value() * it.value();
  return std::sqrt(sum);
}

}  // namespace

double CSolnMatrix::ColumnSRSS(int j) const {
  switch (m_method) {
    case SolSkyline:
      return AboveDiagonalNorm(m_skyline, j);
    case SolCompColumn:
      return m_comp.ColumnSRSS(j);
    case SolPardiso:
      return ColumnNorm(m_sparse, j - 1);
    default:
      return 0.0;
  }
}

double CSolnMatrix::MaxMinRatio() {
  switch (m_method) {
    case SolSkyline:
      return 1.0 / (m_skyline.MinStiff().second / m_skyline.MaxStiff().second);
    case SolCompColumn:
      return m_comp.MaxMinRatio();
    default:
      return 1.0;
  }
}

}  // namespace Matrix
}  // namespace Vessa
