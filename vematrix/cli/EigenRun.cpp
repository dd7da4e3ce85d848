#include "EigenRun.h"

#include <fmt/core.h>

#include <CLI/CLI.hpp>
#include <cmath>

#include "Errors.h"
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
  solver.refuseMissingEngine();
  if (!std::isfinite(shift)) throw UsageError("--shift: expected a finite number");
  if (count > n) throw UsageError(fmt::format("--count {}: the matrix has only {} eigenvalues", count, n));
  if (subspace == 0) subspace = std::max(2 * count, count + 8);
  if (subspace < count)
    throw UsageError(fmt::format("--subspace {}: expected at least the count, {}", subspace, count));
  subspace = std::min(subspace, n);
}

si::ShiftStrat EigenOptions::shiftStrategy() const {
  if (strategy == "aggressive") return si::SHIFT_AGGRESSIVE;
  return strategy == "conservative" ? si::SHIFT_CONSERVATIVE : si::SHIFT_NONE;
}

std::string progressText(const si::SolveProgress& at, int wanted, const std::string& what, double spent) {
  return fmt::format("iteration {}, {} of {} {} converged, {}", at.iteration, at.converged, wanted, what,
                     seconds(spent));
}

namespace {

std::string statusText(si::Status status, const std::string& shifted) {
  switch (status) {
    case si::STATUS_OK:
      return "";
    case si::STATUS_LAPACK:
      return "the projected problem could not be solved";
    case si::STATUS_FACTORIZE:
      return shifted + " could not be factorised";
    case si::STATUS_NOT_POSDEF:
      return "the matrix that must be positive definite is not";
    case si::STATUS_ORTHO:
      return "the start vectors could not be orthonormalised";
  }
  return "unknown status";
}

}  // namespace

std::string failureText(const EigenRun& run, const std::string& shifted) {
  const std::string text = statusText(run.status, shifted);
  return run.shortage.empty() ? text : text + ": not enough memory, " + run.shortage;
}

std::string unconvergedText(int found, int wanted, const std::string& what, int iterations) {
  return fmt::format("{} of {} {} converged in {} iterations", found, wanted, what, iterations);
}

void printChecks(Console& console, const EigenResult& result) {
  if (!result.trouble.empty()) console.print("  {}\n", console.bad(result.trouble));
  const MissedCheck& missed = result.missed;
  if (!missed.text.empty()) console.print("  {}\n", missed.sure ? missed.text : console.bad(missed.text));
}

}  // namespace cli
}  // namespace vematrix
