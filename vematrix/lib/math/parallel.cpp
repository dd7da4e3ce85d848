#include "../math/parallel.h"

#include <algorithm>

#include "../math/thread_team.h"
#include "../math/threads.h"

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
  ForEachPiece(std::min(2, GetMaxThreads()), 2, [&](int piece, int) { piece == 0 ? first() : second(); });
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
