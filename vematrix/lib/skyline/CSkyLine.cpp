// Storage, assembly and the whole-matrix operations of the skyline matrix.
#include "CSkyLine.h"

#include <algorithm>
#include <exception>

#include "../math/memory_limit.h"

namespace Vessa {
namespace Matrix {

namespace {
const long long kMostTerms = 0x3FFFFFFF;

/// Calls f(first value, how many) for every contiguous stretch of the first `count` values.
template <class Store, class Function>
void ForEachStretch(Store& value, int count, Function f) {
  for (int k = 0; k < count; k += value.ChunkSize()) f(&value[k], std::min(value.ChunkSize(), count - k));
}
}  // namespace

CSkyLine::CSkyLine()
    : m_diagonal(false),
      m_numDof(0),
      m_numStiff(0),
      m_normFactor(1.0),
      m_normalized(false),
      m_scale1(1.0),
      m_scale2(1.0),
      m_zero(1e-40),
      m_log(nullptr),
      m_max(0, 0.0),
      m_min(0, 0.0),
      m_file(nullptr),
      m_phase(PhaseHeights) {}

CSkyLine::CSkyLine(const CSkyLine&) = default;

CSkyLine& CSkyLine::operator=(const CSkyLine&) = default;

CSkyLine::~CSkyLine() = default;

int CSkyLine::NumDof() const {
  return m_numDof;
}
int CSkyLine::NumStiff() const {
  return m_numStiff;
}
bool CSkyLine::IsDiagonal() const {
  return m_diagonal;
}
void CSkyLine::SetDiagonal(bool d) {
  m_diagonal = d;
}
double CSkyLine::Zero() const {
  return m_zero;
}
void CSkyLine::SetZero(double z) {
  m_zero = z;
}
double CSkyLine::NormFactor() const {
  return m_normFactor;
}
bool CSkyLine::IsNormalized() const {
  return m_normalized;
}
const std::pair<int, double>& CSkyLine::MaxStiff() const {
  return m_max;
}
const std::pair<int, double>& CSkyLine::MinStiff() const {
  return m_min;
}
void CSkyLine::SetLog(CReport* r) {
  m_log = r;
}
void CSkyLine::SetTmpFile(wchar_t const* name) {
  m_fileName = name ? name : L"";
}
const std::wstring& CSkyLine::TmpFile() const {
  return m_fileName;
}
void CSkyLine::SetPhase(Phase p) {
  m_phase = p;
}
Phase CSkyLine::GetPhase() const {
  return m_phase;
}
void CSkyLine::SetAssemble() {
  m_phase = PhaseAssembled;
}

void CSkyLine::Log(int level, const char* msg) const {
  if (m_log) m_log->Log(level, msg);
}

void CSkyLine::Note(const char* msg) const {
  if (m_log) m_log->Note(msg);
}

bool CSkyLine::SetNumDof(int n) {
  m_numDof = 0;  // stands when there is no memory
  if (m_diagonal) {
    m_value.Release();
    m_value.SetCount(n);
    m_value.Allocate();
    if (!m_value.Allocated()) throw std::exception();
  } else {
    if (n < 0) throw std::exception();
    try {
      m_column.resize(static_cast<std::size_t>(n) + 1, 0);
    } catch (const std::exception&) {
      throw std::exception();
    }
  }
  m_numDof = n;
  return true;
}

int CSkyLine::ColHeight(int j) const {
  if (static_cast<std::size_t>(j) >= m_column.size()) return 0;  // diagonal mode keeps no heights
  return m_phase == PhaseHeights ? m_column[j] : m_column[j] - m_column[j - 1];
}

void CSkyLine::SetColHeight(int j, int h) {
  if (static_cast<std::size_t>(j) < m_column.size()) m_column[j] = h;
}

bool CSkyLine::CreateIndex() {
  if (m_column.size() <= static_cast<std::size_t>(std::max(m_numDof, 0))) {  // diagonal mode keeps none
    m_column.resize(static_cast<std::size_t>(std::max(m_numDof, 0)) + 1, 0);
  }
  m_column[0] = 0;
  for (int j = 1; j <= m_numDof; ++j) {
    const long long height = m_column[j] == 0 ? 1 : m_column[j];
    const long long total = m_column[j - 1] + height;
    m_column[j] = static_cast<int>(std::min<long long>(total, 0x7FFFFFFF));
    if (total > kMostTerms) {
      m_numStiff = m_column[j];
      Log(2, "Too many terms in matrix");
      return false;
    }
  }
  m_numStiff = m_numDof > 0 ? m_column[m_numDof] : 0;
  AllocateValues(m_numStiff);
  m_phase = PhaseIndexed;
  return true;
}

/// Replaces the value store by `count` zeros; logs, notes the figures and throws when there is no memory.
void CSkyLine::AllocateValues(int count) {
  m_value.Release();
  m_value.SetCount(count);
  const std::int64_t wanted = static_cast<std::int64_t>(count) * static_cast<std::int64_t>(sizeof(double));
  const bool small = wanted < math::kAskFirst;
  if (small || wanted <= math::AvailableMemory()) m_value.Allocate();
  if (m_value.Allocated()) return;
  const std::int64_t available = math::AvailableMemory();
  Note(math::ShortageText("the profile of the matrix", wanted, available).c_str());
  Log(2, "Unable to allocate memory for matrix");
  throw CMatrixError("Unable to allocate memory for matrix");
}

/// Address of row i ≤ j in column j.
int CSkyLine::AddressOf(int i, int j) const {
  return m_diagonal ? i - 1 : m_column[j - 1] + (j - i);
}

double& CSkyLine::ElementAt(int i, int j) {
  return m_value[AddressOf(i, j)];
}

void CSkyLine::SetAt(int i, int j, double v) {
  if (m_diagonal && i != j) return;
  m_value[AddressOf(i, j)] = v;
}

double CSkyLine::GetAt(int i, int j) const {
  if (m_value.NumChunks() == 0) return 0.0;
  if (i == j) return m_value[AddressOf(i, i)];
  if (m_diagonal) return 0.0;
  const int column = std::max(i, j);
  const int row = std::min(i, j);
  return ColHeight(column) > column - row ? m_value[AddressOf(row, column)] : 0.0;
}

void CSkyLine::Clear() {
  m_value.Release();
  m_column.assign(static_cast<std::size_t>(std::max(m_numDof, 0)) + 1, 0);
  m_phase = PhaseHeights;
}

void CSkyLine::Null() {
  if (m_diagonal) AllocateValues(m_numDof);
  ForEachStretch(m_value, NumAccessible(), [](double* v, int n) { std::fill_n(v, n, 0.0); });
}

/// How many values the matrix consists of.
int CSkyLine::NumValues() const {
  return m_diagonal ? m_numDof : m_numStiff;
}

/// How many of them the store holds: all, unless it was released or never sized for them.
int CSkyLine::NumAccessible() const {
  return m_value.NumChunks() == 0 ? 0 : std::max(0, std::min(NumValues(), m_value.Count()));
}

/// Whether every term that the index speaks of is there: all addresses lie in the store and no column rises
/// above row 1. One pass over the index.
bool CSkyLine::HasStorage() const {
  if (!m_value.Allocated()) return false;
  if (m_diagonal) return m_value.Count() >= m_numDof;
  if (m_numDof < 1) return true;
  if (m_column.size() <= static_cast<std::size_t>(m_numDof) || m_column[0] != 0) return false;
  for (int j = 1; j <= m_numDof; ++j) {
    if (m_column[j] <= m_column[j - 1] || m_column[j] - m_column[j - 1] > j) return false;
  }
  return m_column[m_numDof] <= m_value.Count();
}

/// Refuses, in the name of `function`, to work without storage or on a vector of `size` < NumDof values.
void CSkyLine::RequireStorage(const char* function, int size) const {
  const std::string name = std::string("CSkyLine::") + function;
  if (!HasStorage())
    throw CMatrixError(name + ": the matrix has no storage for its " + std::to_string(m_numDof) + " dofs");
  if (size < m_numDof) {
    throw CMatrixError(name + ": the matrix has " + std::to_string(m_numDof) + " dofs, the vector only " +
                       std::to_string(size) + " values");
  }
}

bool CSkyLine::CheckDiagonal() const {
  if (!HasStorage()) return true;
  for (int j = m_diagonal ? 1 : 2; j <= m_numDof; ++j) {
    if (m_value[AddressOf(j, j)] < 0.0) return false;
  }
  return true;
}

void CSkyLine::Normalize() {
  if (m_numDof < 1 || !HasStorage()) return;
  double largest = m_value[AddressOf(1, 1)];
  for (int j = 2; j <= m_numDof; ++j) largest = std::max(largest, m_value[AddressOf(j, j)]);
  if (!(largest > 0.0)) return;
  m_normalized = true;
  m_normFactor = 1.0 / largest;
  Scale(m_normFactor);
}

void CSkyLine::Scale(double s) {
  ForEachStretch(m_value, NumAccessible(), [s](double* v, int n) {
    for (int k = 0; k < n; ++k) v[k] *= s;
  });
}

void CSkyLine::Shift(CSkyLine const& K, double s) {
  const int n = std::min(m_numDof, K.m_numDof);
  if (!HasStorage() || !K.HasStorage()) return;
  for (int j = 1; j <= n; ++j) {
    double* diagonal = &m_value[AddressOf(j, j)];
    if (m_diagonal || K.m_diagonal) {
      *diagonal -= s * K.m_value[K.AddressOf(j, j)];
      continue;
    }
    const int mine = AddressOf(j, j);
    const int theirs = K.AddressOf(j, j);
    const int height = std::min(m_column[j] - mine, K.m_column[j] - theirs);
    if (m_value.NumChunks() == 1 && K.m_value.NumChunks() == 1) {
      const double* k = &K.m_value[theirs];
      for (int t = 0; t < height; ++t) diagonal[t] -= s * k[t];
    } else {
      for (int t = 0; t < height; ++t) m_value[mine + t] -= s * K.m_value[theirs + t];
    }
  }
}

}  // namespace Matrix
}  // namespace Vessa
