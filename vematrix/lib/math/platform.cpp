#include "platform.h"

#include <cstdint>
#include <cstdlib>
#include <cwchar>

#if defined(_WIN32)
#define NOMINMAX
#include <io.h>
#include <process.h>
#include <windows.h>
#else
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {

namespace {

bool IsHighSurrogate(std::uint32_t unit) {
  return unit >= 0xD800u && unit <= 0xDBFFu;
}
bool IsLowSurrogate(std::uint32_t unit) {
  return unit >= 0xDC00u && unit <= 0xDFFFu;
}

// One unit of the wide string, without the sign that wchar_t has on some systems.
std::uint32_t Unit(wchar_t c) {
  return sizeof(wchar_t) == 2 ? static_cast<std::uint32_t>(c) & 0xFFFFu : static_cast<std::uint32_t>(c);
}

void AppendUtf8(std::uint32_t code, std::string& out) {
  const auto tail = [&out](std::uint32_t bits) { out += static_cast<char>(0x80u | (bits & 0x3Fu)); };
  if (code < 0x80u) {
    out += static_cast<char>(code);
  } else if (code < 0x800u) {
    out += static_cast<char>(0xC0u | (code >> 6));
    tail(code);
  } else if (code < 0x10000u) {
    out += static_cast<char>(0xE0u | (code >> 12));
    tail(code >> 6);
    tail(code);
  } else {
    out += static_cast<char>(0xF0u | (code >> 18));
    tail(code >> 12);
    tail(code >> 6);
    tail(code);
  }
}

#if defined(_WIN32)
std::wstring WidenMode(const char* mode) {
  return std::wstring(mode, mode + std::char_traits<char>::length(mode));
}
#endif

}  // namespace

#if defined(_WIN32)
const char kPathSeparator = '\\';
#else
const char kPathSeparator = '/';
#endif

std::string WideToUtf8(const wchar_t* name) {
  std::string out;
  if (name == nullptr) return out;
  while (*name != L'\0') {
    std::uint32_t code = Unit(*name++);
    if (sizeof(wchar_t) == 2 && IsHighSurrogate(code) && IsLowSurrogate(Unit(*name))) {
      code = 0x10000u + ((code - 0xD800u) << 10) + (Unit(*name++) - 0xDC00u);
    } else if (IsHighSurrogate(code) || IsLowSurrogate(code) || code > 0x10FFFFu) {
      return std::string();
    }
    AppendUtf8(code, out);
  }
  return out;
}

bool HasFolder(const std::string& name) {
#if defined(_WIN32)
  return name.find('\\') != std::string::npos;
#else
  return name.find_first_of("\\/") != std::string::npos;
#endif
}

std::FILE* OpenFile(const char* name, const char* mode) {
  if (name == nullptr || *name == '\0') return nullptr;
#if defined(_WIN32)
  std::FILE* file = nullptr;
  return fopen_s(&file, name, mode) == 0 ? file : nullptr;
#else
  return std::fopen(name, mode);
#endif
}

std::FILE* OpenFile(const wchar_t* name, const char* mode) {
#if defined(_WIN32)
  if (name == nullptr || *name == L'\0') return nullptr;
  std::FILE* file = nullptr;
  return _wfopen_s(&file, name, WidenMode(mode).c_str()) == 0 ? file : nullptr;
#else
  return OpenFile(WideToUtf8(name).c_str(), mode);
#endif
}

bool RemoveFile(const char* name) {
  return name != nullptr && *name != '\0' && std::remove(name) == 0;
}

bool RemoveFile(const wchar_t* name) {
#if defined(_WIN32)
  return name != nullptr && *name != L'\0' && _wremove(name) == 0;
#else
  return RemoveFile(WideToUtf8(name).c_str());
#endif
}

bool SeekFile(std::FILE* file, long long offset) {
#if defined(_WIN32)
  return _fseeki64(file, offset, SEEK_SET) == 0;
#else
  return fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
#endif
}

long long FileSize(std::FILE* file) {
#if defined(_WIN32)
  return _fseeki64(file, 0, SEEK_END) == 0 ? _ftelli64(file) : -1;
#else
  return fseeko(file, 0, SEEK_END) == 0 ? static_cast<long long>(ftello(file)) : -1;
#endif
}

bool GetEnvironment(const char* name, std::string& value) {
#if defined(_WIN32)
  char* text = nullptr;
  std::size_t size = 0;
  const bool found = _dupenv_s(&text, &size, name) == 0 && text != nullptr;
  if (found) value = text;
  std::free(text);
  return found;
#else
  const char* text = std::getenv(name);
  if (text == nullptr) return false;
  value = text;
  return true;
#endif
}

namespace {

constexpr std::size_t kSmallRequest = std::size_t{128} << 10;
constexpr std::size_t kHugeRequest = std::size_t{4} << 20;

}  // namespace

void* AllocatePages(std::size_t bytes) noexcept {
  if (bytes < kSmallRequest) return std::malloc(bytes);
#if defined(_WIN32)
  return VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE);
#else
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  PreferHugePages(memory, bytes);
  return memory;
#endif
}

void PreferHugePages(void* memory, std::size_t bytes) noexcept {
#if defined(MADV_HUGEPAGE)
  if (bytes < kHugeRequest) return;
  const std::uintptr_t page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  const std::uintptr_t begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (begin + page - 1) / page * page, end = (begin + bytes) / page * page;
  madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);  // a refusal costs nothing
#else
  (void)memory;
  (void)bytes;
#endif
}

void FreePages(void* memory, std::size_t bytes) noexcept {
  if (bytes < kSmallRequest) {
    std::free(memory);
    return;
  }
#if defined(_WIN32)
  VirtualFree(memory, 0, MEM_RELEASE);
#else
  munmap(memory, bytes);
#endif
}

#if defined(_WIN32)

long ProcessId() noexcept {
  return _getpid();
}

SignalsBlocked::SignalsBlocked() noexcept = default;
SignalsBlocked::~SignalsBlocked() = default;

#else

long ProcessId() noexcept {
  return getpid();
}

SignalsBlocked::SignalsBlocked() noexcept {
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &m_before);
}

SignalsBlocked::~SignalsBlocked() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

#endif

#if defined(__linux__)

int CurrentProcessor() noexcept {
  return sched_getcpu();
}

void KeepOff(std::thread& thread, int processor) noexcept {
  cpu_set_t allowed;
  if (processor < 0 || sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
  CPU_CLR(processor, &allowed);
  if (CPU_COUNT(&allowed) > 0) pthread_setaffinity_np(thread.native_handle(), sizeof allowed, &allowed);
}

#else

int CurrentProcessor() noexcept {
  return -1;
}

void KeepOff(std::thread&, int) noexcept {}

#endif

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
