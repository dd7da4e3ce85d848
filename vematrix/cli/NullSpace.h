#pragma once
#include <Eigen/Core>
#include <string>
#include <vector>

#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// The motions that a singular matrix does not resist.
///
/// The dofs whose pivots vanish are found by a sparse reduction that suppresses them, again without them
/// until nothing is left to suppress. With these dofs moved by one in turn, the others follow from the
/// reduced matrix: K_rr x_r = -K_rz. What does not stand the test |S x| small in extended precision is
/// dropped.
struct NullSpace {
  std::vector<int> suppressed;  ///< dofs (from 1, ascending) without which the matrix is regular
  Eigen::MatrixXd basis;        ///< orthonormal columns in the coordinates of S = D K D
  Eigen::VectorXd scale;        ///< D: a motion is D times a column
  double residual = 0.0;        ///< largest |S y| / |S| of a column
  bool complete = true;         ///< false: there are more than `most` motions, the rest is not here

  static constexpr int most = 60;

  int size() const { return int(basis.cols()); }
};

NullSpace findNullSpace(const UpperMatrix& matrix, const SolverChoice& choice);

/// As many dofs as there are motions, chosen so that restraining them resists all motions best (QR
/// decomposition of the motions with column pivoting). Ascending, from 1. Source: Golub, Van Loan, Matrix
/// Computations (4th ed. 2013), 5.4.2.
std::vector<int> fewestRestraints(const NullSpace& space);

/// Whether the matrix with these dofs restrained is regular and positive definite: factorised and probed
/// anew.
struct CureProof {
  bool regular = false, positiveDefinite = false;
  double reciprocal = 0.0;
};
CureProof proveCure(const UpperMatrix& matrix, const std::vector<int>& restrained,
                    const SolverChoice& choice);

}  // namespace cli
}  // namespace vematrix
