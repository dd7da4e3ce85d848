// The blocked reduction for any processor.
#include "SkylineBlock.h"

#define VEMATRIX_LANES 2

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace baseline {
namespace {
#include "SkylineBlockKernels.h"
}  // namespace

extern const BlockKernels kKernels;
const BlockKernels kKernels = {"baseline", kLanes, Pack, ReduceAbove, ReduceRow, StoreAbove, DivideRow};

}  // namespace baseline
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
