// The Cholesky factorisation of CSymmetricRow in a symbolic and a numeric stage, and the two triangular
// solves. Source of the method: George and Liu, Computer Solution of Large Sparse Positive Definite Systems
// (1981), ch. 5.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "../math/memory_limit.h"
#include "CSymmetricRow.h"
#include "analysis/EliminationTree.h"

namespace Vessa {
namespace Matrix {

namespace {

// An entry takes 16 bytes, 4 in the lists of either stage and what growing lists leave unused, as measured.
constexpr long long kEntryBytes = 26;
constexpr long long kAskFirst = 1LL << 26;

// Per column the first row of A, at least 1, so that a table that was never stored means "anywhere".
std::vector<int> FirstRows(CSymmetricRow const& A, int n) {
  std::vector<int> first(n + 1, 1);
  for (int c = 1; c <= n; ++c) first[c] = std::max(1, A.FirstRow(c));
  return first;
}

}  // namespace

int CSymmetricRow::LastColumn(int row) const {
  return Inside(row) && !m_rows[row - 1].empty() ? m_rows[row - 1].back().column : 0;
}

void CSymmetricRow::DropLayout() {
  for (std::vector<RowEntry>& row : m_rows) row.clear();
  std::fill(m_ascending.begin(), m_ascending.end(), 1);
  m_first.clear();
  m_lookupCurrent = false;
}

/// Columns j > i of row i of the factor, ascending: those that A holds, and those that some earlier row k
/// holds together with column i (fill-in).
/// @param rowsOfColumn  per column the rows k < i of the factor with an entry in it, in the order they were
/// laid out
/// @param mark          n+1 numbers, mark[j] == i once j has been found for row i
std::vector<int> CSymmetricRow::PatternOfRow(CSymmetricRow const& A, int i, int maxColumn,
                                             const std::vector<int>& firstOfA,
                                             const std::vector<std::vector<int>>& rowsOfColumn,
                                             std::vector<int>& mark) const {
  std::vector<int> columns;
  const auto reaches = [&](int j) { return j > i && j <= maxColumn && mark[j] != i && i >= firstOfA[j]; };
  const auto take = [&](int j) {
    mark[j] = i;
    columns.push_back(j);
  };
  for (const RowEntry& entry : A.m_rows[i - 1])
    if (reaches(entry.column) && A.Exist(i, entry.column)) take(entry.column);
  for (int k : rowsOfColumn[i]) {
    if (k < firstOfA[i] || !Exist(k, i)) continue;
    for (const RowEntry& entry : m_rows[k - 1])
      if (reaches(entry.column) && k >= firstOfA[entry.column] && Exist(k, entry.column)) take(entry.column);
  }
  std::sort(columns.begin(), columns.end());
  return columns;
}

/// Entries of the factor of this matrix, fill-in included: counted where the profile, their upper bound, is
/// large enough to matter; 0 elsewhere.
long long CSymmetricRow::CountFactorEntries(const std::vector<int>& firstOfA) const {
  const int n = NumDof();
  long long profile = 0;
  for (int c = 1; c <= n; ++c) profile += std::max(0, c - firstOfA[c]) + 1;
  if (profile * kEntryBytes < kAskFirst) return 0;
  sparse::Graph graph;
  graph.n = n;
  graph.weight.assign(static_cast<std::size_t>(n), 1);
  graph.start.assign(static_cast<std::size_t>(n) + 1, 0);
  const auto forEachPair = [&](auto visit) {
    for (int i = 1; i <= n; ++i)
      for (const RowEntry& entry : m_rows[i - 1])
        if (entry.column > i && entry.column <= n) visit(i - 1, entry.column - 1);
  };
  forEachPair([&](int i, int j) { ++graph.start[i + 1], ++graph.start[j + 1]; });
  std::partial_sum(graph.start.begin(), graph.start.end(), graph.start.begin());
  graph.neighbour.resize(static_cast<std::size_t>(graph.start[n]));
  std::vector<int> next(graph.start.begin(), graph.start.end() - 1), order(n);
  forEachPair([&](int i, int j) { graph.neighbour[next[i]++] = j, graph.neighbour[next[j]++] = i; });
  std::iota(order.begin(), order.end(), 0);
  return sparse::CountFactor(graph, sparse::BuildEliminationTree(graph, order)).terms;
}

bool CSymmetricRow::SymbolicFactorization(CSymmetricRow const& A) {
  const int n = A.NumDof();
  SetNumDof(n);
  Note("Symbolic Factorization");
  if (n < 1) {
    CreateColumnLookup();
    return true;
  }
  if (&A != this) DropLayout();
  const std::vector<int> firstOfA = FirstRows(A, n);
  math::RequireMemory("the factor", kEntryBytes * A.CountFactorEntries(firstOfA));
  std::vector<std::vector<int>> rowsOfColumn(n + 1);
  std::vector<int> mark(n + 1, 0);
  int maxColumn = 0;
  for (int i = 1; i <= n; ++i) {
    AllocateAt(i, i);
    maxColumn = std::max(maxColumn, A.LastColumn(i));
    for (int j : PatternOfRow(A, i, maxColumn, firstOfA, rowsOfColumn, mark)) {
      AllocateAt(i, j);
      rowsOfColumn[j].push_back(i);
    }
  }
  CreateColumnLookup();
  return true;
}

bool CSymmetricRow::SlowFactorization(CSymmetricRow const& A) {
  const int n = NumDof();
  Note("Factorization");
  const std::vector<int> firstOfA = FirstRows(A, n);
  int maxColumn = 0;
  for (int i = 1; i <= n; ++i) {
    double s = A.GetAt(i, i);
    for (int k = i - 1; k >= firstOfA[i]; --k) {
      if (!Exist(k, i)) continue;
      const double u = GetAt(k, i);
      s -= u * u;
    }
    SetAt(i, i, std::sqrt(s));
    maxColumn = std::max(maxColumn, A.LastColumn(i));
    for (int j = i + 1; j <= std::min(maxColumn, n); ++j) {
      if (!Exist(i, j)) continue;
      s = A.Exist(i, j) ? A.GetAt(i, j) : 0.0;
      for (int k = i - 1; k >= std::max(firstOfA[j], firstOfA[i]); --k)
        if (Exist(k, i) && Exist(k, j)) s -= GetAt(k, j) * GetAt(k, i);
      SetAt(i, j, s / GetAt(i, i));
    }
  }
  return true;
}

/// The rows k of column i with first ≤ k < i, descending: from the lookup when it shows the present pattern,
/// otherwise by testing every row.
std::vector<int> CSymmetricRow::RowsAbove(int i, int first) const {
  std::vector<int> rows;
  if (m_lookupCurrent) {
    for (int k : m_lookup[i - 1])
      if (k < i && k >= first && Exist(k, i)) rows.push_back(k);
  } else {
    for (int k = i - 1; k >= first; --k)
      if (Exist(k, i)) rows.push_back(k);
  }
  return rows;
}

bool CSymmetricRow::Factorization(CSymmetricRow const& A) {
  const int n = NumDof();
  Note("Factorization");
  const std::vector<int> firstOfA = FirstRows(A, n);
  std::vector<double> columnI(n + 1);       // u(k,i) of the column of the current row,
  std::vector<int> ownerOfValue(n + 1, 0);  // valid where the owner is i
  int maxColumn = 0;
  for (int i = 1; i <= n; ++i) {
    double s = A.GetAt(i, i);
    for (int k : RowsAbove(i, firstOfA[i])) {
      const double u = columnI[k] = GetAt(k, i);
      ownerOfValue[k] = i;
      s -= u * u;
    }
    SetAt(i, i, std::sqrt(s));
    maxColumn = std::max(maxColumn, A.LastColumn(i));
    for (std::size_t p = 0; p < m_rows[i - 1].size(); ++p) {
      const int j = m_rows[i - 1][p].column;
      if (j <= i || j > maxColumn || !Exist(i, j)) continue;
      s = A.Exist(i, j) ? A.GetAt(i, j) : 0.0;
      int pi = 0, pj = 0;
      while (const int k = NextRow(i, pi, j, pj))
        s -= GetAt(k, j) * (ownerOfValue[k] == i ? columnI[k] : GetAt(k, i));
      SetAt(i, j, s / GetAt(i, i));
    }
  }
  return true;
}

/// Uᵀ·y = b, then U·x = y, both in x.
void CSymmetricRow::Solve(CVector& x) const {
  const int n = NumDof();
  for (int i = 1; i <= n; ++i) {
    double s = x[i];
    for (int k : RowsAbove(i, std::max(1, FirstRow(i)))) s -= GetAt(k, i) * x[k];
    x[i] = s / GetAt(i, i);
  }
  for (int i = n; i >= 1; --i) {
    const std::vector<RowEntry>& row = m_rows[i - 1];
    double s = x[i];
    for (std::size_t p = 1; p < row.size(); ++p) s -= GetAt(i, row[p].column) * x[row[p].column];
    x[i] = s / GetAt(i, i);
  }
}

bool CSymmetricRow::BackSubs(CVector& x) const {
  Note("Back substitution");
  Solve(x);
  return true;
}

bool CSymmetricRow::BackSubs(CVector const& b, CVector& x) const {
  const int n = NumDof();
  if (&x != &b) {
    x.SetSize(n);
    x.Copy(b);
  }
  Note("Back Substitution");
  Solve(x);
  return true;
}

}  // namespace Matrix
}  // namespace Vessa
