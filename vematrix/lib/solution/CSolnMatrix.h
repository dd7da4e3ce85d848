#pragma once
#include <Eigen/SparseCore>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "../containers/CMatInt.h"
#include "../containers/CReport.h"
#include "../skyline/CSkyLine.h"
#include "../solution/Pardiso.h"
#include "../sparse/CCompColumn.h"

namespace Vessa {
namespace Matrix {

class TermStaging;

/// The system of equations of a finite-element analysis: assembled term by term, factorised, solved for any
/// number of load vectors, with a storage engine chosen by the host.
///
/// Order of calls: SetMethod (and SetDiagonal), SetLog, SetNumDof(n), AddTerm for every term of the upper
/// triangle in any order, Finalize, Reduce, BackSubstitute for every load. For new values on the same
/// structure: SetZero, AddTerm, Finalize, Reduce.
///
/// Methods: 0 SolSkyline (profile matrix, CSkyLine), 1 SolNone (nothing is stored, every operation succeeds),
/// 4 SolCompColumn (compressed columns, CCompColumn), 6 SolPardiso (Eigen sparse matrix, Pardiso). Any other
/// number is accepted and leads to the "other methods" results given with each operation.
///
/// Dofs, rows and columns are numbered from 1. The matrix is symmetric: of every pair (i, j), (j, i) only the
/// term with i ≤ j is added. Terms in other places than 1 ≤ i, j ≤ n, and with method 0 those below the
/// diagonal, are left out of the matrix; Finalize logs how many, at level 2.
///
/// Finalize, Reduce, BackSubstitute(CVector&) and CondEst write a line "DEBUG - -->" or "DEBUG - <--" with
/// their name to standard output when they are entered and left, however they are left.
///
/// Copies are deep, except that factors of methods 4 and 6 are shared until either object reduces again, and
/// that an open temporary file belongs to both. Not thread-safe; separate objects may be used by separate
/// threads.
class VEMATRIX_API CSolnMatrix {
public:
  CSolnMatrix();
  CSolnMatrix(const CSolnMatrix&);
  CSolnMatrix& operator=(const CSolnMatrix&) = delete;
  /// Releases everything; a temporary file that is still open is closed and deleted with its last owner.
  virtual ~CSolnMatrix();

  // ---- Setting up

  /// The report for messages, not owned, null for none; passed on to the engine of the present method, so
  /// that the method is to be set first.
  void SetLog(CReport* r);
  /// Chooses the method. A diagonal matrix stays with method 0 unless m is 6.
  void SetMethod(SolMethod m);
  /// Stored only.
  void SetPreconditioner(PreConditioner p);
  /// Threshold below which method 4 suppresses a pivot; default 1e-40. The skyline has its own:
  /// getSkyLine().SetZero.
  void SetZeroStiff(double z);
  const double& ZeroStiff() const;
  /// Threads of the math library, for the whole process, from the next Finalize of method 6 on; 0 or more
  /// than there are leaves the number to the library.
  void SetPardisoNumThreads(unsigned int n);
  /// The solver behind method 6 from the next Reduce on. False when this build has no such engine.
  bool SetPardisoEngine(PardisoEngine engine);
  /// true: only diagonal terms count; switches to method 0, in diagonal mode, unless the method is 6.
  void SetDiagonal(bool d);
  bool IsDiagonal() const;
  /// The phase of the skyline; nothing with other methods.
  void SetPhase(Phase p);
  /// Forwarded to the report, if there is one.
  void Log(int level, const char* msg) const;
  void Note(const char* msg) const;
  /// (i − 1) + n·(j − 1) in 64 bits, the one number that stands for the term (i, j), and the way back. Row
  /// and Col divide by n: only after SetNumDof with n > 0.
  unsigned long long RowCol(int i, int j) const;
  unsigned int Row(unsigned long long key) const;
  unsigned int Col(unsigned long long key) const;

  // ---- Assembling

