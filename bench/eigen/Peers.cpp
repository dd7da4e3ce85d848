#include <arpack.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "PeerSolver.h"
#include "math/blas.h"
#include "math/lapack.h"
#include "math/sparse_product.h"

namespace bench {

namespace math = Vessa::Matrix::math;
using Eigen::MatrixXd;
using Eigen::VectorXd;

bool havePeers() {
  return true;
}

/// Implicitly restarted Lanczos, shift-invert about 0 (mode 3), as ARPACK offers it.
Outcome runArpack(const Problem& problem, int modes, double tol) {
  Outcome out;
  out.method = "ARPACK mode 3";
  const int n = problem.n(), ncv = std::min(n, std::max(2 * modes, modes + 20));
  const double begin = now();
  PeerSolver solver(problem.K);
  out.factor = now() - begin;
  out.factorizations = 1;

  std::vector<double> residual(n), work(3 * std::size_t(n)), workl(std::size_t(ncv) * (ncv + 8));
  MatrixXd V(n, ncv);
  int iparam[11] = {}, ipntr[11] = {}, ido = 0, info = 0;
  iparam[0] = 1;     // exact shifts
  iparam[2] = 1000;  // restarts
  iparam[3] = 1;
  iparam[6] = 3;
  VectorXd image(n);
  do {
    dsaupd_c(&ido, "G", n, "LM", modes, tol, residual.data(), ncv, V.data(), n, iparam, ipntr, work.data(),
             workl.data(), int(workl.size()), &info);
    double* x = work.data() + ipntr[0] - 1;
    double* y = work.data() + ipntr[1] - 1;
    const double* Bx = work.data() + ipntr[2] - 1;
    if (ido == -1 || ido == 2) {
      const double t = now();
      math::symProduct(problem.M, x, ido == 2 ? y : image.data());
      out.product += now() - t;
    }
    if (ido == -1 || ido == 1) {
      const double t = now();
      solver.solve(1, ido == -1 ? image.data() : Bx, y);
      out.solve += now() - t;
      ++out.multiplies;
    }
  } while (ido != 99);
  out.converged = iparam[4];
  out.iterations = iparam[2];
  std::vector<int> select(ncv);
  std::vector<double> values(modes);
  MatrixXd Z(n, modes);
  dseupd_c(1, "A", select.data(), values.data(), Z.data(), n, 0.0, "G", n, "LM", modes, tol, residual.data(),
           ncv, V.data(), n, iparam, ipntr, work.data(), workl.data(), int(workl.size()), &info);
  out.total = now() - begin;
  out.values = values;
  out.vectors = Z;
  return out;
}

namespace {

/// Bathe's start vectors: the diagonal of M, unit vectors where m/k is largest in equal stretches, one
/// random.
MatrixXd startVectors(const Problem& problem, int p) {
  const int n = problem.n();
  MatrixXd Y = MatrixXd::Zero(n, p);
  Y.col(0) = problem.M.diagonal();
  const VectorXd ratio = problem.M.diagonal().cwiseQuotient(problem.K.diagonal());
  for (int j = 1; j + 1 < p; ++j) {
    const int first = int((long long)(n) * (j - 1) / (p - 2)), last = int((long long)(n)*j / (p - 2));
    Eigen::Index at = 0;
    ratio.segment(first, last - first).maxCoeff(&at);
    Y(first + at, j) = 1.0;
  }
  std::mt19937 engine(1);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  for (int i = 0; i < n; ++i) Y(i, p - 1) = value(engine);
  return Y;
}

}  // namespace

/// Subspace iteration as in Bathe, Finite Element Procedures, 11.6, until the eigenvalues stand still to tol.
Outcome runTextbookSubspace(const Problem& problem, int modes, double tol) {
  Outcome out;
  out.method = "textbook subspace";
  const int n = problem.n(), p = std::min(2 * modes, modes + 8);
  const double begin = now();
  PeerSolver solver(problem.K);
  out.factor = now() - begin;
  out.factorizations = 1;

  MatrixXd Y = startVectors(problem, p), X(n, p), MX(n, p), Kp(p, p), Mp(p, p);
  VectorXd values = VectorXd::Zero(p), before;
  bool done = false;
  while (!done && out.iterations < 300) {
    ++out.iterations;
    double t = now();
    solver.solve(p, Y.data(), X.data());
    out.solve += now() - t;
    out.multiplies += p;
    t = now();
    math::symProduct(problem.M, X, MX);
    out.product += now() - t;
    t = now();
    math::dgemmtLower(p, n, 1.0, X.data(), n, Y.data(), n, 0.0, Kp.data(), p);
    math::dgemmtLower(p, n, 1.0, X.data(), n, MX.data(), n, 0.0, Mp.data(), p);
    before = values;
    if (math::dsygv(p, Kp.data(), p, Mp.data(), p, values.data()) != 0) break;
    math::dgemm(math::Transpose::No, math::Transpose::No, n, p, p, 1.0, MX.data(), n, Kp.data(), p, 0.0,
                Y.data(), n);
    out.projection += now() - t;
    done = ((values - before).head(modes).array().abs() <= tol * values.head(modes).array().abs()).all();
  }
  const MatrixXd modesOnly = X * Kp.leftCols(modes);
  out.total = now() - begin;
  out.converged = done ? modes : 0;
  out.values.assign(values.data(), values.data() + modes);
  out.vectors = modesOnly;
  return out;
}

}  // namespace bench
