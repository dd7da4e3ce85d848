#pragma once
#include <string>
#include "../../sparse/analysis/EliminationTree.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// The order that won, its tree and its cost.
struct ChosenOrder {
  bool ok = false;
  std::string name;
  EliminationTree tree;
  FactorCount cost;
};

/// Lets the orderings compete by their exact symbolic counts; the fewest operations win.
///
/// Minimum degree, the given numbering and reverse Cuthill-McKee (these two from both ends) are cheap; nested
/// dissection is tried on graphs large enough, with several seeds where the predicted factorisation is long
/// compared with an ordering and the graph is so irregular that seeds differ. The choice depends on the graph
/// alone, never on timings or threads.
/// @param threads  with 2 or more the cheap candidates are counted beside the nested dissection
ChosenOrder ChooseOrder(const Graph& graph, int threads);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
