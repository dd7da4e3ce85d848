#pragma once
#include <vector>

#include "../containers/CDiag.h"
#include "../containers/CMatrix.h"
#include "../containers/CReport.h"
#include "../containers/CVector.h"

namespace Vessa {
namespace Matrix {

/// One stored entry of a row: the column, 1-based, and the value.
struct RowEntry {
  int column;
  double value;
};

/// Symmetric sparse matrix stored by rows, upper triangle only, and its complete Cholesky factorisation A =
/// Uᵀ·U.
///
/// Row i holds entries (i, j) with j ≥ i in the order of insertion, ascending after Sort. The same class
/// holds the assembled matrix and, as a second object, its factor U. Rows, columns and dofs are 1-based.
/// Every public operation is virtual and the factorisations reach the entries through the virtual operations
/// only, so that a derived class can change any step.
///
/// The whole cycle:
/// @code
///   CSymmetricRow A(n), U;
///   ...                            // A.AllocateAt(i, j) for every entry, each diagonal included
///   A.Sort();
///   ...                            // A.AddAt(i, j, v)
///   A.StoreFirstRow();
///   U.SymbolicFactorization(A);    // pattern of U, fill-in included
///   U.Factorization(A);            // values of U
///   U.StoreFirstRow();
///   U.BackSubs(x);                 // x: load in, solution out; as often as wanted
/// @endcode
///
/// Nothing of this reports an error: a matrix that is not positive definite gives NaN or infinity in U and in
/// the solution, entries that were never reserved are lost. Rows and columns are eliminated in the order
/// given; number the dofs so that little fills in. Finding an entry costs a binary search in a row whose
/// entries ascend, otherwise a scan. Storage: 16 bytes per entry, 4 more with the column lookup.
class VEMATRIX_API CSymmetricRow {  // the order of declaration is the order of the virtual table
public:
  /// No dofs, preconditioner value 2, check count 1, no log.
  CSymmetricRow();
  /// n empty rows.
  explicit CSymmetricRow(int n);
  /// Copies entries, column lookup, first rows, settings and the log pointer.
  CSymmetricRow(const CSymmetricRow&);
  CSymmetricRow& operator=(const CSymmetricRow&);
  virtual ~CSymmetricRow();

  /// A copy with every value times s; this matrix is unchanged.
  virtual CSymmetricRow operator*(double s);
  /// Adds d(i) to every diagonal entry, which must exist, and returns a COPY by value.
  virtual CSymmetricRow operator+=(CDiag const& d);
  /// Stored and handed back, not read here.
  virtual void SetPreconditioner(PreConditioner p);
  /// The current count: nothing happens. Any other: all rows are dropped and n empty ones made (none for n <
  /// 1); the first-row table and the column lookup stay as they are.
  virtual void SetNumDof(int n);
  /// Stored and copied, not read here.
  virtual void SetNumCheck(int n);
  virtual PreConditioner Preconditioner();
  /// Number of rows.
  virtual int NumDof() const;
  /// The report for notes and messages; not owned, may be null.
  virtual void SetLog(CReport* r);
  /// Number of stored entries over all rows.
  virtual int Size() const;
  /// Sorts the entries of every row by ascending column.
  virtual void Sort();
  /// Appends (j, 0.0) to row i unless column j is there already. i and j must lie in 1..NumDof() (assertion;
  /// otherwise nothing is stored).
  virtual void ReserveAt(int i, int j);
  /// The same as ReserveAt.
  virtual void AllocateAt(int i, int j);
  /// Stores v in the entry (i, j), which must exist (assertion; otherwise v is lost).
  virtual void SetAt(int i, int j, double v);
  /// Adds v to the entry (i, j), which must exist (assertion; otherwise v is lost).
  virtual void AddAt(int i, int j, double v);
  /// Value of the entry (i, j), 0.0 when row i holds no column j. Indices are not swapped: below the diagonal
  /// it is 0.0 whatever is stored above.
  virtual double GetAt(int i, int j) const;
  /// The value of the entry (i, j), which must exist (assertion; otherwise a value of no matrix, 0.0 at
  /// first).
  virtual double& ElementAt(int i, int j);
  /// The value of the entry at 0-based position k of row i; the same holds when there is none.
  virtual double& ElementAtIndex(int i, int k);
  /// Whether row i holds column j.
  virtual bool Exist(int i, int j) const;
  /// The smallest row with an entry in column c, as StoreFirstRow found it; 0 if none or never stored.
  virtual int FirstRow(int c) const;
  /// Sets every stored value to v.
  virtual void SetAll(double v);
  /// Multiplies every stored value by s.
  virtual void Scale(double s);
  /// y = A·x, with each stored entry off the diagonal acting on both its row and its column; y is sized to
  /// NumDof() and may be x.
  virtual void Multiply(CVector const& x, CVector& y) const;
  /// Sizes d and fills it with the diagonal, 0.0 where it is not stored.
  virtual void Diag(CDiag& d) const;
  /// The diagonal as a new object.
  virtual CDiag Diag();
  /// Sizes d to NumDof() and fills it with 1.0.
  virtual void Identity(CDiag& d) const;
  /// Builds the table behind FirstRow. Entries that are not 0 from an earlier call are KEPT, even if the
  /// pattern has changed since: a first row that is too large makes the factorisation and the solution leave
  /// out entries. Use a fresh object for a new pattern; the symbolic stage does so for the factor.
  virtual void StoreFirstRow();
  /// Builds the lists, per column, of the rows with an entry in it, in descending order.
  virtual void CreateColumnLookup();

