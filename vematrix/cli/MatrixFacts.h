#pragma once
#include <Eigen/Core>
#include <cstdint>
#include <vector>

#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace cli {

/// A symmetric matrix in compressed rows of its upper triangle, duplicates summed: what the program computes
/// residuals, norms and products from, independently of every solver.
class UpperMatrix {
public:
  explicit UpperMatrix(const models::SymmetricTerms& terms);

  int n() const { return m_n; }
  std::size_t numTerms() const { return m_value.size(); }

  /// Hands every stored term to sink(i, j, v) with 1 <= i <= j <= n, row by row.
  template <class Sink>
  void forEach(Sink&& sink) const {
    for (int i = 0; i < m_n; ++i)
      for (std::size_t k = m_start[std::size_t(i)]; k < m_start[std::size_t(i) + 1]; ++k)
        sink(i + 1, m_col[k] + 1, m_value[k]);
  }

  /// A·x - f in extended precision, rounded once at the end.
  Eigen::VectorXd residual(const Eigen::VectorXd& x, const Eigen::VectorXd& f) const;
  /// A·x in extended precision, rounded once at the end.
  Eigen::VectorXd product(const Eigen::VectorXd& x) const { return residual(x, Eigen::VectorXd::Zero(m_n)); }

  /// Powers of two d that make D·A·D a matrix of like numbers: the diagonal in [1, 4) and, where a matrix is
  /// not positive definite and terms outgrow its diagonal, the largest term of every row near 1. Scaling by
  /// them is exact and makes "small" mean the same in every system of units. 1 for an empty row. Source of
  /// the second step: Ruiz, A scaling algorithm to equilibrate both rows and columns norms, RAL-TR-2001-034.
  Eigen::VectorXd balancing() const;

  /// D·A·D for a diagonal D.
  UpperMatrix scaled(const Eigen::VectorXd& d) const;
  /// A - shift·B; both of the same order.
  UpperMatrix shifted(const UpperMatrix& b, double shift) const;

  /// The matrix without the rows and columns of some dofs (from 1, ascending): these dofs restrained. The
  /// others keep their order; kept[k] is the old number of the new dof k + 1.
  UpperMatrix without(const std::vector<int>& dofs, std::vector<int>& kept) const;

  models::SymmetricTerms terms() const;

private:
  UpperMatrix() = default;
  Eigen::VectorXd largestInRows() const;

  int m_n = 0;
  std::vector<std::size_t> m_start;
  std::vector<int> m_col;
  std::vector<double> m_value;
};

/// What can be said of a matrix in one pass over its terms. Dofs count from 1.
struct MatrixFacts {
  int n = 0;
  double normInf = 0.0;  ///< largest sum of |a(i,j)| along a row; the one-norm too
  Eigen::VectorXd diagonal;
  Eigen::VectorXd rowMax;          ///< largest |a(i,j)| of each row
  std::vector<int> emptyRows;      ///< dofs whose whole row is zero
  std::vector<int> zeroDiagonals;  ///< dofs with a zero diagonal and something else in their row
  std::vector<int> negativeDiagonals;
  std::int64_t profile = 0;        ///< terms of the skyline in the given numbering
  double skylineOperations = 0.0;  ///< multiply-adds of its reduction, about half the sum of squared heights
  int bandwidth = 0;               ///< largest j - i of a term that is not zero

  explicit MatrixFacts(const UpperMatrix& matrix);
};

/// The connected part (from 0) that each dof belongs to: dofs are connected by terms that are not zero. Parts
/// are numbered by their lowest dof.
std::vector<int> connectedParts(const UpperMatrix& matrix);

}  // namespace cli
}  // namespace vematrix
