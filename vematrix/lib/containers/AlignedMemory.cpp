#include "AlignedMemory.h"

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

namespace Vessa {
namespace Matrix {

namespace {
constexpr std::size_t kAlignment = 32;
}

void* AlignedAllocate(std::size_t size) {
  void* block = nullptr;
  if (size == 0) return block;
  if (size > std::numeric_limits<std::size_t>::max() - kAlignment) throw std::bad_alloc();
  void* original = std::malloc(size + kAlignment);
  if (original == nullptr) throw std::bad_alloc();
  const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(original);
  const std::size_t offset = kAlignment - address % kAlignment;
  block = static_cast<char*>(original) + offset;
  static_cast<void**>(block)[-1] = original;
  return block;
}

void AlignedFree(void* block) noexcept {
  if (block != nullptr) std::free(static_cast<void**>(block)[-1]);
}

}  // namespace Matrix
}  // namespace Vessa
