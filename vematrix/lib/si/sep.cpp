#include "../si/sep.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <utility>

#include "../math/resize.h"
#include "../math/sparse_product.h"
#include "../si/ShiftRules.h"
#include "../si/SubspaceSteps.h"

namespace si {
namespace {

using Eigen::VectorXd;
namespace math = Vessa::Matrix::math;

/// Ritz values below this count as converged without a test.
constexpr double kVanishingRitzValue = 2.220446049250313e-16;

/// Leading entries of a vector that a dump shows.
constexpr Eigen::Index kDumped = 10;

void dump(const char* label, int i, const VectorXd& v) {
  std::cout << label << i << "] : \n" << v.head(std::min(v.size(), kDumped)) << "\n";
}

}  // namespace

sep::sep(Eigen::SparseMatrix<double, 0, int>& A, const int& nev, const int& nsub, EVAL_LOCATION loc,
         const double& tol, double& shift, ShiftStrat strategy, int maxIter)
    : m_A(&A),
      n(int(A.rows())),
      nev(nev),
      p(nsub != 0 ? nsub : defaultSubspace(nev, int(A.rows()))),
      loc(loc),
      initFlag(1),
      maxIter(maxIter),
      tol(tol),
      shift(shift),
      strategy(strategy),
      m_S(this->n, this->p),
      m_lambda(std::size_t(this->p), 0.0),
      ops{0, 0, 0},
      nconv(0),
      normA(0.0),
      negative(0),
      engine(Vessa::Matrix::EngineDefault) {}

int sep::get_numpairs_converged() const {
  return nconv;
}

std::array<int, 3> sep::opCount() const {
  return ops;
}

const si::SolveTimes& sep::times() const {
  return spent;
}

const std::string& sep::shortage() const {
  return memoryShortage;
}

int sep::negative_evals() const {
  return negative;
}

bool sep::SetEngine(Vessa::Matrix::PardisoEngine wanted) {
  if (!Vessa::Matrix::Pardiso::HasEngine(wanted)) return false;
  engine = wanted;
  return true;
}

void sep::SetProgress(si::ProgressCallback callback) {
  progress = std::move(callback);
}

void sep::get_eigenpairs(std::vector<double>& evals, Eigen::MatrixXd& evecs) {
  m_lambda.swap(evals);
  m_S.swap(evecs);
}

void sep::residuals(const double& tol, std::vector<double>& out) {
  const int available = m_S.rows() == n ? std::min({nev, int(m_lambda.size()), int(m_S.cols())}) : 0;
  for (int i = 0; i < available; ++i) {
    const double error = ErrorNorm(i);
    if (!(error <= tol)) out.push_back(error);
  }
}

bool sep::initSubspaceVectors() {
  math::Resize(m_S, n, p);
  drawStartVectors(m_S, false);
  return true;
}

bool sep::mu_cons(const int& i, double& mu) {
  return conservativeShift(m_lambda, i, false, mu);
}

bool sep::mu_aggr(const int& i, const int& stage, double& mu) {
  return aggressiveShift(m_lambda, i, stage, nev, {int(m_lambda.size()) - 1, false}, mu);
}

double sep::mu_safe(const int& i, int& j) {
  return safeShift(m_lambda, i, j);
}

bool sep::orthonormalize(Eigen::MatrixXd& Y) {
  Eigen::MatrixXd work;
  return orthonormalBasis(Y, work);
}

/// Counts the leading converged pairs from `start` on, up to the first that fails.
/// @param mu  stored value − mu is an eigenvalue of the matrix of which AS = A·S
int sep::checkConvergence(int start, const double& mu, const Eigen::MatrixXd& AS) {
  const int tested = std::min({nev, int(m_lambda.size()), int(m_S.cols())});
  int converged = start;
  for (int i = start; i < tested; ++i) {
    const double lambda = m_lambda[std::size_t(i)];
    const double residual = (AS.col(i) - (lambda - mu) * m_S.col(i)).norm();
    std::cout << "residual for " << i << "th eigenpair is " << residual << ". nconv is " << converged
              << " m_lambda[" << i << "]: " << lambda << " mu: " << mu << "\n";
    const bool vanishes = std::fabs(lambda) < kVanishingRitzValue;
    if (!vanishes && !(residual / std::fabs(lambda) < tol)) break;
    ++converged;
  }
  return converged;
}

/// ‖A·s − λ·s‖ / ‖A·s‖ of pair i, with a look at the vectors on standard output.
double sep::ErrorNorm(int i) {
  const VectorXd s = m_S.col(i);
  VectorXd product(n);
  math::symProduct(*m_A, s.data(), product.data());
  dump("\n m_S[", i, s);
  dump("\n m_A*m_S[", i, product);
  dump("\n m_B*m_S[", i, s);  // B is the identity here
  const double residual = (product - m_lambda[std::size_t(i)] * s).norm();
  return residual == 0.0 ? 0.0 : residual / product.norm();
}

}  // namespace si
