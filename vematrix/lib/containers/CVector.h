#pragma once
#include <Eigen/Core>
#include <cstddef>
#include <new>
#include <string>

#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// Dense vector of doubles over one Eigen column vector: the load vector that goes into a solve and the
/// displacement vector that comes back in the same object.
///
/// Elements are numbered from 1 like the degrees of freedom, except in the ...AtIndex accessors, in Array()
/// and in Inner(), which count from 0. No access checks its index in release builds; with assertions enabled,
/// Eigen's checks are active. The storage is 32-byte aligned, and so is a CVector created by `new`.
///
/// Copies are deep. A moved-from vector is empty (no storage, size 0). When an allocation fails
/// (std::bad_alloc), an assigned or resized vector is left empty.
class VEMATRIX_API CVector {
public:
  /// Empty vector: size 0, no storage.
  CVector();
  /// n elements, NOT initialised. A negative n throws std::bad_alloc.
  CVector(int n);
  /// n elements, NOT initialised; needed where Eigen::Index is long, since the call would otherwise be
  /// ambiguous.
  CVector(long n);
  /// n elements, NOT initialised.
  CVector(long long n);
  /// n elements, all equal to value.
  CVector(int n, double value);
  CVector(const CVector& b);
  CVector(const Eigen::VectorXd& v);
  /// Takes the storage of b, which becomes empty.
  CVector(CVector&& b) noexcept;
  ~CVector();
  /// Deep copy. If the sizes differ the old storage is freed before the new one is allocated.
  CVector& operator=(const CVector& b);
  /// Takes the storage of b, which becomes empty; assigning a vector to itself changes nothing.
  CVector& operator=(CVector&& b) noexcept;
  /// Takes the storage of v, which becomes empty.
  CVector& operator=(Eigen::VectorXd&& v) noexcept;
  /// Exchanges storage and size, without copying elements.
  void swap(CVector& b) noexcept;

  /// Element i by value, 1-based.
  double operator[](int i) const;
  /// Element i, 1-based.
  double& operator[](int i);
  double& ElementAt(int i);
  const double& ElementAt(int i) const;
  const double& GetAt(int i) const;
  /// Element at 0-based position k.
  double& ElementAtIndex(int k);
  double GetAtIndex(int k) const;
  /// Element i = v, 1-based.
  void SetAt(int i, const double& v);
  /// Element i += v, 1-based.
  void AddAt(int i, const double& v);
  /// First element, null for an empty vector.
  double* Array();
  const double* Array() const;
  double* ArrayRef();
  const double* ArrayRef() const;
  /// The wrapped Eigen vector, 0-based.
  Eigen::VectorXd& Inner();
  const Eigen::VectorXd& Inner() const;

  int Size() const;
  int NumDof() const;
  /// Same size: nothing happens. Otherwise the contents are lost and the n new elements are NOT initialised.
  void SetSize(int n);
  /// SetSize(n); always true.
  bool SetNumDof(int n);
  void SetAll(double v);

  /// Largest and smallest element and largest absolute value; NaN when any element is NaN, 0.0 for an empty
  /// vector.
  double Max() const;
  double Min() const;
  double MaxAbs() const;
  /// Sum of the elements, 0.0 for an empty vector.
  double Sum() const;
  /// Euclidean norm √(Σ x(i)²), 0.0 for an empty vector; the squares overflow beyond about 1e154.
  double Norm() const;
  /// Sum of products over this vector's size; 0.0 when b is empty. Otherwise b must have at least Size()
  /// elements.
  double Dot(const CVector& b) const;
  /// The same as Dot.
  double operator*(const CVector& b) const;

  // Element-wise arithmetic over this vector's size; b must have at least that many elements. Divisions are
  // true divisions, element by element, never a product with the reciprocal.
  CVector operator+(const CVector& b) const;
  CVector operator-(const CVector& b) const;
  CVector operator*(double s) const;
  CVector operator/(double s) const;
  CVector& operator+=(const CVector& b);
  CVector& operator-=(const CVector& b);
  CVector& operator*=(double s);
  CVector& operator/=(double s);
  void AddVector(const CVector& b);
  /// this += f·b
  void AddFactoredVector(double f, const CVector& b);
  /// Copies the first Size() elements of b into this vector's storage; does not resize.
  void Copy(const CVector& b);

  /// Does nothing.
  void Trace(const std::string& text) const;

  /// Writes the vector as text: "VECTOR DUMP", an empty line, then "i,value" per element (i from 1, six
  /// significant digits).
  ///
  /// @param fileName  "" means "vector.csv". A name that holds a backslash (off Windows also a slash) is used
  /// as it
  ///                  stands; a bare name is placed in the folder given by the environment variable TEMP.
  /// @param folder    when not empty, takes the place of TEMP.
  /// @param flag      true appends to an existing file, false replaces it.
  /// @return false when there is no folder for a bare name, or the file cannot be opened or written.
  bool Dump(const char* fileName = "", const char* folder = "", bool flag = false) const;

  // Heap allocation with 32-byte alignment. A failed allocation throws std::bad_alloc, in the nothrow form
  // too (which therefore is not noexcept); size zero gives null.
  static void* operator new(std::size_t size);
  static void* operator new[](std::size_t size);
  static void* operator new(std::size_t size, void* p) noexcept;
  static void* operator new[](std::size_t size, void* p) noexcept;
  static void* operator new(std::size_t size, const std::nothrow_t&);
  static void operator delete(void* p) noexcept;
  static void operator delete[](void* p) noexcept;
  static void operator delete(void* p, std::size_t) noexcept;
  static void operator delete[](void* p, std::size_t) noexcept;
  static void operator delete(void* p, void* place) noexcept;
  static void operator delete[](void* p, void* place) noexcept;
  static void operator delete(void* p, const std::nothrow_t&) noexcept;

private:
  Eigen::VectorXd m_v;
};

}  // namespace Matrix
}  // namespace Vessa
