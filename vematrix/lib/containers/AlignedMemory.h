#pragma once
#include <cstddef>

namespace Vessa {
namespace Matrix {

/// A block of `size` bytes at a multiple of 32, to be released with AlignedFree; null for size zero.
///
/// 32 bytes more than asked for are allocated; the block starts at the next multiple of 32 above the
/// allocator's address, which is kept in the word just before the block. Throws std::bad_alloc when there is
/// no memory.
void* AlignedAllocate(std::size_t size);

/// Releases a block of AlignedAllocate; null is allowed.
void AlignedFree(void* block) noexcept;

}  // namespace Matrix
}  // namespace Vessa
