#pragma once
#include <string>

namespace vematrix {
namespace models {

/// Reads a whole file into memory; a gzip file is recognised by its first two bytes and unpacked.
/// @throws FileError when the file is missing, a directory, unreadable, or a damaged or cut gzip stream.
std::string readFileText(const std::string& path);

}  // namespace models
}  // namespace vematrix
