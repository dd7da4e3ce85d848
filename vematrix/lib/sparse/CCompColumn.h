#pragma once
#include <memory>
#include <string>
#include <vector>
#include "../sparse/CSparse.h"

namespace Vessa {
namespace Matrix {

namespace sparse {
class ImageReader;
}

/// The compressed-column stiffness matrix of solution method 4: CSparse with a sparse LDLᵀ behind it.
///
/// The first Reduce on a pattern analyses it (order of elimination, sizes of the factor); later ones with the
/// same pattern only factorise. Work runs on the calling thread. Copies share the factor until one of them
/// changes.
class VEMATRIX_API CCompColumn : public CSparse {
public:
  CCompColumn();
  CCompColumn(const CCompColumn&);
  CCompColumn& operator=(const CCompColumn&);
  ~CCompColumn() override;

  using CSparse::operator*;
  CVector operator*(const CVector& x) const override;
  /// Adds d(i) to every diagonal term; one that is not stored is inserted.
  virtual CCompColumn& operator+=(const CDiag& d);

  /// Factorises P·A·Pᵀ = L·D·Lᵀ, D of either sign.
  ///
  /// @param stiffnessMode  true: a pivot with |D| < zeroStiff is suppressed (pivot 1, its row and column
  /// decoupled:
  ///                       BackSubs returns the load of that dof), remembered and logged at level 1.
  ///                       false (Sturm): all pivots are kept, an exact 0 becomes −1e-16, and a multiplier
  ///                       above 1e7 ends the reduction (logged at level 1).
  /// @return n = NumDof() on success. With suppressed dofs n + z − 1, z the lowest of them; z = 1 would read
  /// as
  ///         success and gives n − 1. Sturm failure: the number of finished columns (< n). Any other failure
  ///         (a NaN or infinity, memory, values that are not symmetric) is logged at level 2 and gives a
  ///         number below n. After a failure no factors are held.
  int Reduce(bool stiffnessMode, double zeroStiff) override;

  /// Solves A·x = b in place; without factors x stays as it is and level 2 of the log says so.
  void BackSubs(double* x) override;
  virtual void BackSubs(CVector& x);

  /// Whether factors of the present values are held.
  virtual bool IsReduced() const;
  /// Negative pivots of the last successful reduction; 0 before one.
  virtual int NumNegative() const;
  /// The dofs suppressed by the last successful reduction, increasing; empty before one.
  virtual const std::vector<int>& SuppressedDofs() const;
  /// Why the last Reduce found too little memory: what was needed and what this process may still take; empty
  /// otherwise.
  const std::string& Shortage() const;
  double MaxMinRatio() const override;

  bool Write(std::FILE* f) override;
  bool Read(std::FILE* f) override;

protected:
  void DropFactors() override;

private:
  int ResultCode() const;
  static bool ReadInto(sparse::ImageReader& image, CCompColumn& m);

  struct Engine;
  std::unique_ptr<Engine> m_engine;
};

}  // namespace Matrix
}  // namespace Vessa
