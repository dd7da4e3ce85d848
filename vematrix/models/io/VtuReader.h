#pragma once
#include <string>

#include "models/io/VtuMesh.h"

namespace vematrix {
namespace models {

/// Reads a mesh from an unstructured grid in the ASCII XML format of VTK: points, cells and, where it is
/// there, the point data array "dof" with six components.
/// @throws FileError for a file that cannot be read, is of another kind (binary or compressed arrays
/// included),
///   is cut short, or contradicts itself (indices of points that do not exist, wrong lengths)
VtuMesh readVtu(const std::string& path);

/// The same for a text already in memory; `path` serves the messages.
VtuMesh parseVtu(const std::string& path, const std::string& text);

}  // namespace models
}  // namespace vematrix
