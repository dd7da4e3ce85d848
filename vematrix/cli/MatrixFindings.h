#pragma once
#include <string>

#include "Findings.h"
#include "Json.h"
#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// Parts that are not connected, the rows without any term left out; how many of them are single dofs.
struct Parts {
  int all = 0, single = 0;
};
Parts partsOf(const UpperMatrix& matrix, const MatrixFacts& facts);

/// What is wrong with a stiffness matrix at first sight: rows, diagonal, parts.
void lookAtStiffness(const MatrixFacts& facts, const Parts& parts, Findings& findings);

/// What is wrong with the mass matrix of a file, by itself and beside the stiffness.
/// @throws models::FileError when it has another order
void lookAtMass(const std::string& path, const MatrixFacts& stiffness, const SolverChoice& choice,
                Findings& findings);

/// For a regular matrix: how well conditioned, before and after every dof is measured in its own unit.
/// @return both condition numbers, 0 where there are no factors
Json lookAtCondition(const UpperMatrix& k, const SolverChoice& choice, Findings& findings);

}  // namespace cli
}  // namespace vematrix
