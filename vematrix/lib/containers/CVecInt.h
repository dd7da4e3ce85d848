#pragma once
#include <vector>

#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// Small set of integers in the order of insertion, or ascending after Sort. Every insertion and query is a
/// linear search, which suits a few dozen members.
class VEMATRIX_API CVecInt {
public:
  CVecInt();
  CVecInt(const CVecInt&);
  CVecInt& operator=(const CVecInt&);
  ~CVecInt();
  /// Appends v unless it is present.
  void SetVal(int v);
  bool Exist(int v) const;
  /// The member at 0-based position k; not checked.
  const int& Row(int k) const;
  int Size() const;
  /// Ascending order.
  void Sort();

private:
  std::vector<int> m_val;
};

}  // namespace Matrix
}  // namespace Vessa
