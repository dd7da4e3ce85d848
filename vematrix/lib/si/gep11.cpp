#include "../si/gep11.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "../math/resize.h"
#include "../si/ShiftRules.h"
#include "../si/SubspaceSteps.h"

namespace si {

gep11::gep11(Eigen::SparseMatrix<double, 0, int>& A, Eigen::SparseMatrix<double, 0, int>& B, const int& nev,
             const int& p, const double& tol, double& shift, si::ShiftStrat strategy, int maxIter)
    : A(&A),
      B(&B),
      n(int(A.rows())),
      nev(nev),
      p(p != 0 ? p : defaultSubspace(nev, int(A.rows()))),
      initFlag(1),
      maxIter(maxIter),
      tol(tol),
      shift(shift),
      mu(0.0),
      strategy(strategy),
      X(this->n, this->p),
      evals(std::size_t(this->p), 0.0),
      ops{0, 0, 0},
      nconv(0),
      normA(0.0),
      normB(0.0),
      negEvalsB(0),
      shiftSum(0.0),
      mode(0),
      engine(Vessa::Matrix::EngineDefault) {}

gep11::gep11(const gep11&) = default;
gep11::~gep11() = default;

int gep11::get_numpairs_converged() const {
  return nconv;
}

std::array<int, 3> gep11::opCount() const {
  return ops;
}

const si::SolveTimes& gep11::times() const {
  return spent;
}

const std::string& gep11::shortage() const {
  return memoryShortage;
}

int gep11::negative_evals() const {
  return negEvalsB;
}

bool gep11::SetEngine(Vessa::Matrix::PardisoEngine wanted) {
  if (!Vessa::Matrix::Pardiso::HasEngine(wanted)) return false;
  engine = wanted;
  return true;
}

void gep11::SetProgress(si::ProgressCallback callback) {
  progress = std::move(callback);
}

bool gep11::initSubspaceVectors() {
  Vessa::Matrix::math::Resize(X, n, p);
  std::srand(0);
  drawStartVectors(X, true);
  return true;
}

bool gep11::orthonormalize(Eigen::MatrixXd& Y) {
  return householderQ(Y);
}

double gep11::onenormest(Eigen::SparseMatrix<double, 0, int>& M) {
  return exactOneNorm(M);
}

double gep11::onenormest(Eigen::MatrixXd& M) {
  double largest = 0.0;
  for (Eigen::Index c = 0; c < M.cols(); ++c) largest = std::max(largest, M.col(c).cwiseAbs().sum());
  return largest;
}

bool gep11::mu_cons(const int& k, double& mu) {
  return conservativeShift(evals, k, true, mu);
}

bool gep11::mu_aggr(const int& k, const int& stage, double& mu) {
  return aggressiveShift(evals, k, stage, nev, {p - 1, true}, mu);
}

double gep11::mu_safe(const int& k, int& j) {
  return safeShift(evals, k, j);
}

}  // namespace si
