#include "NullProbe.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>

namespace vematrix {
namespace cli {
namespace {

/// A start vector with something of every motion: reproducible, no symmetry that a structure could share.
Eigen::VectorXd startVector(int n) {
  Eigen::VectorXd y(n);
  std::uint64_t state = 88172645463325252u;
  for (int i = 0; i < n; ++i) {
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    y[i] = double(state >> 11) / 9007199254740992.0 - 0.5;
  }
  return y;
}

}  // namespace

std::vector<int> largestComponents(const Eigen::VectorXd& v, int count) {
  std::vector<int> order(std::size_t(v.size()));
  std::iota(order.begin(), order.end(), 0);
  const std::size_t kept = std::min(order.size(), std::size_t(count));
  std::partial_sort(order.begin(), order.begin() + std::ptrdiff_t(kept), order.end(), [&](int a, int b) {
    const double sizeA = std::fabs(v[a]), sizeB = std::fabs(v[b]);
    return sizeA != sizeB ? sizeA > sizeB : a < b;
  });
  order.resize(kept);
  std::vector<int> dofs;
  for (int i : order)
    if (std::fabs(v[i]) > 0.1 * std::fabs(v[order.front()])) dofs.push_back(i + 1);
  return dofs;
}

NullProbe::NullProbe(const UpperMatrix& matrix, Solver& solver) {
  const int n = matrix.n();
  if (solver.mayRaisePivots()) limit = singularWithRaisedPivots;
  const UpperMatrix scaled = matrix.scaled(solver.scale());
  const double norm = MatrixFacts(scaled).normInf;
  Eigen::VectorXd y = startVector(n);
  for (int step = 0; step < 3; ++step) {
    Eigen::VectorXd next = y;
    if (!solver.solveScaled(next) || !next.allFinite()) break;
    const double size = next.lpNorm<Eigen::Infinity>();
    if (size == 0.0) break;
    y = next / size;
    reciprocal = std::min(reciprocal, scaled.product(y).norm() / (norm * y.norm()));
  }
  movers = largestComponents(y, 10);
  numMoving = int((y.array().abs() > 0.1 * y.lpNorm<Eigen::Infinity>()).count());
  motion = solver.scale().cwiseProduct(y);
  motion /= motion.lpNorm<Eigen::Infinity>();
}

int NullProbe::digits() const {
  const double lost = std::numeric_limits<double>::epsilon() / std::max(reciprocal, 1e-300);
  return std::clamp(int(std::floor(-std::log10(lost))), 0, 15);
}

}  // namespace cli
}  // namespace vematrix
