#include "KernelTable.h"
#include "Simd512.h"
// The kernels proper, for this file's instruction set.
#include "PanelBlockSolve.inl"
#include "PanelFactor.inl"
#include "PanelSweep.inl"

namespace Vessa {
namespace Matrix {
namespace kernels {

const KernelTable& Avx512Kernels() {
  static constexpr KernelTable table = {
      FactorPanel<Simd512>, UpdateTrailing<Simd512>, SubtractProduct<Simd512>, Forward<Simd512>,
      Backward<Simd512>,    ForwardBlock<Simd512>,   BackwardBlock<Simd512>};
  return table;
}

}  // namespace kernels
}  // namespace Matrix
}  // namespace Vessa
