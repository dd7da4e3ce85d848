#include "TermStaging.h"

#include <algorithm>
#include <utility>

#include "../math/memory_limit.h"

namespace Vessa {
namespace Matrix {

namespace {

constexpr std::size_t kFirstBlock = 1024;                    // 16 KiB
constexpr std::size_t kLargestBlock = std::size_t{1} << 21;  // 32 MiB
constexpr std::size_t kFirstAddUp = std::size_t{1} << 24;    // 256 MiB
constexpr std::size_t kAddUpFactor = 4;
constexpr std::size_t kAskFirst = std::size_t{1} << 20;  // 16 MiB: smaller blocks are taken unasked

}  // namespace

TermStaging::TermStaging()
    : m_bound(0),
      m_next(nullptr),
      m_end(nullptr),
      m_full(0),
      m_addUpAt(kFirstAddUp),
      m_zeroDiagonal(false),
      m_leftOut(0),
      m_leftOutRow(0),
      m_leftOutCol(0),
      m_addedEarly(false) {}

TermStaging::TermStaging(const TermStaging& b) : TermStaging() {
  m_bound = b.m_bound;
  const std::size_t count = b.Count();
  if (count != 0) {
    AppendBlock(count);
    b.ForEach([this](int row, int col, double value) { *m_next++ = StagedTerm{row, col, value}; });
  }
  m_addUpAt = b.m_addUpAt;
  m_zeroDiagonal = b.m_zeroDiagonal;
  m_leftOut = b.m_leftOut;
  m_leftOutRow = b.m_leftOutRow;
  m_leftOutCol = b.m_leftOutCol;
  m_addedEarly = b.m_addedEarly;
}

void TermStaging::SetNumDof(int n) {
  const unsigned bound = static_cast<unsigned>(std::max(n, 0));
  if (bound == m_bound) return;
  const std::size_t early = m_bound == 0 ? m_leftOut : 0;
  Clear();
  m_leftOut = early;  // what the host lost by adding it too soon stays to be told
  m_addedEarly = early != 0;
  m_bound = bound;
}

void TermStaging::LeaveOut(int row, int col) {
  if (m_leftOut++ != 0) return;
  m_leftOutRow = row;
  m_leftOutCol = col;
}

std::size_t TermStaging::Count() const {
  return m_blocks.empty() ? 0 : m_full + static_cast<std::size_t>(m_next - m_blocks.back().terms.Data());
}

std::string TermStaging::LeftOutMessage() const {
  if (m_leftOut == 0) return std::string();
  return std::to_string(m_leftOut) + (m_leftOut == 1 ? " term" : " terms") + " outside the triangle of " +
         std::to_string(m_bound) + (m_addedEarly ? " dof, or added before that number was set," : " dof") +
         " left out, the first in row " + std::to_string(m_leftOutRow + 1LL) + ", column " +
         std::to_string(m_leftOutCol + 1LL);
}

void TermStaging::Clear() {
  m_blocks.clear();
  m_next = m_end = nullptr;
  m_full = 0;
  m_addUpAt = kFirstAddUp;
  m_zeroDiagonal = false;
  m_leftOut = 0;
  m_addedEarly = false;
}

void TermStaging::AppendBlock(std::size_t capacity) {
  const std::size_t full = Count();
  if (capacity >= kAskFirst)
    math::RequireMemory("a block of terms", static_cast<std::int64_t>(capacity * sizeof(StagedTerm)));
  m_blocks.reserve(m_blocks.size() + 1);
  m_blocks.push_back(Block{math::PageArray<StagedTerm>(capacity), capacity});
  m_full = full;
  m_next = m_blocks.back().terms.Data();
  m_end = m_next + capacity;
}

// Room for the next term. Each block is as large as all before it, up to a limit.
void TermStaging::Grow() {
  const std::size_t count = Count();
  if (count >= m_addUpAt) {
    AddUp();
    if (m_next != m_end) return;
  }
  AppendBlock(std::min(std::max(count, kFirstBlock), kLargestBlock));
}

void TermStaging::AddUp() {
  const std::size_t leftOut = m_leftOut;
  const bool zeroDiagonal = m_zeroDiagonal;
  const MergedColumns merged = MergeTerms(*this, static_cast<int>(m_bound), Triangle::AsAdded);
  AppendBlock(std::max(merged.NumTerm() + merged.NumTerm() / 2, kFirstBlock));
  for (int c = 0; c < merged.n; ++c)
    for (std::size_t k = merged.start[c]; k < merged.start[c + 1]; ++k)
      *m_next++ = StagedTerm{merged.row[k], c, merged.value[k]};
  m_addUpAt = std::max(kFirstAddUp, kAddUpFactor * merged.NumTerm());
  m_leftOut = leftOut;
  m_zeroDiagonal = zeroDiagonal;
}

namespace {

// Positions where the columns begin, by counting: of column c in entry c + 1, the last entry is the total. A
// zero diagonal has a place of its own at the beginning of every column.
template <class Place>
std::vector<std::size_t> ColumnStarts(const TermStaging& staged, int n, Place place) {
  const std::size_t diagonal = staged.HasZeroDiagonal() ? 1 : 0;
  std::vector<std::size_t> start(static_cast<std::size_t>(n) + 2, 0);
  staged.ForEach([&start, place](int row, int col, double) { ++start[place(row, col).second + 2u]; });
  for (int c = 0; c < n; ++c) start[c + 2] += start[c + 1] + diagonal;
  return start;
}

// Adds up one column at a time with a dense accumulator. The sums go to the front of the arrays, into places
// that have been read already.
class ColumnSummer {
public:
  ColumnSummer(int n, int* row, double* value)
      : m_sum(n), m_seenIn(n, -1), m_row(row), m_value(value), m_out(0) {}

