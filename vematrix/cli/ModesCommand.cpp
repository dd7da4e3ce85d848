// vematrix modes: the lowest vibration modes K x = lambda M x, with proof that none was missed.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "ChartPicture.h"
#include "Commands.h"
#include "EigenPairs.h"
#include "EigenRun.h"
#include "Examine.h"
#include "Format.h"
#include "Input.h"
#include "MissedCheck.h"
#include "ModeShapes.h"
#include "Pencil.h"
#include "Program.h"
#include "Stopwatch.h"
#include "models/io/MatrixMarketWriter.h"

namespace vematrix {
namespace cli {
namespace {

struct ModesOptions {
  std::string stiffness, mass, algorithm = "implicit-copy", mesh, meshOutput, picture, history;
  EigenOptions eigen;

  bool explicitly() const { return algorithm == "explicit"; }
};

/// One mode as it is reported.
struct Mode {
  double value = 0.0, residual = 0.0;
  double frequency = 0.0;  ///< Hz; NaN where the value is negative
  bool rigid = false, good = false;
};

struct ModesResult : EigenResult {
  Definiteness support;  ///< of the stiffness matrix; not looked at where the shift is given
  std::vector<Mode> modes;
};

void settle(ModesOptions& options, int n) {
  options.eigen.settleFor(n);
  if (!options.picture.empty() && options.mesh.empty())
    throw UsageError("--picture: expected together with --vtu");
  if (options.explicitly() && options.eigen.shiftGiven)
    throw UsageError("--shift: expected with the implicit algorithms only");
}

/// Finds out whether the structure is supported, and where to look for its lowest modes.
double chooseShift(const Pencil& pencil, const ModesOptions& options, Definiteness& support,
                   Console& console) {
  console.progress("examining the stiffness matrix");
  support = examine(pencil.k(), options.eigen.solver);
  if (support.singular) {
    if (options.explicitly())
      throw NoResult("the structure can move freely: --algorithm explicit needs a supported one");
    const double shift = shiftForFree(pencil, options.eigen, console);
    console.print("  the structure can move freely: rigid-body modes at zero, found with a shift of {:.4g}\n",
                  shift);
    return shift;
  }
  if (support.negative > 0)
    console.print("  {}\n", console.warning(fmt::format("the stiffness matrix has {} negative eigenvalues: "
                                                        "these are the modes nearest zero, not the lowest",
                                                        support.negative)));
  return options.eigen.shift;
}

MissedCheck countModes(const Pencil& pencil, const ModesOptions& options, const ModesResult& result,
                       Console& console) {
  console.progress("counting eigenvalues");
  if (!options.eigen.check || result.pairs.values.size() == 0) return {};
  const Definiteness& support = result.support;
  const bool nothingBelowShift = support.singular && !options.explicitly() && result.run.negative == 0;
  const bool lowestKnown = !options.eigen.shiftGiven && (support.positiveDefinite || nothingBelowShift);
  return checkMissed(result.pairs.values, lowestKnown,
                     inertiaCounter(pencil.k(), pencil.m(), options.eigen.solver), "mode");
}

/// Prepares, iterates, computes the pairs anew and counts.
ModesResult findModes(const UpperMatrix& k, const UpperMatrix& m, const ModesOptions& given,
                      Console& console) {
  Stopwatch watch;
  ModesOptions options = given;
  ModesResult result;
  const Pencil pencil(k, m);
  if (!options.eigen.shiftGiven) options.eigen.shift = chooseShift(pencil, options, result.support, console);
  result.shift = options.eigen.shift;
  result.preparing = watch.lap();
  result.run = pencil.solve(options.algorithm, options.eigen, console);
  result.solving = watch.lap();
  result.pairs = pencil.pairs(result.run.vectors.leftCols(result.run.converged));
  result.missed = countModes(pencil, options, result, console);
  result.checking = watch.lap();
  return result;
}

Mode judged(double value, double residual, double rigidBelow, double largestResidual) {
  Mode mode;
  mode.value = value;
  mode.residual = residual;
  mode.rigid = std::fabs(value) < rigidBelow;
  mode.good = residual <= largestResidual;
  if (!mode.rigid) mode.frequency = value < 0.0 ? NAN : frequencyOf(value);
  return mode;
}

/// What can be trusted, and why not where it cannot.
void judge(const EigenOptions& options, ModesResult& result) {
  const double rigidBelow = result.support.singular ? 1e-5 * std::fabs(result.shift) : 0.0;
  for (Eigen::Index c = 0; c < result.pairs.values.size(); ++c)
    result.modes.push_back(
        judged(result.pairs.values[c], result.pairs.residuals[c], rigidBelow, options.largestResidual()));
  const EigenRun& run = result.run;
  result.trouble = failureText(run, "the shifted matrix K - shift M");
  if (result.trouble.empty() && run.converged < options.count)
    result.trouble = unconvergedText(run.converged, options.count, "modes", options.maxIterations);
  result.ok = run.status == si::STATUS_OK && run.converged >= options.count &&
              std::all_of(result.modes.begin(), result.modes.end(), [](const Mode& m) { return m.good; }) &&
              (!options.check || result.missed.sure);
}

std::string modesTable(const Console& console, const std::vector<Mode>& modes) {
  Table table({"mode", "eigenvalue", "frequency Hz", "residual", ""});
  for (std::size_t k = 0; k < modes.size(); ++k) {
    const Mode& mode = modes[k];
    table.add({std::to_string(k + 1), fmt::format("{:.10g}", mode.value),
               mode.value < 0.0 && !mode.rigid ? "-" : fmt::format("{:.6g}", mode.frequency),
               fmt::format("{:.1e}", mode.residual),
               !mode.good   ? console.bad("NOT CONVERGED")
               : mode.rigid ? "rigid body"
                            : ""});
  }
  return table.text();
}

void printModes(Console& console, const ModesOptions& options, const ModesResult& result) {
  const EigenRun& run = result.run;
  console.print("{}", modesTable(console, result.modes));
  console.print(
      "  {}: {} iterations, {}; prepare {}, solve {} (factorise {}, back-substitute {}), check {}\n",
      options.algorithm, run.iterations, plural(run.times.factorizations, "factorisation"),
      seconds(result.preparing), seconds(result.solving), seconds(run.times.factor), seconds(run.times.solve),
      seconds(result.checking));
  printChecks(console, result);
}

Json toJson(const std::vector<Mode>& modes) {
  Json list = Json::array();
  for (const Mode& mode : modes)
    list.push_back({{"mode", list.size() + 1},
                    {"eigenvalue", mode.value},
                    {"frequency_hz", mode.frequency},
                    {"residual", mode.residual},
                    {"rigid_body", mode.rigid},
                    {"ok", mode.good}});
  return list;
}

Json toJson(const ModesOptions& options, int n, const ModesResult& result) {
  const EigenRun& run = result.run;
  return {{"matrices", {{"stiffness", options.stiffness}, {"mass", options.mass}, {"n", n}}},
          {"algorithm", options.algorithm},
          {"shift", result.shift},
          {"free", result.support.singular},
          {"iterations", run.iterations},
          {"converged", run.converged},
          {"wanted", options.eigen.count},
          {"seconds",
           {{"prepare", result.preparing},
            {"solve", result.solving},
            {"factorise", run.times.factor},
            {"back_substitute", run.times.solve},
            {"check", result.checking}}},
          {"count_check", toJson(result.missed)},
          {"modes", toJson(result.modes)},
          {"trouble", result.trouble}};
}

void writeFiles(Console& console, const ModesOptions& options, const ModesResult& result) {
  const bool found = result.pairs.values.size() > 0;
  if (found)
    writeWhereAsked(console, options.eigen.output,
                    [&](const auto& path) { models::writeDenseColumns(path, result.pairs.vectors); });
  writeWhereAsked(console, options.history, [&](const auto& path) {
    drawHistory(path, "modes converged", "iteration", result.run.history);
  });
  if (!options.mesh.empty() && found)
    console.print("  wrote {}\n",
                  writeModeShapes(options.mesh, options.meshOutput, options.picture, result.pairs));
}

Outcome modes(Console& console, const ModesOptions& given) {
  ModesOptions options = given;
  Stopwatch watch;
  const UpperMatrix k(readMatrix(options.stiffness));
  const UpperMatrix m(readMatrixOfOrder(k.n(), options.mass, "the stiffness matrix has"));
  settle(options, k.n());
  console.print("{}, {}\n  {} dofs, {} + {} terms in a triangle, read in {}\n",
                console.bold(options.stiffness), console.bold(options.mass), count(k.n()),
                count(double(k.numTerms())), count(double(m.numTerms())), seconds(watch.lap()));
  ModesResult result = findModes(k, m, options, console);
  judge(options.eigen, result);
  printModes(console, options, result);
  writeFiles(console, options, result);
  return concluded(console, toJson(options, k.n(), result), result.ok);
}

}  // namespace

void addModes(Program& program) {
  const auto options = std::make_shared<ModesOptions>();
  CLI::App* command = program.addCommand(
      "modes", "Lowest vibration modes K x = lambda M x, with proof that none was missed",
      "  vematrix modes K.mtx M.mtx --count 10\n"
      "  vematrix modes K.mtx M.mtx --vtu model.vtu      mode shapes for a viewer, in model-modes.vtu\n"
      "  vematrix modes K.mtx M.mtx --shift 1e6          the modes nearest lambda = 1e6");
  command->add_option("stiffness", options->stiffness, "Stiffness matrix K")->required();
  command->add_option("mass", options->mass, "Mass matrix M")->required();
  command->add_option("--algorithm", options->algorithm, "implicit-copy (default), implicit or explicit")
      ->check(CLI::IsMember({"explicit", "implicit", "implicit-copy"}));
  command
      ->add_option("--vtu,--mesh", options->mesh,
                   "Mesh (from vematrix model): writes the mode shapes beside it")
      ->type_name("model.vtu");
  command->add_option("--picture", options->picture, "Draw up to nine mode shapes (PNG; needs --vtu)")
      ->type_name("FILE.png");
  command->add_option("--history", options->history, "Draw how the modes converged (PNG)")
      ->type_name("FILE.png");
  command->add_option("--vtu-output", options->meshOutput, "Name of that file")->type_name("FILE");
  options->eigen.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->eigen.solver.threads = program.threads();
    return modes(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
