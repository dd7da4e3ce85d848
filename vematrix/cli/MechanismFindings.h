#pragma once
#include <vector>

#include "Findings.h"
#include "Json.h"
#include "MatrixFacts.h"
#include "Mechanism.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// What a singular matrix does not resist, and which restraints cure it.
struct MechanismReport {
  std::vector<Mechanism> mechanisms;
  Json json = Json::object();  ///< mechanisms, null_residual, restraints; empty when no motion was found
};

MechanismReport lookAtMechanisms(const UpperMatrix& k, const SolverChoice& choice, const DofPlaces& places,
                                 Findings& findings);

}  // namespace cli
}  // namespace vematrix
