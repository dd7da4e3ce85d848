#pragma once
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "../containers/CDiag.h"
#include "../containers/CMatrix.h"
#include "../containers/CReport.h"
#include "../containers/CVector.h"
#include "../skyline/SkylineValueStore.h"

namespace Vessa {
namespace Matrix {

/// Symmetric matrix in skyline (profile) form: of every column the stretch from the diagonal up to the first
/// row that may be non-zero is stored, and factorised in place into L·D·Lᵀ.
///
/// Order of calls: SetLog, SetNumDof(n), SetColHeight for every column, CreateIndex, values through SetAt or
/// ElementAt (upper triangle, row ≤ column), SetAssemble, Reduce, then BackSubs as often as needed. Clear
/// leads back to a new profile. Phase() follows: 0 heights, 1 indexed, 2 assembled, 3 reduced.
///
/// Rows and columns are dofs, numbered from 1. The terms of column j lie one after another from the diagonal
/// upwards: row i of column j at address end(j−1) + (j − i) of the value store, where end(j) is the running
/// sum of the heights and end(0) = 0. After the reduction the diagonal address holds the pivot D(j) and row i
/// of column j the multiplier L(j, i).
///
/// In diagonal mode (SetDiagonal before SetNumDof) there is one value per dof, dof i at address i − 1, and no
/// index to create: a lumped matrix.
///
/// Indices are not checked. Not thread-safe; starts no threads. Source of the storage: A. Jennings, Computer
/// Journal 9 (1966) 281–285; of the reduction: K.-J. Bathe, Finite Element Procedures (2nd ed. 2014), 8.2.3.
class VEMATRIX_API CSkyLine {
public:
  /// An empty matrix: 0 dofs, profile mode, phase 0, zero threshold 1e-40, no log, no file.
  CSkyLine();
  /// Copies everything; the log pointer and the handle of an open temporary file are shared with the source.
  CSkyLine(const CSkyLine&);
  CSkyLine& operator=(const CSkyLine&);
  /// Does not close or remove the temporary file.
  ~CSkyLine();

  int NumDof() const;
  /// Number of stored terms, known from CreateIndex on; after its refusal the running total that was too
  /// much.
  int NumStiff() const;
  bool IsDiagonal() const;
  void SetDiagonal(bool d);
  /// Threshold below which (strictly, in absolute value) Reduce(0, …) suppresses a pivot; default 1e-40.
  double Zero() const;
  void SetZero(double z);
  /// 1 / largest diagonal, as of the last Normalize that did anything; 1.0 before.
  double NormFactor() const;
  bool IsNormalized() const;
  /// Dof and value of the largest and of the smallest pivot of the last reduction; suppressed and exactly
  /// zero pivots do not take part. (0, 0.0) before any reduction.
  const std::pair<int, double>& MaxStiff() const;
  const std::pair<int, double>& MinStiff() const;
  /// The report for messages, not owned; null for none.
  void SetLog(CReport* r);
  void Log(int level, const char* msg) const;
  void Note(const char* msg) const;
  /// Name of the temporary file, copied; null counts as empty.
  void SetTmpFile(wchar_t const* name);
  const std::wstring& TmpFile() const;
  /// Stores the phase as given; nothing else happens.
  void SetPhase(Phase p);
  Phase GetPhase() const;
  /// Phase 2: the values are assembled.
  void SetAssemble();

  /// Sets the number of dofs. Profile mode: heights already set are kept, new columns get height 0. Diagonal
  /// mode: n values of 0.0. Always true; throws std::exception when there is no memory for it (the matrix
  /// then has 0 dofs).
  bool SetNumDof(int n);
  /// Number of stored terms of column j, the diagonal included; in phase 0 as set, 0 when never set.
  int ColHeight(int j) const;
  /// Sets the height h of column j, 1 ≤ h ≤ j; of use in phase 0 only, not checked here: a column that would
  /// rise above row 1 makes Reduce fail.
  void SetColHeight(int j, int h);
  /// Turns the heights into addresses (a height of 0 becomes 1) and takes memory for all terms, 0.0 each.
  ///
  /// More than 1,073,741,823 terms: logs "Too many terms in matrix" (level 2), returns false, phase
  /// unchanged. No memory: logs "Unable to allocate memory for matrix" (level 2) and throws CMatrixError of
  /// that text, phase unchanged. Otherwise phase 1 and true. Memory: 8 bytes a term and 4 a dof.
  bool CreateIndex();
  /// Row i of column j, i ≤ j and inside the column's height (neither is checked, i and j are not swapped).
  /// In diagonal mode the value of dof i, whatever j.
  double& ElementAt(int i, int j);
  /// Stores v where ElementAt(i, j) points; in diagonal mode does nothing unless i equals j.
  void SetAt(int i, int j, double v);
  /// The symmetric element (i, j): 0.0 outside the profile and while there is no storage.
  double GetAt(int i, int j) const;

