// The eigensolvers on small random pencils: singular, zero and indefinite matrices, values that are no
// numbers, more pairs asked for than there are, every strategy and engine. A solve returns a documented
// status, gives the matrices back, and every pair that it counts as converged has a small residual.
#include <exception>

#include "SymmetricModel.h"
#include "si/gep11.h"
#include "si/sep.h"

namespace {

using fuzz::Choices;
using fuzz::contradiction;
using fuzz::Real;
using Sparse = Eigen::SparseMatrix<double, 0, int>;
using Terms = std::vector<test_support::Term>;

/// Converged pairs are held to this many times the tolerance of the solver, plus rounding.
constexpr Real kMargin = 10.0L, kRounding = 1e-10L;

struct Matrix {
  Sparse lower;
  test_support::Dense dense;
  bool finite = true;            ///< and far from overflow when multiplied
  bool positiveDefinite = true;  ///< by a wide margin
};

Matrix matrixOf(int n, const Terms& terms) {
  Matrix m{test_support::LowerTriangle(n, terms), test_support::DenseOf(n, terms)};
  fuzz::SymmetricModel model(n);
  for (const test_support::Term& t : terms) model.add(t.i, t.j, t.value);
  for (const Real& v : m.dense.a) m.finite = m.finite && std::fabs(v) < 1e100L;
  m.positiveDefinite = model.wellConditioned();
  return m;
}

/// Chain of springs, free at both ends.
Terms freeChain(int n) {
  Terms terms;
  for (int i = 1; i <= n; ++i) {
    terms.push_back({i, i, (i > 1 ? 1.0 : 0.0) + (i < n ? 1.0 : 0.0)});
    if (i < n) terms.push_back({i, i + 1, -1.0});
  }
  return terms;
}

Matrix drawMatrix(Choices& choices, int n) {
  Terms terms;
  const int kind = choices.below(6);
  if (kind < 2) terms = fuzz::drawDominantTerms(choices, n);
  if (kind == 2) terms = freeChain(n);
  if (kind == 3)
    for (int i = 1; i <= n; ++i) terms.push_back({i, i, choices.oneIn(4) ? 0.0 : 1.0});
  if (kind == 4)
    for (int k = choices.below(24); k > 0; --k) {
      const int i = 1 + choices.below(n), j = i + choices.below(n - i + 1);
      terms.push_back({i, j, choices.value()});
    }
  // kind 5: zero
  for (int i = 1; i <= n; ++i) terms.push_back({i, i, 0.0});
  return matrixOf(n, terms);
}

struct Request {
  int nev, p, maxIter;
  double tol, shift;
  si::ShiftStrat strategy;
  Vessa::Matrix::PardisoEngine engine;
};

Request drawRequest(Choices& choices, int n) {
  static const double tolerances[] = {1e-9, 1e-6, 1e-12, 1e-15, 0.0};
  static const double shifts[] = {
      0.0, -1.0, 0.5, -1e-3, 1e3, -1e300, std::numeric_limits<double>::quiet_NaN()};
  Request r{};
  r.nev = 1 + choices.below(n + 2);
  r.p = choices.oneIn(2) ? 0 : 1 + choices.below(n + 2);
  r.maxIter = choices.below(40);
  r.tol = choices.of(tolerances);
  r.shift = choices.oneIn(2) ? 0.0 : choices.of(shifts);
  r.strategy = static_cast<si::ShiftStrat>(choices.below(3));
  r.engine = choices.oneIn(2) ? Vessa::Matrix::EngineOwn : Vessa::Matrix::EngineDefault;
  return r;
}

bool documented(si::Status status) {
  return status == si::STATUS_OK || status == si::STATUS_LAPACK || status == si::STATUS_FACTORIZE ||
         status == si::STATUS_NOT_POSDEF || status == si::STATUS_ORTHO;
}

bool identical(const Sparse& a, const Sparse& b) {
  if (a.rows() != b.rows() || a.nonZeros() != b.nonZeros()) return false;
  for (int c = 0; c < a.outerSize(); ++c) {
    Sparse::InnerIterator left(a, c), right(b, c);
    for (; left && right; ++left, ++right)
      if (left.row() != right.row() || !fuzz::same(left.value(), right.value())) return false;
    if (left || right) return false;
  }
  return true;
}

/// |A x - lambda B x| <= tol (|A| + (|lambda| + |shift|) |B|) |x|
void checkPair(const Matrix& a, const Matrix& b, Real lambda, const Eigen::VectorXd& x, const Request& r,
               const char* what) {
  const std::vector<Real> y = test_support::Multiply(a.dense, x), z = test_support::Multiply(b.dense, x);
  Real residual = 0, length = 0;
  for (std::size_t i = 0; i < y.size(); ++i) {
    residual += (y[i] - lambda * z[i]) * (y[i] - lambda * z[i]);
    length += Real(x[Eigen::Index(i)]) * x[Eigen::Index(i)];
  }
  const Real scale = test_support::OneNorm(a.dense) +
                     (std::fabs(lambda) + std::fabs(Real(r.shift))) * test_support::OneNorm(b.dense);
  const Real limit = (kMargin * Real(r.tol) + kRounding) * scale * std::sqrt(length);
  if (!(length > 0) || !(std::sqrt(residual) <= limit))
    contradiction("%s: order %d, shift %g, strategy %d, tolerance %g: pair %Lg, residual %Lg, limit %Lg",
                  what, a.dense.n, r.shift, r.strategy, r.tol, lambda, std::sqrt(residual), limit);
}

/// A value that vanishes, counted from zero or from the shift, counts as converged without a test; later
/// iterations move it by rounding.
bool tested(double lambda, double shift, Real norm) {
  const Real least = 1e-12L * std::max(norm, Real(1));
  return std::isfinite(lambda) && std::fabs(lambda) > least && std::fabs(lambda - shift) > least;
}

/// Where B is not positive definite, which a solve may notice or not, nothing is promised.
void checkPairs(const Matrix& a, const Matrix& b, int converged, const std::vector<double>& values,
                const Eigen::MatrixXd& vectors, const Request& r, const char* what) {
  if (!a.finite || !b.positiveDefinite || !(std::fabs(r.shift) < 1e100)) return;
  for (int i = 0; i < std::min(converged, int(values.size())); ++i)
    if (tested(values[std::size_t(i)], r.shift, test_support::OneNorm(a.dense)))
      checkPair(a, b, values[std::size_t(i)], vectors.col(i), r, what);
}

void generalised(Choices& choices) {
  const int n = 1 + choices.below(12);
  const Matrix a = drawMatrix(choices, n), b = drawMatrix(choices, n);
  Request r = drawRequest(choices, n);
  Sparse A = a.lower, B = b.lower;
  si::gep11 solver(A, B, r.nev, r.p, r.tol, r.shift, r.strategy, r.maxIter);
  solver.SetEngine(r.engine);
  for (int solves = 1 + choices.oneIn(4); solves > 0; --solves) {
    const int algorithm = choices.below(3);
    const si::Status status = algorithm == 0   ? solver.solve_imp_orth_copy()
                              : algorithm == 1 ? solver.solve_imp_orth()
                                               : solver.solve_exp_orth();
    if (!documented(status)) contradiction("status %d", status);
    const int converged = solver.get_numpairs_converged();
    if (converged < 0 || converged > r.nev) contradiction("%d of %d pairs", converged, r.nev);
    if (algorithm == 0 && !identical(A, a.lower)) contradiction("a solve on a copy changes A");
    std::vector<std::pair<int, double>> bad;
    solver.residuals(1e-6, bad);
    std::vector<double> values;
    Eigen::MatrixXd vectors;
    solver.get_eigenpairs(values, vectors);
    if (!identical(B, b.lower)) contradiction("a solve changes B");
    if (status == si::STATUS_OK) checkPairs(a, b, converged, values, vectors, r, "gep11");
    A = a.lower;  // what an in-place shift leaves is the matrix up to rounding
  }
}

void standard(Choices& choices) {
  const int n = 1 + choices.below(12);
  const Matrix a = drawMatrix(choices, n);
  Terms ones;
  for (int i = 1; i <= n; ++i) ones.push_back({i, i, 1.0});
  Request r = drawRequest(choices, n);
  const int location = choices.oneIn(16) ? 7 : choices.below(2);
  Sparse A = a.lower;
  si::sep solver(A, r.nev, r.p, static_cast<si::EVAL_LOCATION>(location), r.tol, r.shift, r.strategy,
                 r.maxIter);
  solver.SetEngine(r.engine);
  si::Status status = si::STATUS_OK;
  try {
    status = solver.solve();
  } catch (const std::exception&) {
    if (location != 7) throw;
    return;
  }
  if (location == 7) contradiction("an unknown end of the spectrum");
  if (!documented(status)) contradiction("status %d", status);
  if (!identical(A, a.lower)) contradiction("a solve changes its matrix");
  const int converged = solver.get_numpairs_converged();
  if (converged < 0 || converged > r.nev) contradiction("%d of %d pairs", converged, r.nev);
  std::vector<double> bad, values;
  Eigen::MatrixXd vectors;
  solver.residuals(1e-6, bad);
  solver.get_eigenpairs(values, vectors);
  if (status == si::STATUS_OK) checkPairs(a, matrixOf(n, ones), converged, values, vectors, r, "sep");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Choices choices(data, size);
  std::srand(0);
  choices.oneIn(2) ? generalised(choices) : standard(choices);
  return 0;
}
