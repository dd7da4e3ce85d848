#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>

#include "../math/lapack.h"
#include "../math/resize.h"
#include "../math/sparse_product.h"
#include "../si/BorrowedMatrix.h"
#include "../si/Factors.h"
#include "../si/Stopwatch.h"
#include "../si/SubspaceSteps.h"
#include "../si/sep.h"
#include "../solution/TraceScope.h"

namespace si {
namespace {

using Eigen::MatrixXd;
using Sparse = Eigen::SparseMatrix<double, 0, int>;
namespace math = Vessa::Matrix::math;

constexpr double kEpsilon = 2.220446049250313e-16;
constexpr double kUnchanged = 4.0 * kEpsilon;  // relative
constexpr int kIdleIterations = 3;  // that many without any change, and nothing will change any more

/// Repeated applications may build up 16 decimal digits less one for every digit of spread.
int multiplyLimit(const std::vector<double>& ritz, double sigma) {
  return floorToInt(16.0 / (std::log10(spreadOfRitzValues(ritz, sigma)) + 1.0));
}

bool sameToRounding(const std::vector<double>& a, const std::vector<double>& b) {
  for (std::size_t i = 0; i < a.size(); ++i)
    if (!(std::fabs(a[i] - b[i]) <= kUnchanged * std::max(std::fabs(a[i]), std::fabs(b[i])))) return false;
  return true;
}

}  // namespace

/// One solve under way. Stored Ritz values count from the caller's shift; stored value − sigma is an
/// eigenvalue of the matrix as it stands.
class sep::Iteration {
public:
  Iteration(sep& solver, BorrowedMatrix& A) : m_s(solver), m_A(A) {}

  bool factorize();
  void announce() const;
  bool applyOperator();
  bool orthonormalize();
  bool solveProjection();
  void countConverged();
  bool done() const { return m_s.nconv >= m_s.nev || m_idle >= kIdleIterations; }
  bool moveShift();
  int number() const { return m_number; }
  void next() { ++m_number; }
  void finish();

private:
  bool lowest() const { return m_s.loc == EVAL_LOWEST; }
  int open() const { return m_s.p - m_s.nconv; }
  bool applyOnce(MatrixXd& columns);
  void putLargestFirst();

