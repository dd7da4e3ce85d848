#include "SymmetricLdlt.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

#include "../math/large_memory.h"
#include "../math/memory_limit.h"
#include "MatrixImage.h"
#include "analysis/LdltAnalysis.h"
#include "numeric/LdltFactor.h"
#include "solve/Refine.h"
#include "solve/Solve.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

LdltStatus SymmetricLdlt::Fail(LdltStatus status, const std::string& message) {
  m_message = message;
  return status;
}

bool SymmetricLdlt::Knows(int n, const int* columnStart, const int* row, Triangle triangle) const {
  if (!m_analysis || m_analysis->n != n || m_analysis->triangle != triangle) return false;
  if (n == 0) return true;
  const LdltAnalysis& a = *m_analysis;
  return columnStart[0] == 0 && std::equal(a.patternStart.begin(), a.patternStart.end(), columnStart) &&
         std::equal(a.patternRow.begin(), a.patternRow.end(), row);
}

namespace {

/// What the analysis takes at its highest. Measured on structures of 35,000 to 100,000 dofs: 19 to 26 bytes a
/// term of a triangle with one thread, up to 31 with several, which try several orders at once; a tenth more
/// to be safe.
std::int64_t AnalysisBytes(int n, int terms, Triangle triangle, int threads) {
  const std::int64_t ofTriangle = triangle == Triangle::Both ? (std::int64_t(terms) + n) / 2 : terms;
  return (threads > 1 ? 34 : 28) * ofTriangle;
}

}  // namespace

LdltStatus SymmetricLdlt::Analyse(int n, const int* columnStart, const int* row, Triangle triangle,
                                  int threads) {
  try {
    if (Knows(n, columnStart, row, triangle)) return Fail(LdltStatus::Ok, "");
    math::RequireMemory("the analysis", AnalysisBytes(n, n > 0 ? columnStart[n] : 0, triangle, threads));
    auto analysis = std::make_shared<LdltAnalysis>();
    const AnalysisOutcome outcome = AnalysePattern(n, columnStart, row, triangle, threads, *analysis);
    if (outcome.status != LdltStatus::Ok) return Fail(outcome.status, outcome.message);
    DropFactor();
    m_analysis = analysis;
    math::ReturnFreeMemory();  // the orderings took several times what stays
    return Fail(LdltStatus::Ok, "");
  } catch (const math::OutOfMemory& shortage) {
    return Fail(LdltStatus::OutOfMemory, shortage.what());
  } catch (const std::bad_alloc&) {
    return Fail(
        LdltStatus::OutOfMemory,
        math::ShortageText("the analysis", AnalysisBytes(n, n > 0 ? columnStart[n] : 0, triangle, threads),
                           math::AvailableMemory()));
  }
}

namespace {

/// 1-based (row, column) of the first NaN or infinity among the terms that count; false when there is none.
bool FindNotFinite(const LdltAnalysis& a, const double* value, int& row, int& column) {
  double sum = 0.0;  // 0·x is NaN for what is not finite: one pass without branches finds out whether to look
  const std::size_t count = a.patternRow.size();
  for (std::size_t t = 0; t < count; ++t) sum += 0.0 * value[t];
  if (sum == 0.0) return false;
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.patternStart[j]; t < a.patternStart[j + 1]; ++t) {
      if (a.patternRow[t] < j || std::isfinite(value[t])) continue;
      row = a.patternRow[t] + 1;
      column = j + 1;
      return true;
    }
  }
  return false;
}

/// Below this size of the factor, where all work space is small, nobody looks at what there is: that reads
/// several files of the system, longer work than the factorisation.
constexpr std::int64_t kAskForFactor = math::kAskFirst / 8;
/// In the place of what there is where nobody has looked.
constexpr std::int64_t kUnasked = std::numeric_limits<std::int64_t>::max();

std::string Shortage(std::int64_t wanted, std::int64_t available) {
  return math::ShortageText("the factorisation", wanted, available);
}

std::string FailureText(LdltStatus status, const PivotRecord& record) {
  const std::string dof = " at dof " + std::to_string(record.failedDof);
  if (status == LdltStatus::PivotFailed) return "a pivot that is not positive" + dof;
  if (status == LdltStatus::GrowthFailed) return "a multiplier above 1e7" + dof;
  return "the factorisation overflowed" + dof;
}

}  // namespace

LdltStatus SymmetricLdlt::Factorize(const double* value, PivotMode mode, double threshold, int threads) {
  if (!m_analysis) return Fail(LdltStatus::BadInput, "factorisation before the analysis of a pattern");
  std::int64_t wanted = 0, available = 0;
  try {
    std::shared_ptr<LdltFactor> factor = TakeFactor();
    m_pivots = PivotRecord();
    int row = 0, column = 0;
    if (FindNotFinite(*m_analysis, value, row, column)) {
      return Fail(LdltStatus::NotFinite, "the matrix holds a NaN or infinity at (" + std::to_string(row) +
                                             ", " + std::to_string(column) + ")");
    }
    const std::int64_t there = factor ? m_analysis->prediction.factorBytes : 0;
    const bool small = m_analysis->prediction.factorBytes < kAskForFactor;
    available = small ? kUnasked : math::AvailableMemory();
    const std::int64_t space = small ? kUnasked : math::AvailableAddressSpace();
    for (;; --threads) {  // each thread takes memory of its own
      const FactorizationMemory predicted = MemoryOfFactorization(*m_analysis, threads);
      const bool limitedSpace = predicted.addressSpace - there > space;
      wanted = (limitedSpace ? predicted.addressSpace : predicted.resident) - there;
      if (wanted <= available || threads <= 1) break;
    }
    if (wanted > available) return Fail(LdltStatus::OutOfMemory, Shortage(wanted, available));
    if (!factor) factor = std::make_shared<LdltFactor>();
    factor->analysis = m_analysis;
    const LdltStatus status = FactorizeFronts(value, mode, threshold, threads, *factor, m_pivots);
    if (status != LdltStatus::Ok) return Fail(status, FailureText(status, m_pivots));
    m_factor = factor;
    return Fail(LdltStatus::Ok, "");
  } catch (const std::bad_alloc&) {  // an estimate that was too low, or memory that others have taken since
    return Fail(LdltStatus::OutOfMemory, Shortage(wanted, available));
  }
}

