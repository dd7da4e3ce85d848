#pragma once
#include <string>

#include "models/io/MatrixMarketReader.h"
#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace cli {

/// Reads a symmetric matrix in any of the formats that the program knows, told apart by their first line.
/// @param pattern  from --pattern: ones, laplacian, laplacian+1
models::SymmetricTerms readMatrix(const std::string& path, const std::string& pattern = "ones");

}  // namespace cli
}  // namespace vematrix
