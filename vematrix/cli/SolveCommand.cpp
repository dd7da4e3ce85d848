// vematrix solve: K x = f with a verdict on every x.
#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <memory>

#include "Commands.h"
#include "Factorisation.h"
#include "Format.h"
#include "Input.h"
#include "Loads.h"
#include "MatrixFacts.h"
#include "MeshPicture.h"
#include "Program.h"
#include "Solver.h"
#include "Stopwatch.h"
#include "models/io/MatrixMarketWriter.h"

namespace vematrix {
namespace cli {
namespace {

constexpr double largestResidual = 1e-12;

struct SolveOptions {
  std::string matrix, rhs, output, mesh, picture, meshOutput, pattern = "ones";
  std::vector<std::string> loads;
  SolverChoice solver;
};

/// The solution for one load case.
struct Solution {
  std::string load;  ///< its name
  Eigen::VectorXd x;
  double residual = NAN;
  std::string trouble;
  bool ok() const { return trouble.empty(); }
};

struct SolveResult {
  SolverChoice choice;
  Factorisation factors;
  std::vector<Solution> solutions;  ///< none when the factors are of no use
  PhaseSeconds spent;
  std::vector<std::string> messages;

  bool ok() const {
    return factors.usable && factors.trouble.empty() &&
           std::all_of(solutions.begin(), solutions.end(), [](const Solution& s) { return s.ok(); });
  }
};

/// The mesh of the dofs, when one is given. @throws UsageError, FileError
models::VtuMesh meshOf(const SolveOptions& options, int n) {
  if (!options.mesh.empty()) return readMesh(n, options.mesh);
  if (!options.picture.empty() || !options.meshOutput.empty())
    throw UsageError("--picture and --vtu-output: expected together with --mesh");
  return {};
}

Solution solveLoad(const UpperMatrix& matrix, const MatrixFacts& facts, Solver& solver,
                   const LoadCase& load) {
  Solution solution;
  solution.load = load.name;
  solution.x = load.vector;
  const bool done = solver.solve(solution.x);
  if (!done || !solution.x.allFinite()) {
    solution.trouble = done ? "the solution is not finite" : "the solver reported an error";
    return solution;
  }
  const double size =
      facts.normInf * solution.x.lpNorm<Eigen::Infinity>() + load.vector.lpNorm<Eigen::Infinity>();
  const double difference = matrix.residual(solution.x, load.vector).lpNorm<Eigen::Infinity>();
  solution.residual = size == 0.0 ? 0.0 : difference / size;
  if (!(solution.residual <= largestResidual))
    solution.trouble =
        fmt::format("relative residual {:.1e}, above {:.0e}", solution.residual, largestResidual);
  return solution;
}

/// Factorises and solves. A solution inherits the trouble of the factors.
SolveResult solveLoads(const UpperMatrix& matrix, const MatrixFacts& facts, const SolverChoice& choice,
                       const std::vector<LoadCase>& loads, Console& console) {
  console.progress("assembling and factorising");
  SolveResult result;
  result.choice = choice;
  Solver solver(matrix, choice);
  result.factors = factorise(matrix, facts, solver);
  const double probing = solver.seconds().solve;
  if (result.factors.usable)
    for (const LoadCase& load : loads) {
      result.solutions.push_back(solveLoad(matrix, facts, solver, load));
      if (result.solutions.back().ok()) result.solutions.back().trouble = result.factors.trouble;
    }
  result.spent = solver.seconds();
  result.spent.solve -= probing;
  result.messages = solver.messages();
  return result;
}

std::vector<std::string> tableRow(const Console& console, const Solution& solution) {
  Eigen::Index at = 0;
  if (solution.x.allFinite()) solution.x.cwiseAbs().maxCoeff(&at);
  return {solution.load, fmt::format("{:.6e}", solution.x[at]), std::to_string(at + 1),
          fmt::format("{:.1e}", solution.residual),
          solution.ok() ? console.good("ok") : console.bad("NOT TRUSTED: " + solution.trouble)};
}

void print(Console& console, const SolveResult& result) {
  const PhaseSeconds& spent = result.spent;
  console.print("  method {}: assemble {}, finalise {}, factorise {}, solve {}\n", result.choice.name(),
                seconds(spent.assemble), seconds(spent.finalise), seconds(spent.factorise),
                seconds(spent.solve));
  print(console, result.factors);
  if (result.solutions.empty()) return;
  Table table({"load", "largest x", "at dof", "residual", "verdict"});
  for (const Solution& solution : result.solutions) table.add(tableRow(console, solution));
  console.print("{}", table.text());
}

void writeSolutions(const std::string& path, const std::vector<Solution>& solutions) {
  Eigen::MatrixXd columns(solutions.front().x.size(), Eigen::Index(solutions.size()));
  for (std::size_t c = 0; c < solutions.size(); ++c) columns.col(Eigen::Index(c)) = solutions[c].x;
  models::writeDenseColumns(path, columns);
}

std::vector<Deformation> deformations(const std::vector<Solution>& solutions) {
  std::vector<Deformation> states;
  for (const Solution& solution : solutions) {
    if (!solution.x.allFinite()) continue;
    const std::string name = "load " + solution.load;
    states.push_back(
        {name, fmt::format("{}: {:.3g} at most", name, solution.x.lpNorm<Eigen::Infinity>()), solution.x});
  }
  return states;
}

void writeFiles(Console& console, const SolveOptions& options, const models::VtuMesh& mesh,
                const std::vector<Solution>& solutions) {
  if (solutions.empty()) return;
  writeWhereAsked(console, options.output, [&](const auto& path) { writeSolutions(path, solutions); });
  if (options.mesh.empty()) return;
  const std::vector<Deformation> states = deformations(solutions);
  writeWhereAsked(console, options.picture, [&](const auto& path) { drawDeformations(path, mesh, states); });
  writeWhereAsked(console, options.meshOutput,
                  [&](const auto& path) { writeDeformations(path, mesh, states); });
}

Json toJson(const Solution& solution) {
  Eigen::Index at = 0;
  const double largest = solution.x.size() ? solution.x.cwiseAbs().maxCoeff(&at) : 0.0;
  return {{"name", solution.load},
          {"ok", solution.ok()},
          {"residual", solution.residual},
          {"x_2norm", solution.x.norm()},
          {"x_infnorm", largest},
          {"x_sum", solution.x.sum()},
          {"largest", {{"dof", at + 1}, {"value", solution.x.size() ? solution.x[at] : 0.0}}},
          {"trouble", solution.trouble}};
}

Json toJson(const std::string& file, const UpperMatrix& matrix, const MatrixFacts& facts) {
  return {{"file", file},
          {"n", matrix.n()},
          {"terms", matrix.numTerms()},
          {"norm_inf", facts.normInf},
          {"profile", facts.profile}};
}

Json toJson(const SolveResult& result, const Json& matrix, double readSeconds) {
  Json spent = {{"read", readSeconds}};
  spent.update(toJson(result.spent));
  Json json = {
      {"matrix", matrix},      {"method", result.choice.method},          {"engine", result.choice.engine},
      {"seconds", spent},      {"factorisation", toJson(result.factors)}, {"messages", result.messages},
      {"loads", Json::array()}};
  for (const Solution& solution : result.solutions) json["loads"].push_back(toJson(solution));
  return json;
}

Outcome solve(Console& console, const SolveOptions& options) {
  Stopwatch watch;
  const UpperMatrix matrix(readMatrix(options.matrix, options.pattern));
  const double readSeconds = watch.lap();
  const MatrixFacts facts(matrix);
  const std::vector<LoadCase> loads = loadCases(matrix.n(), options.rhs, options.loads);
  const SolverChoice choice = options.solver.settledFor(facts);
  const models::VtuMesh mesh = meshOf(options, matrix.n());
  console.print("{}\n  {} dofs, {} terms in a triangle, read in {}\n", console.bold(options.matrix),
                count(matrix.n()), count(double(matrix.numTerms())), seconds(readSeconds));
  const SolveResult result = solveLoads(matrix, facts, choice, loads, console);
  print(console, result);
  writeFiles(console, options, mesh, result.solutions);
  return concluded(console, toJson(result, toJson(options.matrix, matrix, facts), readSeconds), result.ok());
}

}  // namespace

void addSolve(Program& program) {
  const auto options = std::make_shared<SolveOptions>();
  CLI::App* command =
      program.addCommand("solve", "Solve K x = f for displacements and judge every solution by its residual",
                         "  vematrix solve K.mtx                                load one on every dof\n"
                         "  vematrix solve K.mtx --load 120=-1000 -o x.mtx      a force of -1000 at dof 120\n"
                         "  vematrix solve K.mtx --rhs f.mtx --method pardiso   every column of f.mtx\n"
                         "  vematrix solve K.mtx --json | python3 -m json.tool");
  command->add_option("matrix", options->matrix, "Stiffness matrix K (Matrix Market, plain or .gz)")
      ->required();
  command->add_option("--rhs", options->rhs, "Load vectors, the columns of a Matrix Market array file");
  command->add_option("--load", options->loads, "\"ones\", or DOF=VALUE (may be repeated: one load case)")
      ->type_name("DOF=VALUE");
  command->add_option("-o,--output", options->output, "Write the solutions to FILE (Matrix Market array)")
      ->type_name("FILE");
  command->add_option("--mesh,--vtu", options->mesh, "Mesh of the dofs (from vematrix model), for:")
      ->type_name("model.vtu");
  command->add_option("--picture", options->picture, "Draw the deformed structure (PNG)")
      ->type_name("FILE.png");
  command->add_option("--vtu-output", options->meshOutput, "Write the displacements on the mesh")
      ->type_name("FILE");
  addPatternOption(*command, options->pattern);
  options->solver.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return solve(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
