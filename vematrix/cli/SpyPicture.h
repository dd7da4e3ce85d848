#pragma once
#include <string>
#include <vector>

#include "MatrixFacts.h"

namespace vematrix {
namespace cli {

/// Draws the pattern three times, as PNG: as it is numbered and renumbered for a small profile, both with the
/// skyline that has to be stored shaded, and in the order of the sparse solvers with the fill of the factor
/// shaded.
void drawSpy(const std::string& path, const UpperMatrix& matrix, const std::vector<int>& profileOrder,
             const std::vector<int>& sparseOrder);

}  // namespace cli
}  // namespace vematrix
