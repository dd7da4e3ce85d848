#include "KernelTable.h"
#include "Simd256.h"
// The kernels proper, for this file's instruction set.
#include "PanelBlockSolve.inl"
#include "PanelFactor.inl"
#include "PanelSweep.inl"

namespace Vessa {
namespace Matrix {
namespace kernels {

const KernelTable& Avx2Kernels() {
  static constexpr KernelTable table = {
      FactorPanel<Simd256>, UpdateTrailing<Simd256>, SubtractProduct<Simd256>, Forward<Simd256>,
      Backward<Simd256>,    ForwardBlock<Simd256>,   BackwardBlock<Simd256>};
  return table;
}

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
