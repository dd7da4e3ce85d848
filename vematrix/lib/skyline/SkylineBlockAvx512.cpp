// The blocked reduction for processors with AVX-512; compiled with the flags for it.
#include "SkylineBlock.h"

#if defined(__x86_64__)
#define VEMATRIX_LANES 8

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace avx512 {
namespace {
#include "SkylineBlockKernels.h"
}  // namespace

extern const BlockKernels kKernels;
const BlockKernels kKernels = {"AVX-512", kLanes, Pack, ReduceAbove, ReduceRow, StoreAbove, DivideRow};

}  // namespace avx512
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
#endif
