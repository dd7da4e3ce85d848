// Condition estimates of the solution matrix: the customary one and the trustworthy one.
#include <algorithm>
#include <mutex>
#include <random>
#include <sstream>
#include <type_traits>

#include "../math/threads.h"
#include "../si/OneNormEst.h"
#include "CSolnMatrix.h"
#include "NormOperators.h"
#include "RefinedNormEst.h"
#include "TraceScope.h"

namespace Vessa {
namespace Matrix {

namespace {

// The random signs of this file's estimates: default seed, going on from call to call. Shared by all objects:
// estimates in several threads take turns.
std::mt19937 signs;
std::mutex oneEstimateAtATime;

template <class Product, class Solve>
double Estimate(int n, int t, Product product, Solve&& solve) {
  si::OneNormEstParams params = {n, t};
  double normA = 0.0, normInv = 0.0;
  const std::lock_guard<std::mutex> turn(oneEstimateAtATime);
  si::OneNormEst(params, product, product, normA, signs);
  si::OneNormEst(params, solve, solve, normInv, signs);
  return normInv * normA;
}

void NoteThreads(CReport* report) {
  if (report == nullptr) return;
  std::stringstream text;
  text << "\tNumber of threads = " << static_cast<unsigned int>(math::GetMaxThreads());
  report->Note(text.str());
}

// Vectors per block of the refined estimate: as many as the products take in one pass over the matrix. Four
// already come within 2 % on structural matrices; eight turn some of those into the exact figure.
constexpr int kRefinedBlock = 8;

template <class Product, class Solve>
double RefinedEstimate(int n, Product product, Solve&& solve) {
  const double normA = norm::RefinedNormEst<Product>(n, kRefinedBlock, product).Run();
  const double normInv = norm::RefinedNormEst<std::decay_t<Solve>>(n, kRefinedBlock, solve).Run();
  return normA * normInv;
}

}  // namespace

double CSolnMatrix::RefinedEstimateByPardiso() {
  norm::PardisoSolve solve(m_pardiso, false);
  const double estimate = RefinedEstimate(NumDof(), norm::SparseProduct(m_sparse), solve);
  if (solve.solved()) return estimate;
  Log(2, "CondEstRefined: a solve failed");
  return 0.0;
}

double CSolnMatrix::CondEst() {
  const TraceScope trace("Vessa::Matrix::CSolnMatrix::CondEst");
  const int n = NumDof(), t = std::min(4, m_numDof);
  switch (m_method) {
    case SolSkyline:
      return Estimate(n, t, norm::SkylineProduct(m_skyline), norm::SkylineSolve(m_skyline));
    case SolCompColumn:
      return Estimate(n, t, norm::CompColumnProduct(m_comp), norm::CompColumnSolve(m_comp));
    case SolPardiso: {
      NoteThreads(m_log);
      if (!m_pardiso.isFactorized()) m_pardiso.factorize(false);
      return Estimate(n, t, norm::SparseProduct(m_sparse), norm::PardisoSolve(m_pardiso, false));
    }
    default:
      return 0.0;
  }
}

double CSolnMatrix::CondEstRefined() {
  const int n = NumDof();
  switch (m_method) {
    case SolSkyline:
      if (m_skyline.GetPhase() != PhaseReduced) break;
      return RefinedEstimate(n, norm::SkylineProduct(m_skyline), norm::SkylineSolve(m_skyline));
    case SolCompColumn:
      if (!m_comp.IsReduced()) break;
      return RefinedEstimate(n, norm::CompColumnProduct(m_comp), norm::CompColumnSolve(m_comp));
    case SolPardiso:
      if (!m_pardiso.isFactorized() && !m_pardiso.factorize(false)) break;
      return RefinedEstimateByPardiso();
    default:
      return 0.0;
  }
  Log(2, "CondEstRefined: the matrix is not reduced");
  return 0.0;
}

}  // namespace Matrix
}  // namespace Vessa
