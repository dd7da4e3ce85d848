#pragma once
#include <string>

#include "models/Model.h"
#include "models/io/SymmetricTerms.h"
#include "models/io/VtuMesh.h"

namespace CLI {
class App;
}

namespace vematrix {
namespace cli {

/// Adds --pattern, the values of a matrix file without values, to the options of a command.
void addPatternOption(CLI::App& command, std::string& pattern);

/// Reads a symmetric matrix in any of the formats that the program knows, told apart by their first line.
/// @param pattern  from --pattern: ones, laplacian, laplacian+1
models::SymmetricTerms readMatrix(const std::string& path, const std::string& pattern = "ones");

/// The same for a matrix that must be of order n. @param owner  who says so, for the message: "... expected
/// 12 as the stiffness has"
/// @throws models::FileError
models::SymmetricTerms readMatrixOfOrder(int n, const std::string& path, const std::string& owner);

/// Reads the mesh of n dofs. @param owner  as above
/// @throws models::FileError
models::VtuMesh readMesh(int n, const std::string& path, const std::string& owner = "the matrix has");

/// A structure of the catalogue whose terms fit the memory of this machine.
/// @param hint  what closes the message about a wrong name
/// @throws UsageError
models::Model buildModel(const std::string& name, const std::string& hint);

}  // namespace cli
}  // namespace vematrix
