#include <algorithm>
#include <cstdio>
#include <sstream>

#include "../math/parallel.h"
#include "../si/Factors.h"
#include "../si/GepIteration.h"
#include "../si/Stopwatch.h"
#include "../solution/TraceScope.h"

namespace si {
namespace {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

constexpr int kOrthonormalisationPasses = 4;  // of cholp, after the first

}  // namespace

namespace {

void checkSizes(const Sparse& A, const Sparse& B) {
  if (A.rows() == A.cols() && B.rows() == B.cols() && A.rows() == B.rows()) return;
  std::ostringstream message;
  message << "si::gep11: A is " << A.rows() << " x " << A.cols() << " and B is " << B.rows() << " x "
          << B.cols() << "; both must be square and of the same order";
  throw Vessa::Matrix::CMatrixError(message.str());
}

}  // namespace

void gep11::restart(int newMode, double initialValue) {
  checkSizes(*A, *B);
  spent = SolveTimes();
  mode = newMode;
  mu = 0.0;
  shiftSum = 0.0;
  nconv = 0;
  ops = {0, 0, 0};
  evals.assign(std::size_t(p), initialValue);
  initSubspaceVectors();
}

si::Status gep11::solve_exp_orth() {
  const Vessa::Matrix::TraceScope trace("si::gep11::solve_exp_orth");
  restart(2, 0.0);
  const Stopwatch time(spent.total);
  normA = exactOneNorm(*A);
  normB = exactOneNorm(*B);
  Iteration iteration(*this, *A, 0.0, Iteration::RightHandSide::AX);
  iteration.printSizes(" ");
  iteration.shiftBySigma();
  if (!iteration.orthonormalizeStart()) return STATUS_ORTHO;

  cholp basis(*B, X, kOrthonormalisationPasses);
  Factors factors(*B, p, engine, spent, memoryShortage);
  if (!factors.factorize()) return STATUS_FACTORIZE;
  negEvalsB = factors.negative();
  if (negEvalsB > 0) {
    std::printf("B is not posdef. Exiting.\n");
    return STATUS_NOT_POSDEF;
  }

  while (iteration.more()) {
    iteration.announce();
    double next = 0.0;
    if (iteration.chooseTarget(next)) {
      std::printf("shift:  %f\n", iteration.distanceTo(next));
      iteration.moveTo(next);
    }
    if (!iteration.applyInverseOfB(factors, iteration.rationMultiplies())) return STATUS_FACTORIZE;
    iteration.orthonormalize(basis);
    iteration.projectA();
    if (!iteration.solveStandard()) return STATUS_LAPACK;
    iteration.takeRitzPairs(0.0, true);
    if (iteration.countConverged()) break;
  }
  return iteration.finish();
}

si::Status gep11::solve_imp_orth() {
  const Vessa::Matrix::TraceScope trace("si::gep11::solve_imp_orth");
  restart(0, 0.0);
  const Stopwatch time(spent.total);
  normA = exactOneNorm(*A);
  normB = exactOneNorm(*B);
  Iteration iteration(*this, *A, 0.0, Iteration::RightHandSide::BX);
  iteration.printSizes("");
  iteration.shiftBySigma();
  return iterateInverse(iteration, *A);
}

si::Status gep11::solve_imp_orth_copy() {
  const Vessa::Matrix::TraceScope trace("si::gep11::solve_imp_orth_copy");
  restart(0, shift);
  const Stopwatch time(spent.total);
  Vessa::Matrix::math::invokeBoth(
      std::size_t(std::min(A->nonZeros(), B->nonZeros())), [this] { normA = exactOneNorm(*A); },
      [this] { normB = exactOneNorm(*B); });
  Sparse shiftedCopy;
  shiftedCopy = *A;  // a construction that runs out of memory would leak
  Iteration iteration(*this, shiftedCopy, shift, Iteration::RightHandSide::BX);
  iteration.printSizes("");
  iteration.shiftBySigma();
  mode = 1;
  return iterateInverse(iteration, shiftedCopy);
}

/// The common part of the two implicit solves; `shifted` is the matrix that moves.
si::Status gep11::iterateInverse(Iteration& iteration, Eigen::SparseMatrix<double, 0, int>& shifted) {
  const bool onCopy = mode == 1;
  if (!iteration.orthonormalizeStart()) return STATUS_ORTHO;
  Factors factors(shifted, p, engine, spent, memoryShortage);
  if (!factors.factorize()) return STATUS_FACTORIZE;
  negEvalsB = factors.negative();
  if (negEvalsB > 0) {
    std::printf("Shifting to target %g made A indefinite. Turning off shift-acceleration.\n", mu);
    strategy = SHIFT_NONE;
  }

  while (iteration.more()) {
    iteration.announce();
    double next = 0.0;
    if (iteration.chooseTarget(next)) {
      std::printf("Factorizing shifted matrix with a shift of %f\n", iteration.distanceTo(next));
      iteration.moveTo(next);
      if (!factors.factorize()) {
        std::printf("Error factorizing shifted matrix A-mu*B. Exiting now\n");
        break;
      }
      negEvalsB = factors.negative();
    }
    const int repetitions = onCopy ? iteration.rationMultiplies() : 1;
    if (!iteration.applyInverseOfA(factors, repetitions)) return STATUS_FACTORIZE;
    if (!iteration.projectPencil(factors.negative() > 0)) return STATUS_LAPACK;
    if (factors.negative() > 0) iteration.reportIndefinite(factors.negative());
    if (!iteration.solvePencil(onCopy)) return STATUS_LAPACK;
    iteration.takeRitzPairs(onCopy ? mu : 0.0, false);
    if (iteration.countConverged()) break;
  }
  return iteration.finish();
}

}  // namespace si
