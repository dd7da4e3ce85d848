#include "models/io/MatrixMarketReader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "models/io/FileError.h"
#include "models/io/FileText.h"
#include "models/io/MatrixMarketText.h"
#include "models/io/TermChecks.h"

namespace vematrix {
namespace models {
namespace {

/// Reads all coordinate entries; those below the diagonal are turned over when the file is labelled
/// symmetric.
SymmetricTerms takeCoordinateEntries(MatrixMarketText& file) {
  const MatrixMarketHeader& header = file.header();
  SymmetricTerms terms;
  terms.n = header.rows;
  terms.reserve(file.entriesAtMost());
  MatrixMarketEntry entry;
  for (long long k = 0; k < header.entries; ++k) {
    file.takeEntry(k, entry);
    if (header.symmetric && entry.row > entry.col) std::swap(entry.row, entry.col);
    terms.add(entry.row, entry.col, entry.value);
  }
  file.expectEnd();
  return terms;
}

/// Reads a dense matrix column by column: the lower triangle when labelled symmetric, else all of it.
SymmetricTerms takeArrayEntries(MatrixMarketText& file) {
  const MatrixMarketHeader& header = file.header();
  SymmetricTerms terms;
  terms.n = header.rows;
  terms.reserve(file.entriesAtMost());
  long long k = 0;
  for (int col = 1; col <= header.cols; ++col)
    for (int row = header.symmetric ? col : 1; row <= header.rows; ++row) {
      const double value = file.takeArrayValue(k++);
      if (header.symmetric)
        terms.add(col, row, value);
      else
        terms.add(row, col, value);
    }
  file.expectEnd();
  return terms;
}

void refuseUnlessMatrix(const MatrixMarketText& file) {
  const MatrixMarketHeader& header = file.header();
  if (header.rows != header.cols)
    file.fail(header.sizeLine, "matrix of " + std::to_string(header.rows) + " rows and " +
                                   std::to_string(header.cols) + " columns, expected a square matrix");
  if (header.rows == 0) file.fail(header.sizeLine, "matrix with 0 rows, expected at least 1");
  if ((header.rows - 1000LL) / 100 > header.entries)
    file.fail(header.sizeLine, std::to_string(header.rows) + " rows but only " +
                                   std::to_string(header.entries) +
                                   " entries, expected at least one entry in every hundred rows");
}

}  // namespace

SymmetricTerms parseMatrixMarket(const std::string& path, std::string_view text, PatternValues pattern) {
  MatrixMarketText file(path, text);
  refuseUnlessMatrix(file);
  const MatrixMarketHeader& header = file.header();
  SymmetricTerms terms = header.coordinate ? takeCoordinateEntries(file) : takeArrayEntries(file);
  const TermLine lineOf = [&](std::size_t k) { return file.lineOfEntry(static_cast<long long>(k)); };
  if (header.coordinate) refuseDuplicates(path, terms, header.symmetric, lineOf);
  if (!header.symmetric) foldGeneral(path, terms, lineOf);
  if (header.field == MatrixMarketField::Pattern) setPatternValues(terms, pattern);
  return terms;
}

SymmetricTerms readMatrixMarket(const std::string& path, PatternValues pattern) {
  return parseMatrixMarket(path, readFileText(path), pattern);
}

namespace {

void refuseUnlessVectors(const MatrixMarketText& file) {
  const MatrixMarketHeader& header = file.header();
  if (header.symmetric) file.fail(1, "symmetry \"symmetric\", expected \"general\" for a file of vectors");
  if (header.field == MatrixMarketField::Pattern)
    file.fail(1, "field \"pattern\", expected \"real\" or \"integer\"");
  const long long size = static_cast<long long>(header.rows) * header.cols;
  if (size == 0)
    file.fail(header.sizeLine, "no values (" + std::to_string(header.rows) + " rows, " +
                                   std::to_string(header.cols) + " columns), expected at least one vector");
  if (header.coordinate && (size - 1000000) / 1000 > header.entries)
    file.fail(header.sizeLine, "vectors with almost no entries (" + std::to_string(header.entries) + " of " +
                                   std::to_string(size) + "), expected format \"array\"");
}

std::vector<double> takeArrayVectors(MatrixMarketText& file) {
  std::vector<double> value;
  value.reserve(file.entriesAtMost());
  for (long long k = 0; k < file.header().entries; ++k) value.push_back(file.takeArrayValue(k));
  return value;
}

std::vector<double> takeCoordinateVectors(MatrixMarketText& file) {
  const std::size_t rows = static_cast<std::size_t>(file.header().rows);
  std::vector<double> value(rows * static_cast<std::size_t>(file.header().cols), 0.0);
  std::vector<char> given(value.size(), 0);
  MatrixMarketEntry entry;
  for (long long k = 0; k < file.header().entries; ++k) {
    file.takeEntry(k, entry);
    const std::size_t at =
        static_cast<std::size_t>(entry.col - 1) * rows + static_cast<std::size_t>(entry.row - 1);
    if (given[at])
      file.fail(file.lineOfEntry(k), "position (" + std::to_string(entry.row) + ", " +
                                         std::to_string(entry.col) +
                                         ") given twice, expected every position once");
    given[at] = 1;
    value[at] = entry.value;
  }
  return value;
}

}  // namespace

DenseColumns readDenseColumns(const std::string& path) {
  const std::string text = readFileText(path);
  MatrixMarketText file(path, text);
  refuseUnlessVectors(file);
  const MatrixMarketHeader& header = file.header();
  DenseColumns columns;
  columns.rows = header.rows;
  columns.cols = header.cols;
  columns.value = header.coordinate ? takeCoordinateVectors(file) : takeArrayVectors(file);
  file.expectEnd();
  return columns;
}

}  // namespace models
}  // namespace vematrix
