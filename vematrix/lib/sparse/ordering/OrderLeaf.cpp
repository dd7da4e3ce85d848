#include "OrderLeaf.h"

#include <algorithm>

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kLargestHalo = 1024;  ///< vertices; a larger one is left out

/// Bits of a that b does not have.
using CountOutside = int (*)(const std::uint64_t* a, const std::uint64_t* b, int words);

int CountOutsideBaseline(const std::uint64_t* a, const std::uint64_t* b, int words) {
  int count = 0;
  for (int w = 0; w < words; ++w) count += __builtin_popcountll(a[w] & ~b[w]);
  return count;
}

#if defined(__x86_64__)
__attribute__((target("popcnt"))) int CountOutsidePopcnt(const std::uint64_t* a, const std::uint64_t* b,
                                                         int words) {
  int count = 0;
  for (int w = 0; w < words; ++w) count += __builtin_popcountll(a[w] & ~b[w]);
  return count;
}

CountOutside ChooseCount() {
  return __builtin_cpu_supports("popcnt") ? CountOutsidePopcnt : CountOutsideBaseline;
}
#else
CountOutside ChooseCount() {
  return CountOutsideBaseline;
}
#endif

int Outside(const std::uint64_t* a, const std::uint64_t* b, int words) {
  static const CountOutside count = ChooseCount();
  return count(a, b, words);
}

void ListBits(const std::uint64_t* row, int words, std::vector<int>& list) {
  list.clear();
  for (int w = 0; w < words; ++w) {
    for (std::uint64_t bits = row[w]; bits != 0; bits &= bits - 1)
      list.push_back(64 * w + __builtin_ctzll(bits));
  }
}

inline std::uint64_t Bit(int v) {
  return std::uint64_t{1} << (v % 64);
}

}  // namespace

/// The piece takes the bits from 0, the halo those from the next word on.
void LeafOrder::Number(const Graph& graph, const int* vertex) {
  if (m_local.size() < static_cast<std::size_t>(graph.n)) m_local.resize(graph.n, -1);
  for (int k = 0; k < m_count; ++k) m_local[vertex[k]] = k;
  m_innerWords = (m_count + 63) / 64;
  m_halo.clear();
  for (int k = 0; k < m_count; ++k) {
    for (int t = graph.start[vertex[k]]; t < graph.start[vertex[k] + 1]; ++t) {
      const int u = graph.neighbour[t];
      if (m_local[u] >= 0) continue;
      m_local[u] = 64 * m_innerWords + static_cast<int>(m_halo.size());
      m_halo.push_back(u);
    }
  }
  const int halo = static_cast<int>(m_halo.size());
  m_words = m_innerWords + (halo <= kLargestHalo ? (halo + 63) / 64 : 0);
}

void LeafOrder::ForgetNumbers(const int* vertex) {
  for (int k = 0; k < m_count; ++k) m_local[vertex[k]] = -1;
  for (int u : m_halo) m_local[u] = -1;
}

void LeafOrder::FillRows(const Graph& graph, const int* vertex) {
  m_row.assign(static_cast<std::size_t>(m_count) * m_words, 0);
  for (int k = 0; k < m_count; ++k) {
    std::uint64_t* const row = Row(k);
    for (int t = graph.start[vertex[k]]; t < graph.start[vertex[k] + 1]; ++t) {
      const int u = m_local[graph.neighbour[t]];
      if (u < 64 * m_words) row[u / 64] |= Bit(u);
    }
  }
}

/// Twice the missing edges among the neighbours of v in the piece, and once those between them and the halo.
int LeafOrder::CountFill(int v) {
  const std::uint64_t* const row = Row(v);
  int fill = 0;
  for (int w = 0; w < m_innerWords; ++w) {
    for (std::uint64_t bits = row[w]; bits != 0; bits &= bits - 1) {
      fill += Outside(row, Row(64 * w + __builtin_ctzll(bits)), m_words) - 1;  // less the neighbour itself
    }
  }
  return fill;
}

int LeafOrder::Cheapest() const {
  int best = -1;
  for (int v = 0; v < m_count; ++v) {
    if (m_fill[v] >= 0 && (best < 0 || m_fill[v] < m_fill[best])) best = v;
  }
  return best;
}

void LeafOrder::Eliminate(int v) {
  ListBits(Row(v), m_innerWords, m_member);
  if (m_fill[v] == 0)
    RemoveComplete(v);
  else
    Merge(v);
  m_fill[v] = -1;
}

/// No edge is added; the neighbours' fill loses the edges that v lacks.
void LeafOrder::RemoveComplete(int v) {
  const std::uint64_t* const row = Row(v);
  for (int u : m_member) {
    m_fill[u] -= Outside(Row(u), row, m_words) + Outside(Row(u), row, m_innerWords) - 2;  // v itself, twice
    Row(u)[v / 64] &= ~Bit(v);
  }
}

void LeafOrder::Merge(int v) {
  const std::uint64_t* const row = Row(v);
  for (int u : m_member) {
    std::uint64_t* const other = Row(u);
    for (int w = 0; w < m_words; ++w) other[w] |= row[w];
    other[v / 64] &= ~Bit(v);
    other[u / 64] &= ~Bit(u);
  }
  for (int u : m_member) m_fill[u] = CountFill(u);
}

void LeafOrder::Run(const Graph& graph, int* vertex, int count) {
  m_count = count;
  Number(graph, vertex);
  FillRows(graph, vertex);
  m_fill.resize(count);
  for (int v = 0; v < count; ++v) m_fill[v] = CountFill(v);
  m_before.assign(vertex, vertex + count);
  for (int k = 0; k < count; ++k) {
    const int v = Cheapest();
    vertex[k] = m_before[v];
    Eliminate(v);
  }
  ForgetNumbers(vertex);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
