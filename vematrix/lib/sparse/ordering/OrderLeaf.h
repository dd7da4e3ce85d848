#pragma once
// Minimum fill for the small pieces that a dissection leaves.
#include <cstdint>
#include <vector>

#include "Orderings.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Orders a few vertices of a graph whose other neighbours, the halo, are eliminated later.
///
/// The vertex comes next whose elimination adds the fewest edges, counted as if the halo were complete.
/// Without the halo the rim of a piece would look cheap and be eliminated first: some 6 % more operations on
/// meshes and frames. Counts are brought up to date for the neighbours of an eliminated vertex only: by
/// counting anew when edges were added, otherwise by the difference. Equal counts take the first vertex. The
/// elimination graph is held as rows of bits. Source: halo: Pellegrini, Roman, Amestoy, Concurrency: Pract.
/// Exper. 12 (2000) 69-84; minimum fill: Tinney, Walker, Proc. IEEE 55 (1967) 1801-1809, scheme 3;
/// approximate counts: Rothberg, Eisenstat, SIAM J. Matrix Anal. Appl. 19 (1998) 682-695.
class LeafOrder {
public:
  /// Cost: about count · degree² · (count + halo)/64 operations; an array as long as the graph is kept.
  /// @param vertex  the vertices of the piece, some hundreds at most; on return in the order of elimination
  void Run(const Graph& graph, int* vertex, int count);

private:
  std::uint64_t* Row(int v) { return m_row.data() + static_cast<std::size_t>(v) * m_words; }
  void Number(const Graph& graph, const int* vertex);
  void FillRows(const Graph& graph, const int* vertex);
  int CountFill(int v);
  int Cheapest() const;
  void Eliminate(int v);
  void RemoveComplete(int v);
  void Merge(int v);
  void ForgetNumbers(const int* vertex);

  int m_count = 0;                   ///< vertices of the piece, numbered from 0
  int m_words = 0;                   ///< of a row
  int m_innerWords = 0;              ///< of these, the first ones hold the piece, the others the halo
  std::vector<int> m_local;          ///< of every vertex of the graph, its bit or −1
  std::vector<int> m_halo;           ///< vertices of the graph
  std::vector<std::uint64_t> m_row;  ///< of every vertex of the piece, its neighbours
  std::vector<int> m_fill;           ///< of every vertex of the piece; −1 once eliminated
  std::vector<int> m_member;         ///< neighbours within the piece of the vertex at hand
  std::vector<int> m_before;         ///< the vertices as they came
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
