#pragma once
#include <cstddef>
#include <mutex>
#include <utility>
#include "../../math/large_memory.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// A work array that is kept between uses, so that the system need not clear its pages every time. Threads
/// may take at the same time: one gets the kept array, the others new ones.
class SpareArray {
public:
  /// At least `count` doubles, with any values. Throws std::bad_alloc.
  math::LargeArray Take(std::size_t count) {
    math::LargeArray taken;
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      std::swap(taken, m_kept);
    }
    return taken.Count() >= count && count > 0 ? std::move(taken) : math::LargeArray(count);
  }

  /// Keeps the array for the next Take when it is no larger than `limit` doubles, in place of a smaller one.
  void GiveBack(math::LargeArray array, std::size_t limit) {
    if (array.Count() > limit) return;
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (array.Count() > m_kept.Count()) std::swap(array, m_kept);
  }

private:
  std::mutex m_mutex;
  math::LargeArray m_kept;
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
