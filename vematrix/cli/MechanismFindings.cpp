#include "MechanismFindings.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include "Format.h"
#include "NullSpace.h"

namespace vematrix {
namespace cli {
namespace {

Json toJson(const Mechanism& mechanism, const DofPlaces& places) {
  Json movers = Json::array();
  for (int dof : mechanism.movers)
    movers.push_back({{"dof", dof}, {"value", mechanism.motion[dof - 1]}, {"place", places.describe(dof)}});
  return {{"kind", mechanism.kind},
          {"text", mechanism.text},
          {"dofs", mechanism.numDofs},
          {"nodes", mechanism.numNodes},
          {"movers", movers}};
}

/// The first twelve for a reader, all of them for a program.
Json list(const std::vector<Mechanism>& mechanisms, const DofPlaces& places, Findings& findings) {
  constexpr std::size_t mostShown = 12;
  Json json = Json::array();
  for (const Mechanism& mechanism : mechanisms) json.push_back(toJson(mechanism, places));
  for (std::size_t m = 0; m < std::min(mostShown, mechanisms.size()); ++m)
    findings.detail(fmt::format("{}. {}", m + 1, mechanisms[m].text));
  if (mechanisms.size() > mostShown)
    findings.detail(fmt::format("and {} more (--json lists them)", mechanisms.size() - mostShown));
  return json;
}

std::string restraintText(const std::vector<int>& restraints, const DofPlaces& places) {
  std::string text = dofsText(restraints);
  if (!places.known()) return text;
  for (std::size_t k = 0; k < std::min<std::size_t>(restraints.size(), 10); ++k)
    text += fmt::format("\n      dof {}: {}", restraints[k], places.describe(restraints[k]));
  return text;
}

void tellCure(const std::vector<int>& restraints, const CureProof& proof, const DofPlaces& places,
              Findings& findings) {
  const std::string text = restraintText(restraints, places);
  if (!proof.regular) {
    findings.warn("restraining " + text + "\n    was tried and does not make the matrix regular");
    return;
  }
  findings.note(fmt::format(
      "restraining {}\n    cures it: factorised again with {} restrained, {}, condition {:.1e} (unit "
      "diagonal)",
      text, restraints.size() == 1 ? "it" : "them",
      proof.positiveDefinite ? "positive definite" : "not positive definite", 1.0 / proof.reciprocal));
}

/// Whether the matrix is singular again with any one of the restraints left out.
bool eachNeeded(const UpperMatrix& k, const std::vector<int>& restraints, const SolverChoice& choice) {
  for (std::size_t left = 0; left < restraints.size(); ++left) {
    std::vector<int> others = restraints;
    others.erase(others.begin() + std::ptrdiff_t(left));
    if (proveCure(k, others, choice).regular) return false;
  }
  return true;
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
  tellCure(restraints, proof, places, findings);
  const bool cheap = restraints.size() <= 12 && double(restraints.size()) * k.n() <= 3e5;
  if (!proof.regular || !cheap) return json;
  const bool needed = eachNeeded(k, restraints, choice);
  json["each_needed"] = needed;
  if (needed && restraints.size() > 1)
    findings.note("fewer do not: with any one of them left out it is singular again");
  return json;
}

}  // namespace

MechanismReport lookAtMechanisms(const UpperMatrix& k, const SolverChoice& choice, const DofPlaces& places,
                                 Findings& findings) {
  MechanismReport report;
  const NullSpace space = findNullSpace(k, choice);
  if (space.size() == 0) return report;
  const char* const ending = space.size() == 1 ? "" : "s";
  findings.sick(fmt::format("{}{} independent motion{} without stiffness (mechanism{})",
                            space.complete ? "" : "at least ", space.size(), ending, ending));
  report.mechanisms = describeMechanisms(k, space, places);
  report.json["mechanisms"] = list(report.mechanisms, places, findings);
  report.json["null_residual"] = space.residual;
  const std::vector<int> restraints = space.complete ? fewestRestraints(space) : space.suppressed;
  report.json["restraints"] = proveRestraints(k, restraints, choice, places, findings);
  return report;
}

}  // namespace cli
}  // namespace vematrix
