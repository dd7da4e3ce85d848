#pragma once
#include <Eigen/Dense>
#include <Eigen/SparseCore>

#include "../containers/types.h"

namespace si {

/// B-orthonormalises a block of vectors by pivoted Cholesky factorisations of its Gram matrix.
///
/// With S = YᵀBY and PᵀSP = RᵀR (R upper triangular), Y·P·R⁻¹ is B-orthonormal up to rounding times the
/// condition of S; the factorisation is repeated until ‖YᵀBY − I‖ (Frobenius) is at
/// most 2.220446049250313e-12 or the passes are spent. Pivoting lets the weakest directions come last; those
/// that vanish are kept apart by a floor under the diagonal of R, so that Y never loses columns (nor is it
/// B-orthonormal then).
///
/// Cost per pass for n × k: one product B·Y and 2·n·k² multiply-adds.
/// Source: Yamamoto et al., ETNA 44 (2015) 306-326 (repeated Cholesky QR); Higham, Accuracy and Stability of
/// Numerical Algorithms (2002), 10.3 (pivoting).
class VEMATRIX_API cholp {
public:
  /// Binds B (symmetric, positive definite; its lower triangle is read, see gep11) and the block Y, n × k,
  /// which is overwritten by orthonormalize. Neither is owned; both must outlive this object. At most
  /// maxPasses + 1 factorisations are made.
  cholp(Eigen::SparseMatrix<double, 0, int>& B, Eigen::MatrixXd& Y, int maxPasses);
  ~cholp();

  /// Orthonormalises Y in place. Each pass prints "cholp::orthogonalize: residual= %g\n" with ‖YᵀBY − I‖;
  /// nothing is printed and Y is left as it is when it is orthonormal already. A Gram matrix that is not
  /// positive definite is reported on standard output ("Error in LAPACKE_dpstrf. iErr = …") and used as far
  /// as it was factorised.
  void orthogonalize();

  /// B·Y for the Y that the last orthogonalize left.
  const Eigen::MatrixXd& product() const;

private:
  double formGram();
  void factorGram(int* pivots);
  void solveWithFactor(const int* pivots);

  Eigen::SparseMatrix<double, 0, int>* m_B;
  Eigen::MatrixXd* m_Y;
  int m_maxPasses, m_k, m_n;
  Eigen::MatrixXd m_W, m_BY, m_S, m_I;
};

}  // namespace si
