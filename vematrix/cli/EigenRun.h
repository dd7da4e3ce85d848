#pragma once
#include <Eigen/Core>
#include <algorithm>
#include <string>
#include <vector>

#include "EigenPairs.h"
#include "MissedCheck.h"
#include "Program.h"
#include "Solver.h"
#include "Stopwatch.h"
#include "si/si_types.h"

namespace vematrix {
namespace cli {

/// Options that modes and eig share.
struct EigenOptions {
  int count = 10, subspace = 0, maxIterations = 200;
  double tolerance = 1e-10, shift = 0.0;
  bool shiftGiven = false, check = true;
  std::string strategy = "none", output;
  SolverChoice solver;

  void addTo(CLI::App& command);
  /// @throws UsageError when they do not fit a matrix of order n
  void settleFor(int n);
  si::ShiftStrat shiftStrategy() const;
  /// Residual up to which a pair counts as found.
  double largestResidual() const { return 10.0 * std::max(tolerance, 1e-14); }
};

/// One run of an eigensolver.
struct EigenRun {
  si::Status status = si::STATUS_OK;
  std::string shortage;  ///< of memory, with the figures
  int converged = 0, iterations = 0, negative = 0;
  si::SolveTimes times;
  std::vector<double> history;  ///< pairs converged at the beginning of every iteration, and at the end
  Eigen::MatrixXd vectors;      ///< all that were iterated, the converged ones first
};

/// "iteration 3, 2 of 10 modes converged, 1.2 s"
std::string progressText(const si::SolveProgress& at, int wanted, const std::string& what, double spent);

/// Runs a solver that has been constructed: picks the engine, shows the progress, collects what it found.
/// @param what     "modes" or "pairs", for the progress
/// @param iterate  calls the solve of the solver and returns its status
template <class EigenSolver, class Iterate>
EigenRun runEigensolver(EigenSolver& solver, const EigenOptions& options, const std::string& what,
                        Console& console, Iterate iterate) {
  solver.SetEngine(options.solver.directEngine());
  EigenRun run;
  const Stopwatch watch;
  solver.SetProgress([&](const si::SolveProgress& at) {
    run.history.push_back(at.converged);
    console.progress(progressText(at, options.count, what, watch.seconds()));
  });
  run.status = iterate(solver);
  run.converged = std::min(solver.get_numpairs_converged(), options.count);
  run.history.push_back(run.converged);
  run.iterations = solver.opCount()[1];
  run.negative = solver.negative_evals();
  run.times = solver.times();
  run.shortage = solver.shortage();
  std::vector<double> values;
  solver.get_eigenpairs(values, run.vectors);
  return run;
}

/// What modes and eig found, and how far it can be trusted.
struct EigenResult {
  double shift = 0.0;
  EigenRun run;
  EigenPairs pairs;
  MissedCheck missed;
  double preparing = 0.0, solving = 0.0, checking = 0.0;  ///< seconds
  std::string trouble;                                    ///< why pairs are missing, "" when none are
  bool ok = false;
};

/// Why a run ended without a result, "" when it did not. @param shifted  "the shifted matrix", in words
std::string failureText(const EigenRun& run, const std::string& shifted);
/// "3 of 10 modes converged in 200 iterations"
std::string unconvergedText(int found, int wanted, const std::string& what, int iterations);

/// Prints why pairs are missing and what the inertia said.
void printChecks(Console& console, const EigenResult& result);

}  // namespace cli
}  // namespace vematrix
