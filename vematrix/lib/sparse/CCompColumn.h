#pragma once
#include <memory>
#include "../sparse/CSparse.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CCompColumn : public CSparse {
public:
  CCompColumn(); CCompColumn(const CCompColumn&); CCompColumn& operator=(const CCompColumn&);
  ~CCompColumn() override;
  using CSparse::operator*;
  CVector operator*(const CVector& x) const override;
  virtual CCompColumn& operator+=(const CDiag& d);
  int  Reduce(bool stiffnessMode, double zeroStiff) override;   // numDof on success
  void BackSubs(double* x) override;
  virtual void BackSubs(CVector& x);
  virtual int  NumNegative() const;                // negative pivots of the last reduction
private:
  struct Factor; std::shared_ptr<const Factor> m_factor;   // immutable once built, so copies may share it
};
}}
