#pragma once
#include <Eigen/SparseCore>
#include <cstddef>
#include <vector>

namespace vematrix {
namespace models {

/// A symmetric matrix as a list of upper-triangle terms: what an assembly hands over, what a matrix file
/// holds.
///
/// Term k is a(row[k], col[k]) = value[k] with 1 <= row[k] <= col[k] <= n (dofs count from 1). A position may
/// occur more than once; its terms add up. The three arrays have equal lengths. An object is a sink like
/// `AddTerm`: `model.assembleStiffness(terms)` appends to it.
struct SymmetricTerms {
  int n = 0;  ///< number of dofs (rows and columns)
  std::vector<int> row, col;
  std::vector<double> value;

  /// Number of terms in the list, duplicates counted one by one.
  std::size_t size() const { return value.size(); }

  /// Makes room for `count` terms in all.
  void reserve(std::size_t count);

  /// Appends a(i, j) += v. @pre 1 <= i <= j <= n (not checked, as in an assembly loop)
  void add(int i, int j, double v) {
    row.push_back(i);
    col.push_back(j);
    value.push_back(v);
  }
  void operator()(int i, int j, double v) { add(i, j, v); }

  /// Merges the terms of a position into one and sorts by column, then row. Terms of a position are added in
  /// the order they were appended; a sum of zero stays stored. Cost: O(terms + n) time, one more copy of the
  /// terms.
  void sumDuplicates();

  /// Hands every term to `sink(i, j, v)` in stored order.
  template <class Sink>
  void forEach(Sink&& sink) const {
    for (std::size_t k = 0; k < value.size(); ++k) sink(row[k], col[k], value[k]);
  }
};

/// The lower triangle as a compressed-column matrix: the form the library's sparse engines read. Duplicates
/// are summed; every diagonal position is stored, with 0.0 where the list has no term for it.
/// @throws std::length_error when the merged terms do not fit 32-bit indices
Eigen::SparseMatrix<double, 0, int> toLowerTriangle(const SymmetricTerms& terms);

/// The stored lower triangle of `lower` as a term list (entries above the diagonal are ignored).
SymmetricTerms fromLowerTriangle(const Eigen::SparseMatrix<double, 0, int>& lower);

}  // namespace models
}  // namespace vematrix
