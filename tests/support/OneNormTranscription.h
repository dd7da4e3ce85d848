#pragma once
#include <Eigen/Core>
#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <set>
#include <vector>

namespace test_support {

using Apply = std::function<Eigen::MatrixXd(const Eigen::MatrixXd&)>;

/// What a run of the one-norm estimator did: every block it handed to the operator, and its result.
struct OneNormTrace {
  std::vector<Eigen::MatrixXd> blocks;
  double result = 0.0;
};

/// The estimator written down a second time, step by step in plain loops, to hold the library's template
/// against.
inline OneNormTrace TranscribedOneNorm(int n, int t, const Apply& op, std::mt19937& engine) {
  OneNormTrace trace;
  t = std::min(t, n);
  if (n < 1) return trace;
  const auto draw = [&] {
    std::uniform_int_distribution<int> uniform(0, n - 1);
    return uniform(engine) > n / 2 ? 1.0 : -1.0;
  };
  const auto apply = [&](const Eigen::MatrixXd& block) {
    trace.blocks.push_back(block);
    return op(block);
  };
  const auto refill = [&](Eigen::MatrixXd& block, int column) {
    for (int i = 0; i < n; ++i) block(i, column) = draw();
  };
  const auto product = [&](const Eigen::MatrixXd& a, int i, const Eigen::MatrixXd& b, int j) {
    double sum = 0.0;
    for (int r = 0; r < n; ++r) sum += a(r, i) * b(r, j);
    return static_cast<int>(sum);
  };

  // 1. start block
  Eigen::MatrixXd x(n, t), s = Eigen::MatrixXd::Zero(n, t), sOld;
  for (int j = 0; j < t; ++j) refill(x, j);
  for (int i = 0; i < n; ++i) x(i, 0) = 1.0;
  for (int j = 0; j < t; ++j)
    for (int i = 0; i < n; ++i) x(i, j) /= n;
  double est = 0.0, estOld = 0.0;
  int indBest = 0;
  std::vector<int> ind(n, 0), history;

  for (int k = 0; k < 5; ++k) {
    // 2. and 3. product and its largest column
    const Eigen::MatrixXd y = apply(x);
    int best = -1;
    for (int j = 0; j < t; ++j) {
      double sum = 0.0;
      for (int i = 0; i < n; ++i) sum += std::fabs(y(i, j));
      // Sums that agree but for their last bits are the same sum taken in another order.
      if (sum > est * (1.0 + 1e-14)) est = sum, best = ind[j];
    }
    trace.result = est;
    // 4.
    if (best != -1 && (est > estOld || k == 1)) indBest = best;
    // 6. cannot happen
    if (estOld > est && k >= 1) return trace;
    // 7.
    estOld = est;
    sOld = s;
    for (int j = 0; j < t; ++j)
      for (int i = 0; i < n; ++i) s(i, j) = y(i, j) < 0.0 ? -1.0 : 1.0;
    // 8.
    long long sum = 0;
    std::vector<std::vector<int>> p(t, std::vector<int>(t));
    for (int i = 0; i < t; ++i)
      for (int j = 0; j < t; ++j) sum += std::abs(p[i][j] = product(sOld, i, s, j));
    if (sum == 1LL * t * n * n) return trace;
    // 9.
    for (int i = 0; i < t; ++i)
      for (int j = 0; j < t; ++j)
        if (p[i][j] == n) refill(s, j);
    // 10.
    for (int i = 0; i < t; ++i)
      for (int j = 0; j < t; ++j) p[i][j] = product(s, i, s, j);
    for (int i = 0; i < t; ++i)
      for (int j = i + 1; j < t; ++j)
        if (p[i][j] == n) refill(s, j);
    // 11. and 12.
    const Eigen::MatrixXd z = apply(s);
    std::vector<double> h(n, 0.0);
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < t; ++j) h[i] = std::max(h[i], std::fabs(z(i, j)));
    // 13.
    if (k >= 1 && *std::max_element(h.begin(), h.end()) == h[indBest]) return trace;
    // 14.
    for (int i = 0; i < n; ++i) ind[i] = i;
    std::stable_sort(ind.begin(), ind.end(), [&](int a, int b) { return h[a] > h[b]; });
    // 15.
    const std::set<int> known(history.begin(), history.end());
    int found = 0;
    for (int j = 0; j < t; ++j) found += known.count(ind[j]) ? 1 : 0;
    if (found == t) return trace;
    // 16. to 18.
    x.setZero();
    if (k == 0) continue;
    std::vector<int> fresh;
    for (int q = t; q < n && static_cast<int>(fresh.size()) < t; ++q)
      if (!known.count(ind[q])) fresh.push_back(ind[q]);
    for (int j = 0; j < t; ++j) x(ind[j], j) = 1.0;
    history.insert(history.end(), fresh.begin(), fresh.end());
  }
  return trace;
}

}  // namespace test_support
