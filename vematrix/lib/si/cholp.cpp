#include "../si/cholp.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <vector>

#include "../math/lapack.h"
#include "../math/sparse_product.h"
#include "../math/tall_products.h"

namespace si {
namespace {

namespace math = Vessa::Matrix::math;

constexpr double kOrthonormal = 2.220446049250313e-12;     // ‖YᵀBY − I‖ at which Y is done
constexpr double kPivotFloor = 2.220446049250313e-13;      // added to a diagonal of R that is smaller
constexpr double kPivotTolerance = 2.220446049250313e-16;  // absolute, on the diagonal of S

}  // namespace

cholp::cholp(Eigen::SparseMatrix<double, 0, int>& B, Eigen::MatrixXd& Y, int maxPasses)
    : m_B(&B),
      m_Y(&Y),
      m_maxPasses(maxPasses),
      m_k(int(Y.cols())),
      m_n(int(Y.rows())),
      m_W(m_n, m_k),
      m_BY(m_n, m_k),
      m_S(m_k, m_k),
      m_I(Eigen::MatrixXd::Identity(m_k, m_k)) {}

cholp::~cholp() = default;

const Eigen::MatrixXd& cholp::product() const {
  return m_BY;
}

void cholp::orthogonalize() {
  if (formGram() <= kOrthonormal) return;
  std::vector<int> pivots(m_k, 0);
  for (int pass = 0; pass <= m_maxPasses; ++pass) {
    factorGram(pivots.data());
    solveWithFactor(pivots.data());
    const double residual = formGram();
    std::printf("cholp::orthogonalize: residual= %g\n", residual);
    if (residual <= kOrthonormal) return;
  }
}

/// BY ← B·Y, S ← YᵀBY; returns ‖S − I‖.
double cholp::formGram() {
  math::symProduct(*m_B, *m_Y, m_BY);
  math::tallGram(m_n, m_k, m_Y->data(), m_n, m_BY.data(), m_n, m_S.data(), m_k);
  m_S.triangularView<Eigen::StrictlyUpper>() = m_S.transpose();
  return (m_S - m_I).norm();
}

/// The upper triangle of S becomes R with PᵀSP = RᵀR.
void cholp::factorGram(int* pivots) {
  int rank = 0;
  const int info = math::dpstrfUpper(m_k, m_S.data(), m_k, pivots, rank, kPivotTolerance);
  if (info == 0) return;
  std::cout << "Error in LAPACKE_dpstrf. iErr = " << info << "\t";
  if (info > 0) std::cout << "Rank of SBS returned = " << rank << "\n";
}

/// Y ← Y·P·R⁻¹. The first diagonal entry divides as it is, the others with a floor under their magnitude.
void cholp::solveWithFactor(const int* pivots) {
  m_W.swap(*m_Y);
  for (int j = 0; j < m_k; ++j) m_Y->col(j) = m_W.col(pivots[j] - 1);
  for (int j = 1; j < m_k; ++j)
    if (std::fabs(m_S(j, j)) < kPivotFloor) m_S(j, j) += kPivotFloor;
  math::tallDivide(m_n, m_k, m_S.data(), m_k, m_Y->data(), m_n);
}

}  // namespace si
