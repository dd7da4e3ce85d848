#pragma once
#include <vector>
#include "../containers/types.h"
namespace Vessa { namespace Matrix {
class VEMATRIX_API CMatInt {
public:
  CMatInt(); CMatInt(const CMatInt&); CMatInt& operator=(const CMatInt&); ~CMatInt();
  void SetSize(int n);
  void SetVal(int row, int col);
  bool Exist(int row, int col) const;
  const int& ColRow(int col, int k) const;         // col 1-based, k 0-based
  int  ColSize(int col) const;
  int  Size() const;
  void Sort();
  void Clear();
private: std::vector<std::vector<int>> m_col;
};
}}
