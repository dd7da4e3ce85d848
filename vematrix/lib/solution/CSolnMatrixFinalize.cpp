// From staged terms to the engine's matrix.
#include <algorithm>
#include <climits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "../math/memory_limit.h"
#include "../math/threads.h"
#include "CSolnMatrix.h"
#include "TermStaging.h"
#include "TraceScope.h"

namespace Vessa {
namespace Matrix {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

bool CSolnMatrix::Finalize() {
  const TraceScope trace("Vessa::Matrix::CSolnMatrix::Finalize");
  int result = 0;
  switch (m_method) {
    case SolSkyline:
      result = FinalizeSkyline();
      break;
    case SolNone:
      result = CreateIndex();
      m_terms->Clear();
      break;
    case SolCompColumn:
      result = FinalizeCompColumn();
      break;
    case SolPardiso:
      result = FinalizePardiso();
      break;
    default:
      break;
  }
  return result >= 0;
}

void CSolnMatrix::LogLeftOut(TermStaging& staged) const {
  const std::string message = staged.LeftOutMessage();
  if (!message.empty()) Log(2, message.c_str());
}

namespace {

// Column heights of the profile that holds every staged term, 0-based columns.
std::vector<int> ColumnHeights(const TermStaging& terms, int n) {
  std::vector<int> height(static_cast<std::size_t>(std::max(n, 0)), 0);
  terms.ForEach([&height](int row, int col, double) {
    if (col - row + 1 > height[col]) height[col] = col - row + 1;
  });
  return height;
}

}  // namespace

int CSolnMatrix::FinalizeSkyline() {
  m_skyline.Clear();
  if (m_skyline.NumDof() != m_numDof) m_skyline.SetNumDof(m_numDof);
  const std::vector<int> height = ColumnHeights(*m_terms, m_numDof);
  for (int c = 0; c < m_numDof; ++c) m_skyline.SetColHeight(c + 1, height[c]);

  const int result = CreateIndex();
  if (result >= 0) {
    const bool diagonal = m_skyline.IsDiagonal();
    TermStaging& terms = *m_terms;
    terms.ForEach([this, diagonal, &terms](int row, int col, double value) {
      if (row > col)
        terms.LeaveOut(row, col);
      else if (row == col || !diagonal)
        m_skyline.ElementAt(row + 1, col + 1) += value;
    });
    m_skyline.SetPhase(PhaseAssembled);
  }
  LogLeftOut(*m_terms);
  m_terms->Clear();
  return result;
}

namespace {

// Both triangles of a symmetric matrix, by columns with ascending rows.
struct FullColumns {
  int n;
  std::vector<int> start, row;
  std::vector<double> value;
};

// Where each column of both triangles begins.
std::vector<int> FullStarts(const MergedColumns& upper, int n) {
  std::vector<long long> start(static_cast<std::size_t>(n) + 1, 0);
  for (int c = 0; c < n; ++c)
    for (std::size_t k = upper.start[c]; k < upper.start[c + 1]; ++k) {
      ++start[c + 1];
      if (upper.row[k] != c) ++start[upper.row[k] + 1];
    }
  for (int c = 0; c < n; ++c) start[c + 1] += start[c];
  if (start[n] > INT_MAX)
    throw std::length_error("CSolnMatrix::Finalize: " + std::to_string(start[n]) +
                            " terms, more than an int can count");
  return std::vector<int>(start.begin(), start.end());
}

// Asks for the memory of `count` terms of a matrix in compressed columns.
void RequireForTerms(std::size_t count) {
  math::RequireMemory("the matrix", static_cast<std::int64_t>(count * (sizeof(int) + sizeof(double))));
}

// The first n columns and their mirror image. Column c gets its rows up to c from itself and the others,
// ascending, from the columns after it.
FullColumns MirrorUpper(const MergedColumns& upper, int n) {
  FullColumns full{n, FullStarts(upper, n), {}, {}};
  RequireForTerms(static_cast<std::size_t>(full.start[n]));
  full.row.resize(static_cast<std::size_t>(full.start[n]));
  full.value.resize(full.row.size());
  std::vector<int> next(full.start);
  const auto put = [&](int row, int col, double value) {
    const int k = next[col]++;
    full.row[k] = row;
    full.value[k] = value;
  };
  for (int c = 0; c < n; ++c)
    for (std::size_t k = upper.start[c]; k < upper.start[c + 1]; ++k) {
      put(upper.row[k], c, upper.value[k]);
      if (upper.row[k] != c) put(c, upper.row[k], upper.value[k]);
    }
  return full;
}

// Columns up to the last one that holds a term.
int ColumnsInUse(const MergedColumns& columns) {
  int n = columns.n;
  while (n > 0 && columns.start[n - 1] == columns.start[n]) --n;
  return n;
}

}  // namespace

int CSolnMatrix::FinalizeCompColumn() {
  m_pattern.Clear();
  LogLeftOut(*m_terms);
  const MergedColumns upper = MergeTerms(*m_terms, std::max(m_numDof, 0), Triangle::Upper);
  FullColumns full = MirrorUpper(upper, ColumnsInUse(upper));
  const bool ok = m_comp.SetArrays(full.n, std::move(full.start), std::move(full.row), std::move(full.value));
  return ok ? full.n : -full.n;
}

namespace {

void CopyColumns(const MergedColumns& from, Sparse& to) {
  const int n = from.n;
  for (int c = 0; c <= n; ++c) to.outerIndexPtr()[c] = static_cast<int>(from.start[c]);
  std::copy_n(from.row.Data(), from.NumTerm(), to.innerIndexPtr());
  std::copy_n(from.value.Data(), from.NumTerm(), to.valuePtr());
}

// A new matrix first and a swap then: whatever throws, `sparse` stays a matrix.
void BuildSparse(TermStaging& staged, int n, Sparse& sparse) {
  Sparse().swap(sparse);
  const MergedColumns columns = MergeTerms(staged, n, Triangle::AsAdded);
  if (columns.NumTerm() > static_cast<std::size_t>(INT_MAX))
    throw std::length_error("CSolnMatrix::Finalize: " + std::to_string(columns.NumTerm()) +
                            " terms, more than an int can count");
  RequireForTerms(columns.NumTerm());
  Sparse fresh(n, n);
  fresh.resizeNonZeros(static_cast<Eigen::Index>(columns.NumTerm()));
  CopyColumns(columns, fresh);
  fresh.swap(sparse);
}

void SetProcessThreads(unsigned int wanted) {
  if (wanted != 0 && wanted <= static_cast<unsigned int>(math::GetMaxThreads()))
    math::SetNumThreads(static_cast<int>(wanted));
  else
    math::SetDynamic(true);
}

}  // namespace

int CSolnMatrix::FinalizePardiso() {
  LogLeftOut(*m_triplets);
  BuildSparse(*m_triplets, std::max(m_numDof, 0), m_sparse);
  SetProcessThreads(m_threads);
  return static_cast<int>(m_sparse.rows());
}

int CSolnMatrix::CreateIndex() {
  switch (m_method) {
    case SolSkyline: {
      const bool ok = m_skyline.CreateIndex();
      const int numTerm = m_skyline.NumStiff();
      if (!ok) return -numTerm;
      if (m_skyline.IsDiagonal()) m_skyline.Null();  // a profile has just been allocated, all zeros
      return numTerm;
    }
    case SolNone:
      return 0;
    case SolCompColumn: {
      m_pattern.Sort();
      const int columns = m_pattern.Size();
      const bool ok = m_comp.Set(m_pattern);
      m_pattern.Clear();
      return ok ? columns : -columns;
    }
    case SolPardiso:
      return 1;
    default:
      return -1;
  }
}

}  // namespace Matrix
}  // namespace Vessa
