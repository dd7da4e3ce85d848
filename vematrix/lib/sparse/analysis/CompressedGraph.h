#pragma once
#include <vector>
#include "../../sparse/LdltTypes.h"
#include "../../sparse/ordering/Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Dofs with the same neighbours (the dofs of one mesh node) taken together, and the graph of these groups.
///
/// Ordering groups gives the fill of ordering dofs at a fraction of the time.
struct CompressedGraph {
  Graph graph;                ///< of the groups; weight = number of dofs
  std::vector<int> dofStart;  ///< groups+1 positions into dof
  std::vector<int> dof;       ///< 0-based dofs of every group, increasing
};

/// Groups are numbered by their lowest dof. The groups' graph is the union of their dofs' patterns, so it
/// never misses an entry, whatever the grouping. Cost: a few passes over the pattern. Source of the grouping
/// by hashes: Ashcraft, SIAM J. Sci. Comput. 16 (1995) 1404-1411.
CompressedGraph CompressGraph(int n, const int* columnStart, const int* row);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
