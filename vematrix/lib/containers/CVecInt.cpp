#include "CVecInt.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {

CVecInt::CVecInt() = default;
CVecInt::CVecInt(const CVecInt&) = default;
CVecInt& CVecInt::operator=(const CVecInt&) = default;
CVecInt::~CVecInt() = default;

void CVecInt::SetVal(int v) {
  if (!Exist(v)) m_val.push_back(v);
}

bool CVecInt::Exist(int v) const {
  return std::find(m_val.begin(), m_val.end(), v) != m_val.end();
}
const int& CVecInt::Row(int k) const {
  return m_val[k];
}
int CVecInt::Size() const {
  return static_cast<int>(m_val.size());
}
void CVecInt::Sort() {
  std::sort(m_val.begin(), m_val.end());
}

}  // namespace Matrix
}  // namespace Vessa
