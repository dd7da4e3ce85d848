#pragma once
#include <cstdio>
#include <string>
#include <string_view>

namespace vematrix {
namespace models {

/// A text file that appears under its name only when it is complete.
///
/// What is written goes to `<path>.<random>.part` beside it; commit() closes that file and renames it over
/// `path` (an older file of that name stays whole until then). Without commit the partial file is removed by
/// the destructor. A path that exists and is no regular file (a pipe, a device) is written directly.
class OutputFile {
public:
  /// @throws FileError when the file cannot be created
  explicit OutputFile(const std::string& path);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  ~OutputFile();

  OutputFile& operator<<(std::string_view text);
  OutputFile& operator<<(char c) { return *this << std::string_view(&c, 1); }
  OutputFile& operator<<(int value);
  /// The shortest decimal number that reads back as the same double ("nan" and "inf" where it is none).
  OutputFile& operator<<(double value);

  /// @throws FileError when anything could not be written (a full disk shows here at the latest); no file is
  /// left
  void commit();

  /// Removes the partial files of all OutputFiles that are open, for a signal handler that ends the process:
  /// calls only async-signal-safe functions.
  static void removeUnfinished() noexcept;

private:
  void flush();
  [[noreturn]] void fail(const char* what, int error);
  void discard() noexcept;

  std::string m_path, m_part, m_buffer;
  std::FILE* m_file = nullptr;
  int m_slot = -1;  // where removeUnfinished finds the name
};

}  // namespace models
}  // namespace vematrix
