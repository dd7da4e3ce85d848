#include "RefineSeparator.h"

#include <algorithm>
#include <cstdlib>

namespace Vessa {
namespace Matrix {
namespace sparse {

void GainQueue::Reset(int n) {
  m_heap.clear();
  GrowTo(m_place, n);
  GrowTo(m_gain, n);
}

void GainQueue::Push(int v, int gain) {
  m_gain[v] = gain;
  m_heap.push_back(v);
  Up(static_cast<int>(m_heap.size()) - 1, v);
}

void GainQueue::Raise(int v, int by) {
  m_gain[v] += by;
  if (m_place[v] >= 0) Up(m_place[v], v);
}

int GainQueue::Pop() {
  const int top = m_heap.front(), last = m_heap.back();
  m_heap.pop_back();
  m_place[top] = -1;
  if (!m_heap.empty()) Down(0, last);
  return top;
}

void GainQueue::Up(int hole, int v) {
  while (hole > 0) {
    const int above = (hole - 1) / 2;
    if (m_gain[m_heap[above]] >= m_gain[v]) break;
    m_heap[hole] = m_heap[above];
    m_place[m_heap[hole]] = hole;
    hole = above;
  }
  m_heap[hole] = v;
  m_place[v] = hole;
}

void GainQueue::Down(int hole, int v) {
  const int size = static_cast<int>(m_heap.size());
  for (int below = 2 * hole + 1; below < size; below = 2 * hole + 1) {
    if (below + 1 < size && m_gain[m_heap[below + 1]] > m_gain[m_heap[below]]) ++below;
    if (m_gain[m_heap[below]] <= m_gain[v]) break;
    m_heap[hole] = m_heap[below];
    m_place[m_heap[hole]] = hole;
    hole = below;
  }
  m_heap[hole] = v;
  m_place[v] = hole;
}

namespace {

constexpr double kLargestSide = 0.64;
constexpr double kImbalance = 0.4;

}  // namespace

double Badness(const std::int64_t weight[3]) {
  const double total = static_cast<double>(weight[0] + weight[1] + weight[2]);
  const double difference = static_cast<double>(std::abs(weight[0] - weight[1])) / total;
  const double excess = static_cast<double>(std::max(weight[0], weight[1])) - kLargestSide * total;
  return static_cast<double>(weight[kSeparator]) * (1.0 + kImbalance * difference * difference) +
         0.01 * difference + 1e3 * std::max(0.0, excess);
}

namespace {

constexpr std::size_t kMostPatient = 3000;  ///< moves
constexpr double kSlack = 1.25;

/// One side's advance.
class Pass {
public:
  Pass(const GraphView& g, int side, Separation& s, RefineScratch& scratch)
      : m_g(g), m_to(side), m_other(1 - side), m_s(s), m_scratch(scratch) {
    m_scratch.queue.Reset(g.n);
    m_scratch.moved.clear();
    m_scratch.pulled.clear();
    m_scratch.pulledEnd.clear();
  }

  bool Run(const Patience& patience) {
    for (int v : m_s.separator) Enqueue(v);
    const double before = Badness(m_s.weight);
    const auto most = static_cast<std::int64_t>(kLargestSide * static_cast<double>(m_s.Total()));
    double best = before;
    Keep();
    while (!m_scratch.queue.Empty()) {
      const int v = m_scratch.queue.Pop();
      if (m_s.weight[m_to] + m_g.weight[v] > most) continue;
      Move(v);
      const double now = Badness(m_s.weight);
      if (now < best) {
        best = now;
        Keep();
      } else if (now > patience.slack * best || MovesSinceKept() > patience.moves) {
        break;
      }
    }
    ReturnToKept();
    return best < before;
  }

private:
  /// A move gains the vertex' own weight and loses what it pulls into the separator.
  void Enqueue(int v) {
    int gain = m_g.weight[v];
    for (int t = m_g.start[v]; t < m_g.start[v + 1]; ++t) {
      const int u = m_g.neighbour[t];
      gain -= m_s.side[u] == m_other ? m_g.weight[u] : 0;
    }
    m_scratch.queue.Push(v, gain);
  }

  void Move(int v) {
    m_s.side[v] = static_cast<unsigned char>(m_to);
    m_s.weight[kSeparator] -= m_g.weight[v];
    m_s.weight[m_to] += m_g.weight[v];
    for (int t = m_g.start[v]; t < m_g.start[v + 1]; ++t) {
      if (m_s.side[m_g.neighbour[t]] == m_other) Pull(m_g.neighbour[t]);
    }
    m_scratch.moved.push_back(v);
    m_scratch.pulledEnd.push_back(static_cast<int>(m_scratch.pulled.size()));
  }

  /// u leaves the other side for the separator; its neighbours there have one less to pull.
  void Pull(int u) {
    const int weight = m_g.weight[u];
    m_s.side[u] = kSeparator;
    m_s.weight[m_other] -= weight;
    m_s.weight[kSeparator] += weight;
    int gain = weight;
    for (int t = m_g.start[u]; t < m_g.start[u + 1]; ++t) {
      const int x = m_g.neighbour[t];
      const unsigned char side = m_s.side[x];
      gain -= side == m_other ? m_g.weight[x] : 0;
      if (side == kSeparator) m_scratch.queue.Raise(x, weight);
    }
    m_scratch.queue.Push(u, gain);
    m_scratch.pulled.push_back(u);
  }

  void Keep() {
    m_kept = m_scratch.moved.size();
    std::copy(m_s.weight, m_s.weight + 3, m_keptWeight);
  }

  int MovesSinceKept() const { return static_cast<int>(m_scratch.moved.size() - m_kept); }

  void ReturnToKept() {
    const RefineScratch& log = m_scratch;
    const std::size_t pulledKept = m_kept > 0 ? log.pulledEnd[m_kept - 1] : 0;
    for (std::size_t k = m_kept; k < log.moved.size(); ++k) m_s.side[log.moved[k]] = kSeparator;
    for (std::size_t k = pulledKept; k < log.pulled.size(); ++k) {
      m_s.side[log.pulled[k]] = static_cast<unsigned char>(m_other);
    }
    std::copy(m_keptWeight, m_keptWeight + 3, m_s.weight);
    std::vector<int>& list = m_s.separator;
    list.insert(list.end(), log.pulled.begin(), log.pulled.end());
    const auto left = [&](int v) { return m_s.side[v] != kSeparator; };
    list.erase(std::remove_if(list.begin(), list.end(), left), list.end());
  }

  const GraphView& m_g;
  const int m_to, m_other;
  Separation& m_s;
  RefineScratch& m_scratch;
  std::size_t m_kept = 0;  ///< moves that lead to the best state
  std::int64_t m_keptWeight[3] = {0, 0, 0};
};

}  // namespace

bool Advance(const GraphView& g, int side, const Patience& patience, Separation& s, RefineScratch& scratch) {
  return Pass(g, side, s, scratch).Run(patience);
}

void Refine(const GraphView& g, int passes, Separation& s, RefineScratch& scratch) {
  int side = s.weight[0] < s.weight[1] ? 0 : 1;
  for (int pass = 0, idle = 0; pass < passes && idle < 2; ++pass, side = 1 - side) {
    Patience patience;
    patience.moves = static_cast<int>(std::min<std::size_t>(kMostPatient, 5 * s.separator.size() + 20));
    patience.slack = kSlack;
    idle = Advance(g, side, patience, s, scratch) ? 0 : idle + 1;
  }
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
