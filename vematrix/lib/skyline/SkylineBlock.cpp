#include "SkylineBlock.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <vector>

#include "SkylinePlain.h"

namespace Vessa {
namespace Matrix {
namespace skyline {

namespace {

const int kMostColumns = 64;

/// Doubles at an address where a cache line starts; they grow without keeping what they held.
class AlignedDoubles {
public:
  double* Resize(std::size_t count) {
    if (m_storage.size() < count + 8) {
      std::vector<double>().swap(m_storage);
      m_storage.resize(count + count / 2 + 8);
    }
    const std::size_t beyond = reinterpret_cast<std::uintptr_t>(m_storage.data()) % 64;
    return m_storage.data() + (64 - beyond) % 64 / sizeof(double);
  }

private:
  std::vector<double> m_storage;
};

/// What the choice of a block needs to know about the next columns, group by group.
struct GroupFacts {
  int count;         ///< columns
  int top;           ///< lowest row number of all columns
  int terms;         ///< stored terms
  double plainCost;  ///< of the plain loops, in cycles
};

struct Candidates {
  int groups;
  GroupFacts group[kMostGroups];
};

// The costs are rough counts of cycles, fitted to measurements on bands of 4 to 1000 rows. They only decide
// which way is taken, never what comes out.

/// Mean of the squared heights below which columns are not worth a second thought.
const int kShortSquares = 80;

double PlainCost(int columns, double heights, double squares) {
  return 25.0 * columns + 12.0 * heights + 1.15 * squares;
}

/// A step from row to row takes as long as an addition waits for the one before it, or as its vectors take to
/// come from the first cache or, where the block is larger, from the second. Columns of unequal height leave
/// places in the block that are not terms: they are packed singly, and their steps are hard to predict.
double BlockCost(const ColumnBlock& block, int lanes, double terms) {
  const double kPerPadding = 16.0;
  const double kWait = 2.0, kPerRow = 20.0, kPerColumn = 90.0, kPerTerm = 1.5, kNearBytes = 40e3;
  const double rows = block.first + block.count - block.top;
  const double bytes = rows * block.stride * sizeof(double);
  const double near = std::min(1.0, kNearBytes / bytes);
  const double perVector = 0.7 * near + std::max(0.7, 1.5 * lanes / 8.0) * (1.0 - near);
  const double middle = block.first + 0.5 * block.count;
  double cost = kPerRow * rows + (kPerColumn + kPerTerm * rows) * block.count;
  double places = 0.0;
  for (int g = 0; g < block.groups; ++g)
    places += lanes * (block.first + (g + 1) * lanes - block.groupTop[g]);
  cost += kPerPadding * (places - terms);
  for (int g = 0; g < block.groups; ++g) {
    const double from = block.groupTop[g];
    const double to = g + 1 < block.groups ? std::min<double>(block.groupTop[g + 1], middle) : middle;
    if (to > from) cost += (to - from) * (middle - 0.5 * (from + to)) * std::max(kWait, (g + 1) * perVector);
  }
  return cost;
}

/// Reduces the columns from left to right, in blocks where that pays and by the plain loops elsewhere.
class BlockReducer {
public:
  BlockReducer(double* value, const int* end, int n, Pivots& pivots, const BlockKernels& kernels)
      : m_value(value), m_end(end), m_n(n), m_pivots(pivots), m_kernels(kernels) {}
  bool Run();

private:
  int TopOf(int j) const { return j - (m_end[j] - m_end[j - 1]) + 1; }
  int PassShortColumns(int first) const;
  Candidates Survey(int first) const;
  ColumnBlock Shape(int first, const Candidates& next, int groups) const;
  ColumnBlock Choose(int first) const;
  bool ReducePlain(int first, int last);
  void CollectDivisors(int first);
  bool ReduceBlock(ColumnBlock block);
  bool TryBlock(const ColumnBlock& block, Pivots& pivots, double* inside);
  bool StoreRowsInside(const ColumnBlock& block, int j, const double* inside);
  double FinishPivot(const ColumnBlock& block, int j, Pivots& pivots);

