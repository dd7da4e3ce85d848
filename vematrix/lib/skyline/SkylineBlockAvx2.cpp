// The blocked reduction for processors with AVX2; compiled with the flags for it.
#include "SkylineBlock.h"

#if defined(__x86_64__)
#define VEMATRIX_LANES 4

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace avx2 {
namespace {
#include "SkylineBlockKernels.h"
}  // namespace

extern const BlockKernels kKernels;
const BlockKernels kKernels = {"AVX2", kLanes, Pack, ReduceAbove, ReduceRow, StoreAbove, DivideRow};

}  // namespace avx2
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
#endif
