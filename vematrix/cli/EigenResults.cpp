#include "EigenResults.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "Format.h"

namespace vematrix {
namespace cli {

void EigenOptions::addTo(CLI::App& command) {
  command.add_option("--count", count, "Pairs wanted (default 10)")->check(CLI::Range(1, 100000));
  command.add_option("--tol", tolerance, "Backward error at which a pair has converged (default 1e-10)")
      ->check(CLI::Range(1e-16, 1e-1));
  command.add_option("--shift", shift, "Look for the eigenvalues nearest this number")
      ->each([this](const std::string&) { shiftGiven = true; });
  command.add_option("--strategy", strategy, "How the shift moves: none (default), conservative, aggressive")
      ->check(CLI::IsMember({"none", "conservative", "aggressive"}));
  command
      .add_option("--subspace", subspace, "Vectors iterated at once (default: twice the count, or count + 8)")
      ->check(CLI::Range(1, 100000));
  command.add_option("--max-iterations", maxIterations, "Iterations at most (default 200)")
      ->check(CLI::Range(1, 1000000));
  command.add_flag("!--no-check", check, "Leave out the count that proves that none was missed");
  command.add_option("-o,--output", output, "Write the vectors to FILE (Matrix Market array)")
      ->type_name("FILE");
  solver.addTo(command);
}

void EigenOptions::settleFor(int n) {
  if (!std::isfinite(shift)) throw UsageError("--shift: expected a finite number");
  if (count > n) throw UsageError(fmt::format("--count {}: the matrix has only {} eigenvalues", count, n));
  if (subspace == 0) subspace = std::max(2 * count, count + 8);
  if (subspace < count)
    throw UsageError(fmt::format("--subspace {}: expected at least the count, {}", subspace, count));
  subspace = std::min(subspace, n);
}

namespace {

double dot(const Eigen::VectorXd& a, const Eigen::VectorXd& b) {
  long double sum = 0.0L;
  for (Eigen::Index i = 0; i < a.size(); ++i) sum += static_cast<long double>(a[i]) * b[i];
  return double(sum);
}

}  // namespace

EigenPairs::EigenPairs(const UpperMatrix& a, const UpperMatrix& b, const Eigen::MatrixXd& given,
                       const Eigen::VectorXd& scale) {
  const UpperMatrix s = a.scaled(scale), t = b.scaled(scale);
  const double normA = MatrixFacts(s).normInf, normB = MatrixFacts(t).normInf;
  const Eigen::Index m = given.cols();
  Eigen::VectorXd value(m), residual(m);
  Eigen::MatrixXd vector = given;
  for (Eigen::Index c = 0; c < m; ++c) {
    const Eigen::VectorXd y = vector.col(c).cwiseQuotient(scale);
    const Eigen::VectorXd sy = s.product(y), ty = t.product(y);
    const double mass = dot(y, ty);
    value[c] = dot(y, sy) / mass;
    residual[c] = (sy - value[c] * ty).norm() / ((normA + std::fabs(value[c]) * normB) * y.norm());
    if (mass > 0.0) vector.col(c) /= std::sqrt(mass);
  }
  std::vector<Eigen::Index> order(static_cast<std::size_t>(m));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [&](Eigen::Index i, Eigen::Index j) { return value[i] < value[j]; });
  values.resize(m);
  residuals.resize(m);
  vectors.resize(given.rows(), m);
  for (Eigen::Index c = 0; c < m; ++c) {
    values[c] = value[order[std::size_t(c)]];
    residuals[c] = residual[order[std::size_t(c)]];
    vectors.col(c) = vector.col(order[std::size_t(c)]);
  }
}

namespace {

constexpr double clusterWidth = 1e-6;

/// A bound beyond value k (from 0) on the given side, clear of it and of its neighbour.
double boundBeyond(const Eigen::VectorXd& values, Eigen::Index k, int side) {
  const double size = std::max(values.cwiseAbs().maxCoeff() * 1e-9, std::fabs(values[k]));
  const Eigen::Index next = k + side;
  const double margin = size * 10.0 * clusterWidth;
  if (next < 0 || next >= values.size()) return values[k] + side * margin;
  return values[k] + side * std::min(margin, 0.5 * std::fabs(values[next] - values[k]));
}

/// The value nearest to k, going inwards, that is clear of its outer neighbour; -1 when there is none.
Eigen::Index innerBoundary(const Eigen::VectorXd& values, Eigen::Index k, int side) {
  for (Eigen::Index j = k - side; j >= 0 && j < values.size(); j -= side) {
    const double gap = std::fabs(values[j + side] - values[j]);
    if (gap > clusterWidth * 40.0 * std::max(std::fabs(values[j]), std::fabs(values[j + side]))) return j;
  }
  return -1;
}

}  // namespace

namespace {

std::string plural(int number, const std::string& what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string verdictText(const MissedCheck& check, const std::string& what, const std::string& range) {
  std::string text = fmt::format("{} {}, {} found: ", plural(check.expected, what), range, check.found);
  if (check.sure)
    text += "none missed";
  else if (check.expected > check.found)
    text += fmt::format("{} MISSED", check.expected - check.found);
  else
    text += "the count and the solver contradict each other";
  if (check.beyond == 1) text += " (the last one belongs to a group that goes on)";
  if (check.beyond > 1) text += fmt::format(" (the last {} belong to a group that goes on)", check.beyond);
  return text;
}

}  // namespace

MissedCheck checkMissed(const Eigen::VectorXd& values, bool lowestKnown, const CountBelow& countBelow,
                        const std::string& what) {
  MissedCheck check;
  if (values.size() == 0) return check;
  Eigen::Index last = values.size() - 1, first = 0;
  double low = 0.0;
  int below = 0;
  if (!lowestKnown) {
    low = boundBeyond(values, first, -1);
    below = countBelow(low);
  }
  double high = boundBeyond(values, last, +1);
  int above = countBelow(high);
  if (below < 0 || above < 0) {
    check.text =
        fmt::format("the inertia could not be counted: it is not known whether a {} was missed", what);
    return check;
  }
  check.done = true;
  const auto compare = [&] {
    check.expected = above - below;
    check.found = int(last - first) + 1;
    return check.expected == check.found;
  };
  if (!compare() && check.expected > check.found) {  // perhaps the last one is part of a cluster that goes on
    const Eigen::Index inner = innerBoundary(values, last, +1);
    if (inner >= 0) {
      last = inner;
      high = boundBeyond(values, last, +1);
      above = countBelow(high);
      compare();
    }
  }
  check.sure = above >= 0 && check.expected == check.found;
  check.beyond = int(values.size() - 1 - last);
  check.text = verdictText(
      check, what,
      lowestKnown ? fmt::format("below {:.6g}", high) : fmt::format("between {:.6g} and {:.6g}", low, high));
  return check;
}

MissedCheck checkMissedAtTop(const Eigen::VectorXd& values, int n, const CountBelow& countBelow) {
  double bound = 0.0;
  const CountBelow countAbove = [&](double mirrored) {
    bound = -mirrored;
    const int below = countBelow(bound);
    return below < 0 ? -1 : n - below;
  };
  MissedCheck check = checkMissed(-values.reverse(), true, countAbove, "eigenvalue");
  if (check.done) check.text = verdictText(check, "eigenvalue", fmt::format("above {:.6g}", bound));
  return check;
}

CountBelow inertiaCounter(const UpperMatrix& a, const UpperMatrix& b, const SolverChoice& choice) {
  return [&a, &b, choice](double mu) {
    const UpperMatrix shifted = a.shifted(b, mu);
    const SolverChoice settled = choice.settledFor(MatrixFacts(shifted));
    Solver solver(shifted, settled);
    return solver.reduce(Vessa::Matrix::OptSturm) == 0 ? solver.numNegative() : -1;
  };
}

}  // namespace cli
}  // namespace vematrix
