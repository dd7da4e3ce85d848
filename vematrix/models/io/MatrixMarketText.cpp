#include "models/io/MatrixMarketText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "models/io/FileError.h"

namespace vematrix {
namespace models {
namespace {

std::string lower(std::string_view word) {
  std::string result(word);
  for (char& c : result)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return result;
}

std::string quoted(const std::string& word) {
  return word.empty() ? "the end of the line" : "\"" + TextCursor::printable(word.substr(0, 40)) + "\"";
}

}  // namespace

MatrixMarketText::MatrixMarketText(std::string path, std::string_view text)
    : m_path(std::move(path)), m_text(text), m_cursor(text) {
  takeBanner();
  takeSizes();
}

void MatrixMarketText::fail(long long line, const std::string& message) const {
  throw FileError(m_path, line, message);
}

void MatrixMarketText::takeBanner() {
  if (m_text.empty()) throw FileError(m_path, "is empty, expected a Matrix Market file");
  const auto word = [&] { return lower(m_cursor.takeWord()); };
  const std::string banner = word();
  if (banner != "%%matrixmarket")
    fail(1,
         "begins with " + quoted(banner) + ", expected a Matrix Market file (\"%%MatrixMarket matrix ...\")");
  const std::string object = word();
  if (object != "matrix") fail(1, "object " + quoted(object) + ", expected \"matrix\"");
  const std::string format = word();
  if (format != "coordinate" && format != "array")
    fail(1, "format " + quoted(format) + ", expected \"coordinate\" or \"array\"");
  m_header.coordinate = format == "coordinate";
  const std::string field = word();
  if (field == "real" || field == "double")
    m_header.field = MatrixMarketField::Real;
  else if (field == "integer")
    m_header.field = MatrixMarketField::Integer;
  else if (field == "pattern" && m_header.coordinate)
    m_header.field = MatrixMarketField::Pattern;
  else
    fail(1, "field " + quoted(field) + ", expected \"real\", \"integer\"" +
                (m_header.coordinate ? " or \"pattern\"" : ""));
  const std::string symmetry = word();
  if (symmetry != "symmetric" && symmetry != "general")
    fail(1,
         "symmetry " + quoted(symmetry) + ", expected \"symmetric\" (or \"general\" with symmetric values)");
  m_header.symmetric = symmetry == "symmetric";
  if (!m_cursor.atLineEnd()) fail(1, "unexpected " + quoted(m_cursor.peekWord()) + " after the banner");
  m_cursor.nextLine();
}

int MatrixMarketText::takeSize(const char* what) {
  long long size = 0;
  if (!m_cursor.takeInteger(size))
    fail(m_cursor.line(),
         "size line has " + quoted(m_cursor.peekWord()) + ", expected the number of " + what);
  if (size < 0 || size > std::numeric_limits<int>::max() - 1)
    fail(m_cursor.line(), "number of " + std::string(what) + " is " + std::to_string(size) +
                              ", expected 0 to " + std::to_string(std::numeric_limits<int>::max() - 1));
  return static_cast<int>(size);
}

void MatrixMarketText::takeSizes() {
  m_cursor.skipEmptyAndComments();
  m_header.sizeLine = m_cursor.line();
  if (m_cursor.atEnd()) fail(m_header.sizeLine, "file ends before the size line");
  m_header.rows = takeSize("rows");
  m_header.cols = takeSize("columns");
  const long long rows = m_header.rows;
  if (m_header.coordinate) {
    if (!m_cursor.takeInteger(m_header.entries) || m_header.entries < 0)
      fail(m_header.sizeLine,
           "size line has " + quoted(m_cursor.peekWord()) + ", expected the number of entries (0 or more)");
  } else if (m_header.symmetric && rows == m_header.cols) {
    m_header.entries = rows * (rows + 1) / 2;
  } else {
    m_header.entries = rows * m_header.cols;
  }
  if (!m_cursor.atLineEnd())
    fail(m_header.sizeLine, "unexpected " + quoted(m_cursor.peekWord()) + " after the sizes");
  m_cursor.nextLine();
  m_header.firstLine = m_cursor.line();
}

int MatrixMarketText::takeIndex(const char* what, int limit) {
  long long index = 0;
  if (!m_cursor.takeInteger(index))
    fail(m_cursor.line(), "found " + quoted(m_cursor.peekWord()) + ", expected a " + what + " index");
  if (index < 1 || index > limit)
    fail(m_cursor.line(),
         std::string(what) + " index " + std::to_string(index) + ", expected 1 to " + std::to_string(limit));
  return static_cast<int>(index);
}

double MatrixMarketText::takeValue() {
  double value = 0.0;
  if (!m_cursor.takeReal(value))
    fail(m_cursor.line(), "found " + quoted(m_cursor.peekWord()) + ", expected a finite number");
  if (!std::isfinite(value)) fail(m_cursor.line(), "value is not finite, expected a finite number");
  if (m_header.field == MatrixMarketField::Integer && value != std::floor(value))
    fail(m_cursor.line(), "value is not whole, expected an integer (the banner says \"integer\")");
  return value;
}

void MatrixMarketText::failAtEntry(long long k) const {
  fail(m_cursor.line(), "file ends after " + std::to_string(k) + " entries, expected " +
                            std::to_string(m_header.entries) + " (line " + std::to_string(m_header.sizeLine) +
                            ")");
}

void MatrixMarketText::takeEntry(long long k, MatrixMarketEntry& entry) {
  m_cursor.skipEmptyAndComments();
  if (m_cursor.atEnd()) failAtEntry(k);
  entry.row = takeIndex("row", m_header.rows);
  entry.col = takeIndex("column", m_header.cols);
  entry.value = m_header.field == MatrixMarketField::Pattern ? 1.0 : takeValue();
  if (!m_cursor.atLineEnd())
    fail(m_cursor.line(), "unexpected " + quoted(m_cursor.peekWord()) + " after the entry");
  m_cursor.nextLine();
}

double MatrixMarketText::takeArrayValue(long long k) {
  m_cursor.skipWhitespace();
  if (m_cursor.atEnd()) failAtEntry(k);
  return takeValue();
}

void MatrixMarketText::expectEnd() {
  if (!m_header.coordinate) m_cursor.skipWhitespace();
  m_cursor.skipEmptyAndComments();
  if (!m_cursor.atEnd())
    fail(m_cursor.line(), "found " + quoted(m_cursor.peekWord()) + " after the last of " +
                              std::to_string(m_header.entries) + " entries, expected the end of the file");
}

std::size_t MatrixMarketText::entriesAtMost() const {
  const long long shortest = m_header.coordinate ? 4 : 2;  // "1 1\n" or "1\n"
  return static_cast<std::size_t>(
      std::min(m_header.entries, static_cast<long long>(m_cursor.remaining()) / shortest + 1));
}

long long MatrixMarketText::lineOfEntry(long long k) const {
  TextCursor cursor(m_text);
  while (cursor.line() < m_header.firstLine && !cursor.atEnd()) cursor.nextLine();
  if (!m_header.coordinate) {
    for (long long skipped = 0; skipped < k; ++skipped) {
      cursor.skipWhitespace();
      cursor.takeWord();
    }
    cursor.skipWhitespace();
    return cursor.line();
  }
  cursor.skipEmptyAndComments();
  for (; k > 0; --k) {
    cursor.nextLine();
    cursor.skipEmptyAndComments();
  }
  return cursor.line();
}

}  // namespace models
}  // namespace vematrix
