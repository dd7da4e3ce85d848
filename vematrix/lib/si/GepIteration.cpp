#include "../si/GepIteration.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <sstream>

#include "../math/lapack.h"
#include "../math/resize.h"
#include "../math/sparse_product.h"
#include "../si/RotatedColumns.h"
#include "../si/Stopwatch.h"

namespace si {
namespace {

using Eigen::MatrixXd;
namespace math = Vessa::Matrix::math;

constexpr double kDigitsPerIteration = 8.0;  // decimal digits of spread the operator may build up
constexpr double kHarmlessFactor = 1.8446744073709552e19;  // 2⁶⁴
constexpr double kMostDrift = 10.0;  // how far beyond the tolerance a converged pair may have moved since
constexpr double kRoundingDrift = 1e-13;  // and by rounding

}  // namespace

gep11::Iteration::Iteration(gep11& solver, Sparse& moving, double target, RightHandSide rhs)
    : m_solver(solver), m_moving(&moving), m_target(target), m_rhsOf(rhs) {}

void gep11::Iteration::printSizes(const char* separator) const {
  std::ostringstream line;
  line << "n: " << m_solver.n << separator << "nnzA: " << m_solver.A->nonZeros()
       << " nnzB: " << m_solver.B->nonZeros() << " l: " << m_solver.p << " m:" << m_solver.nev
       << " normA: " << m_solver.normA << " normB: " << m_solver.normB << "\n";
  std::printf("%s", line.str().c_str());
}

void gep11::Iteration::shiftBySigma() {
  const Stopwatch time(m_solver.spent.shift);
  std::printf("Shifting A by %f \n", m_solver.shift);
  subtractScaled(*m_moving, m_solver.shift, *m_solver.B);
  m_solver.mu = m_solver.shift;
  m_solver.shiftSum = m_solver.shift;
  m_solver.normA = exactOneNorm(*m_solver.A);
  std::printf("normA after shift: %f\n", m_solver.normA);
}

void gep11::Iteration::announce() const {
  std::printf("Iteration %d. %d pairs converged, %d multiplies.\n", m_number, m_converged, m_multiplies);
  if (m_solver.progress) m_solver.progress({m_number, m_converged, m_multiplies});
}

bool gep11::Iteration::chooseTarget(double& next) const {
  next = m_target;
  bool accepted = false;
  if (m_solver.strategy == SHIFT_AGGRESSIVE) accepted = m_solver.mu_aggr(m_converged, m_stalled, next);
  if (m_solver.strategy == SHIFT_CONSERVATIVE) accepted = m_solver.mu_cons(m_converged, next);
  return accepted && std::isfinite(next);
}

void gep11::Iteration::moveTo(double next) {
  const Stopwatch time(m_solver.spent.shift);
  subtractScaled(*m_moving, next - m_target, *m_solver.B);
  m_solver.shiftSum += next - m_target;
  m_target = next;
  if (m_rhsOf == RightHandSide::AX) m_rhsKnown = false;
}

int gep11::Iteration::rationMultiplies() const {
  const MultiplyBudget budget = multiplyBudget(m_solver.evals, m_target, kDigitsPerIteration);
  print(budget);
  return std::min(budget.limit, kMostRepetitions);
}

bool gep11::Iteration::applyInverseOfB(Factors& factors, int repetitions) {
  return apply(factors, *m_moving, m_AX, Scaling::ByEnergy, repetitions);
}

bool gep11::Iteration::applyInverseOfA(Factors& factors, int repetitions) {
  return apply(factors, *m_solver.B, m_BX, Scaling::ByLargestEntry, repetitions);
}

/// One application at least; more only once a pair has converged, the converged columns being left alone. The
/// right-hand sides are formed in the open columns of `known`, the solutions in those of X.
bool gep11::Iteration::apply(Factors& factors, const Sparse& multiplied, MatrixXd& known, Scaling scaling,
                             int repetitions) {
  m_solved = false;
  if (open() == 0) {
    rotateVectors();
    return true;
  }
  formRightHandSides(multiplied, known);
  rotateConverged();
  double* X = m_solver.X.col(m_converged).data();
  double* rhs = known.col(m_converged).data();
  int done = 0;
  while (true) {
    if (!factors.solve(open(), rhs, X)) return false;
    scaleSolutions(scaling, known);
    if (++done >= repetitions || m_converged == 0) break;
    const Stopwatch time(m_solver.spent.product);
    math::symProduct(multiplied, open(), X, m_solver.n, rhs, m_solver.n);
  }
  m_rhsKnown = false;
  m_multiplies += open() * done;
  m_solved = m_rhsOf == RightHandSide::BX;
  if (m_solved) m_AX.swap(m_BX);
  return true;
}

void gep11::Iteration::rotateVectors() {
  if (!m_vectorsWait) return;
  const Stopwatch time(m_solver.spent.projection);
  rotate(m_solver.X, m_Q, m_work);
  m_vectorsWait = false;
}

/// The others are about to be replaced.
void gep11::Iteration::rotateConverged() {
  if (m_vectorsWait && m_converged > 0) {
    const Stopwatch time(m_solver.spent.projection);
    multiply(m_solver.X, m_Q, m_converged, m_work);
    m_solver.X.leftCols(m_converged) = m_work.leftCols(m_converged);
  }
  m_vectorsWait = false;
}

void gep11::Iteration::formRightHandSides(const Sparse& multiplied, MatrixXd& known) {
  if (m_rhsKnown) return;
  rotateVectors();
  const Stopwatch time(m_solver.spent.product);
  math::Resize(known, m_solver.n, m_solver.p);
  math::symProduct(multiplied, open(), m_solver.X.col(m_converged).data(), m_solver.n,
                   known.col(m_converged).data(), m_solver.n);
}

/// Keeps repeated applications within the range of doubles, by powers of two so that no digit changes. With B
/// factorised, y·w = yᵀBy is the square of the length in which cholp measures. Otherwise lengths do not
/// matter, and columns far from both ends of the range are left alone.
void gep11::Iteration::scaleSolutions(Scaling scaling, MatrixXd& rhs) {
  for (int j = m_converged; j < m_solver.p; ++j) {
    auto x = m_solver.X.col(j), w = rhs.col(j);
    const bool byEnergy = scaling == Scaling::ByEnergy;
    const double factor = powerOfTwoFor(byEnergy ? std::sqrt(std::fabs(x.dot(w))) : x.cwiseAbs().maxCoeff());
    const bool harmless = factor <= kHarmlessFactor && factor >= 1.0 / kHarmlessFactor;
    if (byEnergy ? factor == 1.0 : harmless) continue;
    x *= factor;
    w *= factor;
  }
}

bool gep11::Iteration::countConverged() {
  const Stopwatch time(m_solver.spent.convergence);
  const int before = m_converged;
  const bool explicitly = m_rhsOf == RightHandSide::AX;
  RotatedColumns vectors(m_solver.X, m_Q), rotated(explicitly ? m_AX : m_BX),
      other(explicitly ? m_BX : m_AX, m_Q);
  m_converged = m_solver.checkConvergence(before, m_target, vectors, explicitly ? rotated : other,
                                          explicitly ? other : rotated);
  if (m_converged >= m_solver.nev) m_converged = stillConverged();
  if (m_converged >= m_solver.nev) return true;
  if (m_converged < before) m_rhsKnown = false;  // of the pairs that were converged it has not been rotated
  m_stalled = m_converged != before ? 0 : m_stalled + 1;
  ++m_number;
  return false;
}

/// Of the converged pairs the leading ones that have stayed so. A converged pair is not tested again, but its
/// vector is rotated with the others in every iteration; where these carry large errors, as with a shift that
/// is an eigenvalue, it may be spoilt. Twice as many products as pairs, once a solve.
int gep11::Iteration::stillConverged() {
  rotateVectors();
  const int count = std::min({m_converged, m_solver.nev, m_solver.p});
  MatrixXd Y(m_solver.n, count), Z(m_solver.n, count);
  const double* X = m_solver.X.data();
  math::symProduct(*m_moving, count, X, m_solver.n, Y.data(), m_solver.n);
  math::symProduct(*m_solver.B, count, X, m_solver.n, Z.data(), m_solver.n);
  const double limit = kMostDrift * m_solver.tol + kRoundingDrift;
  for (int i = 0; i < count; ++i) {
    const double lambda = m_solver.evals[std::size_t(i)];
    if (gep11::needsNoTest(lambda)) continue;
    const double residual = (Y.col(i) - (lambda - m_target) * Z.col(i)).norm();
    if (!(m_solver.backwardError(residual, lambda, m_solver.X.col(i).norm()) < limit)) return i;
  }
  return m_converged;
}

si::Status gep11::Iteration::finish() {
  rotateVectors();
  if (m_converged < m_solver.nev) m_converged = stillConverged();
  const auto n = std::uint32_t(m_solver.n), p = std::uint32_t(m_solver.p),
             iterations = std::uint32_t(m_number);
  const std::uint32_t mixed = ((4u * n) ^ (3u * p) ^ 3u) * iterations;
  m_solver.ops = {m_multiplies, m_number, int(mixed)};
  m_solver.nconv = m_converged;
  return STATUS_OK;
}

}  // namespace si
