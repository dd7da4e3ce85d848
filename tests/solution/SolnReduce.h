#pragma once
#include <vector>

#include "SolnFixture.h"

namespace test_support {

inline int ReduceQuietly(Vessa::Matrix::CSolnMatrix& k, int option, std::vector<int>& zeroDofs) {
  return Quietly([&] { return k.Reduce(static_cast<Vessa::Matrix::Option>(option), zeroDofs); });
}

inline int ReduceQuietly(Vessa::Matrix::CSolnMatrix& k, int option) {
  std::vector<int> zeroDofs;
  return ReduceQuietly(k, option, zeroDofs);
}

// Two springs in a row, the second end free: dof 3 hangs on nothing.
const std::vector<Term> kLooseDof = {{1, 1, 4.0}, {1, 2, -2.0}, {2, 2, 2.0}};

// One negative eigenvalue.
const std::vector<Term> kIndefinite = {{1, 1, 1.0}, {1, 2, 2.0}, {2, 2, 1.0}};

}  // namespace test_support
