#pragma once
#include <cstring>
#include <vector>

#include "skyline/CSkyLine.h"
#include "support/RandomMatrix.h"

/// Skyline matrices for the tests of this folder.
namespace skyline_test {

using test_support::Term;

/// An assembled matrix of the given heights (element j for column j, element 0 unused) and terms.
inline Vessa::Matrix::CSkyLine MakeSkyline(const std::vector<int>& height, const std::vector<Term>& terms) {
  const int n = static_cast<int>(height.size()) - 1;
  Vessa::Matrix::CSkyLine matrix;
  matrix.SetNumDof(n);
  for (int j = 1; j <= n; ++j) matrix.SetColHeight(j, height[j]);
  matrix.CreateIndex();
  for (const Term& t : terms) matrix.ElementAt(t.i, t.j) += t.value;
  matrix.SetAssemble();
  return matrix;
}

/// The heights that just hold the terms.
inline std::vector<int> HeightsOf(int n, const std::vector<Term>& terms) {
  std::vector<int> height(n + 1, 1);
  for (const Term& t : terms) height[t.j] = std::max(height[t.j], t.j - t.i + 1);
  return height;
}

inline Vessa::Matrix::CSkyLine MakeSkyline(int n, const std::vector<Term>& terms) {
  return MakeSkyline(HeightsOf(n, terms), terms);
}

/// All stored terms, column by column from the diagonal upwards: the order of the value store.
inline std::vector<double> ValuesOf(const Vessa::Matrix::CSkyLine& matrix) {
  std::vector<double> values;
  for (int j = 1; j <= matrix.NumDof(); ++j)
    for (int i = j; i > j - matrix.ColHeight(j); --i) values.push_back(matrix.GetAt(i, j));
  return values;
}

/// Whether two arrays hold the same bits; unlike == it tells 0.0 from −0.0 and takes NaN for equal to itself.
inline bool SameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

}  // namespace skyline_test
