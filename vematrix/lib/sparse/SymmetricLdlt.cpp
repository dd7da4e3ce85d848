#include "SymmetricLdlt.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "ordering/Orderings.h"
#include "reference/SimplicialLdlt.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

class LdltAnalysis {
public:
  int n = 0;
  Triangle triangle = Triangle::Lower;
  std::vector<int> start, row;
  std::vector<int> order;
};

class LdltFactor {
public:
  SimplicialFactor factor;
};

namespace {

std::string PatternError(int n, const int* start, const int* row, Triangle triangle) {
  if (n < 0) return "the number of equations is " + std::to_string(n) + ", expected 0 or more";
  if (n > 0 && start[0] != 0)
    return "the first column starts at " + std::to_string(start[0]) + ", expected 0";
  for (int j = 0; j < n; ++j) {
    if (start[j + 1] < start[j]) return "column " + std::to_string(j + 1) + " ends before it starts";
    for (int t = start[j]; t < start[j + 1]; ++t) {
      if (row[t] < 0 || row[t] >= n) {
        return "column " + std::to_string(j + 1) + " stores row " + std::to_string(row[t] + 1) + " of " +
               std::to_string(n);
      }
      if (triangle == Triangle::Lower && row[t] < j) {
        return "column " + std::to_string(j + 1) + " stores row " + std::to_string(row[t] + 1) +
               ", above the diagonal; expected the lower triangle only";
      }
    }
  }
  return std::string();
}

Graph GraphOf(const LdltAnalysis& a) {
  std::vector<std::vector<int>> lists(a.n);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      if (a.row[t] <= j) continue;
      lists[j].push_back(a.row[t]);
      lists[a.row[t]].push_back(j);
    }
  }
  Graph g;
  g.n = a.n;
  g.start.assign(1, 0);
  for (auto& list : lists) {
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    g.neighbour.insert(g.neighbour.end(), list.begin(), list.end());
    g.start.push_back(static_cast<int>(g.neighbour.size()));
  }
  return g;
}

double InfinityNorm(const double* x, int n) {
  double largest = 0.0;
  for (int i = 0; i < n; ++i) {
    if (!(std::fabs(x[i]) <= largest)) largest = std::fabs(x[i]);
  }
  return largest;
}

/// r = b − A·x
void Residual(const LdltAnalysis& a, const double* value, const double* b, const double* x, double* r) {
  std::copy(b, b + a.n, r);
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      const int i = a.row[t];
      if (i < j) continue;
      r[i] -= value[t] * x[j];
      if (i != j) r[j] -= value[t] * x[i];
    }
  }
}

}  // namespace

LdltStatus SymmetricLdlt::Fail(LdltStatus status, const std::string& message) {
  m_message = message;
  return status;
}

LdltStatus SymmetricLdlt::Analyse(int n, const int* columnStart, const int* row, Triangle triangle) {
  try {
    if (m_analysis && m_analysis->n == n && m_analysis->triangle == triangle &&
        std::equal(columnStart, columnStart + n + 1, m_analysis->start.begin()) &&
        std::equal(row, row + columnStart[n], m_analysis->row.begin())) {
      return Fail(LdltStatus::Ok, "");
    }
    const std::string error = PatternError(n, columnStart, row, triangle);
    if (!error.empty()) return Fail(LdltStatus::BadInput, error);
    auto analysis = std::make_shared<LdltAnalysis>();
    analysis->n = n;
    analysis->triangle = triangle;
    analysis->start.assign(columnStart, columnStart + n + 1);
    analysis->row.assign(row, row + columnStart[n]);
    if (!OrderByMinimumDegree(GraphOf(*analysis), analysis->order)) {
      return Fail(LdltStatus::OrderingFailed, "the minimum degree ordering failed");
    }
    m_analysis = analysis;
    m_factor.reset();
    m_pivots = PivotRecord();
    return Fail(LdltStatus::Ok, "");
  } catch (const std::bad_alloc&) {
    return Fail(LdltStatus::OutOfMemory, "not enough memory for the analysis");
  }
}

LdltStatus SymmetricLdlt::Factorize(const double* value, PivotMode mode, double threshold, int /*threads*/) {
  if (!m_analysis) return Fail(LdltStatus::BadInput, "Factorize before Analyse");
  try {
    m_factor.reset();
    const LdltAnalysis& a = *m_analysis;
    LowerColumns lower;
    lower.n = a.n;
    lower.start.assign(1, 0);
    for (int j = 0; j < a.n; ++j) {
      for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
        if (a.row[t] < j) continue;
        lower.row.push_back(a.row[t]);
        lower.value.push_back(value[t]);
      }
      lower.start.push_back(static_cast<int>(lower.row.size()));
    }
    auto factor = std::make_shared<LdltFactor>();
    const LdltStatus status = FactorizeSimplicial(lower, a.order, mode, threshold, factor->factor);
    m_pivots = factor->factor.record;
    if (status != LdltStatus::Ok)
      return Fail(status, "the factorisation stopped at dof " + std::to_string(m_pivots.failedDof));
    m_factor = factor;
    return Fail(LdltStatus::Ok, "");
  } catch (const std::bad_alloc&) {
    return Fail(LdltStatus::OutOfMemory, "not enough memory for the factor");
  }
}

LdltStatus SymmetricLdlt::Solve(double* x, int numRhs, std::ptrdiff_t ldx, int /*threads*/) const {
  if (!m_factor) return LdltStatus::NotFactorised;
  for (int c = 0; c < numRhs; ++c) m_factor->factor.Solve(x + c * ldx);
  return LdltStatus::Ok;
}

LdltStatus SymmetricLdlt::SolveRefined(const double* value, const double* b, double* x, int numRhs,
                                       std::ptrdiff_t ld, int maxSteps, int threads, int* steps) const {
  if (!m_factor) return LdltStatus::NotFactorised;
  const LdltAnalysis& a = *m_analysis;
  for (int c = 0; c < numRhs; ++c) std::copy(b + c * ld, b + c * ld + a.n, x + c * ld);
  Solve(x, numRhs, ld, threads);
  std::vector<double> r(a.n), better(a.n), rBetter(a.n);
  int most = 0;
  for (int c = 0; c < numRhs; ++c) {
    double* xc = x + c * ld;
    Residual(a, value, b + c * ld, xc, r.data());
    for (int step = 0; step < maxSteps; ++step) {
      const double before = InfinityNorm(r.data(), a.n);
      if (before == 0.0) break;
      Solve(r.data(), 1, a.n, threads);
      for (int i = 0; i < a.n; ++i) better[i] = xc[i] + r[i];
      Residual(a, value, b + c * ld, better.data(), rBetter.data());
      if (!(InfinityNorm(rBetter.data(), a.n) < 0.5 * before)) break;
      std::copy(better.begin(), better.end(), xc);
      r.swap(rBetter);
      most = std::max(most, step + 1);
    }
  }
  if (steps) *steps = most;
  return LdltStatus::Ok;
}

int SymmetricLdlt::NumDof() const {
  return m_analysis ? m_analysis->n : 0;
}

LdltPrediction SymmetricLdlt::Prediction() const {
  return LdltPrediction();
}

void SymmetricLdlt::DropFactor() {
  m_factor.reset();
  m_pivots = PivotRecord();
}

void SymmetricLdlt::Clear() {
  DropFactor();
  m_analysis.reset();
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
