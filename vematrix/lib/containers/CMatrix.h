#pragma once
#include <Eigen/Core>
#include <string>

#include "../containers/CVector.h"

namespace Vessa {
namespace Matrix {

/// Dense rows × cols matrix of doubles for multi-column products and solves; indices are 1-based and not
/// checked.
///
/// CMatrix<1> is column-major: column j fills the positions [(j−1)·rows, j·rows) of Array(). CMatrix<0> is
/// row-major: the right-hand sides of one row lie side by side, which is what the skyline block solve wants.
/// Only these two exist. A moved-from matrix is 0 × 0; after a failed allocation (std::bad_alloc) an assigned
/// or resized one is 0 × 0 too.
template <int Layout>
class CMatrix {
  static_assert(Layout == 0 || Layout == 1, "CMatrix<0> or CMatrix<1>");

public:
  typedef Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic,
                        Layout == 1 ? Eigen::ColMajor : Eigen::RowMajor>
      Inner_t;
  /// 0 × 0.
  CMatrix();
  /// Zeros. A negative size throws std::bad_alloc.
  CMatrix(int rows, int cols);
  /// All elements v.
  CMatrix(int rows, int cols, double v);
  CMatrix(const CMatrix&);
  CMatrix(CMatrix&&) noexcept;
  explicit CMatrix(const Eigen::MatrixXd& m);
  CMatrix& operator=(const CMatrix&);
  CMatrix& operator=(CMatrix&&) noexcept;
  ~CMatrix();

  int NumRows() const;
  int NumCols() const;
  /// The same shape: elements kept. Any other: zeros. Always true.
  bool SetSize(int rows, int cols);
  void SetAll(double v);
  /// Element in row i, column j.
  double& ElementAt(int i, int j);
  const double& ElementAt(int i, int j) const;
  double GetAt(int i, int j) const;
  void SetAt(int i, int j, const double& v);
  void AddAt(int i, int j, const double& v);
  /// First element, null for an empty matrix; see above for the layout.
  double* Array();
  const double* Array() const;
  /// The wrapped Eigen matrix, 0-based.
  Inner_t& Inner();
  const Inner_t& Inner() const;

  /// Writes the matrix as text: "MATRIX DUMP", an empty line, then per row "i,value,value,...": i from 1, six
  /// significant digits. The default name is "matrix.csv"; arguments and result as for CVector::Dump.
  bool Dump(const char* fileName = "", const char* folder = "", bool flag = false) const;

private:
  Inner_t m_m;
};

extern template class VEMATRIX_API CMatrix<0>;
extern template class VEMATRIX_API CMatrix<1>;

}  // namespace Matrix
}  // namespace Vessa
