#include "Memory.h"

#include "../math/memory_limit.h"

namespace Vessa {
namespace Matrix {

void RequireMemory(const char* what, std::int64_t bytes) {
  math::RequireMemory(what, bytes);
}

}  // namespace Matrix
}  // namespace Vessa
