#pragma once
#include <Eigen/SparseCore>
#include <vector>

namespace test_support {

/// A term a(i,j) of a symmetric matrix, 1-based; lists of terms hold the upper triangle (i <= j) and every
/// diagonal term. Terms on the same place add up.
struct Term {
  int i;
  int j;
  double value;
};

/// Hands every term to anything that has AddTerm(i, j, value).
template <class Sink>
void Assemble(const std::vector<Term>& terms, Sink& sink) {
  for (const Term& t : terms) sink.AddTerm(t.i, t.j, t.value);
}

/// The compressed-column matrix that holds the lower triangle, as PARDISO and the eigensolvers read it.
inline Eigen::SparseMatrix<double, 0, int> LowerTriangle(int n, const std::vector<Term>& terms) {
  std::vector<Eigen::Triplet<double, int>> triplets;
  for (const Term& t : terms) triplets.emplace_back(t.j - 1, t.i - 1, t.value);
  Eigen::SparseMatrix<double, 0, int> a(n, n);
  a.setFromTriplets(triplets.begin(), triplets.end());
  a.makeCompressed();
  return a;
}

/// The terms of a matrix that stores its lower triangle; entries above the diagonal are not read.
inline std::vector<Term> TermsOfLower(const Eigen::SparseMatrix<double, 0, int>& a) {
  std::vector<Term> terms;
  for (int c = 0; c < a.outerSize(); ++c)
    for (Eigen::SparseMatrix<double, 0, int>::InnerIterator it(a, c); it; ++it)
      if (it.row() >= c) terms.push_back({c + 1, static_cast<int>(it.row()) + 1, it.value()});
  return terms;
}

}  // namespace test_support
