#include "../si/SubspaceSteps.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <numeric>

#include "../math/blas.h"
#include "../math/lapack.h"
#include "../math/resize.h"
#include "../math/tall_products.h"

namespace si {
namespace {

using Eigen::MatrixXd;
using Sparse = Eigen::SparseMatrix<double, 0, int>;
namespace math = Vessa::Matrix::math;

constexpr double kEpsilon = 2.220446049250313e-16;
constexpr double kSmallestSpread = 2.220446049250313e-15;
constexpr double kSpreadUnknown = 1e16;
constexpr double kWeakStartVector = 1e-5;
constexpr int kLargestExponent = std::numeric_limits<double>::max_exponent - 1;  // of a power of two

int rowsOf(const MatrixXd& X) {
  return int(X.rows());
}
int columnsOf(const MatrixXd& X) {
  return int(X.cols());
}

}  // namespace

int defaultSubspace(int nev, int n) {
  const long long wanted = nev;
  return int(std::min({2 * wanted, wanted + 50, static_cast<long long>(n)}));
}

void drawStartVectors(MatrixXd& X, bool redraw) {
  for (Eigen::Index j = 0; j < X.cols(); ++j) {
    bool weak = true;
    while (weak) {
      for (Eigen::Index i = 0; i < X.rows(); ++i) X(i, j) = std::rand() * 2.0 / 32767.0 - 1.0;
      weak = redraw && X.rows() > 0 && X.col(j).cwiseAbs().maxCoeff() < kWeakStartVector;
    }
  }
}

bool householderQ(MatrixXd& Y) {
  const int m = rowsOf(Y), k = columnsOf(Y);
  std::vector<double> tau(k, 0.0);
  const int factored = math::dgeqrf(m, k, Y.data(), m, tau.data());
  const int formed = math::dorgqr(m, k, k, Y.data(), m, tau.data());
  return factored == 0 && formed == 0;
}

namespace {

/// The largest departure of a Gram matrix from the identity that one more Cholesky pass brings down to
/// rounding.
constexpr double kRepairable = 0.1;

/// gram ← lower triangle of YᵀY; returns the Frobenius norm of its difference from the identity.
double gramOf(const MatrixXd& Y, MatrixXd& gram) {
  project(Y, Y, gram);
  double sum = 0.0;
  for (Eigen::Index j = 0; j < gram.cols(); ++j) {
    sum += std::pow(gram(j, j) - 1.0, 2);
    for (Eigen::Index i = j + 1; i < gram.rows(); ++i) sum += 2.0 * gram(i, j) * gram(i, j);
  }
  return std::sqrt(sum);
}

/// gram ← its Cholesky factor L (lower triangle), by columns; false when a pivot is not positive.
bool choleskyInPlace(MatrixXd& gram) {
  const Eigen::Index k = gram.cols();
  for (Eigen::Index j = 0; j < k; ++j) {
    for (Eigen::Index i = 0; i < j; ++i) gram.col(j).tail(k - j) -= gram(j, i) * gram.col(i).tail(k - j);
    const double pivot = gram(j, j);
    if (!(pivot > 0.0) || !std::isfinite(pivot)) return false;
    gram.col(j).tail(k - j) /= std::sqrt(pivot);
  }
  return true;
}

/// The upper triangle L⁻ᵀ for a lower triangle L.
MatrixXd inverseOfTransposed(const MatrixXd& L) {
  const Eigen::Index k = L.cols();
  MatrixXd inverse = MatrixXd::Identity(k, k);
  math::tallDivide(int(k), int(k), MatrixXd(L.transpose()).data(), int(k), inverse.data(), int(k));
  return inverse;
}

/// result ← Y·L⁻ᵀ for a lower triangle L. The small L is inverted: a product runs several times faster than a
/// substitution on so few columns, and what accuracy that costs the second pass restores.
void divideByFactor(const MatrixXd& Y, const MatrixXd& L, MatrixXd& result) {
  multiply(Y, inverseOfTransposed(L), result);
}

}  // namespace

bool isFarFromDependent(const MatrixXd& gram, double most) {
  const Eigen::VectorXd lengths = gram.diagonal().cwiseSqrt();
  MatrixXd factor = gram.triangularView<Eigen::Lower>();
  if (!choleskyInPlace(factor)) return false;
  const MatrixXd inverse = lengths.asDiagonal() * inverseOfTransposed(factor);
  return inverse.squaredNorm() <= most;
}

bool orthonormalBasis(MatrixXd& Y, MatrixXd& work, double enough) {
  if (Y.rows() < Y.cols()) return householderQ(Y);
  MatrixXd gram;
  scaleByLargestEntries(Y);
  gramOf(Y, gram);
  if (!choleskyInPlace(gram)) return householderQ(Y);
  divideByFactor(Y, gram, work);
  const double departure = gramOf(work, gram);
  const bool repeat = departure > enough;
  if (!(departure < kRepairable) || (repeat && !choleskyInPlace(gram))) return householderQ(Y);
  Y.swap(work);
  if (repeat) {
    divideByFactor(Y, gram, work);
    Y.swap(work);
  }
  return true;
}

double exactOneNorm(const Sparse& M) {
  double largest = 0.0;
  for (int c = 0; c < M.outerSize(); ++c) {
    double sum = 0.0;
    for (Sparse::InnerIterator entry(M, c); entry; ++entry) sum += std::fabs(entry.value());
    if (sum > largest || std::isnan(sum)) largest = sum;
    if (std::isnan(largest)) break;
  }
  return largest;
}

double spreadOfRitzValues(const std::vector<double>& ritz, double shift) {
  double largest = kEpsilon, smallest = std::numeric_limits<double>::infinity();
  for (double value : ritz) {
    const double distance = std::fabs(value - shift);
    largest = std::max(largest, distance);
    smallest = std::min(smallest, distance);
  }
  return smallest > kSmallestSpread ? largest / smallest : kSpreadUnknown;
}

int floorToInt(double value) {
  const double whole = std::floor(value);
  const bool fits =
      whole >= double(std::numeric_limits<int>::min()) && whole <= double(std::numeric_limits<int>::max());
  return fits ? int(whole) : std::numeric_limits<int>::min();
}

MultiplyBudget multiplyBudget(const std::vector<double>& ritz, double shift, double digits) {
  const double cond = spreadOfRitzValues(ritz, shift);
  return {cond, floorToInt(digits / std::log10(cond))};
}

void print(const MultiplyBudget& budget) {
  std::printf("cond: %g, mult_limit: %d\n", budget.cond, budget.limit);
}

double powerOfTwoFor(double length) {
  if (!(length > 0.0) || !std::isfinite(length)) return 1.0;
  int exponent = 0;
  std::frexp(length, &exponent);
  return std::ldexp(1.0, std::min(-exponent, kLargestExponent));
}

void scaleByLargestEntries(MatrixXd& Y) {
  if (Y.rows() == 0) return;
  for (Eigen::Index j = 0; j < Y.cols(); ++j) {
    const double factor = powerOfTwoFor(Y.col(j).cwiseAbs().maxCoeff());
    if (factor != 1.0) Y.col(j) *= factor;
  }
}

void project(const MatrixXd& X, const MatrixXd& T, MatrixXd& H) {
  math::Resize(H, X.cols(), X.cols());
  H.setZero();
  math::tallGram(rowsOf(X), columnsOf(X), X.data(), rowsOf(X), T.data(), rowsOf(T), H.data(), columnsOf(X));
}

std::vector<int> orderByDistance(const std::vector<double>& ritz, double reference, bool falling) {
  std::vector<double> key(ritz.size());
  for (std::size_t i = 0; i < ritz.size(); ++i) {
    const double distance = std::fabs(ritz[i] - reference);
    key[i] = std::isnan(distance) ? std::numeric_limits<double>::infinity() : falling ? -distance : distance;
  }
  std::vector<int> order(ritz.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](int i, int j) { return key[i] < key[j]; });
  return order;
}

