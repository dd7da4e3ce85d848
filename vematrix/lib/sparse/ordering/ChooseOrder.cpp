#include "ChooseOrder.h"

#include <algorithm>
#include <numeric>

#include "../../math/thread_team.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kTooSmallToDissect = 60;  ///< groups; minimum degree is as good and 20 times as fast there
constexpr double kOperationsPerSecond = 1e11;
constexpr int kMetisSeed = 5;  ///< the try that METIS makes

/// Roughly what one nested dissection takes on one thread, in seconds: right for frames of 10^4 groups, too
/// much for meshes, which further tries hardly help.
double DissectionSeconds(const Graph& graph) {
  return 2.2e-6 * graph.n + 0.18e-6 * static_cast<double>(graph.neighbour.size());
}

void Consider(const Graph& graph, const std::vector<int>& order, const std::string& name, ChosenOrder& best) {
  ChosenOrder candidate;
  candidate.ok = true;
  candidate.name = name;
  candidate.tree = BuildEliminationTree(graph, order);
  candidate.cost = CountFactor(graph, candidate.tree);
  if (!best.ok || candidate.cost.operations < best.cost.operations) best = std::move(candidate);
}

/// Band-like orders; only counted when the bound of their work is not hopeless against `bound` operations.
void ConsiderProfileOrders(const Graph& graph, double bound, ChosenOrder& best) {
  std::vector<int> natural(graph.n);
  std::iota(natural.begin(), natural.end(), 0);
  if (ProfileOperations(graph, natural) < bound) {
    Consider(graph, FromBothEnds(graph, natural), "as numbered, from both ends", best);
  }
  const std::vector<int> rcm = OrderByReverseCuthillMcKee(graph);
  if (ProfileOperations(graph, rcm) < bound) {
    Consider(graph, FromBothEnds(graph, rcm), "Cuthill-McKee, from both ends", best);
  }
}

/// Minimum degree, then whatever else is cheap.
ChosenOrder BestCheapOrder(const Graph& graph) {
  ChosenOrder best;
  std::vector<int> order;
  if (OrderByMinimumDegree(graph, order)) Consider(graph, order, "minimum degree", best);
  ConsiderProfileOrders(graph, best.ok ? 1.2 * best.cost.operations : 1e300, best);
  return best;
}

/// More tries of nested dissection, METIS' one among them, as long as tries differ and they take less than a
/// twelfth of the predicted factorisation.
void TryMoreDissections(const Graph& graph, int threads, ChosenOrder& best) {
  const double degree = static_cast<double>(graph.neighbour.size()) / graph.n;
  if (degree > 12.0) return;  // continuum meshes: tries differ by less than 1 %
  double lowest = best.cost.operations, highest = lowest, spent = 0.0;
  for (int seed = 2; seed <= 8; ++seed) {
    const bool metis = seed == kMetisSeed;
    spent += DissectionSeconds(graph);
    if (12.0 * spent > best.cost.operations / kOperationsPerSecond) return;
    if (seed > 3 && highest < 1.05 * lowest) return;
    std::vector<int> order;
    if (!metis)
      OrderByNestedDissection(graph, seed, threads, order);
    else if (!OrderByMetis(graph, seed, order))
      continue;
    ChosenOrder candidate;
    Consider(graph, order, (metis ? "METIS, seed " : "nested dissection, seed ") + std::to_string(seed),
             candidate);
    lowest = std::min(lowest, candidate.cost.operations);
    highest = std::max(highest, candidate.cost.operations);
    if (candidate.cost.operations < best.cost.operations) best = std::move(candidate);
  }
}

}  // namespace

ChosenOrder ChooseOrder(const Graph& graph, int threads) {
  if (graph.n < kTooSmallToDissect) return BestCheapOrder(graph);
  ChosenOrder cheap, dissected;
  const auto dissect = [&] {
    std::vector<int> order;
    OrderByNestedDissection(graph, 1, threads, order);
    Consider(graph, order, "nested dissection", dissected);
  };
  math::ForEachPiece(threads, 2, [&](int piece, int) {
    if (piece == 0)
      dissect();
    else
      cheap = BestCheapOrder(graph);
  });
  // Elimination from both ends is a chain of small steps: it must win clearly.
  if (!dissected.ok || (cheap.ok && cheap.cost.operations < 0.9 * dissected.cost.operations)) return cheap;
  TryMoreDissections(graph, threads, dissected);
  return dissected;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
