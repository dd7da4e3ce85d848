#pragma once
#include <Eigen/SparseCore>

#include "../si/SubspaceSteps.h"

namespace si {

/// A caller's matrix that may be changed for a while: on destruction it is again what it was, arrays and
/// storage mode included.
class BorrowedMatrix {
public:
  using Sparse = Eigen::SparseMatrix<double, 0, int>;

  explicit BorrowedMatrix(Sparse& matrix) : m_matrix(matrix) {}
  ~BorrowedMatrix() {
    if (m_changed) m_matrix.swap(m_original);
  }
  BorrowedMatrix(const BorrowedMatrix&) = delete;
  BorrowedMatrix& operator=(const BorrowedMatrix&) = delete;

  /// The matrix as it stands, to be read.
  Sparse& get() { return m_matrix; }

  /// Puts a compressed copy in the place of the original, which is kept.
  void detach() {
    if (m_changed) return;
    Sparse copy;
    copy = m_matrix;  // a construction that runs out of memory would leak
    copy.makeCompressed();
    m_matrix.swap(m_original);
    m_matrix.swap(copy);
    m_changed = true;
  }

  /// A ← A − s·I.
  void subtractIdentity(double s) {
    detach();
    Sparse identity(m_matrix.rows(), m_matrix.cols());
    identity.setIdentity();
    subtractScaled(m_matrix, s, identity);
  }

private:
  Sparse& m_matrix;
  Sparse m_original;
  bool m_changed = false;
};

}  // namespace si
