// vematrix solve: K x = f with a verdict on every x.
#include <cmath>
#include <memory>

#include "Commands.h"
#include "Format.h"
#include "Input.h"
#include "Loads.h"
#include "MatrixFacts.h"
#include "MeshPicture.h"
#include "NullProbe.h"
#include "Program.h"
#include "Solver.h"
#include "Stopwatch.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/VtuReader.h"

namespace vematrix {
namespace cli {
namespace {

constexpr double largestResidual = 1e-12;

struct SolveOptions {
  std::string matrix, rhs, output, mesh, picture, meshOutput, pattern = "ones";
  std::vector<std::string> loads;
  SolverChoice solver;
};

/// What the factorisation said, before any solution is looked at.
struct Factorisation {
  bool usable = false;  ///< solutions can be computed
  bool positiveDefinite = true;
  int negative = -1;            ///< negative eigenvalues, -1 unknown
  std::vector<int> suppressed;  ///< dofs decoupled by the solver, or without any stiffness
  std::vector<int> movers;      ///< dofs that move most in the softest motion of a singular matrix
  double reciprocal = -1.0;     ///< of the condition number, unit diagonal; -1 not known
  int digits = -1;
  std::string trouble;  ///< why no solution can be trusted, "" when one can
};

struct Solution {
  Eigen::VectorXd x;
  double residual = NAN;
  std::string trouble;
  bool ok() const { return trouble.empty(); }
};

std::string singularText(const NullProbe& probe) {
  return fmt::format(
      "the matrix is singular to working precision: a motion of {} dof{} meets no stiffness, most at {}",
      probe.numMoving, probe.numMoving == 1 ? "" : "s", dofList(probe.movers));
}

void probeSingularity(const UpperMatrix& matrix, Solver& solver, Factorisation& result) {
  const NullProbe probe(matrix, solver);
  result.reciprocal = probe.reciprocal;
  result.digits = probe.digits();
  if (!probe.isSingular()) return;
  result.movers = probe.movers;
  result.trouble = singularText(probe);
}

/// Positive definite first; where that fails for want of a pivot, indefinite, and the softest motion decides
/// whether the matrix is singular or only indefinite.
Factorisation factorise(const UpperMatrix& matrix, const MatrixFacts& facts, Solver& solver) {
  Factorisation result;
  int code = solver.reduce(Vessa::Matrix::OptStiffness);
  result.suppressed = solver.suppressed();
  if (result.suppressed.empty() && !facts.emptyRows.empty()) result.suppressed = facts.emptyRows;
  if (!result.suppressed.empty()) {
    result.usable = code == 0 || !solver.suppressed().empty();
    result.positiveDefinite = false;
    result.trouble = fmt::format("no stiffness left at dof{} {}: unrestrained",
                                 result.suppressed.size() == 1 ? "" : "s", dofList(result.suppressed));
    return result;
  }
  if (code == -5) {
    result.positiveDefinite = false;
    code = solver.reduce(Vessa::Matrix::OptSturm);
  }
  if (code != 0) {
    result.trouble = describeCode(code);
    return result;
  }
  result.usable = true;
  result.negative = result.positiveDefinite && solver.numNegative() < 0 ? 0 : solver.numNegative();
  result.positiveDefinite = result.positiveDefinite && result.negative <= 0;
  probeSingularity(matrix, solver, result);
  return result;
}

Solution solveLoad(const UpperMatrix& matrix, const MatrixFacts& facts, Solver& solver,
                   const LoadCase& load) {
  Solution solution;
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

Json toJson(const LoadCase& load, const Solution& solution) {
  Eigen::Index at = 0;
  const double largest = solution.x.size() ? solution.x.cwiseAbs().maxCoeff(&at) : 0.0;
  return {{"name", load.name},
          {"ok", solution.ok()},
          {"residual", solution.residual},
          {"x_2norm", solution.x.norm()},
          {"x_infnorm", largest},
          {"x_sum", solution.x.sum()},
          {"largest", {{"dof", at + 1}, {"value", solution.x.size() ? solution.x[at] : 0.0}}},
          {"trouble", solution.trouble}};
}

std::vector<std::string> tableRow(const Console& console, const LoadCase& load, const Solution& solution) {
  Eigen::Index at = 0;
  if (solution.x.allFinite()) solution.x.cwiseAbs().maxCoeff(&at);
  return {load.name, fmt::format("{:.6e}", solution.x[at]), std::to_string(at + 1),
          fmt::format("{:.1e}", solution.residual),
          solution.ok() ? console.good("ok") : console.bad("NOT TRUSTED: " + solution.trouble)};
}

void writeSolutions(const std::string& path, const std::vector<Solution>& solutions) {
  Eigen::MatrixXd columns(solutions.front().x.size(), Eigen::Index(solutions.size()));
  for (std::size_t c = 0; c < solutions.size(); ++c) columns.col(Eigen::Index(c)) = solutions[c].x;
  models::writeDenseColumns(path, columns);
}

/// The mesh of the dofs, when one is given. @throws UsageError, FileError
models::VtuMesh readMesh(const SolveOptions& options, int n) {
  if (options.mesh.empty()) {
    if (!options.picture.empty() || !options.meshOutput.empty())
      throw UsageError("--picture and --vtu-output: expected together with --mesh");
    return {};
  }
  models::VtuMesh mesh = models::readVtu(options.mesh);
  const int numDofs = mesh.dofs.size() == 0 ? 0 : mesh.dofs.maxCoeff();
  if (numDofs != n)
    throw models::FileError(options.mesh,
                            fmt::format("a mesh with {} dofs, expected {} as the matrix has", numDofs, n));
  return mesh;
}

void writeDeformations(Console& console, const SolveOptions& options, const models::VtuMesh& mesh,
                       const std::vector<LoadCase>& loads, const std::vector<Solution>& solutions) {
  std::vector<Deformation> states;
  std::vector<models::PointData> data;
  for (std::size_t k = 0; k < solutions.size(); ++k) {
    if (!solutions[k].x.allFinite()) continue;
    states.push_back(
        {fmt::format("load {}: {:.3g} at most", loads[k].name, solutions[k].x.lpNorm<Eigen::Infinity>()),
         solutions[k].x});
    data.push_back(models::displacements("load " + loads[k].name, mesh, solutions[k].x));
  }
  if (!options.picture.empty()) {
    drawDeformations(options.picture, mesh, states);
    console.print("  wrote {}\n", options.picture);
  }
  if (!options.meshOutput.empty()) {
    models::writeVtu(options.meshOutput, mesh, data);
    console.print("  wrote {}\n", options.meshOutput);
  }
}

void printFactorisation(Console& console, const Factorisation& factors) {
  if (factors.negative > 0)
    console.print("  {}\n", console.warning(fmt::format("not positive definite: {} negative eigenvalue{}",
                                                        factors.negative, factors.negative == 1 ? "" : "s")));
  if (factors.reciprocal >= 0.0)
    console.print("  conditioning   {:.1e} with unit diagonal, about {} digits of a solution are good\n",
                  1.0 / std::max(factors.reciprocal, 1e-300), factors.digits);
}

Json toJson(const Factorisation& factors) {
  Json json = {{"usable", factors.usable},
               {"positive_definite", factors.positiveDefinite},
               {"negative_eigenvalues", nullptr},
               {"suppressed_dofs", factors.suppressed},
               {"soft_dofs", factors.movers},
               {"condition_unit_diagonal", nullptr},
               {"digits", nullptr},
               {"trouble", factors.trouble}};
  if (factors.negative >= 0) json["negative_eigenvalues"] = factors.negative;
  if (factors.reciprocal >= 0.0) {
    json["condition_unit_diagonal"] = 1.0 / std::max(factors.reciprocal, 1e-300);
    json["digits"] = factors.digits;
  }
  return json;
}

Outcome solve(Console& console, const SolveOptions& options) {
  Stopwatch watch;
  const UpperMatrix matrix(readMatrix(options.matrix, options.pattern));
  const double readSeconds = watch.lap();
  const MatrixFacts facts(matrix);
  const std::vector<LoadCase> loads = loadCases(matrix.n(), options.rhs, options.loads);
  const SolverChoice choice = options.solver.settledFor(facts);
  const models::VtuMesh mesh = readMesh(options, matrix.n());
  console.print("{}\n  {} dofs, {} terms in a triangle, read in {}\n", console.bold(options.matrix),
                count(matrix.n()), count(double(matrix.numTerms())), seconds(readSeconds));
  console.progress("assembling and factorising");
  Solver solver(matrix, choice);
  const Factorisation factors = factorise(matrix, facts, solver);
  std::vector<Solution> solutions;
  const double probing = solver.seconds().solve;
  if (factors.usable)
    for (const LoadCase& load : loads) {
      solutions.push_back(solveLoad(matrix, facts, solver, load));
      if (solutions.back().ok()) solutions.back().trouble = factors.trouble;
    }
  PhaseSeconds spent = solver.seconds();
  spent.solve -= probing;

  console.print("  method {}{}: assemble {}, finalise {}, factorise {}, solve {}\n", choice.method,
                choice.engine.empty() ? "" : " (" + choice.engine + ")", seconds(spent.assemble),
                seconds(spent.finalise), seconds(spent.factorise), seconds(spent.solve));
  printFactorisation(console, factors);
  if (!factors.trouble.empty()) console.print("  {}\n", console.bad(factors.trouble));
  if (!solutions.empty()) {
    Table table({"load", "largest x", "at dof", "residual", "verdict"});
    for (std::size_t k = 0; k < loads.size(); ++k) table.add(tableRow(console, loads[k], solutions[k]));
    console.print("{}", table.text());
  }
  if (!options.output.empty() && !solutions.empty()) {
    writeSolutions(options.output, solutions);
    console.print("  wrote {}\n", options.output);
  }
  if (!solutions.empty() && !options.mesh.empty())
    writeDeformations(console, options, mesh, loads, solutions);

  Outcome outcome;
  bool ok = factors.usable && factors.trouble.empty();
  outcome.json = {{"matrix",
                   {{"file", options.matrix},
                    {"n", matrix.n()},
                    {"terms", matrix.numTerms()},
                    {"norm_inf", facts.normInf},
                    {"profile", facts.profile}}},
                  {"method", choice.method},
                  {"engine", choice.engine},
                  {"seconds",
                   {{"read", readSeconds},
                    {"assemble", spent.assemble},
                    {"finalise", spent.finalise},
                    {"factorise", spent.factorise},
                    {"solve", spent.solve}}},
                  {"factorisation", toJson(factors)},
                  {"messages", solver.messages()},
                  {"loads", Json::array()}};
  for (std::size_t k = 0; k < solutions.size(); ++k) {
    outcome.json["loads"].push_back(toJson(loads[k], solutions[k]));
    ok = ok && solutions[k].ok();
  }
  outcome.json["ok"] = ok;
  outcome.code = ok ? ExitGood : ExitNotTrusted;
  console.print("  verdict: {}\n", ok ? console.good("ok") : console.bad("must not be trusted"));
  return outcome;
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
  command
      ->add_option("--pattern", options->pattern,
                   "Values of a file without values: ones, laplacian, laplacian+1")
      ->check(CLI::IsMember({"ones", "laplacian", "laplacian+1"}));
  options->solver.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return solve(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
