#pragma once
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "../containers/types.h"
#include "../si/si_types.h"
#include "../solution/Pardiso.h"

namespace si {

class RotatedColumns;  // internal

/// A few eigenpairs of the symmetric problem A·x = λ·B·x by subspace iteration.
///
/// Order of calls: construct, one of the three solves, get_numpairs_converged and opCount, residuals (which
/// also gives the caller's A back where the solve shifted it), get_eigenpairs.
///
/// Vibration modes K·x = ω²·M·x: solve_imp_orth_copy with A = K, B = M. It works on a private copy, so that K
/// is untouched, and converges to the eigenvalues nearest `shift`: 0 for a supported structure, a negative
/// value of the order of the first elastic one for a free structure (K − σ·M is then positive definite though
/// K is not). solve_imp_orth does the same on the caller's own matrix, with one solve per vector and
/// iteration. solve_exp_orth with A = M, B = K needs one factorisation only, of K, which must be positive
/// definite; its values are 1/λ. docs/eigensolvers.md compares them.
///
/// A and B are n × n, column-compressed (0-based) or in Eigen's uncompressed mode, and hold at least their
/// lower triangle; entries above the diagonal are ignored. They are not owned and must outlive this object. A
/// solve compresses them. Arguments are not checked: nev > p runs to maxIter, p > n fails in
/// orthonormalisation.
///
/// The relative accuracy of a converged pair is bounded by its backward error: ‖A·x − λ·B·x‖₂ ≤ tol · (‖A‖₁ +
/// |λ|·‖B‖₁) · ‖x‖₂, in which λ counts from `shift` and A is the shifted matrix, except in
/// solve_imp_orth_copy. It may grow tenfold in the iterations that follow; a pair that has lost more at the
/// end does not count. A value below 2.2e-16 in magnitude, or +∞, counts without a test. Subspace iteration
/// can miss a pair whose vector is orthogonal to the start block: count the negative pivots of A − σ·B
/// (Pardiso::negative_evals) at a σ above the last pair to be sure that none is missed.
///
/// Every solve writes its trace and progress to standard output. Not thread-safe; the start vectors use the
/// standard library's rand(), seeded with 0 at each solve.
///
/// Sources: Bathe, Finite Element Procedures (2nd ed. 2014), 11.6; Parlett, The Symmetric Eigenvalue Problem
/// (1998), 14-15; Stewart, Matrix Algorithms II (2001), 5.
class VEMATRIX_API gep11 {
public:
  /// Binds A and B; X becomes n × p, the Ritz values p zeros.
  /// @param nev       pairs wanted
  /// @param p         vectors iterated; 0: min(2·nev, nev + 50, n)
  /// @param tol       backward error at which a pair has converged
  /// @param shift     σ, where to look; copied
  /// @param strategy  how the shift moves during the iteration
  /// @param maxIter   iterations at most; below 1 none
  gep11(Eigen::SparseMatrix<double, 0, int>& A, Eigen::SparseMatrix<double, 0, int>& B, const int& nev,
        const int& p, const double& tol, double& shift, si::ShiftStrat strategy, int maxIter);
  /// Copies vectors and values; A and B stay shared.
  gep11(const gep11&);
  /// Leaves A and B alone, a shifted A too.
  ~gep11();

  /// Powers of B⁻¹·(A − σ·B), B-orthonormalised by cholp: converges to the largest |λ − σ|. B, factorised
  /// once, must be positive definite (else −102). A is left shifted by σ and more; residuals restores it.
  ///
  /// Strategies 0 and 1 look for a target between values that this iteration leaves behind: they amplify the
  /// wrong end and do not converge on most pencils. Use SHIFT_NONE here.
  si::Status solve_exp_orth();

  /// Inverse iteration with A − σ·B, factorised again whenever the shift moves: converges to the λ nearest σ.
  /// One solve per vector between two QR orthonormalisations. B must be positive definite on the iterated
  /// space. A is left shifted; residuals restores it. A shift with eigenvalues below it is never moved. If a
  /// factorisation after a move fails the solve ends with what it has, status 0.
  si::Status solve_imp_orth();

  /// The same on a private copy of A, several solves between two orthonormalisations once a pair has
  /// converged, as far as the spread of the Ritz values allows (at most 64). A is not touched.
  si::Status solve_imp_orth_copy();

  /// Leading pairs of the last solve that have converged.
  int get_numpairs_converged() const;

  /// {operator applications, one per vector; iterations; ((4·n) XOR (3·p) XOR 3) · iterations} of the last
  /// solve, in 32-bit arithmetic. Iterations is maxIter + 1 when they were spent, 1 when there were none.
  std::array<int, 3> opCount() const;

