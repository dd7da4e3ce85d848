#include "EigenPairs.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <vector>

namespace vematrix {
namespace cli {
namespace {

double dot(const Eigen::VectorXd& a, const Eigen::VectorXd& b) {
  long double sum = 0.0L;
  for (Eigen::Index i = 0; i < a.size(); ++i) sum += static_cast<long double>(a[i]) * b[i];
  return double(sum);
}

}  // namespace

EigenPairs::EigenPairs(const UpperMatrix& a, const UpperMatrix& b, const Eigen::MatrixXd& given,
                       const Eigen::VectorXd& scale) {
  const UpperMatrix s = a.scaled(scale), t = b.scaled(scale);
  const double normA = MatrixFacts(s).normInf, normB = MatrixFacts(t).normInf;
  const Eigen::Index m = given.cols();
  Eigen::VectorXd value(m), residual(m);
  Eigen::MatrixXd vector = given;
  for (Eigen::Index c = 0; c < m; ++c) {
    const Eigen::VectorXd y = vector.col(c).cwiseQuotient(scale);
    const Eigen::VectorXd sy = s.product(y), ty = t.product(y);
    const double mass = dot(y, ty);
    value[c] = dot(y, sy) / mass;
    residual[c] = (sy - value[c] * ty).norm() / ((normA + std::fabs(value[c]) * normB) * y.norm());
    if (mass > 0.0) vector.col(c) /= std::sqrt(mass);
  }
  std::vector<Eigen::Index> order(static_cast<std::size_t>(m));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](Eigen::Index i, Eigen::Index j) { return value[i] < value[j]; });
  values.resize(m);
  residuals.resize(m);
  vectors.resize(given.rows(), m);
  for (Eigen::Index c = 0; c < m; ++c) {
    values[c] = value[order[std::size_t(c)]];
    residuals[c] = residual[order[std::size_t(c)]];
    vectors.col(c) = vector.col(order[std::size_t(c)]);
  }
}

}  // namespace cli
}  // namespace vematrix
