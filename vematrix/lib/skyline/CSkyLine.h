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
namespace Vessa { namespace Matrix {
class VEMATRIX_API CSkyLine {
public:
  CSkyLine();
  CSkyLine(const CSkyLine&);
  CSkyLine& operator=(const CSkyLine&);
  ~CSkyLine();                                     // does not close or remove the temporary file

  int    NumDof() const;
  int    NumStiff() const;
  bool   IsDiagonal() const;
  void   SetDiagonal(bool d);
  double Zero() const;
  void   SetZero(double z);
  double NormFactor() const;
  bool   IsNormalized() const;
  const std::pair<int,double>& MaxStiff() const;
  const std::pair<int,double>& MinStiff() const;
  void   SetLog(CReport* r);
  void   Log(int level, const char* msg) const;
  void   Note(const char* msg) const;
  void   SetTmpFile(wchar_t const* name);
  const std::wstring& TmpFile() const;
  void   SetPhase(Phase p);
  Phase  GetPhase() const;                         // the facade reads the phase
  void   SetAssemble();

  bool SetNumDof(int n);
  int  ColHeight(int j) const;
  void SetColHeight(int j, int h);
  bool CreateIndex();
  double& ElementAt(int i, int j);
  void    SetAt(int i, int j, double v);
  double  GetAt(int i, int j) const;

  void Clear();
  void Null();
  bool CheckDiagonal() const;
  void Normalize();
  void Scale(double s);
  void Shift(CSkyLine const& K, double s);

  bool   Reduce(int option, std::vector<int>& zeroDofs);
  double Ratio() const;
  CDiag  Diag() const;
  bool   SturmFailure() const;
  void   BackSubs(CVector& v);
  void   BackSubs(CMatrix<0>& m);

  CVector    operator*(CVector const& x);
  CMatrix<0> operator*(CMatrix<0> const& X);

  bool OpenFile();
  void CloseFile();
  bool Write();
  bool Read();
  bool Write(std::FILE* f);
  bool Read(std::FILE* f);
private:
  CVector MultiplyAssembled(CVector const& x);
  CVector MultiplyReduced(CVector const& x);
  bool m_diagonal; int m_numDof; int m_numStiff; double m_normFactor; bool m_normalized; double m_scale1, m_scale2;
  SkylineValueStore m_value; std::vector<int> m_column; double m_zero; CReport* m_log;
  std::pair<int,double> m_max, m_min; std::vector<int> m_aux; std::FILE* m_file; std::wstring m_fileName; Phase m_phase;
};
}}
