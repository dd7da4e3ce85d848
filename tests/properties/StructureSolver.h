#pragma once
#include <algorithm>
#include <vector>

#include "solution/CSolnMatrix.h"
#include "support/Terms.h"

namespace properties {

/// The facade with a structure of n dofs in it, by one of its methods.
class Solver {
public:
  Solver(Vessa::Matrix::SolMethod method, int n, const std::vector<test_support::Term>& terms) : m_n(n) {
    m_matrix.SetMethod(method);
    m_matrix.SetNumDof(n);
    test_support::Assemble(terms, m_matrix);
    m_matrix.Finalize();
  }
  int Reduce(Vessa::Matrix::Option option = Vessa::Matrix::OptStiffness) {
    return m_matrix.Reduce(option, zeroDofs);
  }
  std::vector<double> Solve(const std::vector<double>& load) {
    Vessa::Matrix::CVector x(m_n, 0.0);
    std::copy(load.begin(), load.end(), x.Array());
    m_matrix.BackSubstitute(x);
    return std::vector<double>(x.Array(), x.Array() + m_n);
  }
  Vessa::Matrix::CSolnMatrix& Matrix() { return m_matrix; }
  std::vector<int> zeroDofs;

private:
  int m_n;
  Vessa::Matrix::CSolnMatrix m_matrix;
};

}  // namespace properties
