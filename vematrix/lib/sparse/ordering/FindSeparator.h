#pragma once
// Multilevel search of a vertex separator.
#include <cstdint>
#include <deque>

#include "Coarsen.h"
#include "RefineSeparator.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Everything one thread needs to find separators, one after the other, with hardly ever asking for memory.
struct SeparatorScratch {
  CoarsenScratch coarsen;
  RefineScratch refine;
  std::deque<CoarseGraph> levels;  ///< ever coarser
  Separation result, other, best;
};

/// Splits a graph of at least one vertex into two sides and a separator: scratch.result.
///
/// The graph is coarsened to about fifty vertices; there sides are grown from several vertices, and the best
/// separation is carried back and refined on every level. A side may be empty when nothing can be separated.
/// The same graph and seed give the same result.
/// Source: Hendrickson, Rothberg, SIAM J. Sci. Comput. 20 (1998) 468-489; Karypis, Kumar, SIAM J. Sci.
/// Comput. 20 (1998) 359-392.
/// @param tries  separations found on the levels below some thousand vertices, of which the best goes on
void FindSeparator(const GraphView& graph, std::uint64_t seed, int tries, SeparatorScratch& scratch);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
