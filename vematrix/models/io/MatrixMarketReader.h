#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace models {

/// What the entries of a file without values (field "pattern") stand for.
enum class PatternValues {
  Ones,              ///< every entry is 1
  Laplacian,         ///< degree of the node minus adjacency, the diagonal of the file ignored; singular
  LaplacianPlusOne,  ///< the same plus the identity; positive definite, smallest eigenvalue 1
};

/// Reads a symmetric matrix from a Matrix Market file, plain or gzip.
///
/// Accepted are the formats coordinate and array with the fields real, integer and pattern (coordinate only).
/// Under "symmetric" either triangle may be given, an off-diagonal pair once. Under "general" both triangles
/// must be there and agree: |a(i,j) - a(j,i)| <= 1e-12 max(|a(i,j)|, |a(j,i)|, sqrt|a(i,i) a(j,j)|), which
/// admits the rounding of an assembly; the mean of the two is kept.
/// @return upper-triangle terms, in the order of the file
/// @throws FileError (one line, with the line in the file and what was expected) for a file that is missing,
///   a directory, mislabelled, cut short, too long, not square, empty (0 rows) or not symmetric, for an index
///   outside 1..n, a position given twice and a value that is not a finite number.
/// Cost: O(entries + n); the text is held in memory once.
/// Source: Boisvert, Pozo, Remington, The Matrix Market Exchange Formats, NISTIR 5935 (1996).
SymmetricTerms readMatrixMarket(const std::string& path, PatternValues pattern = PatternValues::Ones);

/// The same for a text already in memory; `path` serves the messages.
SymmetricTerms parseMatrixMarket(const std::string& path, std::string_view text,
                                 PatternValues pattern = PatternValues::Ones);

/// A dense matrix of load or solution vectors: value[r + rows * c], r and c from 0.
struct DenseColumns {
  int rows = 0, cols = 0;
  std::vector<double> value;
};

/// Reads vectors from a Matrix Market file, plain or gzip: format array or coordinate (positions left out are
/// zero), field real or integer, symmetry general.
/// @throws FileError as readMatrixMarket
DenseColumns readDenseColumns(const std::string& path);

}  // namespace models
}  // namespace vematrix
