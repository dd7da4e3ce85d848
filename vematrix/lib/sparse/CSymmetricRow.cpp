#include "CSymmetricRow.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <limits>

namespace Vessa {
namespace Matrix {

namespace {

// What a reference to an entry that does not exist refers to, instead of memory that belongs to something
// else.
double& NoEntry() {
  thread_local double value;
  return value = 0.0;
}

int Saturated(long long count) {
  return static_cast<int>(std::min<long long>(count, std::numeric_limits<int>::max()));
}

// Distinct ascending columns bound the position of column j from both ends; where the row is a run of
// consecutive columns, as at the end of most rows of a factor, the bounds meet and nothing is left to bisect.
const RowEntry* FindAscending(const std::vector<RowEntry>& row, int j) {
  const std::ptrdiff_t last = static_cast<std::ptrdiff_t>(row.size()) - 1;
  if (last < 0 || j < row.front().column || j > row.back().column) return nullptr;
  std::ptrdiff_t low = std::max<std::ptrdiff_t>(0, last - (row.back().column - j));
  std::ptrdiff_t high = std::min<std::ptrdiff_t>(last, j - row.front().column);
  while (low < high) {
    const std::ptrdiff_t middle = (low + high) / 2;
    if (row[middle].column < j) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return row[low].column == j ? &row[low] : nullptr;
}

const RowEntry* FindScanning(const std::vector<RowEntry>& row, int j) {
  for (const RowEntry& entry : row)
    if (entry.column == j) return &entry;
  return nullptr;
}

// First position at or behind `from` in a descending list whose row is at most `row`; the steps double, so
// that a short list merges with a long one in logarithmic time.
int SkipTo(const std::vector<int>& list, int from, int row) {
  const int size = static_cast<int>(list.size());
  int low = from, step = 1;
  while (low + step < size && list[low + step] > row) {
    low += step;
    step *= 2;
  }
  const auto first = list.begin() + low, last = list.begin() + std::min(size, low + step + 1);
  return static_cast<int>(std::partition_point(first, last, [row](int r) { return r > row; }) - list.begin());
}

}  // namespace

CSymmetricRow::CSymmetricRow() : m_pre(PreConditioner2), m_check(1), m_log(nullptr), m_lookupCurrent(false) {}

CSymmetricRow::CSymmetricRow(int n) : CSymmetricRow() {
  CSymmetricRow::SetNumDof(n);
}

CSymmetricRow::CSymmetricRow(const CSymmetricRow&) = default;
CSymmetricRow& CSymmetricRow::operator=(const CSymmetricRow&) = default;
CSymmetricRow::~CSymmetricRow() = default;

CSymmetricRow CSymmetricRow::operator*(double s) {
  CSymmetricRow result(*this);
  result.Scale(s);
  return result;
}

CSymmetricRow CSymmetricRow::operator+=(CDiag const& d) {
  assert(d.NumDof() >= NumDof());
  const int n = std::min(NumDof(), d.NumDof());
  for (int i = 1; i <= n; ++i) ElementAt(i, i) += d.GetAt(i, i);
  return *this;
}

void CSymmetricRow::SetPreconditioner(PreConditioner p) {
  m_pre = p;
}

void CSymmetricRow::SetNumDof(int n) {
  if (n == static_cast<int>(m_rows.size())) return;
  m_lookupCurrent = false;
  m_rows.clear();
  m_ascending.clear();
  if (n < 1) return;
  m_ascending.assign(n, 1);
  m_rows.resize(n);
}

void CSymmetricRow::SetNumCheck(int n) {
  m_check = n;
}
PreConditioner CSymmetricRow::Preconditioner() {
  return m_pre;
}
int CSymmetricRow::NumDof() const {
  return static_cast<int>(m_rows.size());
}
void CSymmetricRow::SetLog(CReport* r) {
  m_log = r;
}

int CSymmetricRow::Size() const {
  long long count = 0;
  for (const std::vector<RowEntry>& row : m_rows) count += static_cast<long long>(row.size());
  return Saturated(count);
}

void CSymmetricRow::Sort() {
  for (std::size_t r = 0; r < m_rows.size(); ++r) {
    if (m_ascending[r]) continue;
    std::sort(m_rows[r].begin(), m_rows[r].end(),
              [](const RowEntry& a, const RowEntry& b) { return a.column < b.column; });
    m_ascending[r] = 1;
  }
}

void CSymmetricRow::ReserveAt(int i, int j) {
  assert(Inside(i) && Inside(j));
  if (Inside(i) && Inside(j) && Find(i, j) == nullptr) Append(i, j);
}

void CSymmetricRow::AllocateAt(int i, int j) {
  assert(Inside(i) && Inside(j));
  if (Inside(i) && Inside(j) && Find(i, j) == nullptr) Append(i, j);
}

void CSymmetricRow::SetAt(int i, int j, double v) {
  RowEntry* entry = Find(i, j);
  assert(entry != nullptr && "SetAt of an entry that was never reserved");
  if (entry != nullptr) entry->value = v;
}

void CSymmetricRow::AddAt(int i, int j, double v) {
  RowEntry* entry = Find(i, j);
  assert(entry != nullptr && "AddAt of an entry that was never reserved");
  if (entry != nullptr) entry->value += v;
}

double CSymmetricRow::GetAt(int i, int j) const {
  const RowEntry* entry = Find(i, j);
  return entry == nullptr ? 0.0 : entry->value;
}

double& CSymmetricRow::ElementAt(int i, int j) {
  RowEntry* entry = Find(i, j);
  assert(entry != nullptr && "ElementAt of an entry that was never reserved");
  return entry == nullptr ? NoEntry() : entry->value;
}

double& CSymmetricRow::ElementAtIndex(int i, int k) {
  const bool exists = Inside(i) && k >= 0 && k < static_cast<int>(m_rows[i - 1].size());
  assert(exists && "ElementAtIndex beyond the entries of the row");
  return exists ? m_rows[i - 1][k].value : NoEntry();
}

bool CSymmetricRow::Exist(int i, int j) const {
  return Find(i, j) != nullptr;
}

int CSymmetricRow::FirstRow(int c) const {
  return c >= 1 && c <= static_cast<int>(m_first.size()) ? m_first[c - 1] : 0;
}

void CSymmetricRow::SetAll(double v) {
  for (std::vector<RowEntry>& row : m_rows)
    for (RowEntry& entry : row) entry.value = v;
}

void CSymmetricRow::Scale(double s) {
  for (std::vector<RowEntry>& row : m_rows)
    for (RowEntry& entry : row) entry.value *= s;
}

void CSymmetricRow::Multiply(CVector const& x, CVector& y) const {
  if (&x == &y) {
    const CVector operand(x);
    Multiply(operand, y);
    return;
  }
  const int n = NumDof();
  y.SetSize(n);
  y.SetAll(0.0);
  for (int i = 1; i <= n; ++i) {
    for (const RowEntry& entry : m_rows[i - 1]) {
      y[i] += entry.value * x[entry.column];
      if (entry.column != i) y[entry.column] += entry.value * x[i];
    }
  }
}

void CSymmetricRow::Diag(CDiag& d) const {
  d.SetNumDof(NumDof());
  for (int i = 1; i <= NumDof(); ++i) d.SetAt(i, i, GetAt(i, i));
}

CDiag CSymmetricRow::Diag() {
  CDiag d;
  Diag(d);
  return d;
}

void CSymmetricRow::Identity(CDiag& d) const {
  d.SetNumDof(NumDof());
  d.SetAll(1.0);
}

void CSymmetricRow::StoreFirstRow() {
  const int n = NumDof();
  m_first.resize(n);
  int missing = n;
  for (int i = 1; i <= n && missing > 0; ++i) {
    for (const RowEntry& entry : m_rows[i - 1]) {
      int& first = m_first[entry.column - 1];
      if (first != 0) continue;
      first = i;
      --missing;
    }
  }
}

void CSymmetricRow::CreateColumnLookup() {
  const int n = NumDof();
  m_lookup.resize(n);
  for (std::vector<int>& list : m_lookup) list.clear();
  for (int i = 1; i <= n; ++i)
    for (const RowEntry& entry : m_rows[i - 1]) m_lookup[entry.column - 1].push_back(i);
  for (std::vector<int>& list : m_lookup) std::reverse(list.begin(), list.end());
  m_lookupCurrent = true;
}

void CSymmetricRow::Log(int level, char const* text) const {
  if (m_log != nullptr) m_log->Log(level, text);
}

void CSymmetricRow::Note(char const* text) const {
  if (m_log != nullptr) m_log->Note(text);
}

int CSymmetricRow::Skyline() const {
  long long terms = 0;
  for (int c = 1; c <= static_cast<int>(m_lookup.size()); ++c)
    if (!m_lookup[c - 1].empty()) terms += c - m_lookup[c - 1].back() + 1;
  return Saturated(terms);
}

double CSymmetricRow::Sparsity() const {
  return 1.0 - static_cast<double>(Size()) / static_cast<double>(Skyline());
}

int CSymmetricRow::NextRow(int i, int& pi, int j, int& pj) const {
  const int columns = static_cast<int>(m_lookup.size());
  if (i < 1 || j < 1 || i > columns || j > columns) return 0;
  const std::vector<int>&listI = m_lookup[i - 1], &listJ = m_lookup[j - 1];
  const int sizeI = static_cast<int>(listI.size()), sizeJ = static_cast<int>(listJ.size());
  if (++pi >= sizeI) return 0;
  if (++pj >= sizeJ) return 0;
  while (listI[pi] != listJ[pj]) {
    if (listI[pi] < listJ[pj]) {
      pj = SkipTo(listJ, pj, listI[pi]);
      if (pj >= sizeJ) return 0;
    } else {
      pi = SkipTo(listI, pi, listJ[pj]);
      if (pi >= sizeI) return 0;
    }
  }
  return listI[pi];
}

CMatrix<0> CSymmetricRow::ExtractSubMatrix(int i1, int i2) {
  const int m = std::max(0, i2 - i1 + 1);
  CMatrix<0> block(m, m);
  for (int r = std::max(i1, 1); r <= std::min(i2, NumDof()); ++r) {
    for (const RowEntry& entry : m_rows[r - 1]) {
      if (entry.column > i2) break;
      if (entry.column < r || entry.column < i1) continue;
      block.SetAt(r - i1 + 1, entry.column - i1 + 1, entry.value);
      block.SetAt(entry.column - i1 + 1, r - i1 + 1, entry.value);
    }
  }
  return block;
}

CMatrix<0> CSymmetricRow::ExtractDiagMatrix(int i1, int i2) {
  const int m = std::max(0, i2 - i1 + 1);
  CMatrix<0> block(m, m);
  for (int r = std::max(i1, 1); r <= std::min(i2, NumDof()); ++r) {
    for (const RowEntry& entry : m_rows[r - 1]) {
      if (entry.column > r) break;
      if (entry.column == r) block.SetAt(r - i1 + 1, r - i1 + 1, entry.value);
    }
  }
  return block;
}

bool CSymmetricRow::Inside(int i) const {
  return i >= 1 && i <= static_cast<int>(m_rows.size());
}

const RowEntry* CSymmetricRow::Find(int i, int j) const {
  if (!Inside(i)) return nullptr;
  const std::vector<RowEntry>& row = m_rows[i - 1];
  return m_ascending[i - 1] ? FindAscending(row, j) : FindScanning(row, j);
}

RowEntry* CSymmetricRow::Find(int i, int j) {
  return const_cast<RowEntry*>(static_cast<const CSymmetricRow*>(this)->Find(i, j));
}

void CSymmetricRow::Append(int i, int j) {
  std::vector<RowEntry>& row = m_rows[i - 1];
  const bool ascending = row.empty() || row.back().column < j;
  row.push_back({j, 0.0});
  if (!ascending) m_ascending[i - 1] = 0;
  m_lookupCurrent = false;
}

}  // namespace Matrix
}  // namespace Vessa
