#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "../math/PageArray.h"

namespace Vessa {
namespace Matrix {

/// One term as it was added, 0-based.
struct StagedTerm {
  int row, col;
  double value;
};

/// Where the terms of a matrix wait, in the order they were added, until its pattern is known.
///
/// Terms are appended to blocks of growing size that are never copied, so that staging costs one write per
/// term and exactly 16 bytes of memory. Repeated places are only added up when the matrix is built; a host
/// that adds to the same places over and over is kept from filling the memory by adding up early, once the
/// terms have grown to four times the number of places known then (and beyond 2²⁴).
class TermStaging {
public:
  TermStaging();
  TermStaging(const TermStaging& b);
  TermStaging& operator=(const TermStaging&) = delete;

  /// Rows and columns run from 0 to n − 1; terms of another n are dropped, without a word unless they were
  /// added before any n was set.
  void SetNumDof(int n);

  /// Appends a term; one outside the matrix is counted instead. May throw std::bad_alloc, nothing is added
  /// then.
  void Add(int row, int col, double value) {
    if (static_cast<unsigned>(row) >= m_bound || static_cast<unsigned>(col) >= m_bound) {
      LeaveOut(row, col);
      return;
    }
    if (m_next == m_end) Grow();
    *m_next++ = StagedTerm{row, col, value};
  }

  /// Puts a term 0.0 on every diagonal place, before all others, without storing any of them.
  void AddZeroDiagonal() { m_zeroDiagonal = true; }
  bool HasZeroDiagonal() const { return m_zeroDiagonal; }

  /// Counts a term that is not going to be part of the matrix; the first one is remembered for the message.
  void LeaveOut(int row, int col);

  /// Terms added, the zero diagonal not counted.
  std::size_t Count() const;
  bool IsEmpty() const { return Count() == 0 && !m_zeroDiagonal; }

  /// "3 terms outside the matrix of 10 dof were left out, the first in row 11, column 2"; empty when there
  /// are none.
  std::string LeftOutMessage() const;

  /// Forgets all terms and releases their memory.
  void Clear();

  /// Calls f(row, col, value) for every term but those of the zero diagonal, in the order added.
  template <class F>
  void ForEach(F f) const {
    for (std::size_t b = 0; b < m_blocks.size(); ++b)
      for (const StagedTerm *t = m_blocks[b].terms.Data(), *end = EndOf(b); t != end; ++t)
        f(t->row, t->col, t->value);
  }

  /// The same, releasing every block when it has been read; nothing is staged afterwards.
  template <class F>
  void Drain(F f) {
    for (std::size_t b = 0; b < m_blocks.size(); ++b) {
      for (const StagedTerm *t = m_blocks[b].terms.Data(), *end = EndOf(b); t != end; ++t)
        f(t->row, t->col, t->value);
      m_blocks[b].terms.Release();
    }
    Clear();
  }

private:
  struct Block {
    math::PageArray<StagedTerm> terms;
    std::size_t capacity;
  };

  const StagedTerm* EndOf(std::size_t b) const {
    return b + 1 == m_blocks.size() ? m_next : m_blocks[b].terms.Data() + m_blocks[b].capacity;
  }
  void Grow();
  void AddUp();
  void AppendBlock(std::size_t capacity);

  unsigned m_bound;  // number of dof
  std::vector<Block> m_blocks;
  StagedTerm *m_next, *m_end;  // free places of the last block
  std::size_t m_full;          // terms in the blocks before the last
  std::size_t m_addUpAt;       // number of terms that makes Grow add up first
  bool m_zeroDiagonal;
  std::size_t m_leftOut;
  int m_leftOutRow, m_leftOutCol;
  bool m_addedEarly;  // some of them before SetNumDof
};

/// Compressed columns as the merge leaves them: rows ascending within a column, each place once.
struct MergedColumns {
  int n = 0;
  std::vector<std::size_t> start;  ///< n + 1 positions
  math::PageArray<int> row;
  math::PageArray<double> value;

  std::size_t NumTerm() const { return start.empty() ? 0 : start.back(); }
};

/// Where a term belongs in the merged matrix.
enum class Triangle {
  AsAdded,  ///< at its row and column
  Upper     ///< terms below the diagonal at their mirror place
};

/// Sorts the terms into columns and adds up repeated places in the order they were added. Empties `staged`,
/// block by block, so that beside the result never more than about one copy of the terms is held. Time: two
/// passes over the terms and a sort of the rows of every column.
MergedColumns MergeTerms(TermStaging& staged, int n, Triangle triangle);

}  // namespace Matrix
}  // namespace Vessa
