#pragma once
#include <fmt/core.h>

#include <cstdio>
#include <string>

namespace vematrix {
namespace cli {

/// The program's own output. The library writes trace lines to standard output whatever happens; while a
/// Console lives, descriptor 1 leads to a trace file or to nothing, and what the program has to say goes to
/// the place where standard output was before. So a pipe that reads the program sees results only.
class Console {
public:
  /// @param traceFile  file for the library's trace lines; "" drops them
  /// @param json       the results are one JSON document: print() is silent
  /// @throws UsageError when the trace file cannot be opened
  Console(const std::string& traceFile, bool json);
  Console(const Console&) = delete;
  Console& operator=(const Console&) = delete;
  ~Console();

  /// Text for a reader; nothing under --json.
  template <class... Arguments>
  void print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    if (!m_json) write(fmt::vformat(format, fmt::make_format_args(arguments...)));
  }

  /// Writes to the program's standard output, in every mode. @throws NoResult when it cannot be written
  void write(const std::string& text);

  bool json() const { return m_json; }

  /// Words in colour on a terminal, unchanged elsewhere (and where NO_COLOR is set).
  std::string good(const std::string& text) const { return coloured("32", text); }
  std::string bad(const std::string& text) const { return coloured("1;31", text); }
  std::string warning(const std::string& text) const { return coloured("33", text); }
  std::string bold(const std::string& text) const { return coloured("1", text); }

  /// One line of progress on the terminal behind standard error, overwritten by the next; silent elsewhere.
  void progress(const std::string& text);
  void endProgress();

  /// Flushes; reports a full disk or a closed pipe. @throws NoResult
  void finish();

private:
  std::string coloured(const char* code, const std::string& text) const;

  std::FILE* m_out;
  bool m_json, m_colour, m_progress, m_progressShown;
};

}  // namespace cli
}  // namespace vematrix
