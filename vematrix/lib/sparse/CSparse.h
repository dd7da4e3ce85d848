#pragma once
#include <cstdio>
#include <vector>
#include "../containers/CDiag.h"
#include "../containers/CMatInt.h"
#include "../containers/CMatrix.h"
#include "../containers/CReport.h"
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
// Column-compressed square matrix, both triangles stored.
class VEMATRIX_API CSparse {
public:
  CSparse(); CSparse(const CSparse&); CSparse& operator=(const CSparse&);
  virtual ~CSparse();
  virtual void SetLog(CReport* r);
  virtual void Log(int level, const char* msg) const;
  virtual void Note(const char* msg) const;
  virtual bool SetNumDof(int n);                   // n empty columns
  virtual bool Set(const CMatInt& pattern);        // structure from sorted columns; values 0.0
  virtual int  NumDof() const;
  virtual int  NumTerm() const;                    // stored entries (both triangles)
  virtual void   SetAt(int i, int j, double v);    // 1-based; an entry outside the pattern is ignored
  virtual void   AddAt(int i, int j, double v);
  virtual double GetAt(int i, int j) const;        // 0.0 when not stored
  virtual bool   Exist(int i, int j) const;
  virtual void SetZero();                          // values 0.0, pattern kept, factors dropped
  virtual void Scale(double f);
  virtual void Shift(const CSparse& M, double s);  // this -= s M; an entry of M outside this pattern is inserted
  virtual double ColumnSRSS(int j) const;
  virtual double MaxMinRatio() const;
  virtual CVector operator*(const CVector& x) const;
  virtual CMatrix<0> operator*(const CMatrix<0>& X) const;
  virtual int  Reduce(bool stiffnessMode, double zeroStiff) = 0;
  virtual void BackSubs(double* x) = 0;            // in place on a raw array
  virtual bool Write(std::FILE* f);
  virtual bool Read(std::FILE* f);
protected:
  int m_n; std::vector<int> m_start, m_row; std::vector<double> m_value; CReport* m_log;
};
}}