void permutePairs(const std::vector<int>& order, std::vector<double>& values, MatrixXd& V) {
  const std::vector<double> oldValues = values;
  const MatrixXd oldVectors = V;
  for (std::size_t i = 0; i < order.size(); ++i) {
    values[i] = oldValues[order[i]];
    V.col(Eigen::Index(i)) = oldVectors.col(order[i]);
  }
}

void multiply(const MatrixXd& X, const MatrixXd& Q, MatrixXd& result) {
  math::Resize(result, X.rows(), Q.cols());
  math::tallProduct(rowsOf(X), columnsOf(X), columnsOf(Q), X.data(), rowsOf(X), Q.data(), rowsOf(Q),
                    result.data(), rowsOf(result));
}

void multiply(const MatrixXd& X, const MatrixXd& Q, int columns, MatrixXd& result) {
  math::Resize(result, X.rows(), X.cols());
  math::tallProduct(rowsOf(X), columnsOf(X), columns, X.data(), rowsOf(X), Q.data(), rowsOf(Q), result.data(),
                    rowsOf(X));
}

void rotateFrom(int first, MatrixXd& X, const MatrixXd& Q, MatrixXd& work) {
  math::Resize(work, X.rows(), X.cols());
  if (first < columnsOf(X))
    math::tallProduct(rowsOf(X), columnsOf(X), columnsOf(X) - first, X.data(), rowsOf(X), Q.col(first).data(),
                      rowsOf(Q), work.col(first).data(), rowsOf(X));
  X.swap(work);
}