/// The factor to be overwritten, when nobody else uses it; null otherwise.
std::shared_ptr<LdltFactor> SymmetricLdlt::TakeFactor() {
  std::shared_ptr<const LdltFactor> old;
  old.swap(m_factor);
  if (old.use_count() != 1 || old->analysis != m_analysis) return nullptr;
  return std::const_pointer_cast<LdltFactor>(old);
}

LdltStatus SymmetricLdlt::Solve(double* x, int numRhs, std::ptrdiff_t ldx, int threads) const {
  if (!m_factor) return LdltStatus::NotFactorised;
  try {
    SolveFronts(*m_factor, x, x, numRhs, ldx, threads);
    return LdltStatus::Ok;
  } catch (const std::bad_alloc&) {
    return LdltStatus::OutOfMemory;
  }
}

LdltStatus SymmetricLdlt::SolveRefined(const double* value, const double* b, double* x, int numRhs,
                                       std::ptrdiff_t ld, int maxSteps, int threads, int* steps) const {
  if (!m_factor) return LdltStatus::NotFactorised;
  try {
    SolveFronts(*m_factor, b, x, numRhs, ld, threads);
    const int most = RefineSolutions(*m_factor, value, b, x, numRhs, ld, maxSteps, threads);
    if (steps) *steps = most;
    return LdltStatus::Ok;
  } catch (const std::bad_alloc&) {
    return LdltStatus::OutOfMemory;
  }
}

void SymmetricLdlt::Save(ImageWriter& image) const {
  const LdltAnalysis& a = *m_analysis;
  image.Put(a.dofOf);
  image.Put(a.tree.firstColumn);
  image.Put(a.tree.parent);
  image.Put(a.prediction.factorTerms);
  image.Put(a.prediction.operations);
  image.Put(m_pivots.largest);
  image.Put(m_pivots.smallest);
  for (int number : {m_pivots.largestDof, m_pivots.smallestDof, m_pivots.numNegative, m_pivots.numReplaced}) {
    image.Put(static_cast<std::int64_t>(number));
  }
  image.Put(m_pivots.suppressed);
  image.Put(m_factor->pivot);
  image.Put(a.panelStart.back());
  image.Put(m_factor->panel.Data(), a.panelStart.back());
}

bool SymmetricLdlt::Load(ImageReader& image, int n, const int* columnStart, const int* row,
                         Triangle triangle) {
  AnalysisSeed seed;
  PivotRecord pivots;
  auto analysis = std::make_shared<LdltAnalysis>();
  auto factor = std::make_shared<LdltFactor>();
  std::int64_t length = 0;
  if (!image.Get(seed.dofOf) || !image.Get(seed.firstColumn) || !image.Get(seed.parent) ||
      !image.Get(seed.factorTerms) || !image.Get(seed.operations) || !image.Get(pivots.largest) ||
      !image.Get(pivots.smallest) || !image.Get(pivots.largestDof) || !image.Get(pivots.smallestDof) ||
      !image.Get(pivots.numNegative) || !image.Get(pivots.numReplaced) || !image.Get(pivots.suppressed) ||
      !image.Get(factor->pivot) || !image.Get(length)) {
    return false;
  }
  if (RestoreAnalysis(n, columnStart, row, triangle, seed, *analysis).status != LdltStatus::Ok) return false;
  if (length != analysis->panelStart.back() || factor->pivot.size() != static_cast<std::size_t>(n))
    return false;
  if (!image.Holds(length, sizeof(double))) return false;
  factor->panel = math::LargeArray(static_cast<std::size_t>(length));
  if (!image.Get(factor->panel.Data(), length)) return false;
  pivots.numFinished = n;
  factor->analysis = analysis;
  m_analysis = analysis;
  m_factor = factor;
  m_pivots = pivots;
  return true;
}

int SymmetricLdlt::NumDof() const {
  return m_analysis ? m_analysis->n : 0;
}

double SymmetricLdlt::SmallestPivotRatio(const double* value) const {
  double smallest = 1.0;
  for (int k = 0; m_factor && k < m_analysis->n; ++k) {
    const int j = m_analysis->dofOf[k];
    double diagonal = 0.0;
    for (int t = m_analysis->patternStart[j]; t < m_analysis->patternStart[j + 1]; ++t) {
      if (m_analysis->patternRow[t] == j) diagonal += value[t];
    }
    smallest = std::min(smallest, m_factor->pivot[k] / diagonal);
  }
  return smallest;
}

LdltPrediction SymmetricLdlt::Prediction() const {
  return m_analysis ? m_analysis->prediction : LdltPrediction();
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
