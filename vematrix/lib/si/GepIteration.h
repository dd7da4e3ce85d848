#pragma once
#include "../si/Factors.h"
#include "../si/SubspaceSteps.h"
#include "../si/cholp.h"
#include "../si/gep11.h"

namespace si {

/// A solve of gep11 under way: the steps that its three iterations share. The solves say which steps are
/// taken, in which order and where they differ.
///
/// The matrix that moves is the caller's A minus a multiple of B (or a copy of it), always such that
///   stored Ritz value − target = eigenvalue of (moving matrix, B).
/// `target` starts at 0 where stored values count from the caller's shift, at that shift where they are
/// absolute.
///
/// Products are made once per iteration, for the projection. Of the rotation by the Ritz vectors Q only that
/// is carried out which is read: of the product that the next right-hand sides are (A·X in the explicit
/// iteration, B·X in the implicit ones) the columns of the open pairs, of X those of the converged ones. The
/// convergence test rotates the few columns that it looks at.
class gep11::Iteration {
public:
  using Sparse = Eigen::SparseMatrix<double, 0, int>;

  /// @param rhs  which of A·X and B·X the operator is applied to
  enum class RightHandSide { AX, BX };
  Iteration(gep11& solver, Sparse& moving, double target, RightHandSide rhs);

  /// Prints the sizes and norms; `separator` stands between n and "nnzA: ".
  void printSizes(const char* separator) const;
  /// The first shift, by the caller's σ, of the moving matrix.
  void shiftBySigma();

  bool more() const { return m_number <= m_solver.maxIter; }
  /// Prints where the solve stands.
  void announce() const;
  /// Asks the strategy for a target; false where it has none or refuses.
  bool chooseTarget(double& next) const;
  double distanceTo(double next) const { return next - m_target; }
  /// A ← A − (next − target)·B.
  void moveTo(double next);
  /// Prints and returns how often the operator may be applied.
  int rationMultiplies() const;
  /// X ← B⁻¹·A·X for the columns that have not converged, `repetitions` times; false when a solve fails.
  bool applyInverseOfB(Factors& factors, int repetitions);
  /// X ← A⁻¹·B·X likewise, A being the moving matrix.
  bool applyInverseOfA(Factors& factors, int repetitions);
  /// An orthonormal basis of the start vectors; false when there is none.
  bool orthonormalizeStart();
  /// A B-orthonormal basis of all p columns.
  void orthonormalize(cholp& basis);
  /// M ← XᵀAX.
  void projectA();
  /// M ← XᵀAX and N ← XᵀBX, with a report of every entry that is no number; X becomes an orthonormal basis
  /// where that is asked for or its columns are too close to linear dependence. False when there is no basis.
  bool projectPencil(bool orthonormal);
  /// Says that the shift lies above an eigenvalue, with the amount by which the projected pencil could be
  /// shifted to be definite. It is solved as it is: shifting and unshifting it costs about eight digits.
  void reportIndefinite(int negative) const;
  /// All pairs of M; false when LAPACK fails.
  bool solveStandard();
  /// All pairs of (M, N).
  bool solvePencil(bool divideAndConquerFirst);
  /// Stores the Ritz values, in the order of their distance from `reference`; the vectors are rotated when
  /// they are wanted.
  void takeRitzPairs(double reference, bool falling);
  /// The convergence test and the step to the next iteration; true when all wanted pairs have converged.
  bool countConverged();

  /// Stores the counts, of the converged pairs those that still are.
  si::Status finish();

private:
  enum class Scaling { ByEnergy, ByLargestEntry };

  int open() const { return m_solver.p - m_converged; }
  int stillConverged();
  void rotateVectors();
  void rotateConverged();
  bool orthonormalize();
  bool projectSolutions();
  bool imagesAreKnown() const;
  void formImages();
  bool apply(Factors& factors, const Sparse& multiplied, Eigen::MatrixXd& known, Scaling scaling,
             int repetitions);
  void formRightHandSides(const Sparse& multiplied, Eigen::MatrixXd& known);
  void scaleSolutions(Scaling scaling, Eigen::MatrixXd& rhs);
  bool lapackFailed(int info) const;

  gep11& m_solver;
  Sparse* m_moving;
  double m_target;
  RightHandSide m_rhsOf;
  int m_number = 1, m_multiplies = 0, m_converged = 0, m_stalled = 0;
  bool m_rhsKnown = false;     ///< the open columns of m_AX (explicit) or m_BX (implicit) are those of X·Q
  bool m_vectorsWait = false;  ///< X has still to be rotated by m_Q
  bool m_solved = false;       ///< the open columns of X are solutions of moving·X = m_rhs
  Eigen::MatrixXd m_AX, m_BX;  ///< n × p
  Eigen::MatrixXd m_work;      ///< n × p
  Eigen::MatrixXd m_M, m_N, m_Q;  ///< p × p: projections (lower triangles), Ritz vectors
  std::vector<double> m_theta;
  double m_normM = 0.0, m_normN = 0.0;
};

}  // namespace si
