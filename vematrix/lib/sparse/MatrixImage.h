#pragma once
// The binary image of a compressed-column matrix: a header, then arrays each with its length, then a
// checksum.
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Checksum over 64-bit words and the tail of a byte string (FNV-1a, applied to words for speed).
class Checksum {
public:
  void Add(const void* data, std::size_t bytes) noexcept;
  std::uint64_t Value() const noexcept { return m_state; }

private:
  std::uint64_t m_state = 14695981039346656037ull;
};

/// Writes from offset 0: magic, version and byte order, the items in the order of Put, the checksum of all of
/// it.
///
/// Every failure is remembered; Finish tells. On disk numbers have the machine's byte order, which the header
/// names.
class ImageWriter {
public:
  explicit ImageWriter(std::FILE* file);
  void Put(std::int64_t number);
  void Put(double number);
  void Put(const std::vector<int>& array);
  void Put(const std::vector<double>& array);
  void Put(const double* array, std::int64_t length);
  /// Writes the checksum and flushes; whether all of it reached the file.
  bool Finish();
  const std::string& Message() const { return m_message; }

private:
  void PutBytes(const void* data, std::size_t bytes);

  std::FILE* m_file;
  bool m_ok;
  Checksum m_checksum;
  std::string m_message;
};

/// Reads what ImageWriter wrote. Lengths are checked against the size of the file before anything is
/// allocated.
class ImageReader {
public:
  explicit ImageReader(std::FILE* file);
  bool Get(int& number);
  bool Get(std::int64_t& number);
  bool Get(double& number);
  bool Get(std::vector<int>& array);
  bool Get(std::vector<double>& array);
  /// Exactly `length` values into an existing array.
  bool Get(double* array, std::int64_t length);
  /// Whether so many items of so many bytes are still to come: to be asked before memory is taken for them.
  bool Holds(std::int64_t length, std::size_t itemBytes);
  /// Compares the checksum.
  bool Finish();
  const std::string& Message() const { return m_message; }

private:
  bool GetBytes(void* data, std::size_t bytes);
  bool GetLength(std::int64_t& length, std::size_t itemBytes);
  bool Fail(const char* message);

  std::FILE* m_file;
  bool m_ok;
  std::int64_t m_left;  ///< bytes between the read position and the end of the file
  Checksum m_checksum;
  std::string m_message;
};

/// Whether the arrays describe n columns with increasing rows in 0..n−1 and one value for each row.
bool IsColumnStructure(int n, const std::vector<int>& start, const std::vector<int>& row,
                       std::size_t numValues);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
