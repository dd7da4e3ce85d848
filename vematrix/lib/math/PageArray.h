#pragma once
#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>
#include <utility>

#include "platform.h"

namespace Vessa {
namespace Matrix {
namespace math {

/// An array of plain values, not initialised, whose memory goes back to the system the moment it is released.
///
/// malloc keeps what was freed for its next call; for arrays of many megabytes that live briefly beside
/// others this is what decides the peak of a process.
template <class T>
class PageArray {
  static_assert(std::is_trivially_copyable<T>::value && std::is_trivially_destructible<T>::value,
                "plain values only");

public:
  PageArray() = default;
  /// Throws std::bad_alloc.
  explicit PageArray(std::size_t count)
      : m_bytes(BytesFor(count)), m_data(static_cast<T*>(AllocatePages(m_bytes))) {
    if (m_data == nullptr) throw std::bad_alloc();
  }
  PageArray(PageArray&& b) noexcept
      : m_bytes(std::exchange(b.m_bytes, 0)), m_data(std::exchange(b.m_data, nullptr)) {}
  PageArray& operator=(PageArray&& b) noexcept {
    std::swap(m_bytes, b.m_bytes);
    std::swap(m_data, b.m_data);
    return *this;
  }
  ~PageArray() { Release(); }

  void Release() noexcept {
    if (m_data != nullptr) FreePages(m_data, m_bytes);
    m_data = nullptr;
    m_bytes = 0;
  }

  T* Data() noexcept { return m_data; }
  const T* Data() const noexcept { return m_data; }
  T& operator[](std::size_t k) noexcept { return m_data[k]; }
  const T& operator[](std::size_t k) const noexcept { return m_data[k]; }

private:
  static std::size_t BytesFor(std::size_t count) {
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T) - 1) throw std::bad_alloc();
    return (count + 1) * sizeof(T);  // never nothing
  }

  std::size_t m_bytes = 0;
  T* m_data = nullptr;
};

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
