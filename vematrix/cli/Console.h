#pragma once
#include <fmt/core.h>

#include <cstdio>
#include <string>

namespace vematrix {
namespace cli {

/// Puts something in the place of a standard descriptor that is closed, so that no file of the program
/// becomes its standard output or error output by taking the number. Reading from or writing to it still
/// fails.
void occupyClosedDescriptors();

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

  /// Writes to the program's standard output, in every mode; finish() tells whether it got there.
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

  /// To be called when the library has done its work. @throws FileError when the trace file lacks a part of
  /// the trace
  void finishTrace();

  /// Flushes; reports a full disk or a closed pipe. @throws NoResult
  void finish();

private:
  std::string coloured(const char* code, const std::string& text) const;

  std::string m_traceFile;
  std::FILE* m_out;
  int m_error = 0;  ///< errno of the first write that failed
  bool m_json, m_colour, m_progress, m_progressShown;
};

}  // namespace cli
}  // namespace vematrix
