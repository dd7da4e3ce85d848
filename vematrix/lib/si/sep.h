#pragma once
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include <array>
#include <string>
#include <vector>

#include "../containers/types.h"
#include "../si/si_types.h"
#include "../solution/Pardiso.h"

namespace si {

/// A few eigenpairs of one sparse symmetric matrix, A·x = λ·x, at either end of the spectrum, by subspace
/// iteration.
///
/// EVAL_LOWEST: inverse iteration, one factorisation of A − σ·I; converges to the λ nearest the shift σ (0:
/// the lowest of a positive definite matrix). EVAL_HIGHEST: plain products; converges to the largest |λ − σ|,
/// as slowly as the ratio of neighbouring values is near 1: ask get_numpairs_converged. With a σ at or below
/// the lowest eigenvalue those are the highest.
///
/// Order of calls: construct, solve, get_numpairs_converged and opCount, residuals, get_eigenpairs. A is n ×
/// n, column-compressed (0-based) or in Eigen's uncompressed mode, and holds at least its lower triangle;
/// entries above the diagonal are ignored. It is not owned and must outlive this object; a solve may change
/// it while it runs and gives it back to the bit, pattern and storage included, on every way out, exceptions
/// included.
///
/// A pair has converged when ‖A·x − λ·x‖₂ < tol·|λ|, λ counting from σ. The values of matrices with a large
/// condition number cannot be found to that: the iteration then ends when nothing changes any more, and says
/// so by the number of converged pairs. Not thread-safe; start vectors come from the standard library's
/// rand(), unseeded.
///
/// Sources: Parlett, The Symmetric Eigenvalue Problem (1998), 14; Stewart, Matrix Algorithms II (2001), 5.
class VEMATRIX_API sep {
public:
  /// Binds A; the subspace becomes n × p, the Ritz values p zeros.
  /// @param nev       pairs wanted
  /// @param nsub      vectors iterated, p; 0: min(2·nev, nev + 50, n)
  /// @param loc       which end; any other value makes solve throw
  /// @param tol       relative residual at which a pair has converged
  /// @param shift     σ, copied
  /// @param strategy  how σ moves during an inverse iteration (as in gep11); it never does for EVAL_HIGHEST
  /// @param maxIter   iterations at most
  sep(Eigen::SparseMatrix<double, 0, int>& A, const int& nev, const int& nsub, EVAL_LOCATION loc,
      const double& tol, double& shift, ShiftStrat strategy, int maxIter);

  /// Runs the iteration. 0: all wanted pairs converged, maxIter reached, or no progress (three iterations
  /// without a new pair and with all Ritz values the same to 4 units in the last place). −101: a
  /// factorisation or a solve with its factors failed. −210: the vectors of the first iteration cannot be
  /// orthonormalised (p > n). −3: those of a later one, or the projected problem. Throws CMatrixError
  /// "unhandled enum encountered for si::EVAL_LOCATION", and for a matrix that is not square.
  si::Status solve();

  /// Leading pairs of the last solve that have converged.
  int get_numpairs_converged() const;

  /// {operator applications, one per vector; iterations made; ((4·n) XOR (3·p) XOR 3) · iterations} in 32-bit
  /// arithmetic, of the last solve.
  std::array<int, 3> opCount() const;

  /// Exchanges all p values and vectors with the caller's containers. EVAL_LOWEST: by rising |λ − σ|.
  /// EVAL_HIGHEST: the converged pairs first, then the other wanted ones, then the rest, each with the
  /// largest value first.
  void get_eigenpairs(std::vector<double>& evals, Eigen::MatrixXd& evecs);

  /// Appends ‖A·x − λ·x‖ / ‖A·x‖ to `out` for each of the nev pairs where it exceeds tol. Writes the leading
  /// entries of the vectors to standard output.
  void residuals(const double& tol, std::vector<double>& out);

  /// Fills the subspace (resized to n × p when it has another shape) with pseudo-random numbers. True.
  bool initSubspaceVectors();

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

  /// Eigenvalues of A below the place of the last factorisation (EVAL_LOWEST; otherwise 0).
  int negative_evals() const;

private:
  class Iteration;

  bool mu_cons(const int& i, double& mu);
  bool mu_aggr(const int& i, const int& stage, double& mu);
  double mu_safe(const int& i, int& j);
  bool orthonormalize(Eigen::MatrixXd& Y);
  int checkConvergence(int start, const double& mu, const Eigen::MatrixXd& AS);
  double ErrorNorm(int i);
  double onenormest(Eigen::SparseMatrix<double, 0, int>& A);
  si::Status iterate(Iteration& iteration);

  Eigen::SparseMatrix<double, 0, int>* m_A;
  int n, nev, p;
  EVAL_LOCATION loc;
  int initFlag, maxIter;
  double tol, shift;
  ShiftStrat strategy;
  Eigen::MatrixXd m_S;
  std::vector<double> m_lambda;
  std::array<int, 3> ops;
  int nconv;
  double normA;
  int negative;
  Vessa::Matrix::PardisoEngine engine;
  si::ProgressCallback progress;
  si::SolveTimes spent;
  std::string memoryShortage;
};

}  // namespace si
