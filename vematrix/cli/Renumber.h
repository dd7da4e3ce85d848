#pragma once
#include <vector>

#include "MatrixFacts.h"

namespace vematrix {
namespace cli {

/// An order of the dofs with a small profile: order[k] is the dof (from 1) that comes to place k + 1.
/// Breadth-first from a dof far out, neighbours by rising degree, the whole turned round (reverse
/// Cuthill-McKee), part by part. Cost: O(terms log degree). Source: George, Liu, Computer Solution of Large
/// Sparse Positive Definite Systems (1981), 4.3-4.4.
std::vector<int> smallProfileOrder(const UpperMatrix& matrix);

/// The matrix in another order of its dofs.
UpperMatrix reordered(const UpperMatrix& matrix, const std::vector<int>& order);

/// The height of every column of the skyline (diagonal included).
std::vector<int> columnHeights(const UpperMatrix& matrix);

}  // namespace cli
}  // namespace vematrix