  /// Lays out this matrix as the factor U of A: all entries of A and the fill-in, with values 0.0, in
  /// ascending rows, and the column lookup. Entries and first rows held before are dropped, unless A is this
  /// matrix itself.
  /// @param A  sorted, with every diagonal entry stored, and StoreFirstRow called
  /// @return true
  /// Notes "Symbolic Factorization". Work: an integer step per multiplication of the numeric stage, and a
  /// search per entry of U.
  virtual bool SymbolicFactorization(CSymmetricRow const& A);
  /// The values of U, by testing every candidate row between first row and diagonal for every pair of
  /// columns: the definition that Factorization is held to, bit by bit. Work: about n·b² searches for a band
  /// of width b. u(i,i) = √(a(i,i) − Σ u(k,i)²), u(i,j) = (a(i,j) − Σ u(k,j)·u(k,i)) / u(i,i), k falling from
  /// i−1.
  /// @pre  the symbolic stage has laid out this matrix for A
  /// @return true, also when a pivot was not positive: NaN and infinity then spread. Notes "Factorization".
  virtual bool SlowFactorization(CSymmetricRow const& A);
  /// The same factor to the last bit by merging the column lookups, so that only stored entries are visited.
  /// Work: a search per multiplication, and a step of the merge.
  virtual bool Factorization(CSymmetricRow const& A);
  /// Solves A·x = b in place with the factor: x holds b on entry. Notes "Back substitution".
  /// @pre  this is a factor; without StoreFirstRow every column is taken to start at row 1 (slower, same
  /// result)
  /// @return true. Infinite and NaN pivots spread into x.
  virtual bool BackSubs(CVector& x) const;
  /// The same from b into x, which is sized to NumDof(). Notes "Back Substitution".
  virtual bool BackSubs(CVector const& b, CVector& x) const;
  /// Passes the message, or sets the note, when a log is set.
  virtual void Log(int level, char const* text) const;
  virtual void Note(char const* text) const;
  /// Terms of the profile: Σ over the columns of the height from the topmost stored row to the diagonal.
  /// @pre  CreateColumnLookup
  virtual int Skyline() const;
  /// 1 − Size()/Skyline(), in floating point; NaN for a matrix without dofs.
  virtual double Sparsity() const;

private:
  /// The next smaller row that the lookups of columns i and j share, 0 when there is none; pi and pj are
  /// positions in the two lists, advanced before use.
  virtual int NextRow(int i, int& pi, int j, int& pj) const;

public:
  /// The full symmetric block of rows and columns i1..i2. @pre rows are sorted
  virtual CMatrix<0> ExtractSubMatrix(int i1, int i2);
  /// The diagonal of the block i1..i2 in a matrix of zeros; 0.0 where it is not stored. @pre rows are sorted
  virtual CMatrix<0> ExtractDiagMatrix(int i1, int i2);

private:
  const RowEntry* Find(int i, int j) const;
  RowEntry* Find(int i, int j);
  bool Inside(int i) const;
  void Append(int i, int j);
  int LastColumn(int row) const;
  void DropLayout();
  std::vector<int> PatternOfRow(CSymmetricRow const& A, int i, int maxColumn,
                                const std::vector<int>& firstOfA,
                                const std::vector<std::vector<int>>& rowsOfColumn,
                                std::vector<int>& mark) const;
  long long CountFactorEntries(const std::vector<int>& firstOfA) const;
  std::vector<int> RowsAbove(int i, int first) const;
  void Solve(CVector& x) const;

  PreConditioner m_pre;
  std::vector<std::vector<RowEntry>> m_rows;
  std::vector<std::vector<int>> m_lookup;
  std::vector<int> m_first;
  int m_check;
  CReport* m_log;
  std::vector<char> m_ascending;  // per row: columns ascend, so that a search may bisect
  bool m_lookupCurrent;           // no entry was added or dropped since CreateColumnLookup
};

}  // namespace Matrix
}  // namespace Vessa
