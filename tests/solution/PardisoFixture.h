#pragma once
#include <gtest/gtest.h>

#include "solution/Pardiso.h"
#include "support/DenseReference.h"
#include "support/Engines.h"

namespace test_support {

using Sparse = Eigen::SparseMatrix<double, 0, int>;

constexpr char kSolveLine[] = "\nPardiso: error in the solve phase: ";

inline Eigen::VectorXd Ones(int n) {
  return Eigen::VectorXd::Ones(n);
}

// Upper triangle {4, 1, 0; 3, 1; 5} as the solver wants it.
inline Sparse SmallMatrix() {
  return LowerTriangle(3, {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 3.0}, {2, 3, 1.0}, {3, 3, 5.0}});
}

class PardisoContract : public ::testing::TestWithParam<Vessa::Matrix::PardisoEngine> {
protected:
  void Choose(Vessa::Matrix::Pardiso& solver) const { ASSERT_TRUE(solver.SetEngine(GetParam())); }
};

}  // namespace test_support
