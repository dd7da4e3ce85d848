#include <amd.h>

#include <numeric>

#include "Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

bool OrderByMinimumDegree(const Graph& graph, std::vector<int>& order) {
  order.resize(graph.n);
  if (graph.neighbour.empty()) {  // the library refuses a null array
    std::iota(order.begin(), order.end(), 0);
    return true;
  }
  double control[AMD_CONTROL], info[AMD_INFO];
  amd_defaults(control);
  const int result =
      amd_order(graph.n, graph.start.data(), graph.neighbour.data(), order.data(), control, info);
  return result == AMD_OK || result == AMD_OK_BUT_JUMBLED;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