  /// Fills X (resized to n × p when it has another shape) with the same pseudo-random vectors on every call.
  /// True.
  bool initSubspaceVectors();

  /// Replaces Y (m × k, m ≥ k) by the Q factor of its Householder QR decomposition. False when LAPACK fails.
  bool orthonormalize(Eigen::MatrixXd& Y);

  /// The exact one-norm of what is stored, the largest column sum of absolute values; 0 without columns.
  double onenormest(Eigen::SparseMatrix<double, 0, int>& M);
  double onenormest(Eigen::MatrixXd& M);

  /// Estimate of the condition number ‖M‖₁·‖M⁻¹‖₁ from a factorisation of M; see OneNormEst.h. Prints
  /// "Failure to factorize matrix in condest.\n" when there is none; the result is meaningless then.
  double condest(Eigen::SparseMatrix<double, 0, int>& M);

  /// The midpoint of Ritz values k and k + 1 (0-based), k being the number of converged pairs. False with mu
  /// = 0 when k < 1, when the two are too close or infinite, and when there are too few Ritz values.
  bool mu_cons(const int& k, double& mu);

  /// stage = iterations without a new converged pair. stage < 1: the harmonic mean of values k and nev − 1,
  /// drawn back to the midpoint of value k and the last value below it (value nev at most); else the midpoint
  /// of k and k + 1. False with mu = 0 where that hits an eigenvalue or reads beyond the last one; false with
  /// mu as it was when k < 1.
  bool mu_aggr(const int& k, const int& stage, double& mu);

  /// The midpoint of values k and j, j lowered as long as it hits a value; 0 when j ≤ k.
  double mu_safe(const int& k, int& j);

  /// Restores the caller's A where a solve has shifted it (A ← A + shiftSum·B; the pattern is the union of
  /// both, the values are those before up to rounding) and appends (index, ‖A·x − λ·B·x‖ / ‖A·x‖) to `bad`
  /// for each of the nev pairs where that exceeds tol. A second call adds the shift again. Prints "sum of
  /// shiftsA: %g\n".
  void residuals(const double& tol, std::vector<std::pair<int, double>>& bad);

  /// Exchanges all p Ritz values and vectors with the caller's containers, after adding the shift back: the
  /// converged ones first, then the others in the order of the iteration. A second call returns what the
  /// first one put in.
  void get_eigenpairs(std::vector<double>& values, Eigen::MatrixXd& vectors);

  /// Which direct solver factorises, from the next solve on. False, and nothing changes, when this build has
  /// no such engine.
  bool SetEngine(Vessa::Matrix::PardisoEngine engine);

  /// Called at the beginning of every iteration, on the calling thread; an empty function switches it off.
  void SetProgress(si::ProgressCallback progress);

  /// Where the time of the last solve went.
  const si::SolveTimes& times() const;

  /// Why the last factorisation found too little memory (STATUS_FACTORIZE): what it needed and what this
  /// process may still take; empty otherwise.
  const std::string& shortage() const;

  /// Negative eigenvalues of the matrix the last solve factorised last: of B (explicit), or of A − σ·B, where
  /// it is the number of eigenvalues below σ as long as B is positive definite.
  int negative_evals() const;

private:
  class Iteration;

  void restart(int newMode, double initialValue);
  si::Status iterateInverse(Iteration& iteration, Eigen::SparseMatrix<double, 0, int>& shifted);
  int checkConvergence(int first, const double& sigma, RotatedColumns& vectors, RotatedColumns& AX,
                       RotatedColumns& BX);
  static bool needsNoTest(double ritz);
  double backwardError(double residual, double lambda, double length) const;
  double ErrorNorm(int i);
  bool initial_shift(Eigen::MatrixXd&, Eigen::MatrixXd&, Vessa::Matrix::Pardiso&, Eigen::MatrixXd&,
                     Eigen::MatrixXd&, double&);

  Eigen::SparseMatrix<double, 0, int>*A, *B;
  int n, nev, p, initFlag, maxIter;
  double tol, shift;
  double mu;  ///< what a stored value lacks: `shift` from a solve on; added back by get_eigenpairs in modes 0
              ///< and 2
  si::ShiftStrat strategy;
  Eigen::MatrixXd X;
  std::vector<double> evals;
  std::array<int, 3> ops;
  int nconv;
  double normA, normB;
  int negEvalsB;
  double shiftSum;  ///< what has been subtracted from A, in multiples of B
  int mode;         ///< 2 explicit, 0 implicit (values count from mu), 1 implicit on a copy (absolute values)
  Vessa::Matrix::PardisoEngine engine;
  si::ProgressCallback progress;
  si::SolveTimes spent;
  std::string memoryShortage;
};

}  // namespace si
