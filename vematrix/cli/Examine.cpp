#include "Examine.h"

#include <algorithm>

#include "Errors.h"
#include "NullProbe.h"

namespace vematrix {
namespace cli {

Definiteness examine(const UpperMatrix& k, const SolverChoice& choice) {
  const MatrixFacts facts(k);
  Definiteness support;
  Solver solver(k, choice.settledFor(facts));
  int code = solver.reduce(Vessa::Matrix::OptStiffness);
  if (code != 0 || !solver.suppressed().empty()) {
    support.positiveDefinite = false;
    support.singular = !solver.suppressed().empty() || !facts.emptyRows.empty();
    if (support.singular) return support;
    code = solver.reduce(Vessa::Matrix::OptSturm);
    if (code != 0) throw NoResult("the matrix cannot be factorised: " + describeCode(code));
  }
  support.negative = std::max(0, solver.numNegative());
  support.singular = NullProbe(k, solver).isSingular();
  support.positiveDefinite = support.positiveDefinite && support.negative == 0 && !support.singular;
  return support;
}

}  // namespace cli
}  // namespace vematrix
