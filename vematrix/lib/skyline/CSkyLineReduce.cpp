// Reduction of the skyline matrix and solution with its factors.
#include <exception>

#include "CSkyLine.h"
#include "SkylineBlock.h"
#include "SkylinePlain.h"
#include "SkylineSweep.h"

namespace Vessa {
namespace Matrix {

namespace {

/// Diagonal mode: every value is its own pivot.
void ReduceDiagonal(SkylineValueStore& value, int n, skyline::Pivots& pivots) {
  for (int i = 1; i <= n; ++i) {
    double& pivot = value[i - 1];
    if (pivots.IsSuppressed(pivot)) {
      pivots.zeroDofs->push_back(i);
      pivot = 1.0;
    } else if (pivot == 0.0) {
      pivot = skyline::kZeroPivot;
    } else {
      pivots.Record(i, pivot);
    }
  }
}

bool ReduceProfile(SkylineValueStore& value, const int* end, int n, skyline::Pivots& pivots) {
  if (value.NumChunks() != 1) return skyline::plain::ReduceColumns(value, end, 1, n, pivots);
  double* chunk = &value[0];
  return skyline::ReduceInBlocks(chunk, end, n, pivots, skyline::FastestBlockKernels());
}

}  // namespace

bool CSkyLine::Reduce(int option, std::vector<int>& zeroDofs) {
  if (m_phase == PhaseReduced) return true;
  zeroDofs.clear();
  if (m_numDof == 0) return true;
  Note("Reducing Stiffness Matrix");
  m_max.second = 0.0;
  m_min.second = 1e20;
  try {
    RequireStorage("Reduce", m_numDof);
    skyline::Pivots pivots{option, m_zero, &zeroDofs, m_max, m_min};
    bool complete = true;
    if (m_diagonal) {
      ReduceDiagonal(m_value, m_numDof, pivots);
    } else {
      complete = ReduceProfile(m_value, m_column.data(), m_numDof, pivots);
    }
    m_max = pivots.max;
    m_min = pivots.min;
    if (!complete) return false;
  } catch (...) {
    Log(2, "Error is matrix reduction");
    return false;
  }
  m_phase = PhaseReduced;
  return zeroDofs.empty();
}

double CSkyLine::Ratio() const {
  return m_min.second / m_max.second;
}

CDiag CSkyLine::Diag() const {
  CDiag d(m_numDof);
  for (int i = 1; i <= m_numDof; ++i) d.SetAt(i, i, GetAt(i, i));
  return d;
}

bool CSkyLine::SturmFailure() const {
  Log(1, "Sturm sequence check failed due to multiplier growth");
  return true;
}

void CSkyLine::BackSubs(CVector& v) {
  Note("Back-substitution");
  RequireStorage("BackSubs", v.Size());
  SolveInPlace(v.Array(), 1);
}

void CSkyLine::BackSubs(CMatrix<0>& m) {
  Note("Back-substitution");
  RequireStorage("BackSubs", m.NumRows());
  SolveInPlace(m.Array(), m.NumCols());
}

/// Solves for `count` vectors side by side, row by row.
void CSkyLine::SolveInPlace(double* x, int count) {
  const int* end = m_column.data();
  if (m_numDof < 1 || count < 1) return;
  if (m_diagonal) {
    for (int i = 0; i < m_numDof; ++i)
      for (int c = 0; c < count; ++c) x[static_cast<std::size_t>(i) * count + c] /= m_value[i];
  } else if (m_value.NumChunks() != 1) {
    std::vector<double> v(m_numDof);
    for (int c = 0; c < count; ++c) {
      for (int i = 0; i < m_numDof; ++i) v[i] = x[static_cast<std::size_t>(i) * count + c];
      skyline::plain::Solve(m_value, end, m_numDof, v.data());
      for (int i = 0; i < m_numDof; ++i) x[static_cast<std::size_t>(i) * count + c] = v[i];
    }
  } else if (count == 1) {
    skyline::Solve(&m_value[0], end, m_numDof, x, skyline::FastestSweepKernels());
  } else {
    skyline::SolveBlock(&m_value[0], end, m_numDof, x, count, skyline::FastestSweepKernels());
  }
}

}  // namespace Matrix
}  // namespace Vessa
