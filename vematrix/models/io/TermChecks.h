#pragma once
#include <cstddef>
#include <functional>
#include <string>

#include "models/io/MatrixMarketReader.h"
#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace models {

/// The line of the file on which term k (from 0) was given; asked only to write a message.
using TermLine = std::function<long long(std::size_t)>;

/// Fails on a position that is given more than once, at the line of the later one. O(terms + n).
/// @param symmetric  the list is an upper triangle, whose positions may have been given from either side
void refuseDuplicates(const std::string& path, const SymmetricTerms& terms, bool symmetric,
                      const TermLine& lineOf);

/// Turns a list of both triangles (no position twice) into the upper triangle, or fails at the first entry
/// whose counterpart is missing or differs. The test is that of readMatrixMarket.
void foldGeneral(const std::string& path, SymmetricTerms& terms, const TermLine& lineOf);

/// Gives the terms of a pattern (upper triangle) the values asked for.
void setPatternValues(SymmetricTerms& terms, PatternValues pattern);

}  // namespace models
}  // namespace vematrix
