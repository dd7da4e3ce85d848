#include "NullSpace.h"

#include <algorithm>
#include <memory>

#include "Errors.h"
#include "NullProbe.h"
#include "Subspace.h"

namespace vematrix {
namespace cli {
namespace {

constexpr double nullTolerance = 1e-11;  // of |S y| / |S| for a unit vector y

SolverChoice sparseChoice(const SolverChoice& choice) {
  SolverChoice sparse = choice;
  sparse.method = "compcolumn";
  sparse.engine = "";
  return sparse;
}

void merge(std::vector<int>& dofs, const std::vector<int>& more) {
  dofs.insert(dofs.end(), more.begin(), more.end());
  std::sort(dofs.begin(), dofs.end());
  dofs.erase(std::unique(dofs.begin(), dofs.end()), dofs.end());
}

std::vector<int> mapped(const std::vector<int>& dofs, const std::vector<int>& kept) {
  std::vector<int> old;
  for (int dof : dofs) old.push_back(kept[std::size_t(dof) - 1]);
  return old;
}

/// The matrix without the dofs that carry its singularity, factorised.
struct RegularRest {
  std::vector<int> kept;
  std::unique_ptr<UpperMatrix> matrix;
  std::unique_ptr<Solver> solver;
};

/// Suppresses until nothing is left to suppress; `dofs` receives what was.
RegularRest reduceToRegular(const UpperMatrix& balanced, const SolverChoice& choice, std::vector<int>& dofs) {
  RegularRest rest;
  for (int round = 0; round < 50; ++round) {
    rest.matrix = std::make_unique<UpperMatrix>(balanced.without(dofs, rest.kept));
    if (rest.kept.empty()) return rest;
    rest.solver = std::make_unique<Solver>(*rest.matrix, sparseChoice(choice));
    const int code = rest.solver->reduce(Vessa::Matrix::OptStiffness);
    std::vector<int> found = rest.solver->suppressed();
    if (found.empty() && code != 0) throw NoResult("the matrix cannot be factorised: " + describeCode(code));
    if (found.empty()) {
      const NullProbe probe(*rest.matrix, *rest.solver);
      if (!probe.isSingular()) return rest;
      found = {probe.movers.front()};
    }
    merge(dofs, mapped(found, rest.kept));
  }
  throw NoResult("the singular part of the matrix could not be isolated");
}

/// The motions that follow when the suppressed dofs move by one in turn: columns on all dofs of the balanced
/// matrix.
Eigen::MatrixXd motionsOf(const UpperMatrix& balanced, RegularRest& rest, const std::vector<int>& dofs,
                          int count) {
  std::vector<int> number(std::size_t(balanced.n()) + 1, 0), column(std::size_t(balanced.n()) + 1, -1);
  for (std::size_t k = 0; k < rest.kept.size(); ++k) number[std::size_t(rest.kept[k])] = int(k) + 1;
  for (int c = 0; c < count; ++c) column[std::size_t(dofs[std::size_t(c)])] = c;
  Eigen::MatrixXd right = Eigen::MatrixXd::Zero(Eigen::Index(rest.kept.size()), count);
  balanced.forEach([&](int i, int j, double v) {
    if (column[std::size_t(i)] >= 0 && number[std::size_t(j)] > 0)
      right(number[std::size_t(j)] - 1, column[std::size_t(i)]) -= v;
    if (column[std::size_t(j)] >= 0 && number[std::size_t(i)] > 0)
      right(number[std::size_t(i)] - 1, column[std::size_t(j)]) -= v;
  });
  Eigen::MatrixXd motions = Eigen::MatrixXd::Zero(balanced.n(), count);
  for (int c = 0; c < count; ++c) {
    Eigen::VectorXd x = right.col(c);
    if (rest.solver && x.size() > 0 && !x.isZero(0.0)) rest.solver->solve(x);
    for (std::size_t k = 0; k < rest.kept.size(); ++k) motions(rest.kept[k] - 1, c) = x[Eigen::Index(k)];
    motions(dofs[std::size_t(c)] - 1, c) = 1.0;
  }
  return motions;
}

}  // namespace

NullSpace findNullSpace(const UpperMatrix& matrix, const SolverChoice& choice) {
  NullSpace space;
  space.scale = matrix.balancing();
  const UpperMatrix balanced = matrix.scaled(space.scale);
  RegularRest rest = reduceToRegular(balanced, choice, space.suppressed);
  const int count = std::min(NullSpace::most, int(space.suppressed.size()));
  space.complete = count == int(space.suppressed.size());
  if (count == 0) {
    space.basis.resize(matrix.n(), 0);
    return space;
  }
  const Eigen::MatrixXd motions = motionsOf(balanced, rest, space.suppressed, count);
  const Eigen::MatrixXd q = orthonormalBasis(motions.colwise().normalized(), count);
  Eigen::MatrixXd image(motions.rows(), count);
  for (int c = 0; c < count; ++c) image.col(c) = balanced.product(q.col(c));
  const double norm = std::max(MatrixFacts(balanced).normInf, 1e-300);
  space.basis = q * vanishingCombinations(image, nullTolerance * norm);
  for (int c = 0; c < space.size(); ++c)
    space.residual = std::max(space.residual, balanced.product(space.basis.col(c)).norm() / norm);
  return space;
}

std::vector<int> fewestRestraints(const NullSpace& space) {
  if (space.size() == 0) return {};
  std::vector<int> dofs;
  for (const Eigen::Index row : independentRows(space.basis)) dofs.push_back(int(row) + 1);
  std::sort(dofs.begin(), dofs.end());
  return dofs;
}

CureProof proveCure(const UpperMatrix& matrix, const std::vector<int>& restrained,
                    const SolverChoice& choice) {
  CureProof proof;
  std::vector<int> kept;
  const UpperMatrix rest = matrix.without(restrained, kept);
  if (kept.empty()) {
    proof.regular = proof.positiveDefinite = true;
    proof.reciprocal = 1.0;
    return proof;
  }
  const MatrixFacts facts(rest);
  if (!facts.emptyRows.empty()) return proof;
  Solver solver(rest, choice.settledFor(facts));
  int code = solver.reduce(Vessa::Matrix::OptStiffness);
  if (!solver.suppressed().empty()) return proof;
  proof.positiveDefinite = code == 0 && solver.numNegative() <= 0;
  if (code == -5) code = solver.reduce(Vessa::Matrix::OptSturm);
  if (code != 0) return proof;
  const NullProbe probe(rest, solver);
  proof.reciprocal = probe.reciprocal;
  proof.regular = !probe.isSingular();
  return proof;
}

}  // namespace cli
}  // namespace vematrix
