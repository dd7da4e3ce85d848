// Condition estimate of the generalised eigensolver.
#include <iostream>
#include <mutex>
#include <random>

#include "../solution/NormOperators.h"
#include "../solution/Pardiso.h"
#include "OneNormEst.h"
#include "gep11.h"

namespace si {

namespace {

// The random signs of this file's estimates: default seed, going on from call to call. Shared by all objects:
// estimates in several threads take turns.
std::mt19937 signs;
std::mutex oneEstimateAtATime;

}  // namespace

double gep11::condest(Eigen::SparseMatrix<double, 0, int>& M) {
  OneNormEstParams params = {static_cast<int>(M.rows()), 4};
  const double normM = onenormest(M);
  Vessa::Matrix::Pardiso solver(M, 4);
  solver.SetEngine(engine);
  if (!solver.factorize(false) || solver.numPerturbedPivots() > 0)
    std::cout << "Failure to factorize matrix in condest.\n";
  Vessa::Matrix::norm::PardisoSolve solve(solver, true);
  double normInverse = 0.0;
  {
    const std::lock_guard<std::mutex> turn(oneEstimateAtATime);
    OneNormEst(params, solve, solve, normInverse, signs);
  }
  solver.disposeFactors();
  return normM * normInverse;
}

}  // namespace si
