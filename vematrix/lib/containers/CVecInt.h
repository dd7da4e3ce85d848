#pragma once
#include <vector>
#include "../containers/types.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CVecInt {
public:
  CVecInt(); CVecInt(const CVecInt&); CVecInt& operator=(const CVecInt&); ~CVecInt();
  void SetVal(int v);
  bool Exist(int v) const;
  const int& Row(int k) const;                     // 0-based position
  int  Size() const;
  void Sort();
private: std::vector<int> m_val;
};
}}
