#include "KernelTable.h"
#include "Simd128.h"
// The kernels proper, for this file's instruction set.
#include "PanelBlockSolve.inl"
#include "PanelFactor.inl"
#include "PanelSweep.inl"

namespace Vessa {
namespace Matrix {
namespace kernels {

const KernelTable& BaselineKernels() {
  static constexpr KernelTable table = {
      FactorPanel<Simd128>, UpdateTrailing<Simd128>, SubtractProduct<Simd128>, Forward<Simd128>,
      Backward<Simd128>,    ForwardBlock<Simd128>,   BackwardBlock<Simd128>};
  return table;
}

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
