// Norm estimate of the standard eigensolver.
#include <mutex>
#include <random>

#include "../solution/NormOperators.h"
#include "OneNormEst.h"
#include "sep.h"

namespace si {

namespace {

// The random signs of this file's estimates: default seed, going on from call to call. Shared by all objects:
// estimates in several threads take turns.
std::mt19937 signs;
std::mutex oneEstimateAtATime;

}  // namespace

double sep::onenormest(Eigen::SparseMatrix<double, 0, int>& A) {
  OneNormEstParams params = {static_cast<int>(A.rows()), 4};
  Vessa::Matrix::norm::SparseProduct product(A);
  double norm = 0.0;
  const std::lock_guard<std::mutex> turn(oneEstimateAtATime);
  OneNormEst(params, product, product, norm, signs);
  return norm;
}

}  // namespace si
