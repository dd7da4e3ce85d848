#include "MatrixFindings.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include "Examine.h"
#include "Format.h"
#include "Input.h"

namespace vematrix {
namespace cli {

Parts partsOf(const UpperMatrix& matrix, const MatrixFacts& facts) {
  std::vector<int> size;
  for (int part : connectedParts(matrix)) {
    if (std::size_t(part) >= size.size()) size.resize(std::size_t(part) + 1, 0);
    ++size[std::size_t(part)];
  }
  const int empty = int(facts.emptyRows.size());
  return {int(size.size()) - empty, int(std::count(size.begin(), size.end(), 1)) - empty};
}

namespace {

/// The range of the positive terms of a diagonal.
void noteDiagonal(const Eigen::VectorXd& diagonal, Findings& findings) {
  double least = 0.0, most = 0.0;
  for (const double d : diagonal) {
    if (!(d > 0.0)) continue;
    least = least == 0.0 ? d : std::min(least, d);
    most = std::max(most, d);
  }
  if (least > 0.0)
    findings.note(
        fmt::format("diagonal from {:.3g} to {:.3g}, a ratio of {:.2g}", least, most, most / least));
}

}  // namespace

void lookAtStiffness(const MatrixFacts& facts, const Parts& parts, Findings& findings) {
  if (!facts.emptyRows.empty())
    findings.sick("no stiffness at all: the rows of " + dofsText(facts.emptyRows) + " are zero");
  if (!facts.zeroDiagonals.empty()) findings.sick("zero on the diagonal at " + dofsText(facts.zeroDiagonals));
  if (!facts.negativeDiagonals.empty())
    findings.sick("negative on the diagonal at " + dofsText(facts.negativeDiagonals) +
                  ": a stiffness cannot be");
  if (parts.all > 1)
    findings.warn(
        fmt::format("the structure falls into {} parts that do not touch each other{}", parts.all,
                    parts.single == 0 ? "" : fmt::format(" ({} of them single dofs)", parts.single)));
  noteDiagonal(facts.diagonal, findings);
}

void lookAtMass(const std::string& path, const MatrixFacts& stiffness, const SolverChoice& choice,
                Findings& findings) {
  const UpperMatrix m(readMatrixOfOrder(stiffness.n, path, "the stiffness has"));
  const MatrixFacts facts(m);
  if (!facts.negativeDiagonals.empty())
    findings.sick("negative mass at " + dofsText(facts.negativeDiagonals));
  std::vector<int> neither;
  std::set_intersection(facts.emptyRows.begin(), facts.emptyRows.end(), stiffness.emptyRows.begin(),
                        stiffness.emptyRows.end(), std::back_inserter(neither));
  if (!neither.empty()) findings.sick("neither mass nor stiffness at " + dofsText(neither));
  if (!facts.emptyRows.empty())
    findings.note(fmt::format("{} of {} dofs carry no mass: their modes have no finite frequency",
                              facts.emptyRows.size(), m.n()));
  if (!facts.emptyRows.empty() || !facts.negativeDiagonals.empty()) return;
  const Definiteness sign = examine(m, choice);
  if (sign.negative > 0)
    findings.sick(fmt::format("the mass matrix has {} negative eigenvalues", sign.negative));
  if (sign.singular) findings.warn("the mass matrix is singular");
}

namespace {

/// Of the matrix as it is, or with unit diagonal; 0 when it cannot be factorised.
double conditionEstimate(const UpperMatrix& k, const SolverChoice& settled, bool balanced) {
  Solver solver(k, settled, balanced);
  if (solver.reduce(Vessa::Matrix::OptStiffness) != 0 && solver.reduce(Vessa::Matrix::OptSturm) != 0)
    return 0.0;
  return solver.matrix().CondEstRefined();
}

}  // namespace

Json lookAtCondition(const UpperMatrix& k, const SolverChoice& choice, Findings& findings) {
  const SolverChoice settled = choice.settledFor(MatrixFacts(k));
  const double plain = conditionEstimate(k, settled, false), balanced = conditionEstimate(k, settled, true);
  const std::string figures =
      fmt::format("condition number {:.2g}, {:.2g} with every dof in its own unit", plain, balanced);
  if (balanced > 1e12)
    findings.warn(figures + ": the structure is nearly a mechanism or extremely slender");
  else if (plain > 1e10 && balanced < 1e-4 * plain)
    findings.note(figures +
                  ": the first is high because of units or stiff and soft parts side by side, not a fault");
  else
    findings.note(figures);
  return {{"condition", plain}, {"condition_unit_diagonal", balanced}};
}

}  // namespace cli
}  // namespace vematrix
