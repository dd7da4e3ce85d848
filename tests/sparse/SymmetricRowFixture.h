#pragma once
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