void rotate(MatrixXd& X, const MatrixXd& Q, MatrixXd& work) {
  rotateFrom(0, X, Q, work);
}

namespace {

/// Whether every entry that B stores has a place in A; both are compressed and sorted.
bool hasRoomFor(const Sparse& A, const Sparse& B) {
  const int* rowA = A.innerIndexPtr();
  const int* rowB = B.innerIndexPtr();
  for (int c = 0; c < A.outerSize(); ++c) {
    int a = A.outerIndexPtr()[c];
    const int endA = A.outerIndexPtr()[c + 1];
    for (int b = B.outerIndexPtr()[c]; b < B.outerIndexPtr()[c + 1]; ++b, ++a) {
      while (a < endA && rowA[a] < rowB[b]) ++a;
      if (a == endA || rowA[a] != rowB[b]) return false;
    }
  }
  return true;
}

void subtractInPlace(Sparse& A, double s, const Sparse& B) {
  const int* rowA = A.innerIndexPtr();
  const int* rowB = B.innerIndexPtr();
  for (int c = 0; c < A.outerSize(); ++c) {
    int a = A.outerIndexPtr()[c];
    for (int b = B.outerIndexPtr()[c]; b < B.outerIndexPtr()[c + 1]; ++b, ++a) {
      while (rowA[a] != rowB[b]) ++a;
      A.valuePtr()[a] -= s * B.valuePtr()[b];
    }
  }
}

}  // namespace

void subtractScaled(Sparse& A, double s, const Sparse& B) {
  if (A.isCompressed() && B.isCompressed() && hasRoomFor(A, B)) {
    subtractInPlace(A, s, B);
    return;
  }
  Sparse difference;
  difference = A - s * B;
  difference.makeCompressed();
  A.swap(difference);
}

namespace {

bool hasSolverForm(const Sparse& A) {
  const int* start = A.outerIndexPtr();
  const int* row = A.innerIndexPtr();
  for (int c = 0; c < A.cols(); ++c)
    if (start[c] == start[c + 1] || row[start[c]] != c) return false;
  return true;
}

}  // namespace

Sparse& solverForm(Sparse& A, Sparse& own) {
  A.makeCompressed();
  if (hasSolverForm(A)) return A;
  std::vector<Eigen::Triplet<double, int>> terms;
  terms.reserve(std::size_t(A.nonZeros()) + std::size_t(A.cols()));
  for (int c = 0; c < A.outerSize(); ++c) {
    terms.emplace_back(c, c, 0.0);
    for (Sparse::InnerIterator entry(A, c); entry; ++entry)
      if (entry.row() >= c) terms.emplace_back(int(entry.row()), c, entry.value());
  }
  own.resize(A.rows(), A.cols());
  own.setFromTriplets(terms.begin(), terms.end());
  return own;
}

}  // namespace si
