// vematrix bench: how long each method takes here, phase by phase, on a structure of the catalogue or a
// matrix file.
#include <fmt/core.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "ChartPicture.h"
#include "Format.h"
#include "Input.h"
#include "MatrixFacts.h"
#include "Program.h"
#include "Solver.h"
#include "UtilityCommands.h"

namespace vematrix {
namespace cli {
namespace {

struct BenchOptions {
  std::string subject = "bar:8:13", picture;
  int repeat = 3;
  SolverChoice solver;
};

models::SymmetricTerms subjectTerms(const std::string& subject) {
  const bool file = subject.find('.') != std::string::npos || subject.find('/') != std::string::npos;
  if (file) return readMatrix(subject);
  return buildModel(subject, " (or a matrix file)").stiffnessTerms();
}

/// The fastest of several runs, and the residual of its solution for a load of ones.
struct Timing {
  SolverChoice choice;
  PhaseSeconds best;
  double residual = 0.0;
};

Timing timeMethod(const UpperMatrix& matrix, const MatrixFacts& facts, const SolverChoice& choice,
                  int repeat) {
  Timing timing;
  timing.choice = choice;
  double least = 1e300;
  for (int round = 0; round < repeat; ++round) {
    Solver solver(matrix, choice);
    if (solver.reduce(Vessa::Matrix::OptStiffness) != 0)
      throw NoResult("the matrix is not positive definite");
    Eigen::VectorXd x = Eigen::VectorXd::Ones(matrix.n());
    solver.solve(x);
    const PhaseSeconds spent = solver.seconds();
    if (spent.sum() >= least) continue;
    least = spent.sum();
    timing.best = spent;
    timing.residual = matrix.residual(x, Eigen::VectorXd::Ones(matrix.n())).lpNorm<Eigen::Infinity>() /
                      (facts.normInf * x.lpNorm<Eigen::Infinity>() + 1.0);
  }
  return timing;
}

std::vector<SolverChoice> choicesFor(const MatrixFacts& facts, unsigned threads) {
  std::vector<SolverChoice> choices;
  const auto add = [&](const char* method, const char* engine) {
    SolverChoice choice;
    choice.method = method;
    choice.engine = engine;
    choice.threads = threads;
    try {
      choices.push_back(choice.settledFor(facts));
    } catch (const UsageError&) {  // this build does not have the engine, or the skyline does not fit
    }
  };
  if (facts.skylineOperations < 2e10) add("skyline", "auto");
  add("compcolumn", "auto");
  add("pardiso", "mkl");
  add("pardiso", "own");
  return choices;
}

void print(Console& console, const std::vector<Timing>& timings) {
  Table table({"method", "assemble", "finalise", "factorise", "solve", "residual"});
  for (const Timing& timing : timings) {
    const PhaseSeconds& t = timing.best;
    table.add({timing.choice.name(), seconds(t.assemble), seconds(t.finalise), seconds(t.factorise),
               seconds(t.solve), fmt::format("{:.1e}", timing.residual)});
  }
  console.print("{}", table.text());
}

void drawTimings(const std::string& path, const std::string& subject, const std::vector<Timing>& timings) {
  std::vector<Bar> bars;
  for (const Timing& timing : timings) {
    const PhaseSeconds& t = timing.best;
    bars.push_back({timing.choice.name(), {t.assemble, t.finalise, t.factorise, t.solve}});
  }
  drawBars(path, subject + ", seconds per phase", {"assemble", "finalise", "factorise", "solve"}, bars, "s");
}

Json toJson(const std::vector<Timing>& timings) {
  Json list = Json::array();
  for (const Timing& timing : timings)
    list.push_back({{"method", timing.choice.method},
                    {"engine", timing.choice.engine},
                    {"seconds", toJson(timing.best)},
                    {"residual", timing.residual}});
  return list;
}

Outcome bench(Console& console, const BenchOptions& options) {
  const UpperMatrix matrix(subjectTerms(options.subject));
  const MatrixFacts facts(matrix);
  console.print("{}: {} dofs, {} terms in a triangle; the fastest of {} runs\n",
                console.bold(options.subject), count(matrix.n()), count(double(matrix.numTerms())),
                options.repeat);
  std::vector<Timing> timings;
  for (const SolverChoice& choice : choicesFor(facts, options.solver.threads)) {
    console.progress("timing " + choice.name());
    timings.push_back(timeMethod(matrix, facts, choice, options.repeat));
  }
  print(console, timings);
  writeWhereAsked(console, options.picture,
                  [&](const auto& path) { drawTimings(path, options.subject, timings); });
  const bool trusted = std::all_of(timings.begin(), timings.end(),
                                   [](const Timing& timing) { return timing.residual <= 1e-12; });
  return {trusted ? ExitGood : ExitNotTrusted,
          {{"subject", options.subject},
           {"n", matrix.n()},
           {"terms", matrix.numTerms()},
           {"methods", toJson(timings)}}};
}

}  // namespace

void addBench(Program& program) {
  const auto options = std::make_shared<BenchOptions>();
  CLI::App* command = program.addCommand("bench", "Time every method on a model or a matrix file",
                                         "  vematrix bench\n"
                                         "  vematrix bench brick:14 --picture times.png\n"
                                         "  vematrix bench K.mtx --repeat 5 --threads 1");
  command->add_option("subject", options->subject,
                      "A model (see vematrix model --list) or a matrix file; default bar:8:13");
  command->add_option("--repeat", options->repeat, "Runs per method (default 3)")->check(CLI::Range(1, 1000));
  command->add_option("--picture", options->picture, "Draw the times as bars (PNG)")->type_name("FILE.png");
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return bench(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