  sep& m_s;
  BorrowedMatrix& m_A;
  std::unique_ptr<Factors> m_factors;
  double m_sigma = 0.0;
  int m_number = 0, m_multiplies = 0, m_stalled = 0, m_idle = 0;
  MatrixXd m_AS, m_work, m_result, m_H, m_Q;
  std::vector<double> m_before;
};

bool sep::Iteration::factorize() {
  if (!lowest()) return true;
  if (!m_factors)
    m_factors = std::make_unique<Factors>(m_A.get(), m_s.p, m_s.engine, m_s.spent, m_s.memoryShortage);
  if (!m_factors->factorize()) return false;
  m_s.negative = m_factors->negative();
  return true;
}

void sep::Iteration::announce() const {
  if (m_s.progress) m_s.progress({m_number, m_s.nconv, m_multiplies});
}

/// The columns that have not converged ← A⁻¹ or A times them, as often as the spread of the Ritz values
/// allows once a pair has converged. Each column is scaled by a power of two between two applications: the
/// basis is orthonormalised afterwards, so that lengths do not matter as long as they neither overflow nor
/// vanish.
bool sep::Iteration::applyOperator() {
  if (open() == 0) return true;
  const int limit = std::min(multiplyLimit(m_s.m_lambda, m_sigma), kMostRepetitions);
  MatrixXd columns = m_s.m_S.rightCols(open());
  int repetitions = 0;
  do {
    if (!applyOnce(columns)) return false;
    scaleByLargestEntries(columns);
    ++repetitions;
  } while (m_s.nconv != 0 && repetitions < limit);
  m_s.m_S.rightCols(open()) = columns;
  m_multiplies += open() * repetitions;
  return true;
}

bool sep::Iteration::applyOnce(MatrixXd& columns) {
  if (lowest()) {
    if (!m_factors->solve(columns, m_result)) return false;
  } else {
    const Stopwatch time(m_s.spent.product);
    math::symProduct(m_A.get(), columns, m_result);
  }
  columns.swap(m_result);
  return true;
}

bool sep::Iteration::orthonormalize() {
  const Stopwatch time(m_s.spent.orthonormalize);
  return orthonormalBasis(m_s.m_S, m_work);
}

/// Rayleigh-Ritz: the Ritz values nearest 0 first for the lowest end, else those of largest magnitude.
bool sep::Iteration::solveProjection() {
  {
    const Stopwatch time(m_s.spent.product);
    math::symProduct(m_A.get(), m_s.m_S, m_AS);
  }
  const Stopwatch time(m_s.spent.projection);
  project(m_s.m_S, m_AS, m_H);
  math::Resize(m_Q, m_s.p, m_s.p);
  m_Q.setZero();
  int found = 0;
  std::vector<double> theta(std::size_t(m_s.p));
  const int info = math::dsyevr(m_s.p, m_H.data(), m_s.p, kEpsilon, found, theta.data(), m_Q.data(), m_s.p);
  if (info != 0 || found != m_s.p) {
    std::cout << "Error in solving SRR eigensystem. LAPACK error code = " << info << "\n";
    return false;
  }
  m_before.swap(m_s.m_lambda);
  m_s.m_lambda.swap(theta);
  for (double& value : m_s.m_lambda) value += m_sigma;
  permutePairs(orderByDistance(m_s.m_lambda, 0.0, !lowest()), m_s.m_lambda, m_Q);
  rotate(m_s.m_S, m_Q, m_work);
  rotate(m_AS, m_Q, m_work);
  return true;
}

void sep::Iteration::countConverged() {
  const Stopwatch time(m_s.spent.convergence);
  const int before = m_s.nconv;
  m_s.nconv = m_s.checkConvergence(before, m_sigma, m_AS);
  const bool progress = m_s.nconv != before;
  m_stalled = progress ? 0 : m_stalled + 1;
  m_idle = progress || !sameToRounding(m_s.m_lambda, m_before) ? 0 : m_idle + 1;
}

/// Moves σ where the strategy says so and factorises again; false when that fails.
bool sep::Iteration::moveShift() {
  if (!lowest()) return true;
  double next = m_sigma;
  bool accepted = false;
  if (m_s.strategy == SHIFT_AGGRESSIVE) accepted = m_s.mu_aggr(m_s.nconv, m_stalled, next);
  if (m_s.strategy == SHIFT_CONSERVATIVE) accepted = m_s.mu_cons(m_s.nconv, next);
  if (!accepted || !std::isfinite(next)) return true;
  {
    const Stopwatch time(m_s.spent.shift);
    m_A.subtractIdentity(next - m_sigma);
  }
  m_sigma = next;
  return factorize();
}

/// Makes the values absolute, orders them and stores the counts.
void sep::Iteration::finish() {
  for (double& value : m_s.m_lambda) value += m_s.shift;
  if (!lowest()) putLargestFirst();
  const auto n = std::uint32_t(m_s.n), p = std::uint32_t(m_s.p), iterations = std::uint32_t(m_number);
  const std::uint32_t mixed = ((4u * n) ^ (3u * p) ^ 3u) * iterations;
  m_s.ops = {m_multiplies, m_number, int(mixed)};
}

void sep::Iteration::putLargestFirst() {
  const int count = int(m_s.m_lambda.size());
  std::vector<int> order(count);
  for (int i = 0; i < count; ++i) order[i] = i;
  const auto larger = [this](int i, int j) { return m_s.m_lambda[i] > m_s.m_lambda[j]; };
  const int converged = std::min(m_s.nconv, count), wanted = std::max(converged, std::min(m_s.nev, count));
  std::stable_sort(order.begin(), order.begin() + converged, larger);
  std::stable_sort(order.begin() + converged, order.begin() + wanted, larger);
  std::stable_sort(order.begin() + wanted, order.end(), larger);
  permutePairs(order, m_s.m_lambda, m_s.m_S);
}

namespace {

void checkArguments(const Sparse& A, EVAL_LOCATION loc) {
  if (loc != EVAL_LOWEST && loc != EVAL_HIGHEST)
    throw Vessa::Matrix::CMatrixError("unhandled enum encountered for si::EVAL_LOCATION");
  if (A.rows() == A.cols()) return;
  std::ostringstream message;
  message << "si::sep: A is " << A.rows() << " x " << A.cols() << "; it must be square";
  throw Vessa::Matrix::CMatrixError(message.str());
}

}  // namespace

si::Status sep::solve() {
  const Vessa::Matrix::TraceScope trace("si::sep::solve");
  checkArguments(*m_A, loc);
  spent = SolveTimes();
  const Stopwatch time(spent.total);
  nconv = 0;
  negative = 0;
  ops = {0, 0, 0};
  m_lambda.assign(std::size_t(p), 0.0);

  BorrowedMatrix matrix(*m_A);
  normA = onenormest(*m_A);
  if (!m_A->isCompressed()) matrix.detach();
  if (shift != 0.0) matrix.subtractIdentity(shift);
  Iteration iteration(*this, matrix);
  if (!iteration.factorize()) return STATUS_FACTORIZE;
  initSubspaceVectors();

  si::Status status = STATUS_OK;
  while (iteration.number() < maxIter && status == STATUS_OK && !iteration.done()) {
    iteration.next();
    iteration.announce();
    status = iterate(iteration);
  }
  iteration.finish();
  return status;
}

/// The steps of one iteration; the first that fails decides the status.
si::Status sep::iterate(Iteration& iteration) {
  if (!iteration.applyOperator()) return STATUS_FACTORIZE;
  if (!iteration.orthonormalize()) return iteration.number() == 1 ? STATUS_ORTHO : STATUS_LAPACK;
  if (!iteration.solveProjection()) return STATUS_LAPACK;
  iteration.countConverged();
  if (iteration.done()) return STATUS_OK;
  return iteration.moveShift() ? STATUS_OK : STATUS_FACTORIZE;
}

}  // namespace si
