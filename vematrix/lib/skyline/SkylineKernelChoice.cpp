// Which of the kernels this processor runs.
#include "SkylineBlock.h"
#include "SkylineSweep.h"

namespace Vessa {
namespace Matrix {
namespace skyline {

namespace baseline {
extern const BlockKernels kBlockKernels;
extern const SweepKernels kSweepKernels;
}  // namespace baseline
#if defined(__x86_64__)
namespace avx2 {
extern const BlockKernels kBlockKernels;
extern const SweepKernels kSweepKernels;
}  // namespace avx2
namespace avx512 {
extern const BlockKernels kBlockKernels;
extern const SweepKernels kSweepKernels;
}  // namespace avx512
#endif

#if defined(__x86_64__)
namespace {

bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

bool HasAvx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
         __builtin_cpu_supports("avx512vl");
}

}  // namespace
#endif

const BlockKernels& BaselineBlockKernels() {
  return baseline::kBlockKernels;
}
const SweepKernels& BaselineSweepKernels() {
  return baseline::kSweepKernels;
}

#if defined(__x86_64__)
const BlockKernels* Avx2BlockKernels() {
  return HasAvx2() ? &avx2::kBlockKernels : nullptr;
}
const SweepKernels* Avx2SweepKernels() {
  return HasAvx2() ? &avx2::kSweepKernels : nullptr;
}
const BlockKernels* Avx512BlockKernels() {
  return HasAvx512() ? &avx512::kBlockKernels : nullptr;
}
const SweepKernels* Avx512SweepKernels() {
  return HasAvx512() ? &avx512::kSweepKernels : nullptr;
}
#else
const BlockKernels* Avx2BlockKernels() {
  return nullptr;
}
const SweepKernels* Avx2SweepKernels() {
  return nullptr;
}
const BlockKernels* Avx512BlockKernels() {
  return nullptr;
}
const SweepKernels* Avx512SweepKernels() {
  return nullptr;
}
#endif

const BlockKernels& FastestBlockKernels() {
  if (const BlockKernels* kernels = Avx512BlockKernels()) return *kernels;
  if (const BlockKernels* kernels = Avx2BlockKernels()) return *kernels;
  return BaselineBlockKernels();
}

const SweepKernels& FastestSweepKernels() {
  if (const SweepKernels* kernels = Avx512SweepKernels()) return *kernels;
  if (const SweepKernels* kernels = Avx2SweepKernels()) return *kernels;
  return BaselineSweepKernels();
}

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
