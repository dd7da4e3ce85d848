#pragma once
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "Choices.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/SymmetricTerms.h"
#include "support/TempFolder.h"

/// What every reader of files is held to, whatever the bytes: a refusal is one printable line that names the
/// file, and what is accepted is consistent and reads back the same once it is written.
namespace fuzz {

inline std::string_view asText(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

/// A folder for the files of this process, removed at its end.
inline const test_support::TempFolder& scratch() {
  static const test_support::TempFolder folder;
  return folder;
}

inline void requireOneLine(const vematrix::models::FileError& error, const std::string& path) {
  const std::string message = error.what();
  if (message.compare(0, path.size(), path) != 0) contradiction("a refusal names no file: %s", error.what());
  if (message.size() < path.size() + 10) contradiction("a refusal says nothing: %s", error.what());
  const bool printable = std::none_of(message.begin(), message.end(), [](char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
  });
  if (!printable) contradiction("a refusal is not one printable line: %s", error.what());
}

/// Terms of an upper triangle, finite, every place once.
inline void requireUpperTriangle(const vematrix::models::SymmetricTerms& terms) {
  if (terms.n < 1) contradiction("a matrix of order %d", terms.n);
  if (terms.row.size() != terms.size() || terms.col.size() != terms.size())
    contradiction("arrays of different lengths");
  terms.forEach([&](int i, int j, double value) {
    if (i < 1 || i > j || j > terms.n || !std::isfinite(value))
      contradiction("term (%d, %d) = %g of a matrix of order %d", i, j, value, terms.n);
  });
  vematrix::models::SymmetricTerms merged = terms;
  merged.sumDuplicates();
  if (merged.size() != terms.size()) contradiction("a place given twice");
}

inline bool identical(const double* a, const double* b, std::size_t count) {
  return count == 0 || std::memcmp(a, b, count * sizeof(double)) == 0;
}

/// Written as a Matrix Market file and read again, the terms are the same to the bit.
inline void requireSurvivesWriting(vematrix::models::SymmetricTerms terms) {
  if (terms.n > 1000) return;  // beyond, the reader wants an entry in every hundred rows
  const std::string path = scratch().Path("written.mtx");
  vematrix::models::writeMatrixMarket(path, terms);
  vematrix::models::SymmetricTerms back = vematrix::models::readMatrixMarket(path);
  terms.sumDuplicates();
  back.sumDuplicates();
  if (back.n != terms.n || back.row != terms.row || back.col != terms.col ||
      !identical(back.value.data(), terms.value.data(), terms.size()))
    contradiction("a matrix of order %d changes when it is written and read", terms.n);
}

}  // namespace fuzz
