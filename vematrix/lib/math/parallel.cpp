#include "../math/parallel.h"

#include <tbb/parallel_invoke.h>

namespace Vessa {
namespace Matrix {
namespace math {

void invokeBoth(std::size_t doublesPerTask, const std::function<void()>& first,
                const std::function<void()>& second) {
  if (doublesPerTask < kParallelPays) {
    first();
    second();
    return;
  }
  tbb::parallel_invoke(first, second);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
