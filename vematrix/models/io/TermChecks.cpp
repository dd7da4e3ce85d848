#include "models/io/TermChecks.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

#include "containers/Memory.h"
#include "models/io/FileError.h"

namespace vematrix {
namespace models {
namespace {

void require(const char* what, std::size_t bytes) {
  Vessa::Matrix::RequireMemory(what, static_cast<std::int64_t>(bytes));
}

/// The positions of the terms of each column: column c (from 1) holds order[start[c-1]] .. order[start[c]-1],
/// in the order of the list.
struct ColumnLists {
  std::vector<std::size_t> start, order;

  ColumnLists(int n, const std::vector<int>& col)
      : start(static_cast<std::size_t>(n) + 1, 0), order(col.size()) {
    for (int c : col) ++start[static_cast<std::size_t>(c)];
    for (std::size_t c = 1; c < start.size(); ++c) start[c] += start[c - 1];
    std::vector<std::size_t> next(start.begin(), start.end() - 1);
    for (std::size_t k = 0; k < col.size(); ++k) order[next[static_cast<std::size_t>(col[k]) - 1]++] = k;
  }
};

std::string position(int row, int col) {
  return "(" + std::to_string(row) + ", " + std::to_string(col) + ")";
}

/// Finds the first term of the list (in list order) that repeats an earlier position; size() when none does.
std::size_t firstRepeated(const SymmetricTerms& terms) {
  require("looking for repeated terms", 8 * terms.size() + 20 * static_cast<std::size_t>(terms.n));
  const ColumnLists columns(terms.n, terms.col);
  std::vector<int> seenIn(static_cast<std::size_t>(terms.n) + 1, 0);
  std::size_t first = terms.size();
  for (int c = 1; c <= terms.n; ++c)
    for (std::size_t p = columns.start[static_cast<std::size_t>(c) - 1];
         p < columns.start[static_cast<std::size_t>(c)]; ++p) {
      const std::size_t k = columns.order[p];
      int& seen = seenIn[static_cast<std::size_t>(terms.row[k])];
      if (seen == c) first = std::min(first, k);
      seen = c;
    }
  return first;
}

}  // namespace

void refuseDuplicates(const std::string& path, const SymmetricTerms& terms, bool symmetric,
                      const TermLine& lineOf) {
  const std::size_t k = firstRepeated(terms);
  if (k == terms.size()) return;
  throw FileError(
      path, lineOf(k),
      "position " + position(terms.row[k], terms.col[k]) +
          (symmetric ? " of the upper triangle given twice, expected every pair of a symmetric file once"
                     : " given twice, expected every position once"));
}

namespace {

constexpr double symmetryTolerance = 1e-12;

/// Sorts by the smaller index, then the larger, then upper before lower; the file's order is kept as
/// position.
struct Side {
  int low, high;
  bool below;
  std::size_t at;
  bool operator<(const Side& other) const {
    if (low != other.low) return low < other.low;
    if (high != other.high) return high < other.high;
    return below < other.below;
  }
};

std::vector<Side> sides(const SymmetricTerms& terms) {
  require("comparing the triangles", sizeof(Side) * terms.size());
  std::vector<Side> result(terms.size());
  for (std::size_t k = 0; k < terms.size(); ++k)
    result[k] = {std::min(terms.row[k], terms.col[k]), std::max(terms.row[k], terms.col[k]),
                 terms.row[k] > terms.col[k], k};
  std::sort(result.begin(), result.end());
  return result;
}

std::vector<double> magnitudeOfDiagonal(const SymmetricTerms& terms) {
  std::vector<double> diagonal(static_cast<std::size_t>(terms.n) + 1, 0.0);
  for (std::size_t k = 0; k < terms.size(); ++k)
    if (terms.row[k] == terms.col[k])
      diagonal[static_cast<std::size_t>(terms.row[k])] = std::fabs(terms.value[k]);
  return diagonal;
}

}  // namespace

void foldGeneral(const std::string& path, SymmetricTerms& terms, const TermLine& lineOf) {
  const std::vector<Side> sorted = sides(terms);
  const std::vector<double> diagonal = magnitudeOfDiagonal(terms);
  SymmetricTerms upper;
  upper.n = terms.n;
  upper.reserve(terms.size() / 2 + static_cast<std::size_t>(terms.n));
  std::size_t firstWrong = terms.size();
  for (std::size_t p = 0; p < sorted.size();) {
    const Side& side = sorted[p];
    if (side.low == side.high) {
      upper.add(side.low, side.high, terms.value[side.at]);
      ++p;
      continue;
    }
    const bool paired =
        p + 1 < sorted.size() && sorted[p + 1].low == side.low && sorted[p + 1].high == side.high;
    const std::size_t otherAt = paired ? sorted[p + 1].at : side.at;
    const double one = terms.value[side.at], other = paired ? terms.value[otherAt] : 0.0;
    const double scale = std::max({std::fabs(one), std::fabs(other),
                                   std::sqrt(diagonal[static_cast<std::size_t>(side.low)]) *
                                       std::sqrt(diagonal[static_cast<std::size_t>(side.high)])});
    if (std::fabs(one - other) > symmetryTolerance * scale)
      firstWrong = std::min(firstWrong, std::max(side.at, otherAt));
    upper.add(side.low, side.high, 0.5 * one + 0.5 * other);
    p += paired ? 2 : 1;
  }
  if (firstWrong != terms.size()) {
    const int row = terms.row[firstWrong], col = terms.col[firstWrong];
    throw FileError(path, lineOf(firstWrong),
                    "matrix is not symmetric: the value at " + position(row, col) + " differs from that at " +
                        position(col, row) + ", expected a symmetric matrix");
  }
  terms = std::move(upper);
}

void setPatternValues(SymmetricTerms& terms, PatternValues pattern) {
  if (pattern == PatternValues::Ones) return;
  std::vector<double> degree(static_cast<std::size_t>(terms.n) + 1, 0.0);
  SymmetricTerms laplacian;
  laplacian.n = terms.n;
  laplacian.reserve(terms.size() + static_cast<std::size_t>(terms.n));
  for (std::size_t k = 0; k < terms.size(); ++k) {
    if (terms.row[k] == terms.col[k]) continue;
    laplacian.add(terms.row[k], terms.col[k], -1.0);
    degree[static_cast<std::size_t>(terms.row[k])] += 1.0;
    degree[static_cast<std::size_t>(terms.col[k])] += 1.0;
  }
  const double shift = pattern == PatternValues::LaplacianPlusOne ? 1.0 : 0.0;
  for (int d = 1; d <= terms.n; ++d) laplacian.add(d, d, degree[static_cast<std::size_t>(d)] + shift);
  terms = std::move(laplacian);
}

}  // namespace models
}  // namespace vematrix
