#pragma once
#include <vector>
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CBandSym {
public:
  CBandSym();
  CBandSym(int rows, int band);
  CBandSym(int rows, int band, double v);
  CBandSym(const CBandSym&);
  virtual ~CBandSym();
  CBandSym& operator=(const CBandSym&);
  void Copy(CBandSym const& B);
  int  NumRows() const;
  int  NumBand() const;
  bool SetSize(int rows, int band);
  void SetAll(double v);
  double& ElementAt(int i, int j);
  const double& ElementAt(int i, int j) const;
  void   SetAt(int i, int j, double v);
  double GetAt(int i, int j) const;
  CBandSym Transpose() const;
  CBandSym operator+(CBandSym const& B) const;
  CBandSym operator-(CBandSym const& B) const;
  CBandSym& operator+=(CBandSym const& B);
  CBandSym& operator-=(CBandSym const& B);
  CBandSym operator*(CBandSym const& B) const;
  CBandSym& operator*=(CBandSym const& B);
  CBandSym operator*(double s) const;
  CBandSym& operator*=(double s);
  CVector operator*(CVector const& x) const;
  void Multiply(CVector const& x, CVector& y) const;
private:
  int  Index(int i, int j) const;
  void CheckAndSwap(int& i, int& j) const;
  int m_rows, m_band; std::vector<double> m_v;
};
}}
