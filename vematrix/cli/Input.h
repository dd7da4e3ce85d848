#pragma once
#include <string>

#include "models/Model.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/SymmetricTerms.h"

namespace vematrix {
namespace cli {

/// Reads a symmetric matrix in any of the formats that the program knows, told apart by their first line.
/// @param pattern  from --pattern: ones, laplacian, laplacian+1
models::SymmetricTerms readMatrix(const std::string& path, const std::string& pattern = "ones");

/// A structure of the catalogue whose terms fit the memory of this machine.
/// @param hint  what closes the message about a wrong name
/// @throws UsageError
models::Model buildModel(const std::string& name, const std::string& hint);

}  // namespace cli
}  // namespace vematrix
