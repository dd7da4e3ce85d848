#pragma once
#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <random>
#include <vector>

/// \file
/// Block estimator of the one-norm (largest absolute column sum) of a symmetric operator that is only known
/// by its products with blocks of vectors, such as the inverse of a factorised matrix.
///
/// It follows the block algorithm of Higham and Tisseur (SIAM J. Matrix Anal. Appl. 21 (2000) 1185-1201) with
/// deviations that keep the figures of earlier versions: the second iteration runs on a block of zeros, the
/// sign blocks are compared with the bound t·n², anti-parallel sign vectors stay, and the history of indices
/// is filled from position t on. The estimate is a lower bound of the norm. It is often exact but can be more
/// than ten times too low; where a figure must be trusted, use the algorithm as published
/// (CSolnMatrix::CondEstRefined).
///
/// Needs nothing but Eigen and the standard library.
namespace si {

/// Dimension n of the operator and number t of vectors per block; t is taken as n where it is larger.
struct OneNormEstParams {
  int n;
  int t;
};

/// An index that the iteration remembers lies outside the operator.
class OneNormEstError : public std::exception {
public:
  const char* what() const noexcept override { return "OneNormEst: Error in accessing vector index"; }
};

/// +1.0 when an integer drawn uniformly from 0..n−1 exceeds n/2, otherwise −1.0 (slightly more often).
inline double RandomSign(int n, std::mt19937& engine) {
  std::uniform_int_distribution<int> draw(0, n - 1);
  return draw(engine) > n / 2 ? 1.0 : -1.0;
}

namespace onenorm {

using Block = Eigen::MatrixXd;
using Products = Eigen::MatrixXi;

/// Column j filled with signs, from the top.
inline void DrawColumn(Block& block, int j, std::mt19937& engine) {
  const int n = static_cast<int>(block.rows());
  for (int i = 0; i < n; ++i) block(i, j) = RandomSign(n, engine);
}

/// Signs throughout, column by column; then the first column of ones; all divided by n.
inline Block StartBlock(int n, int t, std::mt19937& engine) {
  Block x(n, t);
  for (int j = 0; j < t; ++j) DrawColumn(x, j, engine);
  x.col(0).setOnes();
  return x / static_cast<double>(n);
}

/// +1.0 for entries that are at least zero, else −1.0.
inline Block SignsOf(const Block& y) {
  return y.unaryExpr([](double v) { return v >= 0.0 ? 1.0 : -1.0; });
}

/// Aᵀ·B of two sign blocks, which is integer.
inline Products InnerProducts(const Block& a, const Block& b) {
  return (a.transpose() * b).cast<int>();
}

inline long long SumOfMagnitudes(const Products& p) {
  long long sum = 0;
  for (Eigen::Index k = 0; k < p.size(); ++k) sum += std::abs(static_cast<long long>(p(k)));
  return sum;
}

/// Draws column j of S anew for every column i of the former sign block that it equals.
inline void ReplaceColumnsOf(Block& s, const Products& withOld, std::mt19937& engine) {
  const int n = static_cast<int>(s.rows()), t = static_cast<int>(s.cols());
  for (int i = 0; i < t; ++i)
    for (int j = 0; j < t; ++j)
      if (withOld(i, j) == n) DrawColumn(s, j, engine);
}

/// Draws column j of S anew for every earlier column i that it equals; the products are not updated in
/// between.
inline void ReplaceRepeatedColumns(Block& s, std::mt19937& engine) {
  const int n = static_cast<int>(s.rows()), t = static_cast<int>(s.cols());
  const Products p = InnerProducts(s, s);
  for (int i = 0; i < t; ++i)
    for (int j = i + 1; j < t; ++j)
      if (p(i, j) == n) DrawColumn(s, j, engine);
}

/// Largest absolute value per row.
inline std::vector<double> RowMaxima(const Block& z) {
  std::vector<double> h(static_cast<std::size_t>(z.rows()), 0.0);
  for (Eigen::Index j = 0; j < z.cols(); ++j)
    for (Eigen::Index i = 0; i < z.rows(); ++i) h[i] = std::max(h[i], std::fabs(z(i, j)));
  return h;
}

/// 0..n−1 by decreasing h, the smaller index first among equals.
inline std::vector<int> SortedByDecreasing(const std::vector<double>& h) {
  std::vector<int> ind(h.size());
  for (std::size_t i = 0; i < ind.size(); ++i) ind[i] = static_cast<int>(i);
  std::sort(ind.begin(), ind.end(), [&h](int a, int b) { return h[a] > h[b] || (h[a] == h[b] && a < b); });
  return ind;
}

inline bool Holds(const std::vector<int>& history, int index) {
  return std::find(history.begin(), history.end(), index) != history.end();
}

inline bool AllInHistory(const std::vector<int>& ind, int t, const std::vector<int>& history) {
  return std::all_of(ind.begin(), ind.begin() + t, [&](int index) { return Holds(history, index); });
}

/// Up to t indices that are not in the history yet, looked for from position t on.
inline std::vector<int> IndicesForHistory(const std::vector<int>& ind, int t,
                                          const std::vector<int>& history) {
  std::vector<int> found;
  for (std::size_t p = t; p < ind.size() && static_cast<int>(found.size()) < t; ++p)
    if (!Holds(history, ind[p])) found.push_back(ind[p]);
  return found;
}

/// The limit is strict: n itself passes.
inline void CheckIndex(int index, int n) {
  if (index > n) throw OneNormEstError();
}

template <class Operator>
void Apply(Operator& op, const Block& x, Block& y) {
  op(x, y);
  if (!op.ok()) std::printf("Failure to solve RHS in condest.\n");
}

}  // namespace onenorm

/// Estimates the one-norm of an operator.
///
/// An operator has `void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y)`, which fills the n × t
/// block Y (what it leaves alone keeps its former value, at first 0.0), and `bool ok() const`, false after a
/// failure that is to be announced on standard output ("Failure to solve RHS in condest."); the estimate goes
/// on with the block as it stands. Callers pass the same operator twice, the matrices being symmetric.
/// @param result  the largest one-norm of a column of Y met, 0.0 for n < 1 or t < 1; entries that are NaN
/// never count
/// @param engine  the source file that instantiates the estimator owns one, with the default seed, and passes
/// it every
///                time: the first estimate of a process is reproducible, later ones go on in the sequence.
///                Not to be shared by threads.
/// Work: at most ten applications to n × t blocks, and n·(log n + t²) for each pair of them. Throws
/// OneNormEstError for an index outside the operator and std::bad_alloc; whatever the operators throw passes
/// through.
template <class Forward, class Adjoint>
void OneNormEst(OneNormEstParams& params, Forward& forward, Adjoint& adjoint, double& result,
                std::mt19937& engine) {
  using namespace onenorm;
  const int kIterations = 5;
  const int n = params.n, t = std::min(params.t, n);
  result = 0.0;
  if (n < 1 || t < 1) return;
  Block x = StartBlock(n, t, engine), y = Block::Zero(n, t), z = Block::Zero(n, t), s = Block::Zero(n, t),
        sOld;
  std::vector<int> ind(n, 0), history;
  double est = 0.0, estOld = 0.0;
  int indBest = 0;

  for (int k = 0; k < kIterations; ++k) {
    Apply(forward, x, y);
    int best = -1;
    for (int j = 0; j < t; ++j) {
      const double norm = y.col(j).lpNorm<1>();
      if (norm > est) {
        est = norm;
        best = ind[j];
      }
    }
    if (best != -1 && (est > estOld || k == 1)) indBest = best;
    CheckIndex(indBest, n);
    if (estOld > est && k >= 1) {
      result = estOld;
      return;
    }
    result = estOld = est;

    sOld = s;
    s = SignsOf(y);
    const Products withOld = InnerProducts(sOld, s);
    if (SumOfMagnitudes(withOld) == static_cast<long long>(t) * n * n) return;
    ReplaceColumnsOf(s, withOld, engine);
    ReplaceRepeatedColumns(s, engine);

    Apply(adjoint, s, z);
    const std::vector<double> h = RowMaxima(z);
    if (k >= 1 && indBest < n && *std::max_element(h.begin(), h.end()) == h[indBest]) return;
    ind = SortedByDecreasing(h);
    if (AllInHistory(ind, t, history)) return;
    x.setZero();
    if (k >= 1) {
      const std::vector<int> found = IndicesForHistory(ind, t, history);
      for (int j = 0; j < t; ++j) x(ind[j], j) = 1.0;
      history.insert(history.end(), found.begin(), found.end());
    }
  }
}

}  // namespace si