  void Begin(int column) {
    m_column = column;
    m_first = m_out;
    m_ascending = true;
  }

  void Add(int row, double value) {
    if (m_seenIn[row] == m_column) {
      m_sum[row] += value;
      return;
    }
    m_seenIn[row] = m_column;
    m_sum[row] = value;
    m_ascending = m_ascending && (m_out == m_first || m_row[m_out - 1] < row);
    m_row[m_out++] = row;
  }

  // Where the next column begins.
  std::size_t End() {
    if (!m_ascending) std::sort(m_row + m_first, m_row + m_out);
    for (std::size_t k = m_first; k < m_out; ++k) m_value[k] = m_sum[m_row[k]];
    return m_out;
  }

private:
  std::vector<double> m_sum;
  std::vector<int> m_seenIn;  // the last column that had a term in this row
  int* m_row;
  double* m_value;
  std::size_t m_out, m_first = 0;
  int m_column = -1;
  bool m_ascending = true;
};

template <class Place>
MergedColumns Merge(TermStaging& staged, int n, Place place) {
  const bool zeroDiagonal = staged.HasZeroDiagonal();
  const std::size_t count = staged.Count() + (zeroDiagonal ? static_cast<std::size_t>(n) : 0);
  constexpr std::size_t ofTerm = sizeof(int) + sizeof(double), ofColumn = ofTerm + sizeof(std::size_t);
  math::RequireMemory("adding up the terms",
                      static_cast<std::int64_t>(ofTerm * count + ofColumn * static_cast<std::size_t>(n)));
  MergedColumns merged;
  merged.n = n;
  merged.start = ColumnStarts(staged, n, place);
  merged.row = math::PageArray<int>(count);
  merged.value = math::PageArray<double>(count);
  int* rows = merged.row.Data();
  double* values = merged.value.Data();
  ColumnSummer summer(n, rows, values);

  // Filling column c moves entry c + 1 from its beginning to its end, which is where column c + 1 begins. The
  // place of the zero diagonal is skipped and stays unwritten.
  std::size_t* next = merged.start.data() + 1;
  if (zeroDiagonal)
    for (int c = 0; c < n; ++c) ++next[c];
  staged.Drain([next, rows, values, place](int row, int col, double value) {
    const std::pair<int, int> at = place(row, col);
    const std::size_t k = next[at.second]++;
    rows[k] = at.first;
    values[k] = value;
  });

  merged.start.pop_back();
  std::size_t from = 0;
  for (int c = 0; c < n; ++c) {
    const std::size_t to = merged.start[c + 1];
    summer.Begin(c);
    if (zeroDiagonal) summer.Add(c, 0.0);
    for (std::size_t k = zeroDiagonal ? from + 1 : from; k < to; ++k) summer.Add(rows[k], values[k]);
    merged.start[c + 1] = summer.End();
    from = to;
  }
  return merged;
}

}  // namespace

MergedColumns MergeTerms(TermStaging& staged, int n, Triangle triangle) {
  if (triangle == Triangle::AsAdded)
    return Merge(staged, n, [](int row, int col) { return std::make_pair(row, col); });
  return Merge(staged, n,
               [](int row, int col) { return std::make_pair(std::min(row, col), std::max(row, col)); });
}

}  // namespace Matrix
}  // namespace Vessa
