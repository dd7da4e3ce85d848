#pragma once
#include <cstdio>
#include <vector>
#include "../containers/CDiag.h"
#include "../containers/CMatInt.h"
#include "../containers/CMatrix.h"
#include "../containers/CReport.h"
#include "../containers/CVector.h"

namespace Vessa {
namespace Matrix {

/// Square matrix by compressed columns with both triangles of a symmetric matrix stored.
///
/// Order of calls: Set(pattern), then SetAt/AddAt for both (i, j) and (j, i), then Reduce and BackSubs of the
/// derived class. Dofs, rows and columns are 1-based; dof n is the last. The values stay as assembled: a
/// reduction leaves GetAt and the products as they were. A change of a value or of the pattern drops the
/// factors.
class VEMATRIX_API CSparse {
public:
  CSparse();
  CSparse(const CSparse&);
  CSparse& operator=(const CSparse&);
  virtual ~CSparse();

  /// The report that receives messages, not owned; null (the default) means silence.
  virtual void SetLog(CReport* r);
  virtual void Log(int level, const char* msg) const;
  virtual void Note(const char* msg) const;

  /// n empty columns, nothing stored. False, and nothing changed, for a negative n.
  virtual bool SetNumDof(int n);
  /// Takes the structure from a pattern whose columns are sorted (CMatInt::Sort); all values become 0.0.
  /// False, logged at level 2 and nothing changed, when a row lies outside 1..n or does not increase within
  /// its column, or when the terms outnumber an int.
  virtual bool Set(const CMatInt& pattern);
  /// Takes structure and values at once: columns start[j] … start[j+1] of row (0-based, increasing) and
  /// value. False, logged at level 2 and nothing changed, for arrays that contradict each other.
  bool SetArrays(int n, std::vector<int>&& start, std::vector<int>&& row, std::vector<double>&& value);
  virtual int NumDof() const;
  /// Stored terms of both triangles.
  virtual int NumTerm() const;

  /// A term outside the pattern is ignored. Cost: a bisection within the column.
  virtual void SetAt(int i, int j, double v);
  virtual void AddAt(int i, int j, double v);
  /// 0.0 when not stored.
  virtual double GetAt(int i, int j) const;
  virtual bool Exist(int i, int j) const;
  /// Values become 0.0, the pattern is kept, factors are dropped.
  virtual void SetZero();
  /// Multiplies every stored value by f.
  virtual void Scale(double f);
  /// this −= s·M. A term of M outside this pattern is inserted. M of another size: logged at level 2, no
  /// change.
  virtual void Shift(const CSparse& M, double s);
  /// √(Σ a(i,j)²) over the stored rows i ≤ j, the diagonal included.
  virtual double ColumnSRSS(int j) const;
  /// Largest over smallest pivot of the last reduction; 1.0 before one.
  virtual double MaxMinRatio() const;

  /// y = A·x over all stored terms. An x of another length gives an empty vector, logged at level 2.
  virtual CVector operator*(const CVector& x) const;
  virtual CMatrix<0> operator*(const CMatrix<0>& X) const;

  /// Factorises; NumDof() on success. See CCompColumn.
  virtual int Reduce(bool stiffnessMode, double zeroStiff) = 0;
  /// Solves in place on a raw array of NumDof() values.
  virtual void BackSubs(double* x) = 0;

  /// Writes the image of the matrix at the beginning of an open binary file / takes it from there. A failed
  /// Read (damaged, truncated or foreign file) leaves the object as it was. Both log the reason at level 2.
  virtual bool Write(std::FILE* f);
  virtual bool Read(std::FILE* f);

protected:
  /// Called after every change of values or pattern while m_reduced is set.
  virtual void DropFactors();
  /// Position of (i, j) in m_row and m_value, or −1.
  int Find(int i, int j) const;

  int m_n;                   ///< number of columns
  std::vector<int> m_start;  ///< n+1 positions of the columns in m_row and m_value
  std::vector<int> m_row;    ///< 0-based rows, increasing within a column
  std::vector<double> m_value;
  CReport* m_log;
  bool m_reduced;  ///< a derived class holds factors of the present values
};

}  // namespace Matrix
}  // namespace Vessa
