#pragma once
// Vertex separators and their improvement by moving single vertices.
#include <cstdint>
#include <limits>
#include <vector>

#include "Coarsen.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

constexpr unsigned char kSeparator = 2;

/// Two sides, 0 and 1, without an edge between them, and what separates them.
struct Separation {
  std::vector<unsigned char> side;  ///< of every vertex 0, 1 or kSeparator; longer than the graph
  std::vector<int> separator;       ///< its vertices, in any order
  std::int64_t weight[3] = {0, 0, 0};

  std::int64_t Total() const { return weight[0] + weight[1] + weight[2]; }
};

/// Vertices by what they gain, the best on top: a binary heap that knows where everybody is.
class GainQueue {
public:
  /// Empties the queue and makes room for the vertices 0 … n−1.
  void Reset(int n);
  bool Empty() const { return m_heap.empty(); }
  void Push(int v, int gain);
  void Raise(int v, int by);  ///< for a vertex that has been pushed; no effect once it is out again
  int Pop();

private:
  void Up(int hole, int v);
  void Down(int hole, int v);

  std::vector<int> m_heap;
  std::vector<int> m_place;  ///< in the heap; −1 when out
  std::vector<int> m_gain;
};

/// Arrays of one thread for the refinement.
struct RefineScratch {
  GainQueue queue;
  std::vector<int> moved;      ///< from the separator to the side, in this order
  std::vector<int> pulled;     ///< from the other side into the separator
  std::vector<int> pulledEnd;  ///< after every move, the length of pulled
};

/// When an advance that finds nothing better gives up.
struct Patience {
  int moves = std::numeric_limits<int>::max();             ///< in a row without a new best
  double slack = std::numeric_limits<double>::infinity();  ///< times the best badness
};

/// What a separation costs: the separator's weight, more when the sides differ, very much more when one holds
/// above 64 % of everything.
double Badness(const std::int64_t weight[3]);

/// One side advances into the other: a vertex of the separator joins the side, its neighbours on the other
/// side join the separator, always the vertex first that makes the separator grow least. Ends in the best
/// state met.
///
/// Cost: the edges of what moves. Source: Fiduccia, Mattheyses, Proc. 19th Design Automation Conf. (1982)
/// 175-181; the moves: Hendrickson, Rothberg, SIAM J. Sci. Comput. 20 (1998) 468-489.
/// @return true when the state has become better
bool Advance(const GraphView& g, int side, const Patience& patience, Separation& s, RefineScratch& scratch);

/// The sides advance in turn, the lighter one first, until neither gets anything better; `passes` advances at
/// most.
void Refine(const GraphView& g, int passes, Separation& s, RefineScratch& scratch);

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
