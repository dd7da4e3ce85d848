#pragma once
#include "../../sparse/LdltTypes.h"
#include "../../sparse/kernels/FrontKernels.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

struct LdltFactor;

/// Eliminates front after front from the leaves of the tree to its roots, each with the contribution blocks
/// of its children, and fills the factor's panels and pivots. Stops at the first pivot that fails; the factor
/// is then half filled.
/// @param value      terms of the pattern, in its order
/// @param threshold  as SymmetricLdlt::Factorize takes it
/// @param factor     its analysis is set; panel and pivot have their sizes
/// Throws std::bad_alloc. Source: Duff, Reid, ACM TOMS 9 (1983) 302-325; Liu, SIAM Review 34 (1992) 82-109.
kernels::PivotStats EliminateFronts(const double* value, PivotMode mode, double threshold, int threads,
                                    LdltFactor& factor);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
