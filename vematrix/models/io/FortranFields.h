#pragma once
#include <string>
#include <string_view>

#include "models/io/TextCursor.h"

namespace vematrix {
namespace models {

/// Fields of fixed width as a Fortran format cuts a line: (16I5), (4E20.12), (1P,5D16.8), (10F7.1).
struct FortranFormat {
  int perLine = 0, width = 0;
  int decimals = 0;  ///< digits after the point where a real field has no point of its own
  bool real = false;
};

/// @return false when the text is no such format
bool parseFortranFormat(std::string_view text, FortranFormat& format);

/// The fields of a block of lines, one after the other. Every block begins on a line of its own.
class FortranFields {
public:
  FortranFields(std::string path, TextCursor& cursor, const FortranFormat& format, const char* what);

  long long takeInteger();
  double takeReal();
  long long line() const { return m_line; }
  [[noreturn]] void fail(const std::string& message) const;

private:
  std::string_view takeField();

  std::string m_path;
  TextCursor& m_cursor;
  FortranFormat m_format;
  const char* m_what;
  std::string_view m_text;
  int m_next;
  long long m_line = 0;
};

}  // namespace models
}  // namespace vematrix
