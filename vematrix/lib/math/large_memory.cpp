#include "large_memory.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <new>
#include <string>
#include <utility>
#if defined(__linux__)
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr std::size_t kLine = 64;
constexpr std::size_t kHugePage = std::size_t(1) << 21;

double* AllocateDoubles(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(double) - kHugePage) throw std::bad_alloc();
  const std::size_t bytes = count * sizeof(double);
#if defined(_WIN32)
  void* data = _aligned_malloc(bytes, kLine);
  if (!data) throw std::bad_alloc();
#else
  const std::size_t alignment = bytes >= 2 * kHugePage ? kHugePage : kLine;
  void* data = nullptr;
  if (posix_memalign(&data, alignment, std::max(bytes, kLine)) != 0) throw std::bad_alloc();
#if defined(__linux__) && defined(MADV_HUGEPAGE)
  if (bytes >= 2 * kHugePage) madvise(data, bytes / kHugePage * kHugePage, MADV_HUGEPAGE);
#endif
#endif
  return static_cast<double*>(data);
}

void FreeDoubles(double* data) {
#if defined(_WIN32)
  _aligned_free(data);
#else
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
  FreeDoubles(m_data);
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
