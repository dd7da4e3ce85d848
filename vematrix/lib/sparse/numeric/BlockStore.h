#pragma once
#include <map>
#include "../../math/large_memory.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Memory of contribution blocks, one store for each thread: blocks come and go thousands of times a
/// factorisation, and fresh pages cost more than the arithmetic of a small front.
///
/// A block given back is kept for a block of nearly the same size, up to a limit of what lies idle.
class BlockStore {
public:
  /// At most so many doubles lie idle.
  void Limit(std::size_t doubles) { m_limit = doubles; }

  math::LargeArray Take(std::size_t doubles) {
    const auto found = m_idle.lower_bound(doubles);
    if (found != m_idle.end() && found->first <= doubles + doubles / 2 + 512) {
      math::LargeArray block = std::move(found->second);
      m_idle.erase(found);
      m_held -= block.Count();
      return block;
    }
    return math::LargeArray(doubles);
  }

  void Give(math::LargeArray&& block) {
    if (block.Count() == 0) return;
    m_held += block.Count();
    m_idle.emplace(block.Count(), std::move(block));
    while (m_held > m_limit) {
      const auto largest = std::prev(m_idle.end());
      m_held -= largest->first;
      m_idle.erase(largest);
    }
  }

private:
  std::size_t m_limit = 0, m_held = 0;
  std::multimap<std::size_t, math::LargeArray> m_idle;
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
