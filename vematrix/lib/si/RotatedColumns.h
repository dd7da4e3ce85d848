#pragma once
#include <Eigen/Core>
#include <algorithm>

#include "../math/resize.h"
#include "../math/tall_products.h"

namespace si {

/// The columns of T·Q (or of T), read one after the other from the left; few are read as a rule, so that the
/// product is formed for a few columns at a time: two, then four times as many, up to 24. The reading of T is
/// what it costs.
class RotatedColumns {
public:
  /// T is read as it is.
  explicit RotatedColumns(const Eigen::MatrixXd& T) : m_T(T), m_Q(nullptr) {}
  /// T is n × p, Q is p × p; both must outlive this object.
  RotatedColumns(const Eigen::MatrixXd& T, const Eigen::MatrixXd& Q) : m_T(T), m_Q(&Q) {}

  /// Column j of the product.
  Eigen::Map<const Eigen::VectorXd> col(int j) {
    if (m_Q == nullptr) return {m_T.col(j).data(), m_T.rows()};
    if (j < m_first || j >= m_first + int(m_block.cols())) form(j);
    return {m_block.col(j - m_first).data(), m_block.rows()};
  }

private:
  void form(int first) {
    namespace math = Vessa::Matrix::math;
    const int n = int(m_T.rows()), p = int(m_T.cols());
    const int width = std::min({std::max(2, 4 * int(m_block.cols())), 24, int(m_Q->cols()) - first});
    m_first = first;
    math::Resize(m_block, n, width);
    math::tallProduct(n, p, width, m_T.data(), n, m_Q->col(first).data(), p, m_block.data(), n);
  }

  const Eigen::MatrixXd& m_T;
  const Eigen::MatrixXd* m_Q;
  Eigen::MatrixXd m_block;
  int m_first = 0;
};

}  // namespace si