  /// Sets the number of dofs and adds a term 0.0 on every diagonal place, so that the pattern holds all of
  /// them. Terms added under another n are dropped; those added before the first n are counted in Finalize's
  /// message about terms left out. False with an unknown method; std::length_error for a
  /// negative n with methods 4 and 6.
  bool SetNumDof(int n);
  /// Adds v at row i, column j, i ≤ j. Terms at one place add up. Method 6 leaves out NaN and 0 < |v|
  /// < 2.2e-16 (each call by itself, not the sum) and keeps exact zeros; methods 0, 1 and 4 keep everything.
  /// Constant time, 16 bytes a term; std::bad_alloc when memory runs out, the terms before stay.
  void AddTerm(int i, int j, const double& v);
  /// Builds the matrix from the terms added since the last Finalize (or SetNumDof), and only from them; the
  /// terms are then gone. False when the structure could not be built (the engine logs why). Method 6 sets
  /// the number of threads and throws std::length_error when the terms outnumber an int, std::bad_alloc
  /// without memory.
  bool Finalize();
  /// The step of Finalize that fixes the structure: the number of stored terms (method 0) or columns (method
  /// 4), negative on failure; 0 for method 1, 1 for method 6, −1 for others. Hosts call Finalize.
  int CreateIndex();
  /// After Finalize. Method 0: whether (i, j) lies inside the profile, true also for i > j. Method 4: always
  /// false, its pattern is gone. Method 6: true when the coefficient read by GetAt(i, j) IS 0.0. Others:
  /// false.
  bool Exist(int i, int j) const;
  /// After Finalize: the term, 0.0 where none is stored. Method 6 holds the lower triangle: what was added as
  /// (i, j) is read as GetAt(j, i), and GetAt(i, j) with i < j gives 0.0.
  double GetAt(int i, int j) const;
  /// Stored terms: of the profile (0), of both triangles (4), of one triangle (6); else 0.
  int NumTerm() const;
  /// The dofs of the engine: 0 before Finalize with method 6, and with methods 1 and unknown ones.
  int NumDof() const;
  /// All values zero, terms not yet finalised dropped; the structure is kept (methods 0 and 4) or its memory
  /// (6).
  void SetZero();
  /// The matrix of method 6 itself: n × n, lower triangle, compressed. Throws CMatrixError
  /// "Illegal function call getEigenSparse" with any other method.
  Eigen::SparseMatrix<double, 0, int>& getEigenSparse();

  // ---- Solving

  /// Factorises. Returns
  ///    0  success (and methods 1)
  ///   −1  unknown method; solver error −1 (input)
  ///   −2  solver error −3 (ordering)
  ///   −3  solver error −2 (memory)
  ///   −4  solver error −5 or any other
  ///   −5  zero pivots suppressed (method 0), reduction incomplete (method 4), solver error −4 (zero pivot)
  ///   −6  failure in the Sturm mode (methods 0 and 4)
  /// @param option    OptStiffness: positive definite, zero pivots are suppressed (0, 4) or an error (6).
  ///                  OptSturm: indefinite, negative pivots are kept; count them with getSkyLine().Diag() or
  ///                  getPardiso().negative_evals().
  /// @param zeroDofs  receives the suppressed dofs, 1-based (method 0: all of them; method 4: appended, one
  /// number; not
  ///                  touched by the others, nor by a skyline that is reduced already)
  /// With method 0 an exception inside (logged as "Error is matrix reduction") still gives 0 in the stiffness
  /// mode: look at the report. In the indefinite mode method 6 may report success for a singular matrix: look
  /// at the residual.
  int Reduce(Option option, std::vector<int>& zeroDofs);
  /// The same; true for result 0.
  bool Reduce(Option option);
  /// Replaces the load b (n values) by the solution. Method 6: a failure is put into the report's note,
  /// "Error solving for right hand side (Pardiso error <code>).\n". Methods 1 and others leave b alone.
  void BackSubstitute(CVector& b);
  /// The same for all columns of B. Method 0 throws CMatrixError "unimplemented parameter". After a failed
  /// solve of method 6 (a line on standard output tells) B holds no solution.
  void BackSubstitute(CMatrix<1>& B);

  // ---- Operations

  /// K·x with the full symmetric matrix; method 0 multiplies with the factors when reduced, and gives an
  /// empty vector before Finalize. Methods 1 and others, and an x of another length: an empty vector.
  CVector operator*(const CVector& x);
  /// K·X for methods 0 and 4; 0 × 0 for all others.
  CMatrix<0> operator*(const CMatrix<0>& X);
  /// this −= s·M, M of the same size and method or diagonal (its terms are then read by its own method).
  /// Method 6 takes over terms of M's pattern; the other engines keep theirs. A matrix that does not fit is
  /// left alone, with a message at level 2.
  void Shift(const CSolnMatrix& M, double s);
  /// Method 0 only.
  void Shift(const CSkyLine& M, double s);
  /// Multiplies every stored value by f.
  void Scale(double f);
  /// Only sizes d to NumDof(): values of a d that has this size stay, otherwise zeros. Read diagonals with
  /// GetAt(i, i).
  void Diag(CDiag& d) const;
  /// √(Σ a(i,j)²). Method 0: over the column above the diagonal, without it. Method 4: rows i ≤ j. Method 6:
  /// the host's row j, (j, i) with i ≥ j. Others: 0.0.
  double ColumnSRSS(int j) const;
  /// Largest over smallest pivot of the last reduction, methods 0 (NaN before one) and 4; 1.0 for all others.
  double MaxMinRatio();

  // ---- Files

