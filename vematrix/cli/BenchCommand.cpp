// vematrix bench: how long each method takes here, phase by phase, on a structure of the catalogue or a
// matrix file.
#include <memory>

#include "ChartPicture.h"
#include "Format.h"
#include "Input.h"
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
  PhaseSeconds best;
  double residual = 0.0;
};

Timing timeMethod(const UpperMatrix& matrix, const MatrixFacts& facts, const SolverChoice& choice,
                  int repeat) {
  Timing timing;
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

Outcome bench(Console& console, const BenchOptions& options) {
  const UpperMatrix matrix(subjectTerms(options.subject));
  const MatrixFacts facts(matrix);
  console.print("{}: {} dofs, {} terms in a triangle; the fastest of {} runs\n",
                console.bold(options.subject), count(matrix.n()), count(double(matrix.numTerms())),
                options.repeat);
  Table table({"method", "assemble", "finalise", "factorise", "solve", "residual"});
  std::vector<Bar> bars;
  Outcome outcome;
  outcome.json = {{"subject", options.subject},
                  {"n", matrix.n()},
                  {"terms", matrix.numTerms()},
                  {"methods", Json::array()}};
  for (const SolverChoice& choice : choicesFor(facts, options.solver.threads)) {
    const std::string name = choice.name();
    console.progress("timing " + name);
    const Timing timing = timeMethod(matrix, facts, choice, options.repeat);
    const PhaseSeconds& t = timing.best;
    table.add({name, seconds(t.assemble), seconds(t.finalise), seconds(t.factorise), seconds(t.solve),
               fmt::format("{:.1e}", timing.residual)});
    bars.push_back({name, {t.assemble, t.finalise, t.factorise, t.solve}});
    outcome.json["methods"].push_back({{"method", choice.method},
                                       {"engine", choice.engine},
                                       {"seconds", toJson(t)},
                                       {"residual", timing.residual}});
    if (!(timing.residual <= 1e-12)) outcome.code = ExitNotTrusted;
  }
  console.print("{}", table.text());
  if (!options.picture.empty()) {
    drawBars(options.picture, options.subject + ", seconds per phase",
             {"assemble", "finalise", "factorise", "solve"}, bars, "s");
    console.print("  wrote {}\n", options.picture);
  }
  return outcome;
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
