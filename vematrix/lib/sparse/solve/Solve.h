#pragma once
#include <cstddef>
#include "../../sparse/numeric/LdltFactor.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// x ← A⁻¹·b in the numbering of the matrix: forward up the tree, backward down the tree.
///
/// Reads the factor twice; what a subtree hands to its ancestors is collected apart and added by the parent
/// in the order of the children, so bits do not depend on the number of threads.
/// @param b, x  numRhs columns of n values each, ld apart; b and x are the same or do not overlap
void SolveFronts(const LdltFactor& factor, const double* b, double* x, int numRhs, std::ptrdiff_t ld,
                 int threads);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
