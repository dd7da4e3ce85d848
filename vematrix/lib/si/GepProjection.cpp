#include <algorithm>
#include <cmath>
#include <cstdio>

#include "../math/lapack.h"
#include "../math/resize.h"
#include "../math/sparse_product.h"
#include "../si/GepIteration.h"
#include "../si/Stopwatch.h"

namespace si {
namespace {

using Eigen::MatrixXd;
namespace math = Vessa::Matrix::math;

constexpr double kFarFromDependent = 1e4;  // sum of the reciprocal eigenvalues of a Gram matrix, scaled
constexpr double kExactImage = 1e-3;       // share of the tolerance that errors of the solves may take

}  // namespace

bool gep11::Iteration::orthonormalizeStart() {
  const Stopwatch time(m_solver.spent.orthonormalize);
  return orthonormalBasis(m_solver.X, m_work, kEnoughForPencils);
}

bool gep11::Iteration::orthonormalize() {
  const Stopwatch time(m_solver.spent.orthonormalize);
  if (orthonormalBasis(m_solver.X, m_work, kEnoughForPencils)) return true;
  std::printf("Error while orthogonalizing subspace vectors\n");
  return false;
}

void gep11::Iteration::orthonormalize(cholp& basis) {
  const Stopwatch time(m_solver.spent.orthonormalize);
  basis.orthogonalize();
  m_BX = basis.product();
}

void gep11::Iteration::projectA() {
  {
    const Stopwatch time(m_solver.spent.product);
    math::symProduct(*m_moving, m_solver.X, m_AX);
  }
  const Stopwatch time(m_solver.spent.projection);
  project(m_solver.X, m_AX, m_M);
}

namespace {

/// The sum of the absolute values of the lower triangle of H = XᵀT; entries that are no numbers are reported.
double examineProjection(const MatrixXd& H, const MatrixXd& X, const MatrixXd& T, char projection,
                         char matrix) {
  double sum = 0.0;
  for (int j = 0; j < H.cols(); ++j) {
    for (int i = j; i < H.rows(); ++i) {
      sum += std::fabs(H(i, j));
      if (std::isfinite(H(i, j))) continue;
      std::printf("rubbish found at (%d,%d) of %c. Norm of S(:,i)=%g, norm of %c*S(:,j)=%g\n", i, j,
                  projection, X.col(i).norm(), matrix, T.col(j).norm());
    }
  }
  return sum;
}

}  // namespace

bool gep11::Iteration::projectPencil(bool orthonormal) {
  if (orthonormal || !projectSolutions()) {
    if (!orthonormalize()) return false;
    {
      const Stopwatch time(m_solver.spent.product);
      math::symProduct(*m_moving, m_solver.X, m_AX);
      math::symProduct(*m_solver.B, m_solver.X, m_BX);
    }
    const Stopwatch time(m_solver.spent.projection);
    project(m_solver.X, m_AX, m_M);
    project(m_solver.X, m_BX, m_N);
  }
  const Stopwatch time(m_solver.spent.projection);
  m_normM = examineProjection(m_M, m_solver.X, m_AX, 'M', 'A');
  m_normN = examineProjection(m_N, m_solver.X, m_BX, 'N', 'B');
  return true;
}

/// The pencil on the columns of X as they are; false where they are too close to linear dependence. The
/// solutions for B-orthonormal Ritz vectors are nearly B-orthogonal, those for the start vectors are not.
bool gep11::Iteration::projectSolutions() {
  if (m_number == 1 || !m_solved) return false;
  {
    const Stopwatch time(m_solver.spent.product);
    math::symProduct(*m_solver.B, m_solver.X, m_BX);
  }
  {
    const Stopwatch time(m_solver.spent.projection);
    project(m_solver.X, m_BX, m_N);
    if (!isFarFromDependent(m_N, kFarFromDependent)) return false;
  }
  formImages();
  const Stopwatch time(m_solver.spent.projection);
  project(m_solver.X, m_AX, m_M);
  return true;
}

/// AX ← A·X, for the solutions from their right-hand sides.
void gep11::Iteration::formImages() {
  const Stopwatch time(m_solver.spent.product);
  const MatrixXd& X = m_solver.X;
  const int columns = imagesAreKnown() ? m_converged : m_solver.p;
  if (columns > 0) math::symProduct(*m_moving, columns, X.data(), m_solver.n, m_AX.data(), m_solver.n);
}

/// Whether the right-hand sides are what A makes of the solutions, far within the tolerance; tried with the
/// pair that is to converge next.
bool gep11::Iteration::imagesAreKnown() const {
  const auto x = m_solver.X.col(m_converged);
  Eigen::VectorXd image(m_solver.n);
  math::symProduct(*m_moving, x.data(), image.data());
  const double error = (image - m_AX.col(m_converged)).norm();
  return error <= kExactImage * m_solver.tol * m_solver.normA * x.norm();
}

void gep11::Iteration::reportIndefinite(int negative) const {
  std::printf("negative evals of B=%d. normM=%f, normN=%f, shifting by %f\n", negative, m_normM, m_normN,
              2.0 * m_normM * m_solver.mu);
}

bool gep11::Iteration::lapackFailed(int info) const {
  if (info == 0) return false;
  std::printf("Error in solving SRR eigensystem. LAPACK error code = %d\n", info);
  return true;
}

bool gep11::Iteration::solveStandard() {
  const Stopwatch time(m_solver.spent.projection);
  m_theta.resize(m_solver.p);
  m_Q = m_M;
  return !lapackFailed(math::dsyevd(m_solver.p, m_Q.data(), m_solver.p, m_theta.data()));
}

bool gep11::Iteration::solvePencil(bool divideAndConquerFirst) {
  const Stopwatch time(m_solver.spent.projection);
  const int p = m_solver.p;
  m_theta.resize(p);
  if (divideAndConquerFirst) {
    m_Q = m_M;
    MatrixXd factor = m_N;
    if (!lapackFailed(math::dsygvd(p, m_Q.data(), p, factor.data(), p, m_theta.data()))) return true;
  }
  m_Q = m_M;
  return !lapackFailed(math::dsygv(p, m_Q.data(), p, m_N.data(), p, m_theta.data()));
}

void gep11::Iteration::takeRitzPairs(double reference, bool falling) {
  const Stopwatch time(m_solver.spent.projection);
  m_solver.evals = m_theta;
  for (double& value : m_solver.evals) value += m_target;
  permutePairs(orderByDistance(m_solver.evals, reference, falling), m_solver.evals, m_Q);
  m_vectorsWait = true;
  rotateFrom(m_converged, m_rhsOf == RightHandSide::AX ? m_AX : m_BX, m_Q, m_work);
  m_rhsKnown = true;
}

}  // namespace si
