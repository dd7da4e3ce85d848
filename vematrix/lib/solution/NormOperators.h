#pragma once
#include <Eigen/SparseCore>

#include "../containers/CVector.h"
#include "../math/sparse_product.h"
#include "../skyline/CSkyLine.h"
#include "../solution/Pardiso.h"
#include "../sparse/CCompColumn.h"

/// \file
/// The matrices and inverses whose one-norms are estimated, as operators Y = op(X) on n × t blocks. Each
/// borrows its matrix; ok() tells whether the estimator shall announce a failed application.
namespace Vessa {
namespace Matrix {
namespace norm {

/// y ← f(x) column by column, f taking and returning a CVector; a result of another length leaves the column
/// alone.
template <class Function>
void ByColumn(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y, Function f) {
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    const CVector y = f(CVector(Eigen::VectorXd(X.col(j))));
    if (y.Inner().size() == Y.rows()) Y.col(j) = y.Inner();
  }
}

/// A·x of a skyline matrix, assembled or reduced; nothing in any other state.
class SkylineProduct {
public:
  explicit SkylineProduct(CSkyLine& matrix) : m_matrix(matrix) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    ByColumn(X, Y, [this](const CVector& x) { return m_matrix * x; });
  }
  bool ok() const { return true; }

private:
  CSkyLine& m_matrix;
};

/// A⁻¹·x of a reduced skyline matrix.
class SkylineSolve {
public:
  explicit SkylineSolve(CSkyLine& matrix) : m_matrix(matrix) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    ByColumn(X, Y, [this](CVector x) {
      m_matrix.BackSubs(x);
      return x;
    });
  }
  bool ok() const { return true; }

private:
  CSkyLine& m_matrix;
};

/// A·x of a compressed-column matrix.
class CompColumnProduct {
public:
  explicit CompColumnProduct(CCompColumn& matrix) : m_matrix(matrix) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    ByColumn(X, Y, [this](const CVector& x) { return m_matrix * x; });
  }
  bool ok() const { return true; }

private:
  CCompColumn& m_matrix;
};

/// A⁻¹·x of a reduced compressed-column matrix.
class CompColumnSolve {
public:
  explicit CompColumnSolve(CCompColumn& matrix) : m_matrix(matrix) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    ByColumn(X, Y, [this](CVector x) {
      m_matrix.BackSubs(x);
      return x;
    });
  }
  bool ok() const { return true; }

private:
  CCompColumn& m_matrix;
};

/// A·X of an Eigen matrix that stores its lower triangle, the whole block at once.
class SparseProduct {
public:
  explicit SparseProduct(const Eigen::SparseMatrix<double, 0, int>& matrix) : m_matrix(matrix) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) { math::symProduct(m_matrix, X, Y); }
  bool ok() const { return true; }

private:
  const Eigen::SparseMatrix<double, 0, int>& m_matrix;
};

/// A⁻¹·X with factors of Pardiso, the whole block at once.
class PardisoSolve {
public:
  /// @param announce  whether ok() reports a failed solve; otherwise it is always true
  PardisoSolve(Pardiso& solver, bool announce) : m_solver(solver), m_announce(announce) {}
  void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y) {
    m_solved = SolveMulti(m_solver, X, Y);
    m_allSolved = m_allSolved && m_solved;
  }
  bool ok() const { return m_solved || !m_announce; }
  /// Whether every solve succeeded up to now; after one that failed the estimate is of no use.
  bool solved() const { return m_allSolved; }

private:
  Pardiso& m_solver;
  bool m_announce;
  bool m_solved = true, m_allSolved = true;
};

}  // namespace norm
}  // namespace Matrix
}  // namespace Vessa
