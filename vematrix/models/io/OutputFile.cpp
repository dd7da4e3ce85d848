#include "models/io/OutputFile.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include "models/io/FileError.h"
#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace vematrix {
namespace models {
namespace {

constexpr std::size_t kBufferSize = 1 << 16;

// Names of the open partial files, readable from a signal handler. state: 0 unused, 1 being filled, 2 valid.
struct Slot {
  std::atomic<int> state{0};
  char name[4096];
};
std::array<Slot, 16> slots;

int occupySlot(const std::string& name) {
  if (name.size() >= sizeof(Slot::name)) return -1;
  for (std::size_t k = 0; k < slots.size(); ++k) {
    int unused = 0;
    if (!slots[k].state.compare_exchange_strong(unused, 1)) continue;
    std::memcpy(slots[k].name, name.c_str(), name.size() + 1);
    slots[k].state = 2;
    return static_cast<int>(k);
  }
  return -1;
}

void freeSlot(int slot) {
  if (slot >= 0) slots[static_cast<std::size_t>(slot)].state = 0;
}

std::string partName(const std::string& path) {
  static const char digits[] = "0123456789abcdef";
  std::random_device random;
  std::string name = path + ".";
  for (int k = 0; k < 8; ++k) name += digits[random() % 16];
  return name + ".part";
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : m_path(path) {
  m_buffer.reserve(kBufferSize + 64);  // all memory first: what is open then has no destructor yet
  std::error_code ignored;
  const std::filesystem::file_status status = std::filesystem::status(path, ignored);
  if (std::filesystem::is_directory(status)) throw FileError(path, "cannot be written: it is a directory");
  if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) {
    m_part = partName(path);
    m_slot = occupySlot(m_part);
  }
  m_file = std::fopen((m_part.empty() ? m_path : m_part).c_str(), "wb");
  if (m_file == nullptr) {
    const int error = errno;
    freeSlot(m_slot);
    throw FileError(path, std::string("cannot be created: ") + std::strerror(error));
  }
}

OutputFile::~OutputFile() {
  discard();
}

OutputFile& OutputFile::operator<<(std::string_view text) {
  m_buffer.append(text);
  if (m_buffer.size() >= kBufferSize) flush();
  return *this;
}

OutputFile& OutputFile::operator<<(int value) {
  char text[16];
  return *this << std::string_view(
             text, static_cast<std::size_t>(std::to_chars(text, text + 16, value).ptr - text));
}

OutputFile& OutputFile::operator<<(double value) {
  char text[40];
  return *this << std::string_view(
             text, static_cast<std::size_t>(std::to_chars(text, text + 40, value).ptr - text));
}

void OutputFile::flush() {
  errno = 0;
  if (std::fwrite(m_buffer.data(), 1, m_buffer.size(), m_file) != m_buffer.size())
    fail("cannot be written", errno);
  m_buffer.clear();
}

void OutputFile::commit() {
  flush();
  errno = 0;
  const int closed = std::fclose(m_file);
  m_file = nullptr;
  if (closed != 0) fail("cannot be written", errno);
  if (m_part.empty()) return;
  std::error_code error;
  std::filesystem::rename(m_part, m_path, error);
  if (error) fail("cannot be replaced", error.value());
  freeSlot(m_slot);
  m_slot = -1;
  m_part.clear();
}

void OutputFile::fail(const char* what, int error) {
  discard();
  throw FileError(m_path, std::string(what) + ": " + std::strerror(error));
}

void OutputFile::discard() noexcept {
  if (m_file != nullptr) std::fclose(m_file);
  m_file = nullptr;
  if (!m_part.empty()) std::remove(m_part.c_str());
  m_part.clear();
  freeSlot(m_slot);
  m_slot = -1;
}

void OutputFile::removeUnfinished() noexcept {
  for (Slot& slot : slots) {
    if (slot.state != 2) continue;
#if defined(_WIN32)
    std::remove(slot.name);
#else
    unlink(slot.name);
#endif
  }
}

}  // namespace models
}  // namespace vematrix
