#pragma once
// Large work arrays: aligned for vector instructions, on huge pages where the system has them.
#include <cstddef>

namespace Vessa {
namespace Matrix {
namespace math {

/// Uninitialised doubles, 64-byte aligned. Sizes of some MB and more ask the system for huge pages: fewer
/// page faults while a factor is written for the first time. Throws std::bad_alloc, or OutOfMemory
/// (memory_limit.h) for more than this process may take. Not copyable; empty when
/// default-made.
class LargeArray {
public:
  LargeArray() = default;
  explicit LargeArray(std::size_t count);
  ~LargeArray();
  LargeArray(LargeArray&& other) noexcept;
  LargeArray& operator=(LargeArray&& other) noexcept;
  LargeArray(const LargeArray&) = delete;
  LargeArray& operator=(const LargeArray&) = delete;

  double* Data() noexcept { return m_data; }
  const double* Data() const noexcept { return m_data; }
  std::size_t Count() const noexcept { return m_count; }

private:
  double* m_data = nullptr;
  std::size_t m_count = 0;
};

/// Gives memory that was freed and is kept for reuse back to the system, where the C library can do that.
void ReturnFreeMemory() noexcept;

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
