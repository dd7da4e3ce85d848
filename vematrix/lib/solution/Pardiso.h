#pragma once
#include <Eigen/Dense>
#include <Eigen/SparseCore>
#include <memory>
#include <string>
#include <vector>
#include "../containers/CVector.h"
namespace Vessa {
namespace Matrix {

/// Which solver does the work behind a Pardiso object.
enum PardisoEngine : int {
  EngineDefault = 0,  ///< MKL's PARDISO where the library was built with MKL, otherwise the library's own
  EngineMkl = 1,      ///< MKL's PARDISO
  EngineOwn = 2       ///< the library's own sparse LDLᵀ factorisation
};

/// Factorises one real symmetric sparse matrix directly and solves with the factors.
///
/// Order of calls: construct on a matrix, factorize, any number of solves, disposeFactors (or destroy).
///
/// The matrix is bound, not copied: it must outlive this object, and an iterative refinement inside every
/// solve reads its values again, so that it should stay as it was factorised. It holds the *lower* triangle
/// in compressed columns, 0-based, rows ascending, every diagonal entry stored; read as compressed rows that
/// is the upper triangle, which is what the solver wants. Anything else (an empty or uncompressed matrix, a
/// column without its diagonal entry or with entries above it, unsorted or repeated rows) is refused with
/// error -1 before the solver sees it.
///
/// Copies share the factors: disposeFactors through one leaves all of them without, and the last owner
/// releases the memory. A factorize through one makes factors of its own and leaves the others'. Not to be
/// used by two threads at once; separate objects are independent of each other.
class VEMATRIX_API Pardiso {
public:
  /// Binds the square matrix A; `nrhs` is kept for the next call and replaced by every solve.
  Pardiso(Eigen::SparseMatrix<double, 0, int>& A, unsigned int nrhs);
  /// Shares the factors, copies everything else: controls, error code, engine, the binding to the same
  /// matrix.
  Pardiso(const Pardiso&);  // shares solver memory and bound matrix
  Pardiso& operator=(const Pardiso&) = delete;
  ~Pardiso();

  /// Analyses and factorises the bound matrix: A = L·Lᵀ when positiveDefinite, else A = L·D·Lᵀ with D of 1x1
  /// and 2x2 blocks. Returns true on success. On failure lastError() has the code, a line on standard output
  /// begins "ERROR during symbolic factorization: " or "ERROR during numerical factorization: ",
  /// isFactorized() keeps its value, but earlier factors are gone (a solve is then an error).
  ///
  /// In the positive definite mode a pivot that is not positive is error -4, and so is one below 10·ε·√n
  /// times its diagonal entry, ε = 2.2e-16: rounding alone leaves that much of a zero pivot, as in a
  /// structure that can move, and no digit of a solution would be right. (Not looked for under
  /// SetPlainSolves.)
  ///
  /// A success says less in the indefinite mode: tiny pivots are perturbed there, so that singular matrices
  /// and matrices with NaN or infinite entries pass; only the residual of a solution tells. Work and memory:
  /// those of a sparse factorisation under nested dissection, about n^1.5 and n·log n for plates, n² and
  /// n^(4/3) for solids.
  bool factorize(bool positiveDefinite);

  /// Releases the factors of this object and of its copies; harmless when there are none. lastError() becomes
  /// 0.
  void disposeFactors();

  /// Whether factors are held (see factorize for the one case where they cannot be used).
  bool isFactorized() const;

  /// Replaces b (n values) by the solution of A·x = b, with up to two steps of iterative refinement. Returns
  /// false, sets lastError() and prints "\nPardiso: error in the solve phase: " when there are no factors
  /// (-1), when the size is not that of the matrix (-1), or with the solver's own code. Leaves the object in
  /// the mode "solution to b", which solve(Eigen::VectorXd) does not reset.
  bool solve(CVector& b);

  /// Returns the solution of A·x = b. After a solve(CVector&) on this object the solver writes the solution
  /// into its copy of b and what is returned is work space: use SolveX there. Throws CMatrixError "Pardiso:
  /// error in the solve phase: <code>" where solve(CVector&) returns false.
  Eigen::VectorXd solve(Eigen::VectorXd b);

  /// Writes the solution of A·x = b to x, which must have b's size. Returns false and prints
  /// "\nPardiso: error in the solve phase: <code>" on failure; x is then meaningless.
  bool SolveX(Eigen::VectorXd b, Eigen::VectorXd& x);

  /// After factorize(false): the number of negative eigenvalues of A (the inertia, by Sylvester's law).
  int negative_evals() const;

  /// Pivots of the last indefinite factorisation that were raised because they were too small, as those of a
  /// singular matrix.
  int numPerturbedPivots() const;

  /// The solver's code of the last call, unchanged: 0, or negative (see PardisoError).
  PardisoError lastError() const;
  /// Why the last factorize found too little memory (error -2): what was needed and what this process may
  /// still take; empty otherwise.
  const std::string& shortage() const;

  /// Chooses the solver from the next factorize on; factors already held stay with the one that made them.
  /// Returns false and changes nothing when this build has no such engine.
  bool SetEngine(PardisoEngine engine);
  /// The engine chosen, EngineDefault resolved to the one that stands for it.
  PardisoEngine Engine() const;
  /// Whether this build has the engine.
  static bool HasEngine(PardisoEngine engine);

  /// For callers that make up for inexact solutions themselves, as an eigensolver does: with true, solves
  /// take no steps of refinement, except where pivots were perturbed, and run on all threads, several times
  /// faster. Initially false: at most two steps each.
  void SetPlainSolves(bool on);

  /// Threads for this object's calls; 0 (the initial value) leaves it to the setting of the process.
  void SetNumThreads(unsigned int n);

private:
  friend class CSolnMatrix;
  friend VEMATRIX_API bool SolveMulti(Pardiso&, const Eigen::MatrixXd&, Eigen::MatrixXd&);
  friend bool SolveColumns(Pardiso&, int, const double*, double*);
  struct Handle;  // the engine with its factors, shared by copies
  struct Checked {
    const int* start;
    const int* index;
    int n;
    int terms;
  };                                                    // arrays known to be well formed
  void rebind(Eigen::SparseMatrix<double, 0, int>& A);  // used by CSolnMatrix's copy constructor only
  void dropFactors();                                   // disposeFactors that may keep the analysis
  bool accepts();
  bool fails(const char* step);
  bool runSolve(int nrhs, long long sizeB, long long sizeX, double* b, double* x);

  int m_mtype;
  std::vector<int> m_iparm;
  int m_error, m_nrhs;
  std::shared_ptr<Handle> m_pt;
  Eigen::SparseMatrix<double, 0, int>* m_matrix;
  bool m_factorized;
  PardisoEngine m_engine;
  int m_threads;
  bool m_plainSolves;
  std::string m_shortage;
  Checked m_checked;
};

/// Solves A·X = B for all columns at once; B and X have n rows and the same number of columns.
/// Returns false and prints "\nPardiso: error in the solve phase: <code>" on failure.
VEMATRIX_API bool SolveMulti(Pardiso& solver, const Eigen::MatrixXd& B, Eigen::MatrixXd& X);
/// The same inside the library, for columns of a larger block: n rows each, one behind the other, no overlap.
bool SolveColumns(Pardiso& solver, int columns, const double* B, double* X);
}  // namespace Matrix
}  // namespace Vessa
