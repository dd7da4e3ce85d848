// The skyline's kernels for any processor.
#include "SkylineBlock.h"
#include "SkylineSweep.h"

#define VEMATRIX_LANES 2

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace baseline {
namespace {

namespace block {
#include "SkylineBlockKernels.h"
}
namespace sweep {
#include "SkylineSweepKernels.h"
}

}  // namespace

extern const BlockKernels kBlockKernels;
const BlockKernels kBlockKernels = {"baseline",       block::kLanes,     block::Pack,     block::ReduceAbove,
                                    block::ReduceRow, block::StoreAbove, block::DivideRow};

extern const SweepKernels kSweepKernels;
const SweepKernels kSweepKernels = {"baseline",          sweep::kLanes,       sweep::Forward,
                                    sweep::Backward,     sweep::Product,      sweep::Spread,
                                    sweep::Gather,       sweep::BlockForward, sweep::BlockBackward,
                                    sweep::BlockProduct, sweep::BlockSpread,  sweep::BlockGather};

}  // namespace baseline
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
