#include "MatrixImage.h"

#include <cstring>
#include <limits>

#include "../math/platform.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

const char kMagic[8] = {'V', 'E', 'M', 'X', 'C', 'C', 'O', 'L'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kByteOrder = 0x01020304;

struct Header {
  char magic[8];
  std::uint32_t version;
  std::uint32_t byteOrder;
};

}  // namespace

void Checksum::Add(const void* data, std::size_t bytes) noexcept {
  constexpr std::uint64_t kPrime = 1099511628211ull;
  const unsigned char* p = static_cast<const unsigned char*>(data);
  std::uint64_t h = m_state;
  for (; bytes >= 8; bytes -= 8, p += 8) {
    std::uint64_t word;
    std::memcpy(&word, p, 8);
    h = (h ^ word) * kPrime;
    h ^= h >> 32;  // a multiplication alone carries no bit downwards
  }
  for (; bytes > 0; --bytes, ++p) h = (h ^ *p) * kPrime;
  m_state = h;
}

ImageWriter::ImageWriter(std::FILE* file) : m_file(file), m_ok(file != nullptr) {
  if (!m_ok) {
    m_message = "No file is open for the matrix";
    return;
  }
  if (!math::SeekFile(m_file, 0)) {
    m_ok = false;
    m_message = "The file for the matrix cannot be positioned";
    return;
  }
  Header header;
  std::memcpy(header.magic, kMagic, sizeof kMagic);
  header.version = kVersion;
  header.byteOrder = kByteOrder;
  PutBytes(&header, sizeof header);
}

void ImageWriter::PutBytes(const void* data, std::size_t bytes) {
  if (!m_ok || bytes == 0) return;
  m_checksum.Add(data, bytes);
  if (std::fwrite(data, 1, bytes, m_file) != bytes) {
    m_ok = false;
    m_message = "The matrix could not be written to its file";
  }
}

void ImageWriter::Put(std::int64_t number) {
  PutBytes(&number, sizeof number);
}
void ImageWriter::Put(double number) {
  PutBytes(&number, sizeof number);
}

void ImageWriter::Put(const std::vector<int>& array) {
  Put(static_cast<std::int64_t>(array.size()));
  PutBytes(array.data(), array.size() * sizeof(int));
}

void ImageWriter::Put(const std::vector<double>& array) {
  Put(static_cast<std::int64_t>(array.size()));
  PutBytes(array.data(), array.size() * sizeof(double));
}

void ImageWriter::Put(const double* array, std::int64_t length) {
  PutBytes(array, static_cast<std::size_t>(length) * sizeof(double));
}

bool ImageWriter::Finish() {
  if (!m_ok) return false;
  const std::uint64_t sum = m_checksum.Value();
  PutBytes(&sum, sizeof sum);
  if (m_ok && std::fflush(m_file) != 0) {
    m_ok = false;
    m_message = "The matrix could not be written to its file";
  }
  return m_ok;
}

ImageReader::ImageReader(std::FILE* file)
    : m_file(file),
      m_ok(file != nullptr),
      m_left(0),
      m_message("The file does not hold a compressed-column matrix") {
  if (!m_ok) {
    m_message = "No file is open for the matrix";
    return;
  }
  m_left = math::FileSize(m_file);
  if (m_left < 0 || !math::SeekFile(m_file, 0)) {
    Fail("The file of the matrix cannot be positioned");
    return;
  }
  Header header;
  if (!GetBytes(&header, sizeof header) || std::memcmp(header.magic, kMagic, sizeof kMagic) != 0) {
    Fail("The file does not hold a compressed-column matrix");
  } else if (header.byteOrder != kByteOrder) {
    Fail("The file was written on a machine of another byte order");
  } else if (header.version != kVersion) {
    Fail("The file was written by another version of the library");
  } else {
    m_message = "The file of the matrix is damaged";
  }
}

bool ImageReader::Fail(const char* message) {
  if (m_ok) m_message = message;
  m_ok = false;
  return false;
}

bool ImageReader::GetBytes(void* data, std::size_t bytes) {
  if (!m_ok) return false;
  if (bytes == 0) return true;
  if (static_cast<std::uint64_t>(m_left) < bytes || std::fread(data, 1, bytes, m_file) != bytes) {
    return Fail("The file of the matrix ends too early");
  }
  m_left -= static_cast<std::int64_t>(bytes);
  m_checksum.Add(data, bytes);
  return true;
}

bool ImageReader::Get(std::int64_t& number) {
  return GetBytes(&number, sizeof number);
}
bool ImageReader::Get(double& number) {
  return GetBytes(&number, sizeof number);
}

bool ImageReader::Get(int& number) {
  std::int64_t wide = 0;
  if (!Get(wide)) return false;
  if (wide < std::numeric_limits<int>::min() || wide > std::numeric_limits<int>::max()) {
    return Fail("The file of the matrix is damaged");
  }
  number = static_cast<int>(wide);
  return true;
}

bool ImageReader::Holds(std::int64_t length, std::size_t itemBytes) {
  if (!m_ok) return false;
  if (length < 0 || length > m_left / static_cast<std::int64_t>(itemBytes))
    return Fail("The file of the matrix is damaged");
  return true;
}

bool ImageReader::GetLength(std::int64_t& length, std::size_t itemBytes) {
  return Get(length) && Holds(length, itemBytes);
}

bool ImageReader::Get(std::vector<int>& array) {
  std::int64_t length = 0;
  if (!GetLength(length, sizeof(int))) return false;
  array.resize(static_cast<std::size_t>(length));
  return GetBytes(array.data(), array.size() * sizeof(int));
}

bool ImageReader::Get(std::vector<double>& array) {
  std::int64_t length = 0;
  if (!GetLength(length, sizeof(double))) return false;
  array.resize(static_cast<std::size_t>(length));
  return GetBytes(array.data(), array.size() * sizeof(double));
}

bool ImageReader::Get(double* array, std::int64_t length) {
  return GetBytes(array, static_cast<std::size_t>(length) * sizeof(double));
}

bool ImageReader::Finish() {
  const std::uint64_t expected = m_checksum.Value();
  std::uint64_t stored = 0;
  if (!GetBytes(&stored, sizeof stored)) return false;
  if (stored != expected) return Fail("The file of the matrix is damaged (checksum)");
  return true;
}

bool IsColumnStructure(int n, const std::vector<int>& start, const std::vector<int>& row,
                       std::size_t numValues) {
  if (n < 0 || start.size() != static_cast<std::size_t>(n) + 1 || start[0] != 0) return false;
  if (start[n] < 0 || static_cast<std::size_t>(start[n]) != row.size() || numValues != row.size())
    return false;
  for (int j = 0; j < n; ++j) {
    if (start[j + 1] < start[j] || start[j + 1] > start[n]) return false;
    for (int t = start[j], previous = -1; t < start[j + 1]; ++t) {
      if (row[t] <= previous || row[t] >= n) return false;
      previous = row[t];
    }
  }
  return true;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
