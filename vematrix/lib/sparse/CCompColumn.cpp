#include "CCompColumn.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

#include "MatrixImage.h"
#include "SymmetricLdlt.h"

namespace Vessa {
namespace Matrix {

using sparse::LdltStatus;
using sparse::PivotMode;
using sparse::SymmetricLdlt;

/// The solver and the settings its factor was made with.
struct CCompColumn::Engine {
  SymmetricLdlt solver;
  bool stiffnessMode = true;
  double zeroStiff = 0.0;
  std::string shortage;
};

CCompColumn::CCompColumn() : m_engine(new Engine) {}
CCompColumn::CCompColumn(const CCompColumn& other) : CSparse(other), m_engine(new Engine(*other.m_engine)) {}

CCompColumn& CCompColumn::operator=(const CCompColumn& other) {
  if (this != &other) {
    CSparse::operator=(other);
    *m_engine = *other.m_engine;
  }
  return *this;
}

CCompColumn::~CCompColumn() = default;

void CCompColumn::DropFactors() {
  m_engine->solver.DropFactor();
  CSparse::DropFactors();
}

CVector CCompColumn::operator*(const CVector& x) const {
  return CSparse::operator*(x);
}

CCompColumn& CCompColumn::operator+=(const CDiag& d) {
  if (d.NumDof() != m_n) {
    const std::string text =
        "A diagonal of " + std::to_string(d.NumDof()) + " dof added to a matrix of " + std::to_string(m_n);
    Log(2, text.c_str());
    return *this;
  }
  bool complete = true;
  for (int j = 1; j <= m_n && complete; ++j) complete = Find(j, j) >= 0;
  if (complete) {
    for (int j = 1; j <= m_n; ++j) AddAt(j, j, d.GetAt(j, j));
    return *this;
  }
  CCompColumn diagonal;
  diagonal.m_n = m_n;
  for (int j = 1; j <= m_n; ++j) {
    diagonal.m_start.push_back(j);
    diagonal.m_row.push_back(j - 1);
    diagonal.m_value.push_back(d.GetAt(j, j));
  }
  Shift(diagonal, -1.0);
  return *this;
}

namespace {

/// The first pair (i, j), i > j, 1-based, whose two stored values differ; false when there is none.
///
/// Terms summed in another order may differ in the last bits: 1e-10 of the larger magnitude is allowed.
bool FindAsymmetry(int n, const std::vector<int>& start, const std::vector<int>& row,
                   const std::vector<double>& value, int& i, int& j) {
  std::vector<int> next(start.begin(),
                        start.end() - 1);  // walks every column once: rows come in increasing order
  for (int c = 0; c < n; ++c) {
    for (int t = start[c]; t < start[c + 1]; ++t) {
      const int r = row[t];
      if (r == c) continue;
      const int u = next[r];
      const bool stored = u < start[r + 1] && row[u] == c;
      const double partner = stored ? value[u] : 0.0;
      const double difference = std::fabs(value[t] - partner);
      if (!stored || difference > 1e-10 * std::max(std::fabs(value[t]), std::fabs(partner))) {
        i = r + 1;
        j = c + 1;
        return true;
      }
      ++next[r];
      while (next[r] < start[r + 1] && row[next[r]] == r) ++next[r];
    }
    while (next[c] < start[c + 1] && row[next[c]] == c) ++next[c];
  }
  return false;
}

int Failure(int n, int finished) {
  return std::max(0, std::min(finished, n - 1));
}

}  // namespace

int CCompColumn::Reduce(bool stiffnessMode, double zeroStiff) {
  Engine& engine = *m_engine;
  if (m_reduced && engine.stiffnessMode == stiffnessMode && engine.zeroStiff == zeroStiff)
    return ResultCode();
  DropFactors();
  engine.shortage.clear();
  try {
    Note("Reducing Stiffness Matrix");
    int i = 0, j = 0;
    if (FindAsymmetry(m_n, m_start, m_row, m_value, i, j)) {
      const std::string text = "The matrix is not symmetric: terms (" + std::to_string(i) + ", " +
                               std::to_string(j) + ") and (" + std::to_string(j) + ", " + std::to_string(i) +
                               ") differ";
      Log(2, text.c_str());
      return Failure(m_n, 0);
    }
    LdltStatus status = engine.solver.Analyse(m_n, m_start.data(), m_row.data(), sparse::Triangle::Both);
    if (status == LdltStatus::Ok) {
      const PivotMode mode = stiffnessMode ? PivotMode::Stiffness : PivotMode::Sturm;
      status = engine.solver.Factorize(m_value.data(), mode, zeroStiff);
    }
    if (status == LdltStatus::GrowthFailed) {
      Log(1, "Sturm sequence check failed due to multiplier growth");
      return Failure(m_n, engine.solver.Pivots().numFinished);
    }
    if (status == LdltStatus::OutOfMemory) engine.shortage = engine.solver.Message();
    if (status != LdltStatus::Ok) {
      Log(2, engine.solver.Message().c_str());
      return Failure(m_n, engine.solver.Pivots().numFinished);
    }
  } catch (const std::exception&) {
    DropFactors();
    Log(2, "Error is matrix reduction");
    return Failure(m_n, 0);
  }
  engine.stiffnessMode = stiffnessMode;
  engine.zeroStiff = zeroStiff;
  m_reduced = true;
  for (int dof : SuppressedDofs()) {
    const std::string text = "Zero pivot suppressed at dof " + std::to_string(dof);
    Log(1, text.c_str());
  }
  return ResultCode();
}

int CCompColumn::ResultCode() const {
  const std::vector<int>& suppressed = SuppressedDofs();
  if (suppressed.empty()) return m_n;
  const int lowest = suppressed.front();
  return lowest == 1 ? m_n - 1 : m_n + lowest - 1;
}

void CCompColumn::BackSubs(double* x) {
  Note("Back-substitution");
  if (!m_reduced) {
    Log(2, "Back-substitution without a reduced matrix");
    return;
  }
  try {
    if (m_engine->solver.Solve(x, 1, m_n) != LdltStatus::Ok) Log(2, "Error in back-substitution");
  } catch (const std::exception&) {
    Log(2, "Error in back-substitution");
  }
}

void CCompColumn::BackSubs(CVector& x) {
  if (x.Size() != m_n) {
    const std::string text = "Back-substitution of " + std::to_string(x.Size()) +
                             " values with a matrix of " + std::to_string(m_n) + " dof";
    Log(2, text.c_str());
    return;
  }
  BackSubs(x.Array());
}

bool CCompColumn::IsReduced() const {
  return m_reduced;
}

int CCompColumn::NumNegative() const {
  return m_engine->solver.NumNegative();
}
const std::vector<int>& CCompColumn::SuppressedDofs() const {
  return m_engine->solver.Pivots().suppressed;
}

const std::string& CCompColumn::Shortage() const {
  return m_engine->shortage;
}

double CCompColumn::MaxMinRatio() const {
  const sparse::PivotRecord& pivots = m_engine->solver.Pivots();
  return m_reduced && pivots.largestDof > 0 ? pivots.largest / pivots.smallest : 1.0;
}

bool CCompColumn::Write(std::FILE* f) {
  sparse::ImageWriter image(f);
  image.Put(static_cast<std::int64_t>(m_n));
  image.Put(m_start);
  image.Put(m_row);
  image.Put(m_value);
  image.Put(static_cast<std::int64_t>(m_reduced));
  image.Put(static_cast<std::int64_t>(m_engine->stiffnessMode));
  image.Put(m_engine->zeroStiff);
  if (m_reduced) m_engine->solver.Save(image);
  if (image.Finish()) return true;
  Log(2, image.Message().c_str());
  return false;
}

bool CCompColumn::Read(std::FILE* f) {
  sparse::ImageReader image(f);
  try {
    CCompColumn other;
    if (ReadInto(image, other)) {
      other.m_log = m_log;
      *this = other;
      return true;
    }
    Log(2, image.Message().c_str());
  } catch (const std::exception&) {
    Log(2, "Not enough memory to read the matrix");
  }
  return false;
}

bool CCompColumn::ReadInto(sparse::ImageReader& image, CCompColumn& m) {
  int reduced = 0, stiffnessMode = 0;
  if (!image.Get(m.m_n) || !image.Get(m.m_start) || !image.Get(m.m_row) || !image.Get(m.m_value) ||
      !sparse::IsColumnStructure(m.m_n, m.m_start, m.m_row, m.m_value.size()) || !image.Get(reduced) ||
      !image.Get(stiffnessMode) || !image.Get(m.m_engine->zeroStiff)) {
    return false;
  }
  m.m_engine->stiffnessMode = stiffnessMode != 0;
  m.m_reduced = reduced != 0;
  if (m.m_reduced &&
      !m.m_engine->solver.Load(image, m.m_n, m.m_start.data(), m.m_row.data(), sparse::Triangle::Both)) {
    return false;
  }
  return image.Finish();
}

}  // namespace Matrix
}  // namespace Vessa