  /// Back to phase 0 with all heights 0 and no values; dof count, mode, normalisation and pivot records stay.
  void Clear();
  /// All values 0.0, the profile kept. In diagonal mode takes new memory for NumDof values; without memory as
  /// CreateIndex.
  void Null();
  /// False when some diagonal is below 0.0. In profile mode the diagonal of column 1 is left out.
  bool CheckDiagonal() const;
  /// Multiplies all values by NormFactor() = 1 / largest diagonal; nothing when that is not above 0.0.
  void Normalize();
  /// Multiplies all values by s; NormFactor stays.
  void Scale(double s);
  /// this := this − s·K over this profile: where a column of K is higher, its terms above this column's top
  /// are left out. K may be diagonal.
  void Shift(CSkyLine const& K, double s);

  /// Factorises in place, K = L·D·Lᵀ, column by column (active columns), n h² / 2 multiply-adds for n columns
  /// of height h. The sum for each term is taken from the nearest row upwards, product by product, whatever
  /// the processor: the factors are the same to the bit everywhere.
  ///
  /// @param option  0 stiffness: pivots with |p| < Zero() are suppressed: the dof is listed in zeroDofs, its
  ///                pivot becomes 1.0 and its row and column 0.0. 1 Sturm: pivots of either sign are kept;
  ///                gives up when a multiplier exceeds 1e7 in absolute value. Any other: as 1 but without
  ///                dividing by the pivots. A pivot of exactly 0.0 that is not suppressed becomes −1e-16.
  /// @param zeroDofs  returns the suppressed dofs, 1-based and ascending; untouched when the phase is 3
  /// already
  /// @return true when reduced without suppressing (or reduced before). false with phase 3: reduced, the dofs
  /// of
  ///         zeroDofs suppressed. false with another phase: multiplier growth (the matrix is reduced up to
  ///         that term; see SturmFailure), or the matrix has no storage or memory ran out ("Error is matrix
  ///         reduction" is logged at level 2).
  /// The number of eigenvalues below a shift is the number of negative entries of Diag() after Reduce(1, …).
  bool Reduce(int option, std::vector<int>& zeroDofs);
  /// Smallest pivot divided by largest pivot, as recorded.
  double Ratio() const;
  /// The diagonal; after a reduction the pivots.
  CDiag Diag() const;
  /// Logs "Sturm sequence check failed due to multiplier growth" (level 1) and returns true: for callers of a
  /// Reduce(1, …) that returned false.
  bool SturmFailure() const;
  /// Solves K·x = v with the reduced matrix; v holds at least NumDof values and is overwritten by x. In
  /// diagonal mode divides by the values. 4 flops a stored term. Throws CMatrixError when the matrix has no
  /// storage or v is too short; whether the matrix is reduced is not checked.
  void BackSubs(CVector& v);
  /// The same for every column of m, NumDof rows or more; bit for bit what the single solves give.
  void BackSubs(CMatrix<0>& m);

  /// K·x of the assembled (phase 2) or reduced (phase 3) matrix; in any other phase an empty vector. x must
  /// hold NumDof values or more (else CMatrixError).
  CVector operator*(CVector const& x);
  /// The same for every column of X, bit for bit; 0 × 0 in any other phase.
  CMatrix<0> operator*(CMatrix<0> const& X);

  /// Creates or truncates the file TmpFile() for Write and Read. False when it cannot be opened.
  bool OpenFile();
  /// Closes the file opened by OpenFile and deletes it; nothing when none is open.
  void CloseFile();
  /// Write and Read on the file opened by OpenFile.
  bool Write();
  bool Read();
  /// Saves the matrix from offset 0: the phase as a 4-byte integer, then the stored terms as doubles in store
  /// order, native byte order. The profile is not saved. On failure (a null stream apart) the matrix's own
  /// temporary file is closed and deleted, whatever the stream, and the result is false.
  bool Write(std::FILE* f);
  /// Loads what Write saved into a matrix of the same profile, the phase included. On failure as Write; when
  /// a value is missing (the values before it are loaded) "Error reading temporary file" is logged at
  /// level 2.
  bool Read(std::FILE* f);

private:
  CVector MultiplyAssembled(CVector const& x);
  CVector MultiplyReduced(CVector const& x);

  void SolveInPlace(double* x, int count);
  void Multiply(const double* x, double* y, int count, bool reduced) const;
  void MultiplyInPieces(const double* x, double* y, int count, bool reduced) const;
  int NumValues() const;
  int NumAccessible() const;
  bool HasStorage() const;
  void RequireStorage(const char* function, int size) const;
  void AllocateValues(int count);
  int AddressOf(int i, int j) const;
  bool DropFile();

  bool m_diagonal;
  int m_numDof;
  int m_numStiff;
  double m_normFactor;
  bool m_normalized;
  double m_scale1, m_scale2;
  SkylineValueStore m_value;
  std::vector<int> m_column;
  double m_zero;
  CReport* m_log;
  std::pair<int, double> m_max, m_min;
  std::vector<int> m_aux;
  std::FILE* m_file;
  std::wstring m_fileName;
  Phase m_phase;
};

}  // namespace Matrix
}  // namespace Vessa
