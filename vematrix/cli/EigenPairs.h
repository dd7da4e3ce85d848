#pragma once
#include <Eigen/Core>

#include "MatrixFacts.h"

namespace vematrix {
namespace cli {

/// Eigenpairs of A x = lambda B x, computed anew from what a solver returned: every value is the Rayleigh
/// quotient of its vector, every residual |A x - lambda B x| / ((|A| + |lambda| |B|) |x|) on the matrices
/// with unit diagonal, all in extended precision. Ascending.
struct EigenPairs {
  Eigen::VectorXd values;
  Eigen::MatrixXd vectors;  ///< B-normalised columns
  Eigen::VectorXd residuals;

  EigenPairs() = default;
  /// @param vectors  columns in the coordinates of a and b
  /// @param scale    powers of two; residuals are taken of D A D and D B D
  EigenPairs(const UpperMatrix& a, const UpperMatrix& b, const Eigen::MatrixXd& vectors,
             const Eigen::VectorXd& scale);
};

}  // namespace cli
}  // namespace vematrix
