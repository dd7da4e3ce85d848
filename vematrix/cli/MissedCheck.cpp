#include "MissedCheck.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>

#include "Format.h"

namespace vematrix {
namespace cli {
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

/// The values up to `last` and the counts at the bounds that enclose them.
struct Enclosure {
  double low = 0.0, high = 0.0;
  int below = 0, above = 0;  ///< counts at low and at high
  Eigen::Index last = 0;

  void closeAbove(const Eigen::VectorXd& values, Eigen::Index newLast, const CountBelow& countBelow) {
    last = newLast;
    high = boundBeyond(values, last, +1);
    above = countBelow(high);
  }
  bool counted() const { return below >= 0 && above >= 0; }
  int expected() const { return above - below; }
  int found() const { return int(last) + 1; }
};

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
  Enclosure range;
  if (!lowestKnown) {
    range.low = boundBeyond(values, 0, -1);
    range.below = countBelow(range.low);
  }
  range.closeAbove(values, values.size() - 1, countBelow);
  if (range.counted() &&
      range.expected() > range.found()) {  // the last one may be part of a cluster that goes on
    const Eigen::Index inner = innerBoundary(values, range.last, +1);
    if (inner >= 0) range.closeAbove(values, inner, countBelow);
  }
  if (!range.counted()) {
    check.text =
        fmt::format("the inertia could not be counted: it is not known whether a {} was missed", what);
    return check;
  }
  check.done = true;
  check.expected = range.expected();
  check.found = range.found();
  check.sure = check.expected == check.found;
  check.beyond = int(values.size() - 1 - range.last);
  check.text = verdictText(check, what,
                           lowestKnown ? fmt::format("below {:.6g}", range.high)
                                       : fmt::format("between {:.6g} and {:.6g}", range.low, range.high));
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

Json toJson(const MissedCheck& check) {
  return {{"done", check.done},
          {"none_missed", check.sure},
          {"expected", check.expected},
          {"found", check.found},
          {"text", check.text}};
}

}  // namespace cli
}  // namespace vematrix
