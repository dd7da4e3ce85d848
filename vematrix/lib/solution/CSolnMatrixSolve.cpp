// Factorisation and solution: each engine's way of reporting trouble becomes one result code.
#include <sstream>
#include <utility>

#include "CSolnMatrix.h"
#include "TraceScope.h"

namespace Vessa {
namespace Matrix {

namespace {

int ReduceSkyline(CSkyLine& skyline, Option option, std::vector<int>& zeroDofs) {
  const bool ok = skyline.Reduce(option, zeroDofs);
  if (!ok && option == OptSturm) return -6;
  return zeroDofs.empty() ? 0 : -5;
}

// The engine returns numDof on success, more for a suppressed dof and less for a reduction it did not finish.
int ReduceCompColumn(CCompColumn& matrix, int numDof, Option option, double zeroStiff,
                     std::vector<int>& zeroDofs) {
  const int reduced = matrix.Reduce(option == OptStiffness, zeroStiff);
  if (reduced == numDof) return 0;
  if (option == OptSturm) return -6;
  if (option != OptStiffness || reduced < numDof) return -5;
  zeroDofs.push_back(reduced - numDof + 1);
  return 0;
}

// Memory and ordering, and zero pivot and internal error, change places against the solver's codes.
int ResultOf(PardisoError error) {
  switch (error) {
    case PardisoInternal:
      return -4;
    case PardisoZeroPivot:
      return -5;
    case PardisoReordering:
      return -2;
    case PardisoMemory:
      return -3;
    case PardisoInconsistent:
      return -1;
    default:
      return -4;
  }
}

}  // namespace

int CSolnMatrix::Reduce(Option option, std::vector<int>& zeroDofs) {
  const TraceScope trace("Vessa::Matrix::CSolnMatrix::Reduce");
  switch (m_method) {
    case SolSkyline:
      return ReduceSkyline(m_skyline, option, zeroDofs);
    case SolNone:
      return 0;
    case SolCompColumn:
      return ReduceCompColumn(m_comp, m_numDof, option, m_zeroStiff, zeroDofs);
    case SolPardiso:
      if (m_pardiso.isFactorized()) m_pardiso.dropFactors();
      return m_pardiso.factorize(option != OptSturm) ? 0 : ResultOf(m_pardiso.lastError());
    default:
      return -1;
  }
}

bool CSolnMatrix::Reduce(Option option) {
  std::vector<int> zeroDofs;
  return Reduce(option, zeroDofs) == 0;
}

void CSolnMatrix::BackSubstitute(CVector& b) {
  const TraceScope trace("Vessa::Matrix::CSolnMatrix::BackSubstitute");
  if (m_numDof == 0) return;
  switch (m_method) {
    case SolSkyline:
      m_skyline.BackSubs(b);
      break;
    case SolCompColumn:
      m_comp.BackSubs(b);
      break;
    case SolPardiso:
      m_pardiso.solve(b);
      if (m_pardiso.lastError() != PardisoOk) {
        std::ostringstream text;
        text << "Error solving for right hand side (Pardiso error " << m_pardiso.lastError() << ").\n";
        Note(text.str().c_str());
      }
      break;
    default:
      break;
  }
}

void CSolnMatrix::BackSubstitute(CMatrix<1>& B) {
  if (m_numDof == 0) return;
  switch (m_method) {
    case SolSkyline:
      throw CMatrixError("unimplemented parameter");
    case SolCompColumn:
      if (B.NumRows() < m_comp.NumDof()) {
        Log(2, "Back-substitution: the load matrix has fewer rows than there are dofs");
        return;
      }
      for (int c = 0; c < B.NumCols(); ++c)
        m_comp.BackSubs(B.Array() + static_cast<std::ptrdiff_t>(c) * B.NumRows());
      break;
    case SolPardiso: {
      Eigen::MatrixXd X = Eigen::MatrixXd::Zero(B.NumRows(), B.NumCols());
      SolveMulti(m_pardiso, B.Inner(), X);
      B.Inner() = X;  // into the host's own storage, where the shape is the same
      break;
    }
    default:
      break;
  }
}

}  // namespace Matrix
}  // namespace Vessa
