#include "Subspace.h"

#include <Eigen/Eigenvalues>
#include <Eigen/LU>
#include <Eigen/QR>
#include <algorithm>
#include <cmath>

namespace vematrix {
namespace cli {

Eigen::MatrixXd orthonormalBasis(const Eigen::MatrixXd& columns, Eigen::Index count) {
  const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(columns);
  return qr.householderQ() * Eigen::MatrixXd::Identity(columns.rows(), count);
}

std::vector<Eigen::Index> independentRows(const Eigen::MatrixXd& basis) {
  const Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(basis.transpose());
  std::vector<Eigen::Index> rows;
  for (Eigen::Index c = 0; c < basis.cols(); ++c) rows.push_back(qr.colsPermutation().indices()[c]);
  return rows;
}

Eigen::MatrixXd localised(const Eigen::MatrixXd& basis) {
  const std::vector<Eigen::Index> rows = independentRows(basis);
  Eigen::MatrixXd pivots(basis.cols(), basis.cols());
  for (Eigen::Index c = 0; c < basis.cols(); ++c) pivots.row(c) = basis.row(rows[std::size_t(c)]);
  return basis * pivots.inverse();
}

Eigen::MatrixXd vanishingCombinations(const Eigen::MatrixXd& image, double least) {
  const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> squares(image.transpose() * image);
  Eigen::Index count = 0;
  for (const double square : squares.eigenvalues())
    if (std::sqrt(std::max(square, 0.0)) <= least) ++count;
  return squares.eigenvectors().leftCols(count);
}

}  // namespace cli
}  // namespace vematrix
