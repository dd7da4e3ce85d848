// vematrix doctor: what is wrong with a model, in plain words.
#include <fmt/core.h>

#include <memory>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Examine.h"
#include "Findings.h"
#include "Format.h"
#include "Input.h"
#include "MatrixFacts.h"
#include "MatrixFindings.h"
#include "Mechanism.h"
#include "MechanismFindings.h"
#include "MeshPicture.h"
#include "Program.h"
#include "Solver.h"
#include "Stopwatch.h"

namespace vematrix {
namespace cli {
namespace {

struct DoctorOptions {
  std::string stiffness, mass, mesh, output, picture, pattern = "ones";
  SolverChoice solver;
};

void writeMotions(Console& console, const DoctorOptions& options, const models::VtuMesh& mesh,
                  const std::vector<Mechanism>& mechanisms) {
  std::vector<Deformation> states;
  for (std::size_t k = 0; k < mechanisms.size(); ++k)
    states.push_back({fmt::format("mechanism {}", k + 1), fmt::format("{}. {}", k + 1, mechanisms[k].kind),
                      mechanisms[k].motion});
  writeWhereAsked(console, options.output, [&](const auto& path) { writeDeformations(path, mesh, states); });
  writeWhereAsked(console, options.picture, [&](const auto& path) { drawDeformations(path, mesh, states); });
}

/// @return what the document says of the motions
Json lookAtSingular(const UpperMatrix& k, const DoctorOptions& options, const models::VtuMesh& mesh,
                    Findings& findings, Console& console) {
  console.progress("looking for motions without stiffness");
  const DofPlaces places = options.mesh.empty() ? DofPlaces() : DofPlaces(mesh);
  MechanismReport report = lookAtMechanisms(k, options.solver, places, findings);
  if (!report.mechanisms.empty()) writeMotions(console, options, mesh, report.mechanisms);
  return std::move(report.json);
}

/// @return what the document says of the condition
Json lookAtRegular(const UpperMatrix& k, const Definiteness& sign, const SolverChoice& choice,
                   Findings& findings) {
  if (sign.negative > 0)
    findings.sick(plural(sign.negative, "negative eigenvalue") +
                  ": regular, but not the stiffness of a stable structure (a wrong sign, or compressed "
                  "beyond buckling)");
  return lookAtCondition(k, choice, findings);
}

Json toJson(const std::string& file, const MatrixFacts& facts, const Parts& parts) {
  return {{"file", file},
          {"n", facts.n},
          {"parts", parts.all},
          {"empty_rows", facts.emptyRows},
          {"zero_diagonals", facts.zeroDiagonals},
          {"negative_diagonals", facts.negativeDiagonals}};
}

Outcome doctor(Console& console, const DoctorOptions& options) {
  if ((!options.output.empty() || !options.picture.empty()) && options.mesh.empty())
    throw UsageError("--vtu-output and --picture: expected together with --mesh");
  const Stopwatch watch;
  const UpperMatrix k(readMatrix(options.stiffness, options.pattern));
  const models::VtuMesh mesh = options.mesh.empty() ? models::VtuMesh() : readMesh(k.n(), options.mesh);
  const MatrixFacts facts(k);
  const Parts parts = partsOf(k, facts);
  console.print("{}: {} dofs, {} terms in a triangle\n", console.bold(options.stiffness), count(k.n()),
                count(double(k.numTerms())));
  Findings findings(console);
  lookAtStiffness(facts, parts, findings);
  if (!options.mass.empty()) lookAtMass(options.mass, facts, options.solver, findings);
  const Definiteness sign = examine(k, options.solver);
  Json json = {{"matrix", toJson(options.stiffness, facts, parts)},
               {"singular", sign.singular},
               {"positive_definite", sign.positiveDefinite},
               {"negative_eigenvalues", sign.negative}};
  json.update(sign.singular ? lookAtSingular(k, options, mesh, findings, console)
                            : lookAtRegular(k, sign, options.solver, findings));
  json["findings"] = findings.json();
  json["seconds"] = watch.seconds();
  return concluded(console, std::move(json), findings.healthy() && !sign.singular, "nothing wrong found",
                   "something is wrong");
}

}  // namespace

void addDoctor(Program& program) {
  const auto options = std::make_shared<DoctorOptions>();
  CLI::App* command =
      program.addCommand("doctor", "What is wrong with a model: mechanisms, missing restraints, bad units",
                         "  vematrix doctor K.mtx\n"
                         "  vematrix doctor K.mtx M.mtx --mesh model.vtu      with places and directions\n"
                         "  vematrix doctor K.mtx --mesh model.vtu --vtu-output sick.vtu");
  command->add_option("stiffness", options->stiffness, "Stiffness matrix K")->required();
  command->add_option("mass", options->mass, "Mass matrix M");
  command->add_option("--mesh,--vtu", options->mesh, "Mesh with the places of the dofs (from vematrix model)")
      ->type_name("model.vtu");
  command->add_option("--vtu-output", options->output, "Write the motions without stiffness on the mesh")
      ->type_name("FILE");
  command->add_option("--picture", options->picture, "Draw the motions without stiffness (PNG; needs --mesh)")
      ->type_name("FILE.png");
  addPatternOption(*command, options->pattern);
  options->solver.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return doctor(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
