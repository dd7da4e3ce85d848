#pragma once
#include <Eigen/Core>
#include <vector>

namespace vematrix {
namespace cli {

/// An orthonormal basis of the space of the columns, the first `count` directions of a QR factorisation with
/// column pivoting: the space itself when it has that dimension.
Eigen::MatrixXd orthonormalBasis(const Eigen::MatrixXd& columns, Eigen::Index count);

/// Rows (from 0), one per column, on which the columns are independent: the pivots of the transposed basis.
std::vector<Eigen::Index> independentRows(const Eigen::MatrixXd& basis);

/// The space of the columns by vectors of which each is one at a row of its own and zero at those of the
/// others.
Eigen::MatrixXd localised(const Eigen::MatrixXd& basis);

/// The combinations of orthonormal columns that a matrix takes to nearly nothing.
/// @param image  the matrix times the columns
/// @param least  length up to which the image of a unit vector counts as nothing
/// @return coefficients, one combination per column, orthonormal, the smallest image first
Eigen::MatrixXd vanishingCombinations(const Eigen::MatrixXd& image, double least);

}  // namespace cli
}  // namespace vematrix
