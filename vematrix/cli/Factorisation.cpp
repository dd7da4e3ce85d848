#include "Factorisation.h"

#include <fmt/core.h>

#include <algorithm>

#include "Format.h"
#include "NullProbe.h"

namespace vematrix {
namespace cli {
namespace {

/// The dofs that have no stiffness, by the solver's word or for want of any term.
std::vector<int> unrestrained(const MatrixFacts& facts, const Solver& solver) {
  return solver.suppressed().empty() ? facts.emptyRows : solver.suppressed();
}

std::string singularText(const NullProbe& probe) {
  return fmt::format(
      "the matrix is singular to working precision: a motion of {} meets no stiffness, most at {}",
      plural(probe.numMoving, "dof"), dofList(probe.movers));
}

void probeSingularity(const UpperMatrix& matrix, Solver& solver, Factorisation& result) {
  const NullProbe probe(matrix, solver);
  result.reciprocal = probe.reciprocal;
  result.digits = probe.digits();
  if (!probe.isSingular()) return;
  result.movers = probe.movers;
  result.trouble = singularText(probe);
}

}  // namespace

double Factorisation::condition() const {
  return 1.0 / std::max(reciprocal, 1e-300);
}

Factorisation factorise(const UpperMatrix& matrix, const MatrixFacts& facts, Solver& solver) {
  Factorisation result;
  int code = solver.reduce(Vessa::Matrix::OptStiffness);
  result.suppressed = unrestrained(facts, solver);
  if (!result.suppressed.empty()) {
    result.usable = code == 0 || !solver.suppressed().empty();
    result.positiveDefinite = false;
    result.trouble = fmt::format("no stiffness left at {}: unrestrained", dofsText(result.suppressed));
    return result;
  }
  if (code == -5) {
    result.positiveDefinite = false;
    code = solver.reduce(Vessa::Matrix::OptSturm);
  }
  if (code != 0) {
    result.trouble = describeCode(code);
    return result;
  }
  result.usable = true;
  result.negative = result.positiveDefinite && solver.numNegative() < 0 ? 0 : solver.numNegative();
  result.positiveDefinite = result.positiveDefinite && result.negative <= 0;
  probeSingularity(matrix, solver, result);
  return result;
}

void print(Console& console, const Factorisation& factors) {
  if (factors.negative > 0)
    console.print("  {}\n", console.warning("not positive definite: " +
                                            plural(factors.negative, "negative eigenvalue")));
  if (factors.conditionKnown())
    console.print("  conditioning   {:.1e} with unit diagonal, about {} digits of a solution are good\n",
                  factors.condition(), factors.digits);
  if (!factors.trouble.empty()) console.print("  {}\n", console.bad(factors.trouble));
}

Json toJson(const Factorisation& factors) {
  Json json = {{"usable", factors.usable},
               {"positive_definite", factors.positiveDefinite},
               {"negative_eigenvalues", nullptr},
               {"suppressed_dofs", factors.suppressed},
               {"soft_dofs", factors.movers},
               {"condition_unit_diagonal", nullptr},
               {"digits", nullptr},
               {"trouble", factors.trouble}};
  if (factors.negative >= 0) json["negative_eigenvalues"] = factors.negative;
  if (factors.conditionKnown()) {
    json["condition_unit_diagonal"] = factors.condition();
    json["digits"] = factors.digits;
  }
  return json;
}

}  // namespace cli
}  // namespace vematrix
