#pragma once
#include <cstddef>
#include <string>
#include <string_view>

#include "models/io/TextCursor.h"

namespace vematrix {
namespace models {

enum class MatrixMarketField { Real, Integer, Pattern };

/// What the banner and the size line of a Matrix Market file say.
struct MatrixMarketHeader {
  bool coordinate = true;  ///< else array
  bool symmetric = true;   ///< else general
  MatrixMarketField field = MatrixMarketField::Real;
  int rows = 0, cols = 0;
  long long entries = 0;  ///< values that follow: given (coordinate) or rows * cols, n (n + 1) / 2 (array)
  long long sizeLine = 0, firstLine = 0;
};

struct MatrixMarketEntry {
  int row = 0, col = 0;  ///< from 1
  double value = 1.0;    ///< 1 in a pattern file
};

/// The words and numbers of a Matrix Market text in their order, checked one by one. The constructor reads
/// the header; every failure is a FileError that names the line.
class MatrixMarketText {
public:
  /// Keeps `text` by reference.
  MatrixMarketText(std::string path, std::string_view text);

  const MatrixMarketHeader& header() const { return m_header; }

  /// How many entries the text can hold at most, whatever its size line says; what to reserve memory for.
  std::size_t entriesAtMost() const;

  /// Reads entry k (from 0) of a coordinate file; indices within bounds, value finite.
  void takeEntry(long long k, MatrixMarketEntry& entry);

  /// Reads value k (from 0) of an array file.
  double takeArrayValue(long long k);

  /// Fails unless only blank and comment lines are left.
  void expectEnd();

  /// The line on which entry k of a coordinate or array file stands; reads the file again, for messages.
  long long lineOfEntry(long long k) const;

  [[noreturn]] void fail(long long line, const std::string& message) const;

private:
  void takeBanner();
  void takeSizes();
  int takeSize(const char* what);
  int takeIndex(const char* what, int limit);
  double takeValue();
  [[noreturn]] void failAtEntry(long long k) const;

  std::string m_path;
  std::string_view m_text;
  TextCursor m_cursor;
  MatrixMarketHeader m_header;
};

}  // namespace models
}  // namespace vematrix
