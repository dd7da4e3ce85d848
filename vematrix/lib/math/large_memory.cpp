#include "large_memory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <string>
#include <utility>
#if defined(__GLIBC__)
#include <malloc.h>
#endif
#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "platform.h"

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr std::size_t kLine = 64;
#if defined(__linux__)
/// Blocks from this size on are pages of their own: given back, they leave no holes in the heap.
constexpr std::size_t kOwnPages = std::size_t(1) << 20;
#endif

double* AllocateDoubles(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / (2 * sizeof(double))) throw std::bad_alloc();
  const std::size_t bytes = count * sizeof(double);
#if defined(_WIN32)
  void* data = _aligned_malloc(bytes, kLine);
  if (!data) throw std::bad_alloc();
#else
#if defined(__linux__)
  if (bytes >= kOwnPages) {
    void* pages = AllocatePages(bytes);
    if (!pages) throw std::bad_alloc();
    return static_cast<double*>(pages);
  }
#endif
  void* data = nullptr;
  if (posix_memalign(&data, kLine, std::max(bytes, kLine)) != 0) throw std::bad_alloc();
#endif
  return static_cast<double*>(data);
}

void FreeDoubles(double* data, std::size_t count) {
#if defined(_WIN32)
  (void)count;
  _aligned_free(data);
#else
#if defined(__linux__)
  if (count * sizeof(double) >= kOwnPages) {
    FreePages(data, count * sizeof(double));
    return;
  }
#endif
  std::free(data);
#endif
}

#if defined(__linux__)
/// The number in a one-line file such as a control group's memory.max; negative when there is none.
std::int64_t NumberIn(const char* fileName) {
  std::ifstream file(fileName);
  std::int64_t number = -1;
  return file >> number ? number : -1;
}

/// MemAvailable of the machine in bytes; negative when it cannot be read.
std::int64_t MachineMemory() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::int64_t kilobytes = 0;
  while (file >> name >> kilobytes) {
    if (name == "MemAvailable:") return kilobytes * 1024;
    file.ignore(100, '\n');
  }
  return -1;
}

/// Pages of address space in use by this process, in bytes.
std::int64_t AddressSpaceInUse() {
  const std::int64_t pages = NumberIn("/proc/self/statm");
  return pages < 0 ? 0 : pages * sysconf(_SC_PAGESIZE);
}
#endif

}  // namespace

LargeArray::LargeArray(std::size_t count)
    : m_data(count > 0 ? AllocateDoubles(count) : nullptr), m_count(count) {}
LargeArray::~LargeArray() {
  FreeDoubles(m_data, m_count);
}

LargeArray::LargeArray(LargeArray&& other) noexcept : m_data(other.m_data), m_count(other.m_count) {
  other.m_data = nullptr;
  other.m_count = 0;
}

LargeArray& LargeArray::operator=(LargeArray&& other) noexcept {
  std::swap(m_data, other.m_data);
  std::swap(m_count, other.m_count);
  return *this;
}

void ReturnFreeMemory() noexcept {
#if defined(__GLIBC__)
  malloc_trim(0);
#endif
}

std::int64_t AvailableMemory() {
  std::int64_t available = std::numeric_limits<std::int64_t>::max();
#if defined(__linux__)
  const std::int64_t machine = MachineMemory();
  if (machine >= 0) available = machine;
  const std::int64_t groupLimit = NumberIn("/sys/fs/cgroup/memory.max");
  const std::int64_t groupUse = NumberIn("/sys/fs/cgroup/memory.current");
  if (groupLimit >= 0 && groupUse >= 0)
    available = std::min(available, std::max<std::int64_t>(0, groupLimit - groupUse));
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
    available = std::min(available, std::max<std::int64_t>(
                                        0, static_cast<std::int64_t>(limit.rlim_cur) - AddressSpaceInUse()));
  }
#endif
  return available;
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
