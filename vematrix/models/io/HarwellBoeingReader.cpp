#include "models/io/HarwellBoeingReader.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "models/io/FileError.h"
#include "models/io/FileText.h"
#include "models/io/FortranFields.h"
#include "models/io/TermChecks.h"
#include "models/io/TextCursor.h"

namespace vematrix {
namespace models {
namespace {

struct Header {
  char values = 'r', symmetry = 's';  ///< r real, i integer, p pattern; s symmetric, u unsymmetric
  int n = 0;
  long long entries = 0;
  FortranFormat pointers, indices, numbers;
};

std::string typeCode(std::string_view line) {
  std::string code(line.substr(0, std::min<std::size_t>(3, line.size())));
  for (char& c : code)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return code;
}

bool isTypeCode(const std::string& code) {
  return code.size() == 3 && std::string("rcpiq").find(code[0]) != std::string::npos &&
         std::string("sruhz").find(code[1]) != std::string::npos && (code[2] == 'a' || code[2] == 'e');
}

[[noreturn]] void fail(const std::string& path, long long line, const std::string& message) {
  throw FileError(path, line, message);
}

void takeTypeAndSizes(const std::string& path, std::string_view line, Header& header) {
  const std::string code = typeCode(line);
  if (!isTypeCode(code)) fail(path, 3, "type \"" + TextCursor::printable(code) + "\", expected one like rsa");
  if (code[2] == 'e')
    fail(path, 3, "type \"" + code + "\" holds unassembled elements, expected an assembled matrix (rsa)");
  if (code[0] == 'c' || code[0] == 'q' || (code[1] != 's' && code[1] != 'u'))
    fail(path, 3,
         "type \"" + code +
             "\", expected a real symmetric matrix (rsa, isa, psa, or rua with symmetric values)");
  header.values = code[0];
  header.symmetry = code[1];
  TextCursor numbers(line.substr(std::min<std::size_t>(3, line.size())));
  long long rows = 0, cols = 0;
  if (!numbers.takeInteger(rows) || !numbers.takeInteger(cols) || !numbers.takeInteger(header.entries))
    fail(path, 3, "expected the numbers of rows, columns and entries after the type");
  if (rows != cols)
    fail(path, 3,
         "matrix of " + std::to_string(rows) + " rows and " + std::to_string(cols) +
             " columns, expected a square matrix");
  if (rows < 1 || rows > std::numeric_limits<int>::max() - 1 || header.entries < 0)
    fail(path, 3,
         "matrix of " + std::to_string(rows) + " rows and " + std::to_string(header.entries) +
             " entries, expected at least 1 row");
  header.n = static_cast<int>(rows);
}

void takeFormat(const std::string& path, std::string_view line, std::size_t from, std::size_t width,
                bool real, const char* what, FortranFormat& format) {
  const std::string_view text = from < line.size() ? line.substr(from, width) : std::string_view();
  if (!parseFortranFormat(text, format) || format.real != real)
    fail(path, 4,
         "format \"" + TextCursor::printable(text) + "\" of the " + what + ", expected one like " +
             (real ? "(4E20.12)" : "(16I5)"));
}

/// Four lines in both formats; Harwell-Boeing adds a fifth when its second line counts lines of right-hand
/// sides.
Header takeHeader(const std::string& path, TextCursor& cursor) {
  Header header;
  cursor.nextLine();
  if (cursor.atEnd()) fail(path, cursor.line(), "file ends in its header");
  TextCursor cards(cursor.takeLine());
  long long count[5] = {0, 0, 0, 0, 0};
  for (int k = 0; k < 5; ++k)
    if (!cards.takeInteger(count[k]) && k < 4) fail(path, 2, "expected the numbers of lines of each block");
  takeTypeAndSizes(path, cursor.takeLine(), header);
  const std::string_view formats = cursor.takeLine();
  takeFormat(path, formats, 0, 16, false, "column pointers", header.pointers);
  takeFormat(path, formats, 16, 16, false, "row indices", header.indices);
  if (header.values == 'r') takeFormat(path, formats, 32, 20, true, "values", header.numbers);
  if (header.values == 'i') takeFormat(path, formats, 32, 20, false, "values", header.numbers);
  if (count[4] > 0) cursor.nextLine();
  if (header.n > static_cast<long long>(cursor.remaining()) ||
      header.entries > static_cast<long long>(cursor.remaining()))
    fail(path, 3,
         std::to_string(header.n) + " rows and " + std::to_string(header.entries) +
             " entries announced, but the file is too short to hold them");
  return header;
}

std::vector<long long> takePointers(const std::string& path, TextCursor& cursor, const Header& header) {
  FortranFields fields(path, cursor, header.pointers, "column pointers");
  std::vector<long long> start(static_cast<std::size_t>(header.n) + 1);
  for (std::size_t c = 0; c < start.size(); ++c) {
    start[c] = fields.takeInteger();
    const long long least = c == 0 ? 1 : start[c - 1];
    if (start[c] < least || start[c] > header.entries + 1 || (c == 0 && start[c] != 1))
      fields.fail("column pointer " + std::to_string(start[c]) + ", expected " + std::to_string(least) +
                  " to " + std::to_string(c == 0 ? 1 : header.entries + 1));
  }
  if (start.back() != header.entries + 1)
    fields.fail("last column pointer " + std::to_string(start.back()) + ", expected " +
                std::to_string(header.entries + 1));
  return start;
}

}  // namespace

bool looksLikeHarwellBoeing(std::string_view text) {
  TextCursor cursor(text.substr(0, 1000));
  cursor.nextLine();
  cursor.nextLine();
  return isTypeCode(typeCode(cursor.takeLine()));
}

SymmetricTerms parseHarwellBoeing(const std::string& path, std::string_view text, PatternValues pattern) {
  TextCursor cursor(text);
  const Header header = takeHeader(path, cursor);
  const std::vector<long long> start = takePointers(path, cursor, header);

  SymmetricTerms terms;
  terms.n = header.n;
  terms.reserve(static_cast<std::size_t>(header.entries));
  const long long firstIndexLine = cursor.line();
  FortranFields rows(path, cursor, header.indices, "row indices");
  const bool symmetric = header.symmetry == 's';
  for (int c = 1; c <= header.n; ++c)
    for (long long k = start[static_cast<std::size_t>(c) - 1]; k < start[static_cast<std::size_t>(c)]; ++k) {
      const long long row = rows.takeInteger();
      if (row < 1 || row > header.n)
        rows.fail("row index " + std::to_string(row) + ", expected 1 to " + std::to_string(header.n));
      const int r = static_cast<int>(row);
      if (symmetric)
        terms.add(std::min(r, c), std::max(r, c), 1.0);
      else
        terms.add(r, c, 1.0);
    }
  if (header.values != 'p') {
    FortranFields values(path, cursor, header.numbers, "values");
    for (double& value : terms.value)
      value = header.values == 'i' ? static_cast<double>(values.takeInteger()) : values.takeReal();
  }

  const TermLine lineOf = [&](std::size_t k) {
    return firstIndexLine + static_cast<long long>(k) / header.indices.perLine;
  };
  refuseDuplicates(path, terms, symmetric, lineOf);
  if (!symmetric) foldGeneral(path, terms, lineOf);
  if (header.values == 'p') setPatternValues(terms, pattern);
  return terms;
}

SymmetricTerms readSymmetricMatrix(const std::string& path, PatternValues pattern) {
  const std::string text = readFileText(path);
  const bool matrixMarket = text.compare(0, 2, "%%") == 0;
  return !matrixMarket && looksLikeHarwellBoeing(text) ? parseHarwellBoeing(path, text, pattern)
                                                       : parseMatrixMarket(path, text, pattern);
}

}  // namespace models
}  // namespace vematrix
