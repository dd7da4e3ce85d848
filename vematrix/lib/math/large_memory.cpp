#include "large_memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "memory_limit.h"
#include "platform.h"

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr std::size_t kLine = 64;
/// From this size on a request is compared with what there is: the system may grant more than it has.
constexpr std::size_t kCheckedRequest = std::size_t(1) << 26;
#if defined(__linux__)
/// Blocks from this size on are pages of their own: given back, they leave no holes in the heap.
constexpr std::size_t kOwnPages = std::size_t(1) << 20;
#endif

double* AllocateDoubles(std::size_t count) {
  if (count > std::numeric_limits<std::size_t>::max() / (2 * sizeof(double))) throw std::bad_alloc();
  const std::size_t bytes = count * sizeof(double);
  if (bytes >= kCheckedRequest) RequireMemory("an array", static_cast<std::int64_t>(bytes));
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

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
