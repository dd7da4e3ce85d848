#pragma once
#include <vector>

#include "../containers/CVector.h"

namespace Vessa {
namespace Matrix {

/// Diagonal matrix d(1)..d(n) of doubles: a lumped mass matrix, or the diagonal taken out of a stiffness
/// matrix. Indices are 1-based and not checked; copies are deep.
class VEMATRIX_API CDiag {
public:
  /// n entries of 0.0.
  CDiag(int n = 0);
  /// n entries of v.
  CDiag(int n, double v);
  CDiag(const CDiag&);
  CDiag& operator=(const CDiag&);
  ~CDiag();

  int NumDof() const;
  /// The current count: keeps the entries. Any other: n entries of 0.0.
  void SetNumDof(int n);
  void SetAll(double v);
  /// d(i) when i equals j, otherwise 0.0.
  double GetAt(int i, int j) const;
  /// d(i) = v; j is ignored.
  void SetAt(int i, int j, double v);
  /// d(i); j is ignored.
  double& ElementAt(int i, int j);

  /// Every entry times s.
  CDiag operator*(double s) const;
  /// Element i = x(i)·d(i) over the diagonal's size; x must have at least that many elements.
  CVector operator*(const CVector& x) const;
  /// The same into y, which is sized to the diagonal; y may be x.
  void Multiply(const CVector& x, CVector& y) const;
  /// Σ phi(i)·d(i)·phi(i), summed in index order: the generalised mass of a mode shape. 0.0 for an empty
  /// diagonal.
  double PhiT_M_Phi(const CVector& phi) const;

  // Three inversions, which differ in what an entry of exactly 0.0 leaves behind. NaN is inverted like any
  // other value.

  /// In place. With a zero entry: false, nothing changed.
  bool Invert();
  /// Sizes out with SetNumDof and fills it from entry 1. At the first zero entry: false, out holds the
  /// reciprocals so far, followed by what SetNumDof left (zeros when it resized, the old entries when out had
  /// this size already).
  bool Inverse(CDiag& out) const;
  /// With a zero entry: an empty diagonal.
  CDiag Inverse() const;

private:
  std::vector<double> m_d;
};

}  // namespace Matrix
}  // namespace Vessa
