#include "models/io/FileText.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <zlib.h>

#include "containers/Memory.h"
#include "models/io/FileError.h"

namespace vematrix {
namespace models {
namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File openForReading(const std::string& path) {
  File file(std::fopen(path.c_str(), "rb"));
  if (!file) throw FileError(path, std::string("cannot be opened: ") + std::strerror(errno));
  struct stat status;
  if (fstat(fileno(file.get()), &status) == 0 && S_ISDIR(status.st_mode))
    throw FileError(path, "is a directory, expected a file");
  return file;
}

constexpr std::size_t block = std::size_t(1) << 20;  // bytes read or unpacked at a time

/// Makes room in the text of a file. @throws std::bad_alloc with the figures when there is not so much memory
void grow(std::string& text, std::size_t size, const std::string& path) {
  const std::string what = "the text of " + path;
  Vessa::Matrix::RequireMemory(what.c_str(), static_cast<std::int64_t>(size));
  text.reserve(size);
}

std::string readAll(const std::string& path, std::FILE* file) {
  std::string text;
  struct stat status;
  if (fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode))
    grow(text, static_cast<std::size_t>(status.st_size) + block, path);
  for (;;) {
    if (text.capacity() < text.size() + block) grow(text, 2 * text.size() + block, path);
    const std::size_t before = text.size();
    text.resize(before + block);
    const std::size_t got = std::fread(&text[before], 1, block, file);
    text.resize(before + got);
    if (got < block) break;
  }
  if (std::ferror(file)) throw FileError(path, std::string("cannot be read: ") + std::strerror(errno));
  return text;
}

bool isGzip(const std::string& bytes) {
  return bytes.size() >= 2 && bytes[0] == '\x1f' && bytes[1] == '\x8b';
}

/// One member after the other, as the format allows; every check sum is verified by zlib.
std::string unpack(const std::string& path, const std::string& packed) {
  z_stream stream = {};
  if (inflateInit2(&stream, 15 + 16) != Z_OK) throw FileError(path, "zlib could not be started");
  const std::unique_ptr<z_stream, int (*)(z_stream*)> guard(&stream, inflateEnd);
  std::string text;
  std::size_t taken = 0;
  std::string piece(block, '\0');
  for (;;) {
    if (stream.avail_in == 0) {
      const std::size_t more = std::min(packed.size() - taken, std::size_t(1) << 30);
      stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data() + taken));
      stream.avail_in = static_cast<uInt>(more);
      taken += more;
    }
    stream.next_out = reinterpret_cast<Bytef*>(&piece[0]);
    stream.avail_out = static_cast<uInt>(piece.size());
    const int code = inflate(&stream, Z_NO_FLUSH);
    if (text.capacity() < text.size() + block) grow(text, 2 * text.size() + block, path);
    text.append(piece, 0, piece.size() - stream.avail_out);
    const bool exhausted = stream.avail_in == 0 && taken == packed.size();
    if (code == Z_STREAM_END) {
      if (exhausted) return text;
      inflateReset(&stream);
    } else if (code != Z_OK && code != Z_BUF_ERROR) {
      throw FileError(path, "damaged gzip file: " + std::string(stream.msg ? stream.msg : "invalid data"));
    } else if (exhausted && stream.avail_out != 0) {
      throw FileError(path, "gzip file ends too early, expected the rest of the compressed data");
    }
  }
}

}  // namespace

std::string readFileText(const std::string& path) {
  const File file = openForReading(path);
  std::string text = readAll(path, file.get());
  if (isGzip(text)) return unpack(path, text);
  return text;
}

}  // namespace models
}  // namespace vematrix
