#pragma once
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "sparse/CSymmetricRow.h"
#include "support/Terms.h"

/// The row-stored matrix of a list of upper-triangle terms, ready for the factorisation.
template <class Row = Vessa::Matrix::CSymmetricRow>
Row RowMatrix(int n, const std::vector<test_support::Term>& terms) {
  Row a;
  a.SetNumDof(n);
  for (const auto& t : terms) a.AllocateAt(t.i, t.j);
  a.Sort();
  for (const auto& t : terms) a.AddAt(t.i, t.j, t.value);
  a.StoreFirstRow();
  return a;
}

/// The factor by the fast numeric stage and by the slow one, which defines it.
struct RowFactors {
  Vessa::Matrix::CSymmetricRow fast, slow;
};

inline RowFactors BothFactors(const Vessa::Matrix::CSymmetricRow& a) {
  RowFactors f;
  f.fast.SymbolicFactorization(a);
  f.slow = f.fast;
  f.fast.Factorization(a);
  f.slow.SlowFactorization(a);
  return f;
}

/// The same entries with equal values, NaN equal to NaN.
inline ::testing::AssertionResult Identical(const Vessa::Matrix::CSymmetricRow& a,
                                            const Vessa::Matrix::CSymmetricRow& b) {
  const auto same = [](double x, double y) { return x == y || (std::isnan(x) && std::isnan(y)); };
  if (a.Size() != b.Size())
    return ::testing::AssertionFailure() << a.Size() << " and " << b.Size() << " entries";
  for (int i = 1; i <= a.NumDof(); ++i)
    for (int j = i; j <= a.NumDof(); ++j)
      if (a.Exist(i, j) != b.Exist(i, j) || !same(a.GetAt(i, j), b.GetAt(i, j)))
        return ::testing::AssertionFailure()
               << "u(" << i << "," << j << ") = " << a.GetAt(i, j) << " and " << b.GetAt(i, j);
  return ::testing::AssertionSuccess();
}
