#pragma once
#include <cstddef>
#include <new>
#include <string>
#include <Eigen/Core>
#include "../containers/types.h"

namespace Vessa { namespace Matrix {

class VEMATRIX_API CVector {
public:
  CVector();
  CVector(int n);                                  // NOT initialised
  CVector(long n);                                 // on LP64 Eigen::Index is long, else the call is ambiguous
  CVector(long long n);                            // NOT initialised
  CVector(int n, double value);
  CVector(const CVector& b);
  CVector(const Eigen::VectorXd& v);
  CVector(CVector&& b) noexcept;                   // b becomes empty (null storage, size 0)
  ~CVector();
  CVector& operator=(const CVector& b);
  CVector& operator=(CVector&& b) noexcept;        // b becomes EMPTY (Eigen's own move assignment swaps)
  CVector& operator=(Eigen::VectorXd&& v) noexcept;
  void swap(CVector& b) noexcept;

  double  operator[](int i) const;                 // 1-based, value
  double& operator[](int i);                       // 1-based
  double& ElementAt(int i);
  const double& ElementAt(int i) const;
  const double& GetAt(int i) const;                // 1-based
  double& ElementAtIndex(int k);                   // 0-based
  double  GetAtIndex(int k) const;                 // 0-based
  void SetAt(int i, const double& v);
  void AddAt(int i, const double& v);
  double* Array();                const double* Array() const;
  double* ArrayRef();             const double* ArrayRef() const;
  Eigen::VectorXd& Inner();       const Eigen::VectorXd& Inner() const;

  int  Size() const;
  int  NumDof() const;
  void SetSize(int n);
  bool SetNumDof(int n);
  void SetAll(double v);

  double Max() const;  double Min() const;  double MaxAbs() const;
  double Sum() const;  double Norm() const;
  double Dot(const CVector& b) const;
  double operator*(const CVector& b) const;

  CVector operator+(const CVector& b) const;
  CVector operator-(const CVector& b) const;
  CVector operator*(double s) const;
  CVector operator/(double s) const;
  CVector& operator+=(const CVector& b);
  CVector& operator-=(const CVector& b);
  CVector& operator*=(double s);
  CVector& operator/=(double s);
  void AddVector(const CVector& b);
  void AddFactoredVector(double f, const CVector& b);
  void Copy(const CVector& b);

  void Trace(const std::string& text) const;       // does nothing
  bool Dump(const char* fileName = "", const char* folder = "", bool flag = false) const;

  static void* operator new(std::size_t size);
  static void* operator new[](std::size_t size);
  static void* operator new(std::size_t size, void* p) noexcept;
  static void* operator new[](std::size_t size, void* p) noexcept;
  static void* operator new(std::size_t size, const std::nothrow_t&);   // also THROWS on failure; so not noexcept
  static void  operator delete(void* p) noexcept;
  static void  operator delete[](void* p) noexcept;
  static void  operator delete(void* p, std::size_t) noexcept;
  static void  operator delete[](void* p, std::size_t) noexcept;
  static void  operator delete(void* p, void* place) noexcept;          // nothing
  static void  operator delete[](void* p, void* place) noexcept;        // nothing
  static void  operator delete(void* p, const std::nothrow_t&) noexcept;
private:
  Eigen::VectorXd m_v;                             // the only member
};
}}
