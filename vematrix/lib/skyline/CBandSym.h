#pragma once
#include <cstddef>
#include <vector>

#include "../containers/CVector.h"

namespace Vessa {
namespace Matrix {

/// Symmetric matrix with a dense band: every row stores the same number of terms, from the diagonal to the
/// right.
///
/// The bandwidth b counts the diagonal (half-bandwidth + 1). The term (i, j), i ≤ j ≤ i + b − 1, 1-based,
/// lies at the 0-based position (i − 1)·b + (j − i). The last rows keep all b slots even where j exceeds the
/// number of rows; those slots are no terms of the matrix, take no part in sums and products, and hold 0.0
/// unless SetAll, the filling constructor or a direct access wrote to them. Storage: 8·rows·b bytes. Indices
/// are not checked. Copies are deep.
///
/// Matrices that are added or multiplied should have the same number of rows (assertion); rows and columns
/// that only one of them has are left out.
class VEMATRIX_API CBandSym {
public:
  /// 0 rows, bandwidth 0.
  CBandSym();
  /// All values 0.0. A negative size throws std::length_error, one that does not fit memory std::bad_alloc.
  CBandSym(int rows, int band);
  /// All stored values v, the slots beyond the last column included.
  CBandSym(int rows, int band, double v);
  CBandSym(const CBandSym&);
  virtual ~CBandSym();
  CBandSym& operator=(const CBandSym&);
  /// The same as the assignment.
  void Copy(CBandSym const& B);

  int NumRows() const;
  /// Terms stored per row, the diagonal included.
  int NumBand() const;
  /// If rows·band equals the number of stored values, only the two sizes change: the values are kept and
  /// addressed anew. Otherwise all values are 0.0.
  /// @return whether the matrix now has this size; false for a negative one, which changes nothing
  bool SetSize(int rows, int band);
  /// Sets every stored value, the slots beyond the last column included.
  void SetAll(double v);

  /// The term (i, j) with i ≤ j within the band; indices are neither swapped nor checked.
  double& ElementAt(int i, int j);
  const double& ElementAt(int i, int j) const;
  void SetAt(int i, int j, double v);
  /// Symmetric read: (i, j) and (j, i) are the same, 0.0 outside the band.
  double GetAt(int i, int j) const;

  /// A copy, the matrix being symmetric.
  CBandSym Transpose() const;
  /// Sum and difference with this matrix's rows and the larger of the two bandwidths.
  CBandSym operator+(CBandSym const& B) const;
  CBandSym operator-(CBandSym const& B) const;
  /// In place; this matrix is widened when B's band is wider.
  CBandSym& operator+=(CBandSym const& B);
  CBandSym& operator-=(CBandSym const& B);
  /// The part of A·B inside the narrower band b: c(i,j) = Σ a(i,k)·b(k,j) for i ≤ j ≤ i + b − 1, with k from
  /// max(1, i − b) to min(n, i + b) and terms outside a matrix's own band as 0.0. The true product of two
  /// symmetric matrices is wider and in general not symmetric; what lies outside, and with unequal bands the
  /// terms for which k would have to run further, is dropped. Work: about 2·n·b² multiply-adds.
  CBandSym operator*(CBandSym const& B) const;
  CBandSym& operator*=(CBandSym const& B);
  /// Every stored value times s.
  CBandSym operator*(double s) const;
  CBandSym& operator*=(double s);
  /// A·x with each term off the diagonal acting on both its row and its column; x has at least NumRows()
  /// elements.
  CVector operator*(CVector const& x) const;
  /// The same into y, which is sized to NumRows() and may be x.
  void Multiply(CVector const& x, CVector& y) const;

private:
  std::size_t Index(int i, int j) const;
  void CheckAndSwap(int& i, int& j) const;
  int LastColumn(int i) const;
  int CommonRows(CBandSym const& B) const;
  void AddInPlace(double factor, CBandSym const& B);
  CBandSym Combined(double factor, CBandSym const& B) const;

  int m_rows, m_band;
  std::vector<double> m_v;
};

}  // namespace Matrix
}  // namespace Vessa
