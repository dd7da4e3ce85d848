// Products of the skyline matrix, assembled or reduced, with vectors and blocks of vectors.
#include "CSkyLine.h"
#include "SkylinePlain.h"
#include "SkylineSweep.h"

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
  Multiply(x.Array(), y.Array(), 1, false);
  return y;
}

CVector CSkyLine::MultiplyReduced(CVector const& x) {
  RequireStorage("operator*", x.Size());
  CVector y(m_numDof);
  Multiply(x.Array(), y.Array(), 1, true);
  return y;
}

CMatrix<0> CSkyLine::operator*(CMatrix<0> const& X) {
  if (m_phase != PhaseAssembled && m_phase != PhaseReduced) return CMatrix<0>();
  RequireStorage("operator*", X.NumRows());
  CMatrix<0> Y(m_numDof, X.NumCols());
  Multiply(X.Array(), Y.Array(), X.NumCols(), m_phase == PhaseReduced);
  return Y;
}

/// y := K·x for `count` vectors side by side, row by row, with the assembled terms or with the factors.
void CSkyLine::Multiply(const double* x, double* y, int count, bool reduced) const {
  const int* end = m_column.data();
  const int n = m_numDof;
  if (n < 1 || count < 1) return;
  const skyline::SweepKernels& kernels = skyline::FastestSweepKernels();
  if (m_diagonal) {
    for (int i = 0; i < n; ++i)
      for (int c = 0; c < count; ++c) {
        const std::size_t k = static_cast<std::size_t>(i) * count + c;
        y[k] = m_value[i] * x[k];
      }
  } else if (m_value.NumChunks() != 1) {
    MultiplyInPieces(x, y, count, reduced);
  } else if (count == 1) {
    (reduced ? skyline::MultiplyReduced : skyline::MultiplyAssembled)(&m_value[0], end, n, x, y, kernels);
  } else {
    (reduced ? skyline::MultiplyReducedBlock : skyline::MultiplyAssembledBlock)(&m_value[0], end, n, x, y,
                                                                                count, kernels);
  }
}

/// The same with a store cut into chunks, vector by vector.
void CSkyLine::MultiplyInPieces(const double* x, double* y, int count, bool reduced) const {
  const int* end = m_column.data();
  const int n = m_numDof;
  std::vector<double> from(n), to(n);
  for (int c = 0; c < count; ++c) {
    for (int i = 0; i < n; ++i) from[i] = x[static_cast<std::size_t>(i) * count + c];
    if (reduced) {
      skyline::plain::MultiplyReduced(m_value, end, n, from.data(), to.data());
    } else {
      skyline::plain::MultiplyAssembled(m_value, end, n, from.data(), to.data());
    }
    for (int i = 0; i < n; ++i) y[static_cast<std::size_t>(i) * count + c] = to[i];
  }
}

}  // namespace Matrix
}  // namespace Vessa
