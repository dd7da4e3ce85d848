// vematrix modes: the lowest vibration modes K x = lambda M x, with proof that none was missed.
#include <cmath>
#include <filesystem>
#include <memory>

#include "ChartPicture.h"
#include "Commands.h"
#include "EigenResults.h"
#include "Examine.h"
#include "Format.h"
#include "Input.h"
#include "MeshPicture.h"
#include "Program.h"
#include "Stopwatch.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/VtuReader.h"
#include "si/gep11.h"

namespace vematrix {
namespace cli {
namespace {

using SparseMatrix = Eigen::SparseMatrix<double, 0, int>;

constexpr double pi = 3.14159265358979323846;

struct ModesOptions {
  std::string stiffness, mass, algorithm = "implicit-copy", mesh, meshOutput, picture, history;
  EigenOptions eigen;
};

/// One run of the eigensolver.
struct Run {
  si::Status status = si::STATUS_OK;
  std::string shortage;  ///< of memory, with the figures
  int converged = 0, iterations = 0, negative = 0;
  si::SolveTimes times;
  std::vector<double> history;  ///< pairs converged at the beginning of every iteration
  Eigen::MatrixXd vectors;      ///< the converged columns, or all of them in a pilot run
};

si::ShiftStrat strategyNamed(const std::string& name) {
  return name == "aggressive"     ? si::SHIFT_AGGRESSIVE
         : name == "conservative" ? si::SHIFT_CONSERVATIVE
                                  : si::SHIFT_NONE;
}

/// K and M, scaled so that K has a unit diagonal; the eigenvalues stay.
class Pencil {
public:
  Pencil(const UpperMatrix& k, const UpperMatrix& m)
      : m_scale(k.balancing()),
        m_k(models::toLowerTriangle(k.scaled(m_scale).terms())),
        m_m(models::toLowerTriangle(m.scaled(m_scale).terms())) {}

  const Eigen::VectorXd& scale() const { return m_scale; }

