#pragma once
#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <vector>

/// \file
/// The block one-norm estimator as it was published: N. J. Higham and F. Tisseur, "A block algorithm for
/// matrix 1-norm estimation, with an application to 1-norm pseudospectra", SIAM J. Matrix Anal. Appl. 21
/// (2000) 1185-1201, algorithm 2.4. For symmetric operators, which are applied where the algorithm applies
/// the matrix and its transpose.
namespace Vessa {
namespace Matrix {
namespace norm {

/// The published algorithm, one run; its signs come from a generator of its own, so equal operators give
/// equal results.
///
/// An operator has `void operator()(const Eigen::MatrixXd& X, Eigen::MatrixXd& Y)`.
template <class Operator>
class RefinedNormEst {
public:
  /// @param n  dimension of the operator
  /// @param t  vectors per block, at most n of them are used
  RefinedNormEst(int n, int t, Operator& op) : m_n(n), m_t(std::min(n, t)), m_op(op) {}

  /// The estimate: a lower bound of the norm but for rounding, exact when t ≥ n, NaN when the operator yields
  /// NaN, 0.0 for n < 1. At most 2·kIterations − 1 = 9 applications of the operator.
  double Run() {
    if (m_n < 1 || m_t < 1) return 0.0;
    m_y = m_z = Eigen::MatrixXd::Zero(m_n, m_t);
    if (m_t == m_n) return LargestColumnOf(Identity());
    m_x = StartBlock();
    m_s = Eigen::MatrixXd::Zero(m_n, m_t);
    for (int k = 1;; ++k) {
      m_op(m_x, m_y);
      if (!UpdateEstimate(k) || k == kIterations) return m_est;
      if (!NextSigns()) return m_est;
      m_op(m_s, m_z);
      if (!NextUnitVectors(k)) return m_est;
    }
  }

private:
  static constexpr int kIterations = 5;

  Eigen::MatrixXd Identity() const { return Eigen::MatrixXd::Identity(m_n, m_n); }

  double LargestColumnOf(const Eigen::MatrixXd& x) {
    m_op(x, m_y);
    return LargestColumn(nullptr);
  }

  // Largest column sum of Y, NaN when there is one.
  double LargestColumn(int* column) const {
    double largest = -1.0;
    for (int j = 0; j < m_t; ++j) {
      const double norm = m_y.col(j).template lpNorm<1>();
      if (std::isnan(norm)) return norm;
      if (norm <= largest) continue;
      largest = norm;
      if (column != nullptr) *column = j;
    }
    return largest;
  }

  double Sign() { return (m_engine() >> 31) != 0 ? 1.0 : -1.0; }

  void DrawColumn(Eigen::MatrixXd& s, int j) {
    for (int i = 0; i < m_n; ++i) s(i, j) = Sign();
  }

  // Columns of one-norm 1: ones first, then signs, no two parallel.
  Eigen::MatrixXd StartBlock() {
    Eigen::MatrixXd x(m_n, m_t);
    x.col(0).setOnes();
    for (int j = 1; j < m_t; ++j) {
      DrawColumn(x, j);
      while (ParallelToEarlier(x, j)) DrawColumn(x, j);
    }
    return x / static_cast<double>(m_n);
  }

  bool Parallel(double product) const { return std::fabs(product) == m_n; }

  bool ParallelToEarlier(const Eigen::MatrixXd& s, int j) const {
    for (int i = 0; i < j; ++i)
      if (Parallel(s.col(i).dot(s.col(j)))) return true;
    return false;
  }

  bool ParallelToFormer(int j) const {
    for (int i = 0; i < m_t; ++i)
      if (Parallel(m_former.col(i).dot(m_s.col(j)))) return true;
    return false;
  }

  // Step 1: false ends the iteration, the estimate no longer growing.
  bool UpdateEstimate(int k) {
    int column = 0;
    const double est = LargestColumn(&column);
    if (std::isnan(est)) {
      m_est = est;
      return false;
    }
    if (est > m_est || k == 2) m_best = k == 1 ? -1 : m_ind[static_cast<std::size_t>(column)];
    if (k >= 2 && est <= m_est) return false;
    m_est = est;
    return true;
  }

  // Step 2: the signs of Y, made different from each other and from the former ones; false when nothing is
  // new.
  bool NextSigns() {
    m_former = m_s;
    m_s = m_y.unaryExpr([](double v) { return v >= 0.0 ? 1.0 : -1.0; });
    int repeated = 0;
    for (int j = 0; j < m_t; ++j) repeated += ParallelToFormer(j) ? 1 : 0;
    if (repeated == m_t) return false;
    if (m_t == 1) return true;
    for (int j = 0; j < m_t; ++j)
      for (int draw = 0; draw < kDraws && (ParallelToEarlier(m_s, j) || ParallelToFormer(j)); ++draw)
        DrawColumn(m_s, j);
    return true;
  }

  // Steps 3 to 5: the unit vectors whose rows of Z are largest and which were not tried yet; false when there
  // is nothing left to gain.
  bool NextUnitVectors(int k) {
    const Eigen::VectorXd h = m_z.cwiseAbs().rowwise().maxCoeff();
    if (m_z.hasNaN()) {
      m_est = std::numeric_limits<double>::quiet_NaN();
      return false;
    }
    if (k >= 2 && h.maxCoeff() == h[m_best]) return false;
    std::vector<int> order(static_cast<std::size_t>(m_n));
    for (int i = 0; i < m_n; ++i) order[i] = i;
    const auto before = [&h](int a, int b) { return h[a] > h[b] || (h[a] == h[b] && a < b); };
    // Of the rows that come first, at most all that were tried are skipped.
    const std::size_t wanted = std::min(order.size(), m_history.size() + static_cast<std::size_t>(m_t));
    std::partial_sort(order.begin(), order.begin() + wanted, order.end(), before);
    const auto tried = [this](int i) {
      return std::find(m_history.begin(), m_history.end(), i) != m_history.end();
    };
    if (std::all_of(order.begin(), order.begin() + m_t, tried)) return false;
    m_ind.clear();
    for (std::size_t p = 0; p < wanted && m_ind.size() < static_cast<std::size_t>(m_t); ++p)
      if (!tried(order[p])) m_ind.push_back(order[p]);
    m_x.setZero(m_n, m_t);
    for (std::size_t j = 0; j < m_ind.size(); ++j) m_x(m_ind[j], static_cast<Eigen::Index>(j)) = 1.0;
    m_ind.resize(static_cast<std::size_t>(m_t), m_ind.front());
    m_history.insert(m_history.end(), m_ind.begin(), m_ind.end());
    return true;
  }

  static constexpr int kDraws = 100;  // for tiny n every sign vector may be parallel to some other

  int m_n, m_t;
  Operator& m_op;
  std::mt19937 m_engine;
  Eigen::MatrixXd m_x, m_y, m_z, m_s, m_former;
  double m_est = 0.0;
  int m_best = -1;
  std::vector<int> m_ind, m_history;
};

}  // namespace norm
}  // namespace Matrix
}  // namespace Vessa
