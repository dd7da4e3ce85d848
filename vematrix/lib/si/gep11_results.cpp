#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <limits>

#include "../math/parallel.h"
#include "../math/sparse_product.h"
#include "../si/RotatedColumns.h"
#include "../si/SubspaceSteps.h"
#include "../si/gep11.h"

namespace si {
namespace {

using Eigen::VectorXd;
namespace math = Vessa::Matrix::math;

/// Ritz values below this, and +∞, count as converged without a look at the vector.
constexpr double kVanishingRitzValue = 2.220446049250313e-16;

void printPair(int i, double lambda, double residual, int converged, double errorNorm) {
  std::cout << "eigenpair " << i << ": lambda: " << lambda << " residual: " << residual
            << " nconv: " << converged << " error_norm: " << errorNorm << std::endl;
}

}  // namespace

bool gep11::needsNoTest(double ritz) {
  return std::fabs(ritz) < kVanishingRitzValue || ritz == std::numeric_limits<double>::infinity();
}

/// Of a pair with this residual and a vector of this length.
double gep11::backwardError(double residual, double lambda, double length) const {
  return residual / (std::fabs(lambda) * normB + normA) / length;
}

/// Counts the leading converged pairs, from pair `first` on, up to the first that fails.
/// @param sigma    stored value − sigma is an eigenvalue of the pencil (A, B)
/// @param vectors  the Ritz vectors; AX and BX what A and B make of them
int gep11::checkConvergence(int first, const double& sigma, RotatedColumns& vectors, RotatedColumns& AX,
                            RotatedColumns& BX) {
  const int tested = std::min({nev, int(evals.size()), int(X.cols())});
  int converged = first;
  for (int i = first; i < tested; ++i) {
    const double lambda = evals[std::size_t(i)];
    if (needsNoTest(lambda)) {
      ++converged;
      continue;
    }
    const auto x = vectors.col(i), y = AX.col(i), z = BX.col(i);
    double length = 0.0, residual = 0.0;
    math::invokeBoth(
        std::size_t(n), [&] { length = x.norm(); }, [&] { residual = (y - (lambda - sigma) * z).norm(); });
    printPair(i, lambda, residual, converged, residual / (mode != 0 ? z.norm() : y.norm()));
    if (!(backwardError(residual, lambda, length) < tol)) break;
    ++converged;
  }
  return converged;
}

/// ‖A·x − λ·B·x‖ / ‖A·x‖ of pair i with the caller's A; 0 where the first is, as for an exact rigid motion.
double gep11::ErrorNorm(int i) {
  VectorXd y(n), z(n);
  math::symProduct(*A, X.col(i).data(), y.data());
  math::symProduct(*B, X.col(i).data(), z.data());
  const double lambda = evals[std::size_t(i)] + (mode == 1 ? 0.0 : mu);
  const double residual = (y - lambda * z).norm();
  return residual == 0.0 ? 0.0 : residual / y.norm();
}

void gep11::residuals(const double& tol, std::vector<std::pair<int, double>>& bad) {
  if (mode != 1) subtractScaled(*A, -shiftSum, *B);
  std::printf("sum of shiftsA: %g\n", shiftSum);
  const int available = X.rows() == n ? std::min({nev, int(evals.size()), int(X.cols())}) : 0;
  for (int i = 0; i < available; ++i) {
    const double error = ErrorNorm(i);
    if (!(error <= tol)) bad.emplace_back(i, error);
  }
}

void gep11::get_eigenpairs(std::vector<double>& values, Eigen::MatrixXd& vectors) {
  if (mode != 1)
    for (double& value : evals) value += mu;
  evals.swap(values);
  X.swap(vectors);
}

}  // namespace si
