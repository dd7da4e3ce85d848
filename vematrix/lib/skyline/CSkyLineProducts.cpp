// Products of the skyline matrix, assembled or reduced, with vectors and blocks of vectors.
#include "CSkyLine.h"
#include "SkylineReference.h"

namespace Vessa {
namespace Matrix {

CVector CSkyLine::operator*(CVector const& x) {
  if (m_phase == PhaseAssembled) return MultiplyAssembled(x);
  if (m_phase == PhaseReduced) return MultiplyReduced(x);
  return CVector();
}

CVector CSkyLine::MultiplyAssembled(CVector const& x) {
  RequireStorage("operator*", x.Size());
  CVector y(m_numDof);
  if (m_diagonal) {
    for (int i = 1; i <= m_numDof; ++i) y[i] = m_value[i - 1] * x[i];
  } else {
    skyline::reference::MultiplyAssembled(m_value, m_column.data(), m_numDof, x.Array(), y.Array());
  }
  return y;
}

CVector CSkyLine::MultiplyReduced(CVector const& x) {
  RequireStorage("operator*", x.Size());
  CVector y(m_numDof);
  if (m_diagonal) {
    for (int i = 1; i <= m_numDof; ++i) y[i] = m_value[i - 1] * x[i];
  } else {
    skyline::reference::MultiplyReduced(m_value, m_column.data(), m_numDof, x.Array(), y.Array());
  }
  return y;
}

CMatrix<0> CSkyLine::operator*(CMatrix<0> const& X) {
  if (m_phase != PhaseAssembled && m_phase != PhaseReduced) return CMatrix<0>();
  RequireStorage("operator*", X.NumRows());
  CMatrix<0> Y(m_numDof, X.NumCols());
  CVector x(m_numDof);
  for (int c = 1; c <= X.NumCols(); ++c) {
    for (int i = 1; i <= m_numDof; ++i) x[i] = X.GetAt(i, c);
    const CVector y = *this * x;
    for (int i = 1; i <= m_numDof; ++i) Y.SetAt(i, c, y.GetAt(i));
  }
  return Y;
}

}  // namespace Matrix
}  // namespace Vessa
