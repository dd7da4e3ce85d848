#pragma once
#include <Eigen/Core>
#include <Eigen/SparseCore>
#include <string>

#include "EigenPairs.h"
#include "EigenRun.h"
#include "MatrixFacts.h"
#include "Program.h"

namespace vematrix {
namespace cli {

/// Stiffness and mass of a structure for the eigensolvers: scaled so that K has a unit diagonal, which leaves
/// the eigenvalues as they are. Refers to both matrices.
class Pencil {
public:
  Pencil(const UpperMatrix& k, const UpperMatrix& m);

  const UpperMatrix& k() const { return m_k; }
  const UpperMatrix& m() const { return m_m; }

  /// @param algorithm  implicit-copy, implicit or explicit
  /// @return vectors in the coordinates of K and M
  EigenRun solve(const std::string& algorithm, const EigenOptions& options, Console& console) const;

  /// Values and residuals of vectors in the coordinates of K and M.
  EigenPairs pairs(const Eigen::MatrixXd& vectors) const { return {m_k, m_m, vectors, m_scale}; }

private:
  using SparseMatrix = Eigen::SparseMatrix<double, 0, int>;

  const UpperMatrix &m_k, &m_m;
  Eigen::VectorXd m_scale;
  SparseMatrix m_scaledK, m_scaledM;
};

/// For a structure that can move freely: minus a tenth of the first elastic eigenvalue, about. K - shift M is
/// then positive definite, and well enough conditioned. Found by a short run from a shift that is safely
/// small.
/// @throws NoResult when there is no mass
double shiftForFree(const Pencil& pencil, const EigenOptions& options, Console& console);

}  // namespace cli
}  // namespace vematrix
