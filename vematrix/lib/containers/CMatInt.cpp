#include "CMatInt.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {

CMatInt::CMatInt() = default;
CMatInt::CMatInt(const CMatInt&) = default;
CMatInt& CMatInt::operator=(const CMatInt&) = default;
CMatInt::~CMatInt() = default;

void CMatInt::SetSize(int n) {
  m_col.resize(n);
}

void CMatInt::SetVal(int row, int col) {
  if (col > Size()) SetSize(col);
  if (!Exist(row, col)) m_col[col - 1].push_back(row);
}

bool CMatInt::Exist(int row, int col) const {
  if (col > Size()) return false;
  const std::vector<int>& rows = m_col[col - 1];
  return std::find(rows.begin(), rows.end(), row) != rows.end();
}

const int& CMatInt::ColRow(int col, int k) const {
  return m_col[col - 1][k];
}
int CMatInt::ColSize(int col) const {
  return static_cast<int>(m_col[col - 1].size());
}
int CMatInt::Size() const {
  return static_cast<int>(m_col.size());
}

void CMatInt::Sort() {
  for (std::vector<int>& rows : m_col) std::sort(rows.begin(), rows.end());
}

void CMatInt::Clear() {
  m_col.clear();
}

}  // namespace Matrix
}  // namespace Vessa
