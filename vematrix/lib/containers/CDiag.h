#pragma once
#include <vector>
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CDiag {
public:
  CDiag(int n = 0);
  CDiag(int n, double v);
  CDiag(const CDiag&);
  CDiag& operator=(const CDiag&);
  ~CDiag();
  int  NumDof() const;
  void SetNumDof(int n);
  void SetAll(double v);
  double  GetAt(int i, int j) const;
  void    SetAt(int i, int j, double v);           // j ignored
  double& ElementAt(int i, int j);                 // j ignored
  CDiag   operator*(double s) const;
  CVector operator*(const CVector& x) const;
  void    Multiply(const CVector& x, CVector& y) const;
  double  PhiT_M_Phi(const CVector& phi) const;
  bool    Invert();
  bool    Inverse(CDiag& out) const;
  CDiag   Inverse() const;
private:
  std::vector<double> m_d;
};
}}
