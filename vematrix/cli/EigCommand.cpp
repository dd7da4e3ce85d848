// vematrix eig: eigenpairs A x = lambda x at one end of the spectrum, with proof that none was missed.
#include <cmath>
#include <memory>

#include "Commands.h"
#include "EigenResults.h"
#include "Examine.h"
#include "Format.h"
#include "Input.h"
#include "Program.h"
#include "Stopwatch.h"
#include "models/io/MatrixMarketWriter.h"
#include "si/sep.h"

namespace vematrix {
namespace cli {
namespace {

struct EigOptions {
  std::string matrix, pattern = "ones";
  bool lowest = false, highest = false;
  EigenOptions eigen;
};

UpperMatrix identity(int n) {
  models::SymmetricTerms terms;
  terms.n = n;
  for (int i = 1; i <= n; ++i) terms.add(i, i, 1.0);
  return UpperMatrix(terms);
}

/// One run of the eigensolver, its wanted vectors whether or not its own test was met.
struct Run {
  si::Status status = si::STATUS_OK;
  std::string shortage;  ///< of memory, with the figures
  int converged = 0, iterations = 0;
  Eigen::MatrixXd vectors;
  si::SolveTimes times;
};

Run runSolver(const UpperMatrix& matrix, const EigOptions& options, double shift, double tolerance,
              int maxIterations, Console& console) {
  Eigen::SparseMatrix<double, 0, int> a = models::toLowerTriangle(matrix.terms());
  const si::ShiftStrat strategy = options.eigen.strategy == "aggressive"     ? si::SHIFT_AGGRESSIVE
                                  : options.eigen.strategy == "conservative" ? si::SHIFT_CONSERVATIVE
                                                                             : si::SHIFT_NONE;
  si::sep solver(a, options.eigen.count, options.eigen.subspace,
                 options.highest ? si::EVAL_HIGHEST : si::EVAL_LOWEST, tolerance, shift, strategy,
                 maxIterations);
  if (options.eigen.solver.engine != "auto")
    solver.SetEngine(options.eigen.solver.engine == "mkl" ? Vessa::Matrix::EngineMkl
                                                          : Vessa::Matrix::EngineOwn);
  Stopwatch watch;
  solver.SetProgress([&](const si::SolveProgress& at) {
    console.progress(fmt::format("iteration {}, {} of {} pairs converged, {}", at.iteration, at.converged,
                                 options.eigen.count, seconds(watch.seconds())));
  });
  Run run;
  run.status = solver.solve();
  run.converged = std::min(solver.get_numpairs_converged(), options.eigen.count);
  run.iterations = solver.opCount()[1];
  run.times = solver.times();
  run.shortage = solver.shortage();
  std::vector<double> values;
  solver.get_eigenpairs(values, run.vectors);
  run.vectors.conservativeResize(Eigen::NoChange, options.eigen.count);
  return run;
}

/// No eigenvalue of a symmetric matrix lies below this (Gershgorin).
double lowerBound(const UpperMatrix& matrix) {
  Eigen::VectorXd diagonal = Eigen::VectorXd::Zero(matrix.n()), radius = diagonal;
  matrix.forEach([&](int i, int j, double v) {
    if (i == j) {
      diagonal[i - 1] += v;
    } else {
      radius[i - 1] += std::fabs(v);
      radius[j - 1] += std::fabs(v);
    }
  });
  return (diagonal - radius).minCoeff();
}

/// A shift a little below the lowest eigenvalue of an indefinite matrix, by bisection on the inertia.
double shiftBelowLowest(const UpperMatrix& matrix, const CountBelow& countBelow) {
  double low = lowerBound(matrix) * 1.0001, high = 0.0;
  for (int step = 0; step < 30 && (high == 0.0 || low / high > 1.05); ++step) {
    const double middle = high == 0.0 ? 0.125 * low : 0.5 * (low + high);
    const int below = countBelow(middle);
    if (below < 0) break;
    (below == 0 ? low : high) = middle;
    if (high == 0.0 && std::fabs(low) < 1e-14 * std::fabs(lowerBound(matrix))) break;
  }
  return low;
}

/// Where to look for the lowest eigenvalues: 0 for a positive definite matrix, below zero for a singular one.
double shiftForLowest(const UpperMatrix& matrix, const EigOptions& options, const Definiteness& sign,
                      const CountBelow& countBelow, Console& console) {
  if (sign.positiveDefinite) return 0.0;
  if (sign.negative > 0) return shiftBelowLowest(matrix, countBelow);
  const double start = 1e-8 * MatrixFacts(matrix).normInf;
  const Run pilot = runSolver(matrix, options, -start, 1e-4, 6, console);
  const EigenPairs ritz(matrix, identity(matrix.n()), pilot.vectors, Eigen::VectorXd::Ones(matrix.n()));
  for (const double value : ritz.values)
    if (value > 1e-4 * start) return -0.1 * value;
  return -start;
}

std::string statusText(si::Status status) {
  if (status == si::STATUS_OK) return "";
  if (status == si::STATUS_FACTORIZE) return "the shifted matrix could not be factorised";
  if (status == si::STATUS_ORTHO) return "the start vectors could not be orthonormalised";
  return "the projected problem could not be solved";
}

Outcome eig(Console& console, const EigOptions& given) {
  EigOptions options = given;
  if (options.lowest && options.highest) throw UsageError("--lowest and --highest: expected one of them");
  Stopwatch watch;
  const UpperMatrix a(readMatrix(options.matrix, options.pattern));
  const UpperMatrix unit = identity(a.n());
  options.eigen.settleFor(a.n());
  console.print("{}\n  order {}, {} terms in a triangle, read in {}\n", console.bold(options.matrix),
                count(a.n()), count(double(a.numTerms())), seconds(watch.lap()));
  const CountBelow countBelow = inertiaCounter(a, unit, options.eigen.solver);
  double shift = options.eigen.shift;
  bool lowestKnown = false;
  if (!options.eigen.shiftGiven) {
    console.progress("choosing where to look");
    if (options.highest) {
      shift = std::min(0.0, lowerBound(a));
    } else {
      shift = shiftForLowest(a, options, examine(a, options.eigen.solver), countBelow, console);
      lowestKnown = true;
    }
  }
  const double preparing = watch.lap();
  const Run run = runSolver(a, options, shift, options.eigen.tolerance, options.eigen.maxIterations, console);
  const double solving = watch.lap();
  const EigenPairs pairs(a, unit, run.vectors, Eigen::VectorXd::Ones(a.n()));
  console.progress("counting eigenvalues");
  MissedCheck missed;
  if (options.eigen.check)
    missed = options.highest ? checkMissedAtTop(pairs.values, a.n(), countBelow)
                             : checkMissed(pairs.values, lowestKnown, countBelow, "eigenvalue");
  const double checking = watch.lap();

  const double limit = 10.0 * std::max(options.eigen.tolerance, 1e-14);
  Table table({"pair", "eigenvalue", "residual", ""});
  Json list = Json::array();
  bool ok = run.status == si::STATUS_OK;
  int good = 0;
  for (Eigen::Index k = 0; k < pairs.values.size(); ++k) {
    const Eigen::Index c = options.highest ? pairs.values.size() - 1 - k : k;
    const bool fine = pairs.residuals[c] <= limit;
    good += fine;
    table.add({std::to_string(k + 1), fmt::format("{:.12g}", pairs.values[c]),
               fmt::format("{:.1e}", pairs.residuals[c]), fine ? "" : console.bad("NOT CONVERGED")});
    list.push_back(
        {{"pair", k + 1}, {"eigenvalue", pairs.values[c]}, {"residual", pairs.residuals[c]}, {"ok", fine}});
  }
  ok = ok && good == options.eigen.count && (!options.eigen.check || missed.sure);
  std::string trouble = statusText(run.status);
  if (!run.shortage.empty()) trouble += ": not enough memory, " + run.shortage;
  if (trouble.empty() && good < options.eigen.count)
    trouble =
        fmt::format("{} of {} pairs converged in {} iterations", good, options.eigen.count, run.iterations);
  console.print("{}  {} end, shift {:.6g}: {} iterations; prepare {}, solve {}, check {}\n", table.text(),
                options.highest ? "highest" : "lowest", shift, run.iterations, seconds(preparing),
                seconds(solving), seconds(checking));
  if (!trouble.empty()) console.print("  {}\n", console.bad(trouble));
  if (!missed.text.empty()) console.print("  {}\n", missed.sure ? missed.text : console.bad(missed.text));
  if (!options.eigen.output.empty()) {
    const Eigen::MatrixXd vectors =
        options.highest ? Eigen::MatrixXd(pairs.vectors.rowwise().reverse()) : pairs.vectors;
    models::writeDenseColumns(options.eigen.output, vectors);
    console.print("  wrote {}\n", options.eigen.output);
  }
  console.print("  verdict: {}\n", ok ? console.good("ok") : console.bad("must not be trusted"));

  Outcome outcome;
  outcome.json = {{"matrix", {{"file", options.matrix}, {"n", a.n()}}},
                  {"end", options.highest ? "highest" : "lowest"},
                  {"shift", shift},
                  {"iterations", run.iterations},
                  {"converged", good},
                  {"wanted", options.eigen.count},
                  {"seconds", {{"prepare", preparing}, {"solve", solving}, {"check", checking}}},
                  {"count_check",
                   {{"done", missed.done},
                    {"none_missed", missed.sure},
                    {"expected", missed.expected},
                    {"found", missed.found},
                    {"text", missed.text}}},
                  {"pairs", list},
                  {"trouble", trouble},
                  {"ok", ok}};
  outcome.code = ok ? ExitGood : ExitNotTrusted;
  return outcome;
}

}  // namespace

void addEig(Program& program) {
  const auto options = std::make_shared<EigOptions>();
  CLI::App* command =
      program.addCommand("eig", "Eigenpairs A x = lambda x at either end of the spectrum",
                         "  vematrix eig A.mtx --count 5 --lowest\n"
                         "  vematrix eig A.mtx --count 3 --highest --max-iterations 5000\n"
                         "  vematrix eig A.mtx --shift 2.5          the eigenvalues nearest 2.5");
  command->add_option("matrix", options->matrix, "Symmetric matrix A")->required();
  command->add_flag("--lowest", options->lowest, "The lowest end (default)");
  command->add_flag("--highest", options->highest, "The highest end");
  command
      ->add_option("--pattern", options->pattern,
                   "Values of a file without values: ones, laplacian, laplacian+1")
      ->check(CLI::IsMember({"ones", "laplacian", "laplacian+1"}));
  options->eigen.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->eigen.solver.threads = program.threads();
    return eig(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
