#include "models/io/SymmetricTerms.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "containers/Memory.h"

namespace vematrix {
namespace models {
namespace {

void require(const char* what, std::size_t bytes) {
  Vessa::Matrix::RequireMemory(what, static_cast<std::int64_t>(bytes));
}

// Stable counting sort of the positions 0..key.size()-1, visited in the order `in`, by key (1..n).
std::vector<std::size_t> sortedBy(const std::vector<int>& key, int n, const std::vector<std::size_t>& in) {
  std::vector<std::size_t> start(static_cast<std::size_t>(n) + 2, 0);
  for (int k : key) ++start[static_cast<std::size_t>(k) + 1];
  for (std::size_t c = 1; c < start.size(); ++c) start[c] += start[c - 1];
  std::vector<std::size_t> out(in.size());
  for (std::size_t p : in) out[start[static_cast<std::size_t>(key[p])]++] = p;
  return out;
}

// Column by column, rows rising, equal positions in the order they were appended.
std::vector<std::size_t> columnOrder(const SymmetricTerms& t) {
  std::vector<std::size_t> order(t.size());
  for (std::size_t k = 0; k < order.size(); ++k) order[k] = k;
  return sortedBy(t.col, t.n, sortedBy(t.row, t.n, order));
}

}  // namespace

void SymmetricTerms::reserve(std::size_t count) {
  require("the terms", 16 * count);
  row.reserve(count);
  col.reserve(count);
  value.reserve(count);
}

void SymmetricTerms::sumDuplicates() {
  require("sorting the terms", 40 * size());  // two orders of 64-bit positions, and the sorted copy
  SymmetricTerms merged;
  merged.n = n;
  merged.reserve(size());
  for (std::size_t k : columnOrder(*this)) {
    if (!merged.value.empty() && merged.row.back() == row[k] && merged.col.back() == col[k])
      merged.value.back() += value[k];
    else
      merged.add(row[k], col[k], value[k]);
  }
  *this = std::move(merged);
}

Eigen::SparseMatrix<double, 0, int> toLowerTriangle(const SymmetricTerms& terms) {
  if (terms.size() + static_cast<std::size_t>(terms.n) >
      static_cast<std::size_t>(std::numeric_limits<int>::max()))
    throw std::length_error("toLowerTriangle: " + std::to_string(terms.size()) +
                            " terms do not fit 32-bit indices");
  require("the matrix in compressed columns", 40 * terms.size());  // triplets, the matrix and its transpose
  std::vector<Eigen::Triplet<double, int>> triplets;
  triplets.reserve(terms.size() + static_cast<std::size_t>(terms.n));
  terms.forEach([&](int i, int j, double v) { triplets.emplace_back(j - 1, i - 1, v); });
  for (int d = 0; d < terms.n; ++d) triplets.emplace_back(d, d, 0.0);
  Eigen::SparseMatrix<double, 0, int> lower(terms.n, terms.n);
  lower.setFromTriplets(triplets.begin(), triplets.end());
  return lower;
}

SymmetricTerms fromLowerTriangle(const Eigen::SparseMatrix<double, 0, int>& lower) {
  SymmetricTerms terms;
  terms.n = static_cast<int>(lower.cols());
  terms.reserve(static_cast<std::size_t>(lower.nonZeros()));
  for (int j = 0; j < lower.outerSize(); ++j)
    for (Eigen::SparseMatrix<double, 0, int>::InnerIterator it(lower, j); it; ++it)
      if (it.row() >= it.col())
        terms.add(static_cast<int>(it.col()) + 1, static_cast<int>(it.row()) + 1, it.value());
  return terms;
}

}  // namespace models
}  // namespace vematrix
