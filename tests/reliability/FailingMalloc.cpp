#include "FailingMalloc.h"

#include <dlfcn.h>
#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The C library's own functions, under the names it exports for replacements like this one.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}

namespace {

thread_local bool armed = false;
thread_local bool delivered = false;
thread_local long failAt = 0;
thread_local long count = 0;
std::atomic<long long> liveBytes{0};
std::atomic<long long> liveBlocks{0};

bool liesInMathLibrary(const void* caller) {
  Dl_info info;
  if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr) return false;
  return std::strstr(info.dli_fname, "libmkl") != nullptr ||
         std::strstr(info.dli_fname, "libgomp") != nullptr ||
         std::strstr(info.dli_fname, "openblas") != nullptr ||
         std::strstr(info.dli_fname, "liblapack") != nullptr;
}

// The math library and the OpenMP runtime do not survive a failed allocation of their own; theirs are left
// alone. dladdr searches the whole symbol table of a library: what it said of a caller is kept.
bool belongsToMathLibrary(const void* caller) {
  struct Known {
    const void* caller;
    bool math;
  };
  static thread_local Known known[1024];
  Known& place = known[(reinterpret_cast<std::uintptr_t>(caller) >> 2) % 1024];
  if (place.caller != caller) place = {caller, liesInMathLibrary(caller)};
  return place.math;
}

bool mustFail(const void* caller) {
  if (!armed || belongsToMathLibrary(caller)) return false;
  ++count;
  if (count != failAt) return false;
  delivered = true;
  errno = ENOMEM;
  return true;
}

void* counted(void* block) {
  if (block != nullptr) {
    liveBytes += static_cast<long long>(malloc_usable_size(block));
    ++liveBlocks;
  }
  return block;
}

void uncounted(void* block) {
  if (block != nullptr) {
    liveBytes -= static_cast<long long>(malloc_usable_size(block));
    --liveBlocks;
  }
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  return mustFail(__builtin_return_address(0)) ? nullptr : counted(__libc_malloc(size));
}

void* calloc(std::size_t number, std::size_t size) {
  return mustFail(__builtin_return_address(0)) ? nullptr : counted(__libc_calloc(number, size));
}

void* realloc(void* block, std::size_t size) {
  if (mustFail(__builtin_return_address(0))) return nullptr;
  uncounted(block);
  void* moved = __libc_realloc(block, size);
  if (moved == nullptr && size != 0) {
    counted(block);
    return nullptr;
  }
  return counted(moved);
}

void* memalign(std::size_t alignment, std::size_t size) {
  return mustFail(__builtin_return_address(0)) ? nullptr : counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
  void* fresh = mustFail(__builtin_return_address(0)) ? nullptr : counted(__libc_memalign(alignment, size));
  if (fresh == nullptr) return ENOMEM;
  *block = fresh;
  return 0;
}

void free(void* block) {
  uncounted(block);
  __libc_free(block);
}
}

namespace failing_malloc {

void Arm(long n) {
  failAt = n;
  count = 0;
  delivered = false;
  armed = true;
}

long Disarm() {
  armed = false;
  return count;
}

bool Delivered() {
  return delivered;
}

long long LiveBytes() {
  return liveBytes;
}

long long LiveBlocks() {
  return liveBlocks;
}

}  // namespace failing_malloc
