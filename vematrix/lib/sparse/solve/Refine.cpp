#include "Refine.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "../../math/large_memory.h"
#include "../../math/sparse_product.h"
#include "../../math/thread_team.h"
#include "Solve.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kGroup = 24;  ///< columns refined together

/// Largest magnitude; NaN when there is one.
double InfinityNorm(const double* x, int n) {
  double largest = 0.0;
  for (int i = 0; i < n; ++i) {
    const double size = std::fabs(x[i]);
    if (!(size <= largest)) largest = size;
    if (std::isnan(largest)) break;
  }
  return largest;
}

/// The columns of one group and their work space.
class Refinement {
public:
  Refinement(const LdltFactor& factor, const double* value, const double* b, double* x, int count,
             std::ptrdiff_t ld, int threads)
      : m_factor(factor),
        m_a(*factor.analysis),
        m_value(value),
        m_b(b),
        m_x(x),
        m_ld(ld),
        m_threads(threads),
        m_residual(static_cast<std::size_t>(m_a.n) * static_cast<std::size_t>(count)),
        m_next(m_residual.Count()),
        m_norm(static_cast<std::size_t>(count)),
        m_nextNorm(m_norm.size()) {
    for (int c = 0; c < count; ++c) m_active.push_back(c);
  }

  int Run(int maxSteps) {
    FindResiduals(m_residual, m_norm);
    KeepOnly([this](std::size_t k) { return m_norm[k] != 0.0; });
    int steps = 0;
    while (steps < maxSteps && !m_active.empty() && Step()) ++steps;
    return steps;
  }

private:
  double* Column(math::LargeArray& array, std::size_t k) {
    return array.Data() + k * static_cast<std::size_t>(m_a.n);
  }
  double* Solution(std::size_t k) { return m_x + m_active[k] * m_ld; }

  /// Residuals of the active columns, one after the other, and their norms.
  void FindResiduals(math::LargeArray& residual, std::vector<double>& norm) {
    for (std::size_t first = 0, end; first < m_active.size(); first = end) {
      for (end = first + 1; end < m_active.size() && m_active[end] == m_active[end - 1] + 1; ++end) {
      }
      Multiply(static_cast<int>(end - first), Solution(first), Column(residual, first));
    }
    math::ForEachPiece(m_threads, static_cast<int>(m_active.size()), [&](int piece, int) {
      const std::size_t k = static_cast<std::size_t>(piece);
      const double* b = m_b + m_active[k] * m_ld;
      double* r = Column(residual, k);
      for (int i = 0; i < m_a.n; ++i) r[i] = b[i] - r[i];
      norm[k] = InfinityNorm(r, m_a.n);
    });
  }

  /// Y ← A·X for columns of x that lie side by side; those of Y are n apart.
  void Multiply(int columns, const double* X, double* Y) {
    const int* start = m_a.patternStart.data();
    const math::LowerCsc A{m_a.n, start, start + 1, m_a.patternRow.data(), m_value};
    if (columns == 1)
      math::symProductOwn(A, X, Y);
    else
      math::symProductOwn(m_threads, math::simdLevel(), A, columns, X, m_ld, Y, m_a.n);
  }

  /// One step for all active columns; false when none of them got better.
  bool Step() {
    const int count = static_cast<int>(m_active.size());
    SolveFronts(m_factor, m_residual.Data(), m_residual.Data(), count, m_a.n, m_threads);
    math::ForEachPiece(m_threads, count, [this](int k, int) { Correct(static_cast<std::size_t>(k)); });
    FindResiduals(m_next, m_nextNorm);
    std::vector<char> better(m_active.size());
    for (std::size_t k = 0; k < m_active.size(); ++k) {
      better[k] = m_nextNorm[k] < 0.5 * m_norm[k];
      if (!better[k]) std::copy_n(Column(m_residual, k), m_a.n, Solution(k));
    }
    std::swap(m_residual, m_next);
    m_norm.swap(m_nextNorm);
    const bool any = std::find(better.begin(), better.end(), 1) != better.end();
    KeepOnly([this, &better](std::size_t k) { return better[k] && m_norm[k] != 0.0; });
    return any;
  }

  /// The new solution of a column; the old one is kept in place of the correction.
  void Correct(std::size_t k) {
    double *x = Solution(k), *correction = Column(m_residual, k);
    for (int i = 0; i < m_a.n; ++i) {
      const double old = x[i];
      x[i] += correction[i];
      correction[i] = old;
    }
  }

  /// The columns for which keep is true move up, with their residuals.
  template <class Keep>
  void KeepOnly(Keep keep) {
    std::size_t kept = 0;
    for (std::size_t k = 0; k < m_active.size(); ++k) {
      if (!keep(k)) continue;
      if (kept != k) {
        std::copy_n(Column(m_residual, k), m_a.n, Column(m_residual, kept));
        m_active[kept] = m_active[k];
        m_norm[kept] = m_norm[k];
      }
      ++kept;
    }
    m_active.resize(kept);
  }

  const LdltFactor& m_factor;
  const LdltAnalysis& m_a;
  const double *m_value, *m_b;
  double* m_x;
  std::ptrdiff_t m_ld;
  int m_threads;
  std::vector<int>
      m_active;  ///< columns that still improve; column k of the arrays below belongs to m_active[k]
  math::LargeArray m_residual, m_next;
  std::vector<double> m_norm, m_nextNorm;
};

}  // namespace

int RefineSolutions(const LdltFactor& factor, const double* value, const double* b, double* x, int numRhs,
                    std::ptrdiff_t ld, int maxSteps, int threads) {
  int most = 0;
  if (factor.analysis->n == 0 || maxSteps <= 0) return most;
  for (int c = 0; c < numRhs; c += kGroup) {
    Refinement group(factor, value, b + c * ld, x + c * ld, std::min(kGroup, numRhs - c), ld, threads);
    most = std::max(most, group.Run(maxSteps));
  }
  return most;
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