  Run solve(const ModesOptions& options, double shift, double tolerance, int maxIterations, bool keepAll,
            Console& console) {
    const bool explicitly = options.algorithm == "explicit";
    SparseMatrix k = m_k, m = m_m;
    si::gep11 solver(explicitly ? m : k, explicitly ? k : m, options.eigen.count, options.eigen.subspace,
                     tolerance, shift, strategyNamed(options.eigen.strategy), maxIterations);
    if (options.eigen.solver.engine != "auto")
      solver.SetEngine(options.eigen.solver.engine == "mkl" ? Vessa::Matrix::EngineMkl
                                                            : Vessa::Matrix::EngineOwn);
    Run run;
    Stopwatch watch;
    solver.SetProgress([&](const si::SolveProgress& at) {
      run.history.push_back(at.converged);
      console.progress(fmt::format("iteration {}, {} of {} modes converged, {}", at.iteration, at.converged,
                                   options.eigen.count, seconds(watch.seconds())));
    });
    run.status = explicitly                        ? solver.solve_exp_orth()
                 : options.algorithm == "implicit" ? solver.solve_imp_orth()
                                                   : solver.solve_imp_orth_copy();
    run.converged = std::min(solver.get_numpairs_converged(), options.eigen.count);
    run.history.push_back(run.converged);
    run.iterations = solver.opCount()[1];
    run.negative = solver.negative_evals();
    run.times = solver.times();
    run.shortage = solver.shortage();
    std::vector<double> values;
    solver.get_eigenpairs(values, run.vectors);
    if (!keepAll) run.vectors.conservativeResize(Eigen::NoChange, run.converged);
    run.vectors = m_scale.asDiagonal() * run.vectors;
    return run;
  }

private:
  Eigen::VectorXd m_scale;
  SparseMatrix m_k, m_m;
};

/// For a structure that can move freely: minus a tenth of the first elastic eigenvalue, about. K - shift M is
/// then positive definite, and well enough conditioned. Found by a short run from a shift that is safely
/// small.
double shiftForFree(const UpperMatrix& k, const UpperMatrix& m, Pencil& pencil, const ModesOptions& options,
                    Console& console) {
  const MatrixFacts kFacts(k), mFacts(m);
  double largest = 0.0;
  for (int i = 0; i < k.n(); ++i)
    if (mFacts.diagonal[i] > 0.0) largest = std::max(largest, kFacts.diagonal[i] / mFacts.diagonal[i]);
  if (!(largest > 0.0))
    throw NoResult("the mass matrix has no positive diagonal: there are no vibration modes");
  ModesOptions pilot = options;
  pilot.algorithm = "implicit-copy";
  pilot.eigen.strategy = "none";
  const double start = 1e-8 * largest;
  const Run run = pencil.solve(pilot, -start, 1e-4, 6, true, console);
  const EigenPairs ritz(k, m, run.vectors, pencil.scale());
  for (const double value : ritz.values)
    if (value > 1e-12 * largest && std::isfinite(value)) return -std::max(0.1 * value, 1e-11 * largest);
  return -start;
}

std::string statusText(si::Status status) {
  switch (status) {
    case si::STATUS_OK:
      return "";
    case si::STATUS_LAPACK:
      return "the projected problem could not be solved";
    case si::STATUS_FACTORIZE:
      return "the shifted matrix K - shift M could not be factorised";
    case si::STATUS_NOT_POSDEF:
      return "the matrix that must be positive definite is not";
    case si::STATUS_ORTHO:
      return "the start vectors could not be orthonormalised";
  }
  return "unknown status";
}

UpperMatrix readMass(const std::string& path, const UpperMatrix& k) {
  UpperMatrix m(readMatrix(path));
  if (m.n() != k.n())
    throw models::FileError(
        path, fmt::format("a matrix of order {}, expected {} as the stiffness matrix has", m.n(), k.n()));
  return m;
}

std::string writeShapes(const ModesOptions& options, const EigenPairs& pairs) {
  const models::VtuMesh mesh = models::readVtu(options.mesh);
  const int numDofs = mesh.dofs.size() == 0 ? 0 : mesh.dofs.maxCoeff();
  if (numDofs != pairs.vectors.rows())
    throw models::FileError(options.mesh, fmt::format("a mesh with {} dofs, expected {} as the matrices have",
                                                      numDofs, pairs.vectors.rows()));
  std::string path = options.meshOutput;
  if (path.empty())
    path = (std::filesystem::path(options.mesh).parent_path() /
            (std::filesystem::path(options.mesh).stem().string() + "-modes.vtu"))
               .string();
  std::vector<models::PointData> shapes;
  for (Eigen::Index c = 0; c < pairs.vectors.cols(); ++c)
    shapes.push_back(models::displacements(fmt::format("mode {}", c + 1), mesh, pairs.vectors.col(c)));
  models::writeVtu(path, mesh, shapes);
  if (!options.picture.empty()) {
    std::vector<Deformation> states;
    for (Eigen::Index c = 0; c < std::min<Eigen::Index>(9, pairs.vectors.cols()); ++c)
      states.push_back(
          {fmt::format("mode {}: {:.4g} Hz", c + 1, std::sqrt(std::max(0.0, pairs.values[c])) / (2.0 * pi)),
           pairs.vectors.col(c)});
    drawDeformations(options.picture, mesh, states);
    path += ", " + options.picture;
  }
  return path;
}

Outcome modes(Console& console, const ModesOptions& given) {
  ModesOptions options = given;
  Stopwatch watch;
  const UpperMatrix k(readMatrix(options.stiffness));
  const UpperMatrix m = readMass(options.mass, k);
  options.eigen.settleFor(k.n());
  if (!options.picture.empty() && options.mesh.empty())
    throw UsageError("--picture: expected together with --vtu");
  const bool explicitly = options.algorithm == "explicit";
  if (explicitly && options.eigen.shiftGiven)
    throw UsageError("--shift: expected with the implicit algorithms only");
  console.print("{}, {}\n  {} dofs, {} + {} terms in a triangle, read in {}\n",
                console.bold(options.stiffness), console.bold(options.mass), count(k.n()),
                count(double(k.numTerms())), count(double(m.numTerms())), seconds(watch.lap()));

  Pencil pencil(k, m);
  double shift = options.eigen.shift;
  Definiteness support;
  if (!options.eigen.shiftGiven) {
    console.progress("examining the stiffness matrix");
    support = examine(k, options.eigen.solver);
    if (support.singular) {
      if (explicitly)
        throw NoResult("the structure can move freely: --algorithm explicit needs a supported one");
      shift = shiftForFree(k, m, pencil, options, console);
      console.print(
          "  the structure can move freely: rigid-body modes at zero, found with a shift of {:.4g}\n", shift);
    } else if (support.negative > 0) {
      console.print("  {}\n", console.warning(fmt::format(
                                  "the stiffness matrix has {} negative eigenvalues: these are the "
                                  "modes nearest zero, not the lowest",
                                  support.negative)));
    }
  }
  const double preparing = watch.lap();
  const Run run =
      pencil.solve(options, shift, options.eigen.tolerance, options.eigen.maxIterations, false, console);
  const double solving = watch.lap();
  const EigenPairs pairs(k, m, run.vectors, pencil.scale());
  const bool lowestKnown =
      !options.eigen.shiftGiven &&
      (support.positiveDefinite || (support.singular && !explicitly && run.negative == 0));
  MissedCheck missed;
  console.progress("counting eigenvalues");
  if (options.eigen.check && pairs.values.size() > 0)
    missed = checkMissed(pairs.values, lowestKnown, inertiaCounter(k, m, options.eigen.solver), "mode");
  const double checking = watch.lap();

  const double limit = 10.0 * std::max(options.eigen.tolerance, 1e-14);
  const double rigidBelow = support.singular ? 1e-5 * std::fabs(shift) : 0.0;
  Table table({"mode", "eigenvalue", "frequency Hz", "residual", ""});
  Json list = Json::array();
  bool ok = run.status == si::STATUS_OK && run.converged >= options.eigen.count;
  for (Eigen::Index c = 0; c < pairs.values.size(); ++c) {
    const double value = pairs.values[c];
    const bool rigid = std::fabs(value) < rigidBelow, good = pairs.residuals[c] <= limit;
    const double frequency = rigid ? 0.0 : value < 0.0 ? NAN : std::sqrt(value) / (2.0 * pi);
    ok = ok && good;
    table.add({std::to_string(c + 1), fmt::format("{:.10g}", value),
               value < 0.0 && !rigid ? "-" : fmt::format("{:.6g}", frequency),
               fmt::format("{:.1e}", pairs.residuals[c]),
               !good   ? console.bad("NOT CONVERGED")
               : rigid ? "rigid body"
                       : ""});
    list.push_back({{"mode", c + 1},
                    {"eigenvalue", value},
                    {"frequency_hz", frequency},
                    {"residual", pairs.residuals[c]},
                    {"rigid_body", rigid},
                    {"ok", good}});
  }
  console.print("{}", table.text());
  console.print(
      "  {}: {} iterations, {} factorisation{}; prepare {}, solve {} (factorise {}, back-substitute {}), "
      "check {}\n",
      options.algorithm, run.iterations, run.times.factorizations, run.times.factorizations == 1 ? "" : "s",
      seconds(preparing), seconds(solving), seconds(run.times.factor), seconds(run.times.solve),
      seconds(checking));
  std::string trouble = statusText(run.status);
  if (!run.shortage.empty()) trouble += ": not enough memory, " + run.shortage;
  if (trouble.empty() && run.converged < options.eigen.count)
    trouble = fmt::format("{} of {} modes converged in {} iterations", run.converged, options.eigen.count,
                          options.eigen.maxIterations);
  if (!trouble.empty()) console.print("  {}\n", console.bad(trouble));
  if (!missed.text.empty()) console.print("  {}\n", missed.sure ? missed.text : console.bad(missed.text));
  if (options.eigen.check && !missed.sure) ok = false;

  Outcome outcome;
  outcome.json = {{"matrices", {{"stiffness", options.stiffness}, {"mass", options.mass}, {"n", k.n()}}},
                  {"algorithm", options.algorithm},
                  {"shift", shift},
                  {"free", support.singular},
                  {"iterations", run.iterations},
                  {"converged", run.converged},
                  {"wanted", options.eigen.count},
                  {"seconds",
                   {{"prepare", preparing},
                    {"solve", solving},
                    {"factorise", run.times.factor},
                    {"back_substitute", run.times.solve},
                    {"check", checking}}},
                  {"count_check",
                   {{"done", missed.done},
                    {"none_missed", missed.sure},
                    {"expected", missed.expected},
                    {"found", missed.found},
                    {"text", missed.text}}},
                  {"modes", list},
                  {"trouble", trouble}};
  if (!options.eigen.output.empty() && pairs.values.size() > 0) {
    models::writeDenseColumns(options.eigen.output, pairs.vectors);
    console.print("  wrote {}\n", options.eigen.output);
  }
  if (!options.history.empty()) {
    drawHistory(options.history, "modes converged", "iteration", run.history);
    console.print("  wrote {}\n", options.history);
  }
  if (!options.mesh.empty() && pairs.values.size() > 0)
    console.print("  wrote {}\n", writeShapes(options, pairs));
  outcome.json["ok"] = ok;
  outcome.code = ok ? ExitGood : ExitNotTrusted;
  console.print("  verdict: {}\n", ok ? console.good("ok") : console.bad("must not be trusted"));
  return outcome;
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
