#pragma once
#include <fstream>
#include <string>

namespace Vessa {
namespace Matrix {

/// Where a dump goes, "" when there is no place for it.
///
/// A name holding a backslash (off Windows also a slash) is used as it stands. A bare name goes into
/// `folder`, or, when that is empty, into the folder named by the environment variable TEMP.
std::string DumpPath(const std::string& name, const std::string& folder);

/// Opens the text stream of a vector or matrix dump; numbers are written in the classic locale.
/// @param fileName     null or "" stands for defaultName
/// @param folder       see DumpPath; null stands for ""
/// @param append       true appends to an existing file, false replaces it
/// @return false when there is no place for a bare name or the file cannot be opened
bool OpenDumpFile(std::ofstream& out, const char* fileName, const char* defaultName, const char* folder,
                  bool append);

}  // namespace Matrix
}  // namespace Vessa
