#include "Pencil.h"

#include <algorithm>
#include <cmath>

#include "Errors.h"
#include "models/io/SymmetricTerms.h"
#include "si/gep11.h"

namespace vematrix {
namespace cli {

Pencil::Pencil(const UpperMatrix& k, const UpperMatrix& m)
    : m_k(k),
      m_m(m),
      m_scale(k.balancing()),
      m_scaledK(models::toLowerTriangle(k.scaled(m_scale).terms())),
      m_scaledM(models::toLowerTriangle(m.scaled(m_scale).terms())) {}

EigenRun Pencil::solve(const std::string& algorithm, const EigenOptions& options, Console& console) const {
  const bool explicitly = algorithm == "explicit";
  SparseMatrix k = m_scaledK, m = m_scaledM;  // a solve may shift them
  double shift = options.shift;
  si::gep11 solver(explicitly ? m : k, explicitly ? k : m, options.count, options.subspace, options.tolerance,
                   shift, options.shiftStrategy(), options.maxIterations);
  EigenRun run = runEigensolver(solver, options, "modes", console, [&](si::gep11& prepared) {
    if (explicitly) return prepared.solve_exp_orth();
    return algorithm == "implicit" ? prepared.solve_imp_orth() : prepared.solve_imp_orth_copy();
  });
  run.vectors = m_scale.asDiagonal() * run.vectors;
  return run;
}

namespace {

/// Largest ratio of the diagonals, an eigenvalue's size; 0 without mass.
double largestRatio(const MatrixFacts& k, const MatrixFacts& m) {
  double largest = 0.0;
  for (int i = 0; i < k.n; ++i)
    if (m.diagonal[i] > 0.0) largest = std::max(largest, k.diagonal[i] / m.diagonal[i]);
  return largest;
}

}  // namespace

double shiftForFree(const Pencil& pencil, const EigenOptions& options, Console& console) {
  const double largest = largestRatio(MatrixFacts(pencil.k()), MatrixFacts(pencil.m()));
  if (!(largest > 0.0))
    throw NoResult("the mass matrix has no positive diagonal: there are no vibration modes");
  const double start = 1e-8 * largest;
  EigenOptions pilot = options;
  pilot.strategy = "none";
  pilot.shift = -start;
  pilot.tolerance = 1e-4;
  pilot.maxIterations = 6;
  const EigenPairs ritz = pencil.pairs(pencil.solve("implicit-copy", pilot, console).vectors);
  for (const double value : ritz.values)
    if (value > 1e-12 * largest && std::isfinite(value)) return -std::max(0.1 * value, 1e-11 * largest);
  return -start;
}

}  // namespace cli
}  // namespace vematrix
