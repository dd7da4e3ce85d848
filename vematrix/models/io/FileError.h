#pragma once
#include <stdexcept>
#include <string>

namespace vematrix {
namespace models {

/// A file that cannot be read or written, as one line of text: "path:line: what was found, what was
/// expected". The line number is left out when the trouble is with the file as a whole.
class FileError : public std::runtime_error {
public:
  FileError(const std::string& path, const std::string& message)
      : std::runtime_error(path + ": " + message) {}
  FileError(const std::string& path, long long line, const std::string& message)
      : std::runtime_error(path + ":" + std::to_string(line) + ": " + message) {}
};

}  // namespace models
}  // namespace vematrix
