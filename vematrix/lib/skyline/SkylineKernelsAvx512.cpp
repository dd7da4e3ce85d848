// The skyline's kernels for processors with AVX-512; compiled with the flags for it.
#include "SkylineBlock.h"
#include "SkylineSweep.h"

#if defined(__x86_64__)
#include <immintrin.h>

#define VEMATRIX_LANES 8

namespace Vessa {
namespace Matrix {
namespace skyline {
namespace avx512 {
namespace {

namespace block {
#include "SkylineBlockKernels.h"
}
namespace sweep {
#include "SkylineSweepKernels.h"
}

}  // namespace

extern const BlockKernels kBlockKernels;
const BlockKernels kBlockKernels = {"AVX-512",        block::kLanes,     block::Pack,     block::ReduceAbove,
                                    block::ReduceRow, block::StoreAbove, block::DivideRow};

extern const SweepKernels kSweepKernels;
const SweepKernels kSweepKernels = {"AVX-512",           sweep::kLanes,       sweep::Forward,
                                    sweep::Backward,     sweep::Product,      sweep::Spread,
                                    sweep::Gather,       sweep::BlockForward, sweep::BlockBackward,
                                    sweep::BlockProduct, sweep::BlockSpread,  sweep::BlockGather};

}  // namespace avx512
}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
#endif
