// vematrix eig: eigenpairs A x = lambda x at one end of the spectrum, with proof that none was missed.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "Commands.h"
#include "EigenPairs.h"
#include "EigenRun.h"
#include "Examine.h"
#include "Format.h"
#include "Input.h"
#include "MatrixFacts.h"
#include "MissedCheck.h"
#include "Program.h"
#include "Stopwatch.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/SymmetricTerms.h"
#include "si/sep.h"

namespace vematrix {
namespace cli {
namespace {

struct EigOptions {
  std::string matrix, pattern = "ones";
  bool lowest = false, highest = false;
  EigenOptions eigen;
};

/// A pair as it is reported, the end that was asked for first.
struct Pair {
  double value = 0.0, residual = 0.0;
  bool good = false;
};

struct EigResult : EigenResult {
  std::vector<Pair> list;
  int numGood = 0;
};

UpperMatrix identity(int n) {
  models::SymmetricTerms terms;
  terms.n = n;
  for (int i = 1; i <= n; ++i) terms.add(i, i, 1.0);
  return UpperMatrix(terms);
}

/// The wanted vectors, whether or not the solver's own test was met.
EigenRun runSolver(const UpperMatrix& matrix, const EigenOptions& options, bool highest, Console& console) {
  Eigen::SparseMatrix<double, 0, int> a = models::toLowerTriangle(matrix.terms());
  double shift = options.shift;
  si::sep solver(a, options.count, options.subspace, highest ? si::EVAL_HIGHEST : si::EVAL_LOWEST,
                 options.tolerance, shift, options.shiftStrategy(), options.maxIterations);
  EigenRun run =
      runEigensolver(solver, options, "pairs", console, [](si::sep& prepared) { return prepared.solve(); });
  run.vectors.conservativeResize(Eigen::NoChange, options.count);
  return run;
}

EigenPairs pairsOf(const UpperMatrix& a, const UpperMatrix& unit, const Eigen::MatrixXd& vectors) {
  return {a, unit, vectors, Eigen::VectorXd::Ones(a.n())};
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

/// For a matrix that is singular and otherwise positive: a little below zero, by a short run.
double shiftBelowZero(const UpperMatrix& matrix, const UpperMatrix& unit, const EigenOptions& options,
                      Console& console) {
  const double start = 1e-8 * MatrixFacts(matrix).normInf;
  EigenOptions pilot = options;
  pilot.shift = -start;
  pilot.tolerance = 1e-4;
  pilot.maxIterations = 6;
  const EigenPairs ritz = pairsOf(matrix, unit, runSolver(matrix, pilot, false, console).vectors);
  for (const double value : ritz.values)
    if (value > 1e-4 * start) return -0.1 * value;
  return -start;
}

/// At or below the lowest eigenvalue, wherever that can be arranged.
double chooseShift(const UpperMatrix& matrix, const UpperMatrix& unit, const EigOptions& options,
                   const CountBelow& countBelow, Console& console) {
  console.progress("choosing where to look");
  if (options.highest) return std::min(0.0, lowerBound(matrix));
  const Definiteness sign = examine(matrix, options.eigen.solver);
  if (sign.positiveDefinite) return 0.0;
  if (sign.negative > 0) return shiftBelowLowest(matrix, countBelow);
  return shiftBelowZero(matrix, unit, options.eigen, console);
}

MissedCheck countPairs(const Eigen::VectorXd& values, int n, const EigOptions& options,
                       const CountBelow& countBelow, Console& console) {
  console.progress("counting eigenvalues");
  if (!options.eigen.check) return {};
  if (options.highest) return checkMissedAtTop(values, n, countBelow);
  return checkMissed(values, !options.eigen.shiftGiven, countBelow, "eigenvalue");
}

/// Chooses the shift, iterates, computes the pairs anew and counts.
EigResult findPairs(const UpperMatrix& a, const EigOptions& given, Console& console) {
  Stopwatch watch;
  EigOptions options = given;
  EigResult result;
  const UpperMatrix unit = identity(a.n());
  const CountBelow countBelow = inertiaCounter(a, unit, options.eigen.solver);
  if (!options.eigen.shiftGiven) options.eigen.shift = chooseShift(a, unit, options, countBelow, console);
  result.shift = options.eigen.shift;
  result.preparing = watch.lap();
  result.run = runSolver(a, options.eigen, options.highest, console);
  result.solving = watch.lap();
  result.pairs = pairsOf(a, unit, result.run.vectors);
  result.missed = countPairs(result.pairs.values, a.n(), options, countBelow, console);
  result.checking = watch.lap();
  return result;
}

/// What can be trusted, and why not where it cannot.
void judge(const EigOptions& options, EigResult& result) {
  const int wanted = options.eigen.count;
  const EigenPairs& pairs = result.pairs;
  for (Eigen::Index k = 0; k < pairs.values.size(); ++k) {
    const Eigen::Index c = options.highest ? pairs.values.size() - 1 - k : k;
    const bool good = pairs.residuals[c] <= options.eigen.largestResidual();
    result.list.push_back({pairs.values[c], pairs.residuals[c], good});
    result.numGood += good;
  }
  result.trouble = failureText(result.run, "the shifted matrix");
  if (result.trouble.empty() && result.numGood < wanted)
    result.trouble = unconvergedText(result.numGood, wanted, "pairs", result.run.iterations);
  result.ok = result.run.status == si::STATUS_OK && result.numGood == wanted &&
              (!options.eigen.check || result.missed.sure);
}

const char* endName(const EigOptions& options) {
  return options.highest ? "highest" : "lowest";
}

void printPairs(Console& console, const EigOptions& options, const EigResult& result) {
  Table table({"pair", "eigenvalue", "residual", ""});
  for (std::size_t k = 0; k < result.list.size(); ++k) {
    const Pair& pair = result.list[k];
    table.add({std::to_string(k + 1), fmt::format("{:.12g}", pair.value),
               fmt::format("{:.1e}", pair.residual), pair.good ? "" : console.bad("NOT CONVERGED")});
  }
  console.print("{}  {} end, shift {:.6g}: {} iterations; prepare {}, solve {}, check {}\n", table.text(),
                endName(options), result.shift, result.run.iterations, seconds(result.preparing),
                seconds(result.solving), seconds(result.checking));
  printChecks(console, result);
}

Json toJson(const std::vector<Pair>& pairs) {
  Json list = Json::array();
  for (const Pair& pair : pairs)
    list.push_back({{"pair", list.size() + 1},
                    {"eigenvalue", pair.value},
                    {"residual", pair.residual},
                    {"ok", pair.good}});
  return list;
}

Json toJson(const EigOptions& options, int n, const EigResult& result) {
  return {{"matrix", {{"file", options.matrix}, {"n", n}}},
          {"end", endName(options)},
          {"shift", result.shift},
          {"iterations", result.run.iterations},
          {"converged", result.numGood},
          {"wanted", options.eigen.count},
          {"seconds", {{"prepare", result.preparing}, {"solve", result.solving}, {"check", result.checking}}},
          {"count_check", toJson(result.missed)},
          {"pairs", toJson(result.list)},
          {"trouble", result.trouble}};
}

void writeVectors(Console& console, const EigOptions& options, const Eigen::MatrixXd& ascending) {
  writeWhereAsked(console, options.eigen.output, [&](const auto& path) {
    models::writeDenseColumns(path,
                              options.highest ? Eigen::MatrixXd(ascending.rowwise().reverse()) : ascending);
  });
}

Outcome eig(Console& console, const EigOptions& given) {
  EigOptions options = given;
  if (options.lowest && options.highest) throw UsageError("--lowest and --highest: expected one of them");
  Stopwatch watch;
  const UpperMatrix a(readMatrix(options.matrix, options.pattern));
  options.eigen.settleFor(a.n());
  console.print("{}\n  order {}, {} terms in a triangle, read in {}\n", console.bold(options.matrix),
                count(a.n()), count(double(a.numTerms())), seconds(watch.lap()));
  EigResult result = findPairs(a, options, console);
  judge(options, result);
  printPairs(console, options, result);
  writeVectors(console, options, result.pairs.vectors);
  return concluded(console, toJson(options, a.n(), result), result.ok);
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
  addPatternOption(*command, options->pattern);
  options->eigen.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->eigen.solver.threads = program.threads();
    return eig(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
