#pragma once
#include <cstddef>
#include <cstdlib>
#include <limits>
#include <new>

/// Replaces the global operator new of the test that includes it (once per executable) by one that can be
/// told to fail: beyond a size, or at the n-th allocation from now on.
namespace test_support {

struct AllocationLimits {
  std::size_t largest = std::numeric_limits<std::size_t>::max();  ///< bytes; more than this fails
  long failAt = -1;                                               ///< 0: the next one fails, once
  long count = 0;
};

inline AllocationLimits& Limits() {
  static AllocationLimits limits;
  return limits;
}

/// Sets the limits for its lifetime.
class WithAllocations {
public:
  static WithAllocations UpTo(std::size_t bytes) { return WithAllocations(bytes, -1); }
  static WithAllocations FailingAt(long n) {
    return WithAllocations(std::numeric_limits<std::size_t>::max(), n);
  }
  WithAllocations(const WithAllocations&) = delete;
  ~WithAllocations() { Limits() = AllocationLimits(); }
  /// Whether the allocation that was to fail has been reached.
  bool HasFailed() const { return Limits().count > Limits().failAt; }

private:
  WithAllocations(std::size_t bytes, long n) {
    Limits().largest = bytes;
    Limits().failAt = n;
    Limits().count = 0;
  }
};

inline void* AllocateWithinLimits(std::size_t size) {
  AllocationLimits& limits = Limits();
  if (size > limits.largest || limits.count++ == limits.failAt) throw std::bad_alloc();
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}

}  // namespace test_support

// Not inlined: the compiler would take a free() in the place of a delete for a mistake.
__attribute__((noinline)) void* operator new(std::size_t size) {
  return test_support::AllocateWithinLimits(size);
}
__attribute__((noinline)) void* operator new[](std::size_t size) {
  return test_support::AllocateWithinLimits(size);
}
__attribute__((noinline)) void operator delete(void* p) noexcept {
  std::free(p);
}
__attribute__((noinline)) void operator delete[](void* p) noexcept {
  std::free(p);
}
__attribute__((noinline)) void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
__attribute__((noinline)) void operator delete[](void* p, std::size_t) noexcept {
  std::free(p);
}
