#include "models/io/FortranFields.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "models/io/FileError.h"

namespace vematrix {
namespace models {
namespace {

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && static_cast<unsigned char>(text.front()) <= ' ') text.remove_prefix(1);
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.remove_suffix(1);
  return text;
}

/// An unsigned number at the front of the text, or the default where there is none.
int takeNumber(std::string_view& text, int whenAbsent) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return whenAbsent;
  text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
  return value;
}

}  // namespace

bool parseFortranFormat(std::string_view text, FortranFormat& format) {
  std::string plain;
  for (char c : text)
    if (c != ' ') plain += static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
  if (plain.size() < 4 || plain.front() != '(' || plain.back() != ')') return false;
  std::string_view rest(plain);
  rest = rest.substr(1, rest.size() - 2);
  const std::size_t scale =
      rest.find('P');  // a scale factor changes how reals are written, not how they read
  if (scale != std::string_view::npos) rest.remove_prefix(scale + 1);
  if (!rest.empty() && rest.front() == ',') rest.remove_prefix(1);
  format = FortranFormat();
  format.perLine = takeNumber(rest, 1);
  if (rest.empty()) return false;
  const char letter = rest.front();
  rest.remove_prefix(1);
  format.real = letter == 'E' || letter == 'D' || letter == 'F' || letter == 'G';
  if (!format.real && letter != 'I') return false;
  format.width = takeNumber(rest, 0);
  if (!rest.empty() && rest.front() == '.') {
    rest.remove_prefix(1);
    format.decimals = takeNumber(rest, 0);
  }
  if (!rest.empty() && rest.front() == 'E') {
    rest.remove_prefix(1);
    takeNumber(rest, 0);
  }
  return rest.empty() && format.perLine > 0 && format.width > 0 && format.width < 1000;
}

FortranFields::FortranFields(std::string path, TextCursor& cursor, const FortranFormat& format,
                             const char* what)
    : m_path(std::move(path)), m_cursor(cursor), m_format(format), m_what(what), m_next(format.perLine) {}

void FortranFields::fail(const std::string& message) const {
  throw FileError(m_path, m_line, message);
}

std::string_view FortranFields::takeField() {
  if (m_next == m_format.perLine) {
    m_line = m_cursor.line();
    if (m_cursor.atEnd()) fail("file ends too early, expected more " + std::string(m_what));
    m_text = m_cursor.takeLine();
    m_next = 0;
  }
  const std::size_t width = static_cast<std::size_t>(m_format.width);
  const std::size_t from = static_cast<std::size_t>(m_next++) * width;
  const std::string_view field = from < m_text.size() ? trimmed(m_text.substr(from, width)) : "";
  if (from + width > m_text.size() && m_cursor.endedWithoutLineEnd())
    fail("file ends within a field of " + std::to_string(m_format.width) + " characters, expected more " +
         m_what);
  if (field.empty()) fail("line is too short, expected more " + std::string(m_what));
  return field;
}

long long FortranFields::takeInteger() {
  const std::string_view field = takeField();
  long long value = 0;
  const char* from = field.data() + (field.size() > 1 && field[0] == '+' && field[1] != '-');
  const char* end = field.data() + field.size();
  const auto result = std::from_chars(from, end, value);
  if (result.ec != std::errc() || result.ptr != end)
    fail("found \"" + TextCursor::printable(field) + "\" among the " + m_what + ", expected an integer");
  return value;
}

double FortranFields::takeReal() {
  const std::string_view field = takeField();
  double value = 0.0;
  if (!parseReal(field, value) || !std::isfinite(value))
    fail("found \"" + TextCursor::printable(field) + "\" among the " + m_what + ", expected a finite number");
  const bool whole = field.find_first_of(".eEdD") == std::string_view::npos;
  return whole && m_format.real ? value / std::pow(10.0, m_format.decimals) : value;
}

}  // namespace models
}  // namespace vematrix
