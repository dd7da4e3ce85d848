#pragma once
#include <Eigen/SparseCore>
#include <cstdio>
#include <string>
#include <unordered_map>
#include <vector>
#include "../containers/CMatInt.h"
#include "../containers/CReport.h"
#include "../skyline/CSkyLine.h"
#include "../solution/Pardiso.h"
#include "../sparse/CCompColumn.h"
namespace Vessa {
namespace Matrix {
class VEMATRIX_API CSolnMatrix {
public:
  CSolnMatrix();
  CSolnMatrix(const CSolnMatrix&);
  CSolnMatrix& operator=(const CSolnMatrix&) = delete;
  virtual ~CSolnMatrix();  // the only virtual operation

  void SetLog(CReport* r);
  void SetMethod(SolMethod m);
  void SetPreconditioner(PreConditioner p);
  void SetZeroStiff(double z);
  const double& ZeroStiff() const;
  void SetPardisoNumThreads(unsigned int n);
  void SetDiagonal(bool d);
  bool IsDiagonal() const;
  void SetPhase(Phase p);
  void Log(int level, const char* msg) const;
  void Note(const char* msg) const;
  unsigned long long RowCol(int i, int j) const;
  unsigned int Row(unsigned long long key) const;
  unsigned int Col(unsigned long long key) const;

  bool SetNumDof(int n);
  void AddTerm(int i, int j, const double& v);
  bool Finalize();
  int CreateIndex();
  bool Exist(int i, int j) const;
  double GetAt(int i, int j) const;
  int NumTerm() const;
  int NumDof() const;
  void SetZero();
  Eigen::SparseMatrix<double, 0, int>& getEigenSparse();

  int Reduce(Option option, std::vector<int>& zeroDofs);
  bool Reduce(Option option);
  void BackSubstitute(CVector& b);
  void BackSubstitute(CMatrix<1>& B);

  CVector operator*(const CVector& x);
  CMatrix<0> operator*(const CMatrix<0>& X);
  void Shift(const CSolnMatrix& M, double s);
  void Shift(const CSkyLine& M, double s);
  void Scale(double f);
  void Diag(CDiag& d) const;  // sizes d only
  double ColumnSRSS(int j) const;
  double MaxMinRatio();

  bool OpenFile(const char* name);
  void CloseFile();
  bool Write(bool dense);
  bool Read();
  bool write_mm_file();
  bool write_dense_file();

  double CondEst();

  // the engines, for the inertia (negative_evals, Diag) and for SturmFailure
  CSkyLine& getSkyLine();
  Pardiso& getPardiso();

private:
  CReport* m_log;
  SolMethod m_method;
  PreConditioner m_pre;
  int m_numDof;
  double m_zeroStiff;
  bool m_diagonal;
  CSkyLine m_skyline;
  CMatInt m_pattern;
  CCompColumn m_comp;
  std::unordered_map<unsigned long long, double> m_terms;
  Eigen::SparseMatrix<double, 0, int> m_sparse, m_saved;
  std::vector<Eigen::Triplet<double, int>> m_triplets;
  Pardiso m_pardiso;
  unsigned int m_threads;
  std::FILE* m_file;
  std::string m_fileName;
};
}  // namespace Matrix
}  // namespace Vessa