  double* m_value;
  const int* m_end;
  int m_n;
  Pivots& m_pivots;
  const BlockKernels& m_kernels;
  std::vector<double> m_divisor;  ///< D(1..n) as far as needed, or ones when nothing is divided
  int m_divisors = 0;             ///< how many of them are known
  AlignedDoubles m_w;             ///< the packed block
  AlignedDoubles m_before;        ///< its columns before the reduction
  AlignedDoubles m_inside;        ///< multipliers of the rows inside the block, row by row
};

bool BlockReducer::Run() {
  for (int first = 1; first <= m_n;) {
    const int afterShort = PassShortColumns(first);
    if (!ReducePlain(first, afterShort - 1)) return false;
    if (afterShort > m_n) return true;
    first = afterShort;
    const ColumnBlock block = Choose(first);
    const int last = first + block.count - 1;
    if (!(block.groups == 0 ? ReducePlain(first, last) : ReduceBlock(block))) return false;
    first = last + 1;
  }
  return true;
}

/// First column that is not in a stretch of short ones.
int BlockReducer::PassShortColumns(int first) const {
  while (first <= m_n) {
    const int last = std::min(first + kMostColumns - 1, m_n);
    int squares = 0;
    for (int j = first; j <= last; ++j) {
      const int height = std::min(m_end[j] - m_end[j - 1], 1000);
      squares += height * height;
    }
    if (squares >= kShortSquares * (last - first + 1)) break;
    first = last + 1;
  }
  return first;
}

Candidates BlockReducer::Survey(int first) const {
  Candidates next;
  next.groups = 0;
  for (int from = first; from <= m_n && next.groups < kMostGroups; from += m_kernels.lanes) {
    GroupFacts& group = next.group[next.groups++];
    group.count = std::min(m_kernels.lanes, m_n - from + 1);
    group.top = from;
    long long squares = 0;
    for (int j = from; j < from + group.count; ++j) {
      const int height = m_end[j] - m_end[j - 1];
      group.top = std::min(group.top, j - height + 1);
      squares += static_cast<long long>(height) * height;
    }
    group.terms = m_end[from + group.count - 1] - m_end[from - 1];
    group.plainCost = PlainCost(group.count, group.terms, static_cast<double>(squares));
  }
  return next;
}

/// The block of the first `groups` groups, without memory yet.
ColumnBlock BlockReducer::Shape(int first, const Candidates& next, int groups) const {
  ColumnBlock block;
  block.first = first;
  block.count = 0;
  block.groups = groups;
  block.stride = groups * m_kernels.lanes;
  block.w = nullptr;
  int top = m_n;
  for (int g = groups - 1; g >= 0; --g) {
    block.count += next.group[g].count;
    top = std::min(top, next.group[g].top);
    block.groupTop[g] = top;
  }
  block.top = top;
  return block;
}

/// How many groups from the first on, but not all, cost the plain loops about as much as the first.
int AlikeGroups(const Candidates& next) {
  int groups = 1;
  while (groups < kMostGroups / 2 && groups < next.groups &&
         next.group[groups].plainCost < 2.0 * next.group[0].plainCost)
    ++groups;
  return groups;
}

/// The cheapest way, per column, to take the next columns: so many groups, or (0) the plain loops.
ColumnBlock BlockReducer::Choose(int first) const {
  const Candidates next = Survey(first);
  ColumnBlock best = Shape(first, next, 1);
  double lowest = std::numeric_limits<double>::infinity();
  double plain = 0.0, plainOfBest = 0.0, terms = 0.0;
  for (int groups = 1; groups <= next.groups; ++groups) {
    const ColumnBlock block = Shape(first, next, groups);
    terms += next.group[groups - 1].terms;
    const double cost = BlockCost(block, m_kernels.lanes, terms);
    plain += next.group[groups - 1].plainCost;
    if (cost >= lowest * block.count) continue;
    lowest = cost / block.count;
    plainOfBest = plain;
    best = block;
  }
  if (plainOfBest < lowest * best.count) {
    best = Shape(first, next, AlikeGroups(next));
    best.groups = 0;
  }
  return best;
}

bool BlockReducer::ReducePlain(int first, int last) {
  return plain::ReduceColumns(m_value, m_end, first, last, m_pivots);
}

/// Brings the divisors up to those of the rows before column `first`.
void BlockReducer::CollectDivisors(int first) {
  if (m_divisor.empty()) m_divisor.assign(m_n, 1.0);
  if (!m_pivots.Divides()) return;
  for (; m_divisors < first - 1; ++m_divisors) m_divisor[m_divisors] = m_value[m_end[m_divisors]];
}

/// Reduces a block; when it meets trouble, puts it back and lets the plain loops find out.
bool BlockReducer::ReduceBlock(ColumnBlock block) {
  const int last = block.first + block.count - 1;
  double* columns = m_value + m_end[block.first - 1];
  const std::size_t terms = m_end[last] - m_end[block.first - 1];
  double* before = nullptr;
  double* inside = nullptr;
  try {
    block.w = m_w.Resize(static_cast<std::size_t>(last - block.top + 1) * block.stride);
    before = m_before.Resize(terms);
    inside = m_inside.Resize(kMostColumns * kMostColumns);
    CollectDivisors(block.first);
  } catch (const std::bad_alloc&) {
    return ReducePlain(block.first, last);
  }
  for (int j = block.first; j <= last; ++j) plain::ClearSuppressedRows(m_value, m_end, j, *m_pivots.zeroDofs);
  std::memcpy(before, columns, terms * sizeof(double));
  const std::size_t suppressed = m_pivots.zeroDofs->size();
  Pivots pivots = m_pivots;
  if (TryBlock(block, pivots, inside)) {
    m_pivots = pivots;
    return true;
  }
  std::memcpy(columns, before, terms * sizeof(double));
  m_pivots.zeroDofs->resize(suppressed);
  return ReducePlain(block.first, last);
}

/// False when something is not finite or a multiplier too large.
bool BlockReducer::TryBlock(const ColumnBlock& block, Pivots& pivots, double* inside) {
  const int lanes = m_kernels.lanes;
  m_kernels.pack(block, m_value, m_end);
  m_kernels.reduceAbove(block, m_value, m_end);
  const BlockTrouble trouble = m_kernels.storeAbove(block, m_value, m_end, m_divisor.data());
  if (trouble.notFinite || (pivots.option == 1 && trouble.growth)) return false;
  for (int r = 0; r < block.count; ++r) {
    const int j = block.first + r;
    if (!StoreRowsInside(block, j, inside) && pivots.option == 1) return false;
    m_kernels.reduceRow(block, m_value, m_end, j, r / lanes);
    const double pivot = FinishPivot(block, j, pivots);
    if (pivots.Divides()) m_divisor[j - 1] = pivot;
    if (!m_kernels.divideRow(block, j, r / lanes, m_divisor[j - 1], inside + r * block.stride)) return false;
  }
  return true;
}

/// Copies L(j, i) of the rows i inside the block into column j; false when one is too large.
bool BlockReducer::StoreRowsInside(const ColumnBlock& block, int j, const double* inside) {
  const int r = j - block.first;
  double* column = m_value + m_end[j - 1] + j;
  double largest = 0.0;
  for (int i = std::max(block.first, TopOf(j)); i < j; ++i) {
    const double multiplier = inside[(i - block.first) * block.stride + r];
    largest = std::max(largest, std::fabs(multiplier));
    column[-i] = multiplier;
  }
  return largest <= kLargestMultiplier;
}

/// Decides on the pivot that row j has in its own lane; returns its final value.
double BlockReducer::FinishPivot(const ColumnBlock& block, int j, Pivots& pivots) {
  double* row = block.w + static_cast<std::size_t>(block.first + block.count - 1 - j) * block.stride;
  double& diagonal = m_value[m_end[j - 1]];
  if (pivots.Divides()) diagonal = row[j - block.first];
  const std::size_t suppressed = pivots.zeroDofs->size();
  plain::CheckPivot(m_value, m_end, j, pivots);
  if (pivots.zeroDofs->size() > suppressed) std::fill(row + (j - block.first), row + block.stride, 0.0);
  return diagonal;
}

}  // namespace

bool ReduceInBlocks(double* value, const int* end, int n, Pivots& pivots, const BlockKernels& kernels) {
  return BlockReducer(value, end, n, pivots, kernels).Run();
}

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
