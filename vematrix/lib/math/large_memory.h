#pragma once
// Large work arrays: aligned for vector instructions, on huge pages where the system has them; how much there
// is.
#include <cstddef>
#include <cstdint>

namespace Vessa {
namespace Matrix {
namespace math {

/// Uninitialised doubles, 64-byte aligned. Sizes of some MB and more ask the system for huge pages: fewer
/// page faults while a factor is written for the first time. Throws std::bad_alloc. Not copyable; empty when
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

/// Bytes this process may still take before the system, a container or a limit of the process stops it;
/// the largest number when that cannot be told.
std::int64_t AvailableMemory();

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
