// Single terms: how they come in and how they are looked up.
#include <cmath>
#include <limits>
#include <stdexcept>

#include "CSolnMatrix.h"
#include "TermStaging.h"

namespace Vessa {
namespace Matrix {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

bool CSolnMatrix::SetNumDof(int n) {
  if (n < 0 && (m_method == SolPardiso || m_method == SolCompColumn))
    throw std::length_error("CSolnMatrix::SetNumDof: vector too long");
  m_numDof = n;
  m_terms->SetNumDof(n);
  m_triplets->SetNumDof(n);
  bool result = true;
  switch (m_method) {
    case SolSkyline:
      result = m_skyline.SetNumDof(n);
      break;
    case SolCompColumn:
      m_pattern.SetSize(n);
      break;
    case SolNone:
      break;
    case SolPardiso:
      m_triplets->AddZeroDiagonal();
      return true;
    default:
      return false;
  }
  m_terms->AddZeroDiagonal();
  return result;
}

void CSolnMatrix::AddTerm(int i, int j, const double& v) {
  // Unsigned, so that no i or j overflows; what lies outside is counted by the staging.
  const int row = static_cast<int>(static_cast<unsigned>(i) - 1u),
            col = static_cast<int>(static_cast<unsigned>(j) - 1u);
  switch (m_method) {
    case SolSkyline:
    case SolNone:
    case SolCompColumn:
      m_terms->Add(row, col, v);
      break;
    case SolPardiso:
      // A NaN fails both comparisons.
      if (std::fabs(v) >= std::numeric_limits<double>::epsilon() || v == 0.0) m_triplets->Add(col, row, v);
      break;
    default:
      break;
  }
}

namespace {

double Coefficient(const Sparse& a, int i, int j) {
  const bool inside = i >= 1 && j >= 1 && i <= a.rows() && j <= a.cols();
  return inside ? a.coeff(i - 1, j - 1) : 0.0;
}

}  // namespace

bool CSolnMatrix::Exist(int i, int j) const {
  switch (m_method) {
    case SolSkyline:
      return j >= 1 && j <= m_skyline.NumDof() && j - i < m_skyline.ColHeight(j);
    case SolCompColumn:
      return j >= 1 && m_pattern.Exist(i, j);
    case SolPardiso:
      return Coefficient(m_sparse, i, j) == 0.0;
    default:
      return false;
  }
}

double CSolnMatrix::GetAt(int i, int j) const {
  switch (m_method) {
    case SolSkyline:
      return m_skyline.GetAt(i, j);
    case SolCompColumn:
      return m_comp.GetAt(i, j);
    case SolPardiso:
      return Coefficient(m_sparse, i, j);
    default:
      return 0.0;
  }
}

int CSolnMatrix::NumTerm() const {
  switch (m_method) {
    case SolSkyline:
      return m_skyline.NumStiff();
    case SolCompColumn:
      return m_comp.NumTerm();
    case SolPardiso:
      return static_cast<int>(m_sparse.nonZeros());
    default:
      return 0;
  }
}

int CSolnMatrix::NumDof() const {
  switch (m_method) {
    case SolSkyline:
      return m_skyline.NumDof();
    case SolCompColumn:
      return m_comp.NumDof();
    case SolPardiso:
      return static_cast<int>(m_sparse.rows());
    default:
      return 0;
  }
}

void CSolnMatrix::SetZero() {
  switch (m_method) {
    case SolSkyline:
      m_skyline.Null();
      m_terms->Clear();
      break;
    case SolCompColumn:
      m_comp.SetZero();
      m_terms->Clear();
      break;
    case SolPardiso:
      m_sparse.setZero();
      m_triplets->Clear();
      break;
    default:
      break;
  }
}

Sparse& CSolnMatrix::getEigenSparse() {
  if (m_method != SolPardiso) throw CMatrixError("Illegal function call getEigenSparse");
  return m_sparse;
}

}  // namespace Matrix
}  // namespace Vessa
