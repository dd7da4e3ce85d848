#include <metis.h>

#include <cstdlib>
#include <mutex>

#include "Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// Gives the C random generator a state of our own for its lifetime.
class OwnRandomState {
public:
#if defined(__GLIBC__)
  OwnRandomState() : m_before(initstate(1, m_state, sizeof m_state)) {}
  ~OwnRandomState() {
    setstate(m_before);
  }

private:
  char m_state[128];
  char* m_before;
#endif
};

std::mutex& DissectionMutex() {
  static std::mutex mutex;
  return mutex;
}

}  // namespace

bool OrderByMetis(const Graph& graph, int seed, std::vector<int>& order) {
  static_assert(sizeof(idx_t) == sizeof(int), "built for the 32-bit graph partitioner");
  order.resize(graph.n);
  if (graph.neighbour.empty()) return OrderByMinimumDegree(graph, order);
  idx_t options[METIS_NOPTIONS];
  METIS_SetDefaultOptions(options);
  options[METIS_OPTION_NUMBERING] = 0;
  options[METIS_OPTION_COMPRESS] = 0;  // the graph is compressed already
  options[METIS_OPTION_SEED] = seed;
  idx_t n = graph.n;
  std::vector<idx_t> place(graph.n);
  // The library takes its input by pointers to non-const and works on a copy.
  const std::lock_guard<std::mutex> lock(DissectionMutex());
  const OwnRandomState random;
  return METIS_NodeND(&n, const_cast<idx_t*>(graph.start.data()), const_cast<idx_t*>(graph.neighbour.data()),
                      const_cast<idx_t*>(graph.weight.data()), options, order.data(),
                      place.data()) == METIS_OK;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