  /// Creates the temporary file: text with method 6, else binary. A file that was open before is closed and
  /// deleted then. False for an empty name and when it cannot be created; an open file then stays open.
  bool OpenFile(const char* name);
  /// Closes and deletes the temporary file; nothing when none is open.
  void CloseFile();
  /// Parks the matrix. Methods 0 and 4: the engine's image goes to the file. Method 6: the matrix is copied
  /// in memory and written as Matrix Market text, which closes the stream (the file stays, CloseFile deletes
  /// it); with dense, see write_dense_file. False, "Temporary file error" at level 2, when nothing was saved;
  /// the matrix is as it was.
  bool Write(bool dense);
  /// Takes the matrix back: from the file (0, 4) or from the copy in memory (6).
  bool Read();
  /// The text part of Write. One line per stored entry: row, column (1-based, row ≥ column) and the value
  /// with as many digits as it takes to read the same bits again.
  bool write_mm_file();
  /// Writes the matrix of method 6 as dense text to the file called "c:\\temp\\dense.out", row by row; false
  /// when no temporary file was named.
  bool write_dense_file();

  // ---- Condition

  /// Customary estimate of the condition number ‖K‖₁·‖K⁻¹‖₁; a lower bound that can be too low by more than
  /// ten times. Where the figure matters, use CondEstRefined.
  ///
  /// Reduce comes first (method 6 factorises by itself, indefinite, when it has no factors, and puts the
  /// number of threads into the report's note). 0.0 for methods without an engine and without dofs. The signs
  /// that the estimate starts with are random numbers shared by all objects: two calls may differ, and calls
  /// from several threads take turns. Failures are not told in the report: a solve of method 6 that fails
  /// prints the line of Pardiso to standard output, and the figure is of no use then. Writes its trace lines
  /// to standard output. Cost: at most ten products and ten solves with four vectors. Source:
  /// si/OneNormEst.h.
  double CondEst();

  /// Trustworthy estimate of the condition number ‖K‖₁·‖K⁻¹‖₁ after Reduce, by the block algorithm as
  /// published, on blocks of eight vectors. A lower bound but for rounding, usually exact; the same for the
  /// same matrix every time.
  ///
  /// About log10 of it is the number of decimal digits, of sixteen, that rounding and errors in the terms of
  /// K can cost the solution. Dofs that Reduce has suppressed count as decoupled (method 0, whose factors are
  /// what is multiplied). Method 6 factorises by itself, indefinite, when it has no factors.
  /// @return 0.0 for methods without an engine, without dofs, and with "CondEstRefined: the matrix is not
  /// reduced" at
  ///         level 2 of the report when there are no factors, or "CondEstRefined: a solve failed" when method
  ///         6 could not solve; NaN or infinity when the factors hold such values
  /// Cost: at most nine products and nine solves with eight vectors.
  /// Source: Higham and Tisseur, SIAM J. Matrix Anal. Appl. 21 (2000) 1185-1201, algorithm 2.4.
  double CondEstRefined();

  /// The engines, for what only they know: the inertia (Diag, negative_evals), SturmFailure, the skyline's
  /// threshold.
  CSkyLine& getSkyLine();
  Pardiso& getPardiso();
  /// The engine of method 4, for NumNegative and MaxMinRatio after a reduction.
  CCompColumn& getCompColumn();

private:
  struct TempFile;

  void LogLeftOut(TermStaging& staged) const;
  int FinalizeSkyline();
  int FinalizeCompColumn();
  int FinalizePardiso();
  double DiagonalTerm(int j) const;
  bool ShiftFits(int numDof) const;
  void ShiftCompColumnByDiagonal(const CSolnMatrix& M, double s);
  void ShiftPardisoByDiagonal(const CSolnMatrix& M, double s);
  void ShiftPardiso(const CSolnMatrix& M, double s);
  std::FILE* Stream() const;
  void DropOpenFile();
  bool WritePardiso(bool dense);
  double RefinedEstimateByPardiso();

  CReport* m_log;
  SolMethod m_method;
  PreConditioner m_pre;
  int m_numDof;  // as set by SetNumDof
  double m_zeroStiff;
  bool m_diagonal;
  CSkyLine m_skyline;                            // method 0
  CMatInt m_pattern;                             // method 4, until the structure is fixed
  CCompColumn m_comp;                            // method 4
  std::unique_ptr<TermStaging> m_terms;          // methods 0, 1, 4: (i, j) at row i − 1, column j − 1
  Eigen::SparseMatrix<double, 0, int> m_sparse;  // method 6, lower triangle
  Eigen::SparseMatrix<double, 0, int> m_saved;   // method 6, parked by Write
  std::unique_ptr<TermStaging> m_triplets;       // method 6: (i, j) at row j − 1, column i − 1
  Pardiso m_pardiso;                             // bound to m_sparse
  unsigned int m_threads;
  std::shared_ptr<TempFile> m_file;  // null: none; shared by copies
  std::string m_fileName;
};

}  // namespace Matrix
}  // namespace Vessa
