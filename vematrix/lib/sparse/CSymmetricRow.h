#pragma once
#include <vector>
#include "../containers/CDiag.h"
#include "../containers/CMatrix.h"
#include "../containers/CReport.h"
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
struct RowEntry { int column; double value; };
class VEMATRIX_API CSymmetricRow {                 // declaration order = slot order
public:
  CSymmetricRow();
  explicit CSymmetricRow(int n);
  CSymmetricRow(const CSymmetricRow&);
  CSymmetricRow& operator=(const CSymmetricRow&);
  virtual ~CSymmetricRow();                                          // 0
  virtual CSymmetricRow operator*(double s);                         // 1
  virtual CSymmetricRow operator+=(CDiag const& d);                  // 2  returns a COPY by value
  virtual void SetPreconditioner(PreConditioner p);                  // 3
  virtual void SetNumDof(int n);                                     // 4
  virtual void SetNumCheck(int n);                                   // 5
  virtual PreConditioner Preconditioner();                           // 6
  virtual int  NumDof() const;                                       // 7
  virtual void SetLog(CReport* r);                                   // 8
  virtual int  Size() const;                                         // 9
  virtual void Sort();                                               // 10
  virtual void ReserveAt(int i, int j);                              // 11
  virtual void AllocateAt(int i, int j);                             // 12
  virtual void SetAt(int i, int j, double v);                        // 13
  virtual void AddAt(int i, int j, double v);                        // 14
  virtual double GetAt(int i, int j) const;                          // 15
  virtual double& ElementAt(int i, int j);                           // 16
  virtual double& ElementAtIndex(int i, int k);                      // 17
  virtual bool Exist(int i, int j) const;                            // 18
  virtual int  FirstRow(int c) const;                                // 19
  virtual void SetAll(double v);                                     // 20
  virtual void Scale(double s);                                      // 21
  virtual void Multiply(CVector const& x, CVector& y) const;         // 22
  virtual void Diag(CDiag& d) const;                                 // 23
  virtual CDiag Diag();                                              // 24
  virtual void Identity(CDiag& d) const;                             // 25
  virtual void StoreFirstRow();                                      // 26
  virtual void CreateColumnLookup();                                 // 27
  virtual bool SymbolicFactorization(CSymmetricRow const& A);        // 28
  virtual bool SlowFactorization(CSymmetricRow const& A);            // 29
  virtual bool Factorization(CSymmetricRow const& A);                // 30
  virtual bool BackSubs(CVector& x) const;                           // 31
  virtual bool BackSubs(CVector const& b, CVector& x) const;         // 32
  virtual void Log(int level, char const* text) const;               // 33
  virtual void Note(char const* text) const;                         // 34
  virtual int  Skyline() const;                                      // 35
  virtual double Sparsity() const;                                   // 36
private:
  virtual int  NextRow(int i, int& pi, int j, int& pj) const;        // 37
public:
  virtual CMatrix<0> ExtractSubMatrix(int i1, int i2);               // 38
  virtual CMatrix<0> ExtractDiagMatrix(int i1, int i2);              // 39
private:
  PreConditioner m_pre; std::vector<std::vector<RowEntry>> m_rows; std::vector<std::vector<int>> m_lookup;
  std::vector<int> m_first; int m_check; CReport* m_log;
};
}}
