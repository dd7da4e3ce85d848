#pragma once
#include <cstddef>
#include "../numeric/LdltFactor.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Improves solutions of A·X = B by iterative refinement, all columns together.
///
/// A step r = b − A·x, x += A⁻¹·r is kept while it halves ‖r‖∞; the last step of a column that does not is
/// undone. One residual and one solve serve all columns that still improve, so that refining 20 vectors costs
/// little more than the solution itself; each column is judged by its own residual.
/// @param value     the terms in the order of the analysed pattern
/// @param maxSteps  with 0 nothing is read or done
/// @param b, x   numRhs columns of n values, ld apart; x holds the solutions to be improved
/// @return the number of steps kept, the most over the columns
int RefineSolutions(const LdltFactor& factor, const double* value, const double* b, double* x, int numRhs,
                    std::ptrdiff_t ld, int maxSteps, int threads);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
