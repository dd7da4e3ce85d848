#pragma once
#include <vector>

#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// Sparsity pattern: for each column the rows that hold a term, in the order of insertion or ascending after
/// Sort.
///
/// Columns are 1-based, positions within a column 0-based; mind the order of the arguments: (row, col) in
/// SetVal and Exist, (col, position) in ColRow. Insertion is a linear search in the column, which suits the
/// short columns of a finite-element pattern. Columns below 1 are not checked.
class VEMATRIX_API CMatInt {
public:
  CMatInt();
  CMatInt(const CMatInt&);
  CMatInt& operator=(const CMatInt&);
  ~CMatInt();
  /// n columns; new ones are empty, surviving ones are kept.
  void SetSize(int n);
  /// Appends row to column col unless it is listed there; grows the pattern to col columns when needed.
  void SetVal(int row, int col);
  /// Whether column col lists row; false beyond the last column.
  bool Exist(int row, int col) const;
  /// The row at 0-based position k of the 1-based column col.
  const int& ColRow(int col, int k) const;
  /// Number of rows listed in column col.
  int ColSize(int col) const;
  /// Number of columns.
  int Size() const;
  /// Sorts every column ascending.
  void Sort();
  /// Removes all columns.
  void Clear();

private:
  std::vector<std::vector<int>> m_col;
};

}  // namespace Matrix
}  // namespace Vessa
