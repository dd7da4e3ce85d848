#include "SimplicialLdlt.h"

#include <algorithm>
#include <cmath>

#include "../PivotRules.h"

namespace Vessa {
namespace Matrix {
namespace sparse {
namespace {

/// Column k of the upper triangle in the new numbering: (row < k, value) terms and the diagonal.
struct PermutedUpper {
  std::vector<std::vector<int>> row;
  std::vector<std::vector<double>> value;
  std::vector<double> diagonal;
};

PermutedUpper Permute(const LowerColumns& a, const std::vector<int>& order) {
  std::vector<int> place(a.n);
  for (int k = 0; k < a.n; ++k) place[order[k]] = k;
  PermutedUpper p;
  p.row.resize(a.n);
  p.value.resize(a.n);
  p.diagonal.assign(a.n, 0.0);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      const int r = std::min(place[a.row[t]], place[j]);
      const int c = std::max(place[a.row[t]], place[j]);
      if (r == c) {
        p.diagonal[c] += a.value[t];
      } else {
        p.row[c].push_back(r);
        p.value[c].push_back(a.value[t]);
      }
    }
  }
  return p;
}

/// The rows of L's row k: every path of the elimination tree from a stored term up towards k, increasing.
std::vector<int> RowPattern(const PermutedUpper& p, int k, std::vector<int>& parent, std::vector<int>& mark) {
  std::vector<int> pattern;
  mark[k] = k;
  for (int start : p.row[k]) {
    for (int i = start; mark[i] != k; i = parent[i]) {
      if (parent[i] < 0) parent[i] = k;
      pattern.push_back(i);
      mark[i] = k;
    }
  }
  std::sort(pattern.begin(), pattern.end());
  return pattern;
}

}  // namespace

LdltStatus FactorizeSimplicial(const LowerColumns& a, const std::vector<int>& order, PivotMode mode,
                               double threshold, SimplicialFactor& factor) {
  const int n = a.n;
  factor = SimplicialFactor();
  factor.n = n;
  factor.order = order;
  factor.row.resize(n);
  factor.value.resize(n);
  factor.pivot.assign(n, 0.0);
  PivotRecord& record = factor.record;
  for (double v : a.value) {
    if (!std::isfinite(v)) return LdltStatus::NotFinite;
  }
  const PermutedUpper upper = Permute(a, order);
  std::vector<int> parent(n, -1), mark(n, -1);
  std::vector<char> decoupled(n, 0);
  std::vector<double> y(n, 0.0);
  for (int k = 0; k < n; ++k) {
    const std::vector<int> pattern = RowPattern(upper, k, parent, mark);
    for (std::size_t t = 0; t < upper.row[k].size(); ++t) y[upper.row[k][t]] += upper.value[k][t];
    double d = upper.diagonal[k];
    std::vector<double> multiplier(pattern.size(), 0.0);
    for (std::size_t t = 0; t < pattern.size(); ++t) {
      const int i = pattern[t];
      const double u = decoupled[i] ? 0.0 : y[i];
      y[i] = 0.0;
      for (std::size_t s = 0; s < factor.row[i].size(); ++s) y[factor.row[i][s]] -= factor.value[i][s] * u;
      multiplier[t] = u / factor.pivot[i];
      if (mode == PivotMode::Sturm && std::fabs(multiplier[t]) > kGrowthLimit) {
        record.failedDof = order[k] + 1;
        return LdltStatus::GrowthFailed;
      }
      d -= multiplier[t] * u;
    }
    const PivotVerdict verdict = JudgePivot(d, mode, threshold);
    if (verdict.status != LdltStatus::Ok) {
      record.failedDof = order[k] + 1;
      return verdict.status;
    }
    factor.pivot[k] = verdict.pivot;
    RecordPivot(verdict, order[k] + 1, record);
    if (verdict.suppressed) {
      decoupled[k] = 1;
    } else {
      for (std::size_t t = 0; t < pattern.size(); ++t) {
        factor.row[pattern[t]].push_back(k);
        factor.value[pattern[t]].push_back(multiplier[t]);
      }
    }
    record.numFinished = k + 1;
  }
  std::sort(record.suppressed.begin(), record.suppressed.end());
  return LdltStatus::Ok;
}

void SimplicialFactor::Solve(double* x) const {
  std::vector<double> y(n);
  for (int k = 0; k < n; ++k) y[k] = x[order[k]];
  for (int k = 0; k < n; ++k) {
    for (std::size_t s = 0; s < row[k].size(); ++s) y[row[k][s]] -= value[k][s] * y[k];
  }
  for (int k = 0; k < n; ++k) y[k] /= pivot[k];
  for (int k = n - 1; k >= 0; --k) {
    for (std::size_t s = 0; s < row[k].size(); ++s) y[k] -= value[k][s] * y[row[k][s]];
  }
  for (int k = 0; k < n; ++k) x[order[k]] = y[k];
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
