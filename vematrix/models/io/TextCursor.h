#pragma once
#include <charconv>
#include <cstring>
#include <string>
#include <string_view>
#include <system_error>

namespace vematrix {
namespace models {

/// Walks over a text held in memory, line by line and number by number, and knows the line it is on
/// (1-based). Numbers are read with std::from_chars: independent of the locale, correctly rounded, without
/// copies.
class TextCursor {
public:
  explicit TextCursor(std::string_view text)
      : m_at(text.data()), m_end(text.data() + text.size()), m_line(1) {}

  /// The line the cursor is on.
  long long line() const { return m_line; }
  bool atEnd() const { return m_at == m_end; }
  std::size_t remaining() const { return static_cast<std::size_t>(m_end - m_at); }

  void skipBlanks() {
    while (m_at != m_end && (*m_at == ' ' || *m_at == '\t' || *m_at == '\r')) ++m_at;
  }

  /// Nothing but blanks up to the end of this line?
  bool atLineEnd() {
    skipBlanks();
    return m_at == m_end || *m_at == '\n';
  }

  void nextLine() {
    const void* newline = atEnd() ? nullptr : std::memchr(m_at, '\n', remaining());
    m_at = newline ? static_cast<const char*>(newline) + 1 : m_end;
    m_line += newline != nullptr;
  }

  /// Skips empty lines and lines that begin with '%'; stands on the first character that counts, or at the
  /// end.
  void skipEmptyAndComments() {
    while (atLineEnd() ? m_at != m_end : *m_at == '%') nextLine();
  }

  /// Skips blanks and line ends.
  void skipWhitespace() {
    while (atLineEnd() && m_at != m_end) nextLine();
  }

  /// The rest of this line without its end; moves to the next line.
  std::string_view takeLine() {
    const char* from = m_at;
    nextLine();
    const char* to = m_at;
    while (to != from && (to[-1] == '\n' || to[-1] == '\r')) --to;
    return {from, static_cast<std::size_t>(to - from)};
  }

  /// After takeLine: was that the last line of the text, and nothing ended it?
  bool endedWithoutLineEnd() const { return atEnd() && m_end[-1] != '\n'; }

  /// The next word on this line ("" at its end), without moving; for messages.
  std::string peekWord() {
    skipBlanks();
    const char* to = m_at;
    while (to != m_end && static_cast<unsigned char>(*to) > ' ' && to - m_at < 40) ++to;
    return printable({m_at, static_cast<std::size_t>(to - m_at)});
  }

  std::string_view takeWord() {
    skipBlanks();
    const char* from = m_at;
    while (m_at != m_end && static_cast<unsigned char>(*m_at) > ' ') ++m_at;
    return {from, static_cast<std::size_t>(m_at - from)};
  }

  /// Reads an integer that ends at a blank or the line's end; on failure nothing is taken.
  bool takeInteger(long long& value) {
    skipBlanks();
    const char* from = afterPlus();
    const std::from_chars_result result = std::from_chars(from, m_end, value);
    if (result.ec != std::errc() || !endsNumber(result.ptr)) return false;
    m_at = result.ptr;
    return true;
  }

  /// Reads a real number (exponent letters e, E, d, D; nan and inf are read as such); on failure nothing is
  /// taken.
  bool takeReal(double& value) {
    skipBlanks();
    const char* from = afterPlus();
    const std::from_chars_result result = std::from_chars(from, m_end, value);
    if (result.ec != std::errc() || !endsNumber(result.ptr)) return takeUnusualReal(value);
    m_at = result.ptr;
    return true;
  }

  /// A text from a file made fit for a one-line message.
  static std::string printable(std::string_view text) {
    std::string result(text);
    for (char& c : result)
      if (static_cast<unsigned char>(c) < ' ' || static_cast<unsigned char>(c) > '~') c = '?';
    return result;
  }

private:
  /// from_chars takes no plus sign; one sign only.
  const char* afterPlus() const {
    const bool plus = m_end - m_at > 1 && m_at[0] == '+' && m_at[1] != '-';
    return m_at + plus;
  }

  bool endsNumber(const char* at) const { return at == m_end || static_cast<unsigned char>(*at) <= ' '; }

  bool takeUnusualReal(double& value);

  const char* m_at;
  const char* m_end;
  long long m_line;
};

/// Reads a whole text as one real number, Fortran spellings included (1.5D+03, 1.5+103, +.5). A value below
/// the smallest double reads as zero, one above the largest fails.
bool parseReal(std::string_view text, double& value);

}  // namespace models
}  // namespace vematrix
