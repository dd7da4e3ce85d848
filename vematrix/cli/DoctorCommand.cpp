// vematrix doctor: what is wrong with a model, in plain words.
#include <algorithm>
#include <cmath>
#include <memory>

#include "Commands.h"
#include "Examine.h"
#include "Format.h"
#include "Input.h"
#include "Mechanism.h"
#include "MeshPicture.h"
#include "NullProbe.h"
#include "Program.h"
#include "Stopwatch.h"
#include "models/io/FileError.h"
#include "models/io/VtuReader.h"

namespace vematrix {
namespace cli {
namespace {

struct DoctorOptions {
  std::string stiffness, mass, mesh, output, picture, pattern = "ones";
  SolverChoice solver;
};

/// Collects the findings: text for a reader, JSON for a program.
class Findings {
public:
  explicit Findings(Console& console) : m_console(console) {}

  void note(const std::string& text) { add("note", text, "  " + text); }
  void warn(const std::string& text) { add("warning", text, "  " + m_console.warning("! ") + text); }
  void sick(const std::string& text) {
    m_healthy = false;
    add("error", text, "  " + m_console.bad("x ") + text);
  }
  bool healthy() const { return m_healthy; }
  const Json& json() const { return m_json; }

private:
  void add(const char* level, const std::string& text, const std::string& line) {
    m_json.push_back({{"level", level}, {"text", text}});
    m_console.print("{}\n", line);
  }
  Console& m_console;
  Json m_json = Json::array();
  bool m_healthy = true;
};

std::string dofsText(const std::vector<int>& dofs) {
  return fmt::format("dof{} {}", dofs.size() == 1 ? "" : "s", dofList(dofs));
}

/// Parts that are not connected, the rows without any term left out; how many of them are single dofs.
struct Parts {
  int all = 0, single = 0;
};

Parts partsOf(const UpperMatrix& matrix, const MatrixFacts& facts) {
  std::vector<int> size;
  for (int part : connectedParts(matrix)) {
    if (std::size_t(part) >= size.size()) size.resize(std::size_t(part) + 1, 0);
    ++size[std::size_t(part)];
  }
  const int empty = int(facts.emptyRows.size());
  return {int(size.size()) - empty, int(std::count(size.begin(), size.end(), 1)) - empty};
}

void lookAtStiffness(const UpperMatrix& k, const MatrixFacts& facts, Findings& findings) {
  if (!facts.emptyRows.empty())
    findings.sick("no stiffness at all: the rows of " + dofsText(facts.emptyRows) + " are zero");
  if (!facts.zeroDiagonals.empty()) findings.sick("zero on the diagonal at " + dofsText(facts.zeroDiagonals));
  if (!facts.negativeDiagonals.empty())
    findings.sick("negative on the diagonal at " + dofsText(facts.negativeDiagonals) +
                  ": a stiffness cannot be");
  const Parts parts = partsOf(k, facts);
  if (parts.all > 1)
    findings.warn(
        fmt::format("the structure falls into {} parts that do not touch each other{}", parts.all,
                    parts.single == 0 ? "" : fmt::format(" ({} of them single dofs)", parts.single)));
  double least = 0.0, most = 0.0;
  for (const double d : facts.diagonal) {
    if (!(d > 0.0)) continue;
    least = least == 0.0 ? d : std::min(least, d);
    most = std::max(most, d);
  }
  if (least > 0.0)
    findings.note(
        fmt::format("diagonal from {:.3g} to {:.3g}, a ratio of {:.2g}", least, most, most / least));
}

void lookAtMass(const std::string& path, const MatrixFacts& stiffness, const SolverChoice& choice,
                Findings& findings) {
  const UpperMatrix m(readMatrix(path));
  if (m.n() != stiffness.n)
    throw models::FileError(
        path, fmt::format("a matrix of order {}, expected {} as the stiffness has", m.n(), stiffness.n));
  const MatrixFacts facts(m);
  if (!facts.negativeDiagonals.empty())
    findings.sick("negative mass at " + dofsText(facts.negativeDiagonals));
  std::vector<int> neither;
  std::set_intersection(facts.emptyRows.begin(), facts.emptyRows.end(), stiffness.emptyRows.begin(),
                        stiffness.emptyRows.end(), std::back_inserter(neither));
  if (!neither.empty()) findings.sick("neither mass nor stiffness at " + dofsText(neither));
  if (!facts.emptyRows.empty())
    findings.note(fmt::format("{} of {} dofs carry no mass: their modes have no finite frequency",
                              facts.emptyRows.size(), m.n()));
  if (facts.emptyRows.empty() && facts.negativeDiagonals.empty()) {
    const Definiteness sign = examine(m, choice);
    if (sign.negative > 0)
      findings.sick(fmt::format("the mass matrix has {} negative eigenvalues", sign.negative));
    if (sign.singular) findings.warn("the mass matrix is singular");
  }
}

Json mechanismJson(const Mechanism& mechanism, const DofPlaces& places) {
  Json movers = Json::array();
  for (int dof : mechanism.movers)
    movers.push_back({{"dof", dof}, {"value", mechanism.motion[dof - 1]}, {"place", places.describe(dof)}});
  return {{"kind", mechanism.kind},
          {"text", mechanism.text},
          {"dofs", mechanism.numDofs},
          {"nodes", mechanism.numNodes},
          {"movers", movers}};
}

std::string restraintText(const std::vector<int>& restraints, const DofPlaces& places) {
  if (!places.known()) return dofsText(restraints);
  std::string text = dofsText(restraints);
  for (std::size_t k = 0; k < std::min<std::size_t>(restraints.size(), 10); ++k)
    text += fmt::format("\n      dof {}: {}", restraints[k], places.describe(restraints[k]));
  return text;
}

/// Restraining all of them cures; leaving out any one of them does not. The second is checked while it is
/// cheap.
Json proveRestraints(const UpperMatrix& k, const std::vector<int>& restraints, const SolverChoice& choice,
                     const DofPlaces& places, Findings& findings) {
  const CureProof proof = proveCure(k, restraints, choice);
  Json json = {{"dofs", restraints},
               {"proved", proof.regular},
               {"positive_definite", proof.positiveDefinite},
               {"condition_unit_diagonal", proof.reciprocal > 0.0 ? 1.0 / proof.reciprocal : INFINITY},
               {"each_needed", nullptr}};
  if (!proof.regular) {
    findings.warn("restraining " + restraintText(restraints, places) +
                  "\n    was tried and does not make the matrix regular");
    return json;
  }
  findings.note(fmt::format(
      "restraining {}\n    cures it: factorised again with {} restrained, {}, condition {:.1e} (unit "
      "diagonal)",
      restraintText(restraints, places), restraints.size() == 1 ? "it" : "them",
      proof.positiveDefinite ? "positive definite" : "not positive definite", 1.0 / proof.reciprocal));
  if (restraints.size() > 12 || double(restraints.size()) * k.n() > 3e5) return json;
  bool needed = true;
  for (std::size_t left = 0; left < restraints.size(); ++left) {
    std::vector<int> others = restraints;
    others.erase(others.begin() + std::ptrdiff_t(left));
    needed = needed && !proveCure(k, others, choice).regular;
  }
  json["each_needed"] = needed;
  if (needed && restraints.size() > 1)
    findings.note("fewer do not: with any one of them left out it is singular again");
  return json;
}

void writeMotions(const std::string& path, const models::VtuMesh& mesh,
                  const std::vector<Mechanism>& mechanisms) {
  std::vector<models::PointData> data;
  for (std::size_t k = 0; k < mechanisms.size(); ++k)
    data.push_back(models::displacements(fmt::format("mechanism {}", k + 1), mesh, mechanisms[k].motion));
  models::writeVtu(path, mesh, data);
}

void lookAtMechanisms(const UpperMatrix& k, const DoctorOptions& options, const models::VtuMesh& mesh,
                      Findings& findings, Json& json, Console& console) {
  console.progress("looking for motions without stiffness");
  const DofPlaces places = options.mesh.empty() ? DofPlaces() : DofPlaces(mesh);
  const NullSpace space = findNullSpace(k, options.solver);
  if (space.size() == 0) return;
  findings.sick(fmt::format("{}{} independent motion{} without stiffness (mechanism{})",
                            space.complete ? "" : "at least ", space.size(), space.size() == 1 ? "" : "s",
                            space.size() == 1 ? "" : "s"));
  const std::vector<Mechanism> mechanisms = describeMechanisms(k, space, places);
  json["mechanisms"] = Json::array();
  for (std::size_t m = 0; m < mechanisms.size(); ++m) {
    if (m < 12) console.print("    {}. {}\n", m + 1, mechanisms[m].text);
    if (m == 12) console.print("    and {} more (--json lists them)\n", mechanisms.size() - m);
    json["mechanisms"].push_back(mechanismJson(mechanisms[m], places));
  }
  json["null_residual"] = space.residual;
  const std::vector<int> restraints = space.complete ? fewestRestraints(space) : space.suppressed;
  json["restraints"] = proveRestraints(k, restraints, options.solver, places, findings);
  if (!options.output.empty()) {
    writeMotions(options.output, mesh, mechanisms);
    console.print("  wrote {}\n", options.output);
  }
  if (!options.picture.empty()) {
    std::vector<Deformation> states;
    for (std::size_t m = 0; m < std::min<std::size_t>(9, mechanisms.size()); ++m)
      states.push_back({fmt::format("{}. {}", m + 1, mechanisms[m].kind), mechanisms[m].motion});
    drawDeformations(options.picture, mesh, states);
    console.print("  wrote {}\n", options.picture);
  }
}

/// For a regular matrix: how well conditioned, before and after every dof is measured in its own unit.
void lookAtCondition(const UpperMatrix& k, const SolverChoice& choice, Findings& findings, Json& json) {
  const auto estimate = [&](bool balanced) {
    Solver solver(k, choice.settledFor(MatrixFacts(k)), balanced);
    if (solver.reduce(Vessa::Matrix::OptStiffness) != 0 && solver.reduce(Vessa::Matrix::OptSturm) != 0)
      return 0.0;
    return solver.matrix().CondEstRefined();
  };
  const double plain = estimate(false), balanced = estimate(true);
  json["condition"] = plain;
  json["condition_unit_diagonal"] = balanced;
  const std::string figures =
      fmt::format("condition number {:.2g}, {:.2g} with every dof in its own unit", plain, balanced);
  if (balanced > 1e12)
    findings.warn(figures + ": the structure is nearly a mechanism or extremely slender");
  else if (plain > 1e10 && balanced < 1e-4 * plain)
    findings.note(figures +
                  ": the first is high because of units or stiff and soft parts side by side, not a fault");
  else
    findings.note(figures);
}

Outcome doctor(Console& console, const DoctorOptions& options) {
  if ((!options.output.empty() || !options.picture.empty()) && options.mesh.empty())
    throw UsageError("--vtu-output and --picture: expected together with --mesh");
  Stopwatch watch;
  const UpperMatrix k(readMatrix(options.stiffness, options.pattern));
  models::VtuMesh mesh;
  if (!options.mesh.empty()) {
    mesh = models::readVtu(options.mesh);
    const int numDofs = mesh.dofs.size() == 0 ? 0 : mesh.dofs.maxCoeff();
    if (numDofs != k.n())
      throw models::FileError(
          options.mesh, fmt::format("a mesh with {} dofs, expected {} as the matrix has", numDofs, k.n()));
  }
  const MatrixFacts facts(k);
  console.print("{}: {} dofs, {} terms in a triangle\n", console.bold(options.stiffness), count(k.n()),
                count(double(k.numTerms())));
  Findings findings(console);
  Outcome outcome;
  outcome.json = {{"matrix",
                   {{"file", options.stiffness},
                    {"n", k.n()},
                    {"parts", partsOf(k, facts).all},
                    {"empty_rows", facts.emptyRows},
                    {"zero_diagonals", facts.zeroDiagonals},
                    {"negative_diagonals", facts.negativeDiagonals}}}};
  lookAtStiffness(k, facts, findings);
  if (!options.mass.empty()) lookAtMass(options.mass, facts, options.solver, findings);
  const Definiteness sign = examine(k, options.solver);
  outcome.json["singular"] = sign.singular;
  outcome.json["positive_definite"] = sign.positiveDefinite;
  outcome.json["negative_eigenvalues"] = sign.negative;
  if (sign.singular) {
    lookAtMechanisms(k, options, mesh, findings, outcome.json, console);
  } else {
    if (sign.negative > 0)
      findings.sick(fmt::format(
          "{} negative eigenvalue{}: regular, but not the stiffness of a stable structure (a wrong sign, "
          "or compressed beyond buckling)",
          sign.negative, sign.negative == 1 ? "" : "s"));
    lookAtCondition(k, options.solver, findings, outcome.json);
  }
  const bool healthy = findings.healthy() && !sign.singular;
  outcome.json["findings"] = findings.json();
  outcome.json["seconds"] = watch.seconds();
  outcome.json["ok"] = healthy;
  outcome.code = healthy ? ExitGood : ExitNotTrusted;
  console.print("  verdict: {}\n",
                healthy ? console.good("nothing wrong found") : console.bad("something is wrong"));
  return outcome;
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
  command
      ->add_option("--pattern", options->pattern,
                   "Values of a file without values: ones, laplacian, laplacian+1")
      ->check(CLI::IsMember({"ones", "laplacian", "laplacian+1"}));
  options->solver.addTo(*command);
  program.setRun(command, [options, &program](Console& console) {
    options->solver.threads = program.threads();
    return doctor(console, *options);
  });
}

}  // namespace cli
}  // namespace vematrix
