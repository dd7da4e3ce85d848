#pragma once
#include <string>
#include <string_view>

#include "models/io/MatrixMarketReader.h"
#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace models {

/// Reads an assembled symmetric matrix from a Harwell-Boeing or Rutherford-Boeing text: types rsa, isa, psa
/// (lower triangle by columns; the upper one is taken too) and rua, iua with symmetric values (checked as
/// readMatrixMarket does). Numbers are cut by the Fortran formats of the header, so they need no blanks
/// between them. Right-hand sides that follow the matrix are not read.
/// @param path  for the messages
/// @throws FileError (one line, with the line of the file and what was expected)
/// Cost: O(entries + n).
/// Source: Duff, Grimes, Lewis, Users' Guide for the Harwell-Boeing Sparse Matrix Collection, TR/PA/92/86
/// (1992);
///   The Rutherford-Boeing Sparse Matrix Collection, RAL-TR-97-031 (1997).
SymmetricTerms parseHarwellBoeing(const std::string& path, std::string_view text,
                                  PatternValues pattern = PatternValues::Ones);

/// Whether a text looks like one of these: a type code of three letters where its third line has it.
bool looksLikeHarwellBoeing(std::string_view text);

/// Reads a symmetric matrix from a Matrix Market, Harwell-Boeing or Rutherford-Boeing file, plain or gzip,
/// told apart by what is in them.
SymmetricTerms readSymmetricMatrix(const std::string& path, PatternValues pattern = PatternValues::Ones);

}  // namespace models
}  // namespace vematrix
