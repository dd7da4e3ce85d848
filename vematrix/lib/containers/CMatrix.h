#pragma once
#include <string>
#include <Eigen/Core>
#include "../containers/CVector.h"
namespace Vessa { namespace Matrix {
// CMatrix<1>: column-major. CMatrix<0>: row-major (a row's right-hand sides lie
// side by side, which is what the skyline block solve wants). Only these two are instantiated and exported.
template <int Layout> class CMatrix {
  static_assert(Layout == 0 || Layout == 1, "CMatrix<0> or CMatrix<1>");
public:
  typedef Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Layout == 1 ? Eigen::ColMajor : Eigen::RowMajor> Inner_t;
  CMatrix();
  CMatrix(int rows, int cols);                     // zeros
  CMatrix(int rows, int cols, double v);
  CMatrix(const CMatrix&);
  CMatrix(CMatrix&&) noexcept;
  explicit CMatrix(const Eigen::MatrixXd& m);
  CMatrix& operator=(const CMatrix&);
  CMatrix& operator=(CMatrix&&) noexcept;
  ~CMatrix();
  int  NumRows() const;
  int  NumCols() const;
  bool SetSize(int rows, int cols);                // same shape: kept; else zeros
  void SetAll(double v);
  double& ElementAt(int i, int j);                 // 1-based
  const double& ElementAt(int i, int j) const;
  double GetAt(int i, int j) const;
  void SetAt(int i, int j, const double& v);
  void AddAt(int i, int j, const double& v);
  double* Array();  const double* Array() const;
  Inner_t& Inner(); const Inner_t& Inner() const;
  bool Dump(const char* fileName = "", const char* folder = "", bool flag = false) const;   // default name "matrix.csv"
private: Inner_t m_m;
};
extern template class VEMATRIX_API CMatrix<0>;
extern template class VEMATRIX_API CMatrix<1>;
}}
