#include "Refine.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "Solve.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

constexpr int kGroup = 24;  ///< columns refined together
constexpr int kLanes = 8;   ///< columns of a residual that lie side by side

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

/// r = b − A·x
void Residual(const LdltAnalysis& a, const double* value, const double* b, const double* x, double* r) {
  std::copy(b, b + a.n, r);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      const int i = a.patternRow[t];
      if (i < j) continue;
      r[i] -= value[t] * x[j];
      if (i != j) r[j] -= value[t] * x[i];
    }
  }
}

/// R −= A·X for kLanes columns lying side by side; the order of each sum is that of Residual.
void SubtractProduct(const LdltAnalysis& a, const double* value, const double* X, double* R) {
  for (int j = 0; j < a.n; ++j) {
    const double* xj = X + static_cast<std::ptrdiff_t>(j) * kLanes;
    double* rj = R + static_cast<std::ptrdiff_t>(j) * kLanes;
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      const int i = a.patternRow[t];
      if (i < j) continue;
      const double v = value[t];
      double* ri = R + static_cast<std::ptrdiff_t>(i) * kLanes;
      for (int lane = 0; lane < kLanes; ++lane) ri[lane] -= v * xj[lane];
      if (i == j) continue;
      const double* xi = X + static_cast<std::ptrdiff_t>(i) * kLanes;
      for (int lane = 0; lane < kLanes; ++lane) rj[lane] -= v * xi[lane];
    }
  }
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
        m_threads(threads) {
    for (int c = 0; c < count; ++c) m_active.push_back(c);
    m_residual.resize(static_cast<std::size_t>(m_a.n) * static_cast<std::size_t>(count));
    m_next.resize(m_residual.size());
    m_norm.resize(static_cast<std::size_t>(count));
  }

  int Run(int maxSteps) {
    FindResiduals(m_residual);
    for (std::size_t k = 0; k < m_active.size(); ++k) m_norm[k] = InfinityNorm(Column(m_residual, k), m_a.n);
    KeepOnly([this](std::size_t k) { return m_norm[k] != 0.0; });
    int steps = 0;
    while (steps < maxSteps && !m_active.empty() && Step()) ++steps;
    return steps;
  }

private:
  double* Column(std::vector<double>& array, std::size_t k) {
    return array.data() + k * static_cast<std::size_t>(m_a.n);
  }

  /// Residuals of the active columns, one after the other.
  void FindResiduals(std::vector<double>& residual) {
    if (m_active.size() == 1) {
      const std::ptrdiff_t at = m_active[0] * m_ld;
      Residual(m_a, m_value, m_b + at, m_x + at, residual.data());
      return;
    }
    const std::size_t n = static_cast<std::size_t>(m_a.n);
    std::vector<double> lanesX(n * kLanes, 0.0), lanesR(n * kLanes, 0.0);
    for (std::size_t first = 0; first < m_active.size(); first += kLanes) {
      const std::size_t count = std::min<std::size_t>(kLanes, m_active.size() - first);
      for (std::size_t k = 0; k < count; ++k) {
        const std::ptrdiff_t at = m_active[first + k] * m_ld;
        for (std::size_t i = 0; i < n; ++i) {
          lanesX[i * kLanes + k] = m_x[at + static_cast<std::ptrdiff_t>(i)];
          lanesR[i * kLanes + k] = m_b[at + static_cast<std::ptrdiff_t>(i)];
        }
      }
      SubtractProduct(m_a, m_value, lanesX.data(), lanesR.data());
      for (std::size_t k = 0; k < count; ++k) {
        double* to = Column(residual, first + k);
        for (std::size_t i = 0; i < n; ++i) to[i] = lanesR[i * kLanes + k];
      }
    }
  }

  /// One step for all active columns; false when none of them got better.
  bool Step() {
    SolveFronts(m_factor, m_residual.data(), static_cast<int>(m_active.size()), m_a.n, m_threads);
    for (std::size_t k = 0; k < m_active.size();
         ++k) {  // the new solutions; the old ones are kept in m_residual
      double *x = m_x + m_active[k] * m_ld, *correction = Column(m_residual, k);
      for (int i = 0; i < m_a.n; ++i) {
        const double old = x[i];
        x[i] += correction[i];
        correction[i] = old;
      }
    }
    FindResiduals(m_next);
    std::vector<char> better(m_active.size());
    for (std::size_t k = 0; k < m_active.size(); ++k) {
      const double norm = InfinityNorm(Column(m_next, k), m_a.n);
      better[k] = norm < 0.5 * m_norm[k];
      m_norm[k] = norm;
      if (!better[k]) std::copy_n(Column(m_residual, k), m_a.n, m_x + m_active[k] * m_ld);
    }
    m_residual.swap(m_next);
    const bool any = std::find(better.begin(), better.end(), 1) != better.end();
    KeepOnly([this, &better](std::size_t k) { return better[k] && m_norm[k] != 0.0; });
    return any;
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
  std::vector<double> m_residual, m_next, m_norm;
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
