#include "TermStaging.h"

#include <algorithm>
#include <utility>

namespace Vessa {
namespace Matrix {

namespace {

constexpr std::size_t kFirstBlock = 1024;                    // 16 KiB
constexpr std::size_t kLargestBlock = std::size_t{1} << 21;  // 32 MiB
constexpr std::size_t kFirstAddUp = std::size_t{1} << 24;    // 256 MiB
constexpr std::size_t kAddUpFactor = 4;

}  // namespace

TermStaging::TermStaging()
    : m_bound(0),
      m_next(nullptr),
      m_end(nullptr),
      m_full(0),
      m_addUpAt(kFirstAddUp),
      m_leftOut(0),
      m_leftOutRow(0),
      m_leftOutCol(0) {}

TermStaging::TermStaging(const TermStaging& b) : TermStaging() {
  m_bound = b.m_bound;
  const std::size_t count = b.Count();
  if (count != 0) {
    AppendBlock(count);
    b.ForEach([this](int row, int col, double value) { *m_next++ = StagedTerm{row, col, value}; });
  }
  m_addUpAt = b.m_addUpAt;
  m_leftOut = b.m_leftOut;
  m_leftOutRow = b.m_leftOutRow;
  m_leftOutCol = b.m_leftOutCol;
}

void TermStaging::SetNumDof(int n) {
  const unsigned bound = static_cast<unsigned>(std::max(n, 0));
  if (bound != m_bound) Clear();
  m_bound = bound;
}

void TermStaging::LeaveOut(int row, int col) {
  if (m_leftOut++ != 0) return;
  m_leftOutRow = row;
  m_leftOutCol = col;
}

std::size_t TermStaging::Count() const {
  return m_blocks.empty() ? 0 : m_full + static_cast<std::size_t>(m_next - m_blocks.back().terms.get());
}

std::string TermStaging::LeftOutMessage() const {
  if (m_leftOut == 0) return std::string();
  return std::to_string(m_leftOut) + (m_leftOut == 1 ? " term" : " terms") + " outside the triangle of " +
         std::to_string(m_bound) + " dof left out, the first in row " + std::to_string(m_leftOutRow + 1LL) +
         ", column " + std::to_string(m_leftOutCol + 1LL);
}

void TermStaging::Clear() {
  m_blocks.clear();
  m_next = m_end = nullptr;
  m_full = 0;
  m_addUpAt = kFirstAddUp;
  m_leftOut = 0;
}

void TermStaging::AppendBlock(std::size_t capacity) {
  const std::size_t full = Count();
  m_blocks.reserve(m_blocks.size() + 1);
  m_blocks.push_back(Block{std::unique_ptr<StagedTerm[]>(new StagedTerm[capacity]), capacity});
  m_full = full;
  m_next = m_blocks.back().terms.get();
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
  const MergedColumns merged = MergeTerms(*this, static_cast<int>(m_bound), Triangle::AsAdded);
  AppendBlock(std::max(merged.NumTerm() + merged.NumTerm() / 2, kFirstBlock));
  for (int c = 0; c < merged.n; ++c)
    for (std::size_t k = merged.start[c]; k < merged.start[c + 1]; ++k)
      *m_next++ = StagedTerm{merged.row[k], c, merged.value[k]};
  m_addUpAt = std::max(kFirstAddUp, kAddUpFactor * merged.NumTerm());
  m_leftOut = leftOut;
}

namespace {

// Positions where the columns begin, by counting: of column c in entry c + 1, the last entry is the total.
template <class Place>
std::vector<std::size_t> ColumnStarts(const TermStaging& staged, int n, Place place) {
  std::vector<std::size_t> start(static_cast<std::size_t>(n) + 2, 0);
  staged.ForEach([&start, place](int row, int col, double) { ++start[place(row, col).second + 2u]; });
  for (int c = 0; c < n; ++c) start[c + 2] += start[c + 1];
  return start;
}

// Adds up one column at a time with a dense accumulator.
class ColumnSummer {
public:
  explicit ColumnSummer(int n) : m_sum(n), m_seenIn(n, -1) {}

  // Terms [from, to) of the unsorted column c; writes the sums from `out` ≤ from on and returns the end of
  // them.
  std::size_t Sum(int c, int* row, double* value, std::size_t from, std::size_t to, std::size_t out) {
    const std::size_t first = out;
    bool ascending = true;
    for (std::size_t k = from; k < to; ++k) {
      const int r = row[k];
      if (m_seenIn[r] == c) {
        m_sum[r] += value[k];
        continue;
      }
      m_seenIn[r] = c;
      m_sum[r] = value[k];
      ascending = ascending && (out == first || row[out - 1] < r);
      row[out++] = r;
    }
    if (!ascending) std::sort(row + first, row + out);
    for (std::size_t k = first; k < out; ++k) value[k] = m_sum[row[k]];
    return out;
  }

private:
  std::vector<double> m_sum;
  std::vector<int> m_seenIn;  // the last column that had a term in this row
};

template <class Place>
MergedColumns Merge(TermStaging& staged, int n, Place place) {
  const std::size_t count = staged.Count();
  ColumnSummer summer(n);
  MergedColumns merged;
  merged.n = n;
  merged.start = ColumnStarts(staged, n, place);
  merged.row.reset(new int[count]);
  merged.value.reset(new double[count]);

  // Filling column c moves entry c + 1 from its beginning to its end, which is where column c + 1 begins.
  std::size_t* next = merged.start.data() + 1;
  int* rows = merged.row.get();
  double* values = merged.value.get();
  staged.Drain([next, rows, values, place](int row, int col, double value) {
    const std::pair<int, int> at = place(row, col);
    const std::size_t k = next[at.second]++;
    rows[k] = at.first;
    values[k] = value;
  });

  merged.start.pop_back();
  std::size_t from = 0, out = 0;
  for (int c = 0; c < n; ++c) {
    const std::size_t to = merged.start[c + 1];
    out = summer.Sum(c, rows, values, from, to, out);
    merged.start[c + 1] = out;
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
