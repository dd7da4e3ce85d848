#pragma once
#include <Eigen/Core>
#include <vector>

#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// How close a factorised matrix is to being singular, and along which motion.
///
/// Found by inverse iteration on S = D K D (unit diagonal), so that units do not count. The figure does not
/// rest on the solver's word: it is |S y| / (|S| |y|) for the vector y it arrived at, in extended precision,
/// an upper bound of the true reciprocal condition number whatever the solver returned on the way. Cost:
/// three solves and products. Source: Golub, Van Loan, Matrix Computations (4th ed. 2013), 8.2.2.
struct NullProbe {
  double reciprocal = 1.0;  ///< about 1 / cond(S); below `limit` nothing can be said of a solution
  Eigen::VectorXd motion;   ///< x of the softest motion, largest component 1
  std::vector<int> movers;  ///< dofs (from 1) that move most in it (by energy share of S), at most ten

  int numMoving = 0;  ///< dofs that move more than a tenth as much as those

  /// Limit of the reciprocal; where the solver may have raised pivots to 1e-13 of the norm, singular matrices
  /// come out at about that, and the limit lies above it.
  static constexpr double singular = 1e-14;
  static constexpr double singularWithRaisedPivots = 1e-12;
  double limit = singular;

  bool isSingular() const { return reciprocal < limit; }

  NullProbe(const UpperMatrix& matrix, Solver& solver);

  /// Decimal digits of a solution that survive, about.
  int digits() const;
};

/// The dofs (from 1) of the largest components of a vector, largest first, at most `count`, none below a
/// tenth of the largest.
std::vector<int> largestComponents(const Eigen::VectorXd& v, int count);

}  // namespace cli
}  // namespace vematrix
