#pragma once
#include <cstddef>
#include "../../sparse/numeric/LdltFactor.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// x ← A⁻¹·x in place, in the numbering of the matrix: forward up the tree, backward down the tree.
///
/// Reads the factor twice; what a subtree hands to its ancestors is collected apart and added by the parent
/// in the order of the children, so bits do not depend on the number of threads.
/// @param x  numRhs columns of n values, column c at x + c·ldx
void SolveFronts(const LdltFactor& factor, double* x, int numRhs, std::ptrdiff_t ldx, int threads);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
