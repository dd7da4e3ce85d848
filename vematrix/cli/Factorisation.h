#pragma once
#include <string>
#include <vector>

#include "Console.h"
#include "Json.h"
#include "MatrixFacts.h"
#include "Solver.h"

namespace vematrix {
namespace cli {

/// What the factorisation of a stiffness matrix said, before any solution is looked at.
struct Factorisation {
  bool usable = false;  ///< solutions can be computed
  bool positiveDefinite = true;
  int negative = -1;            ///< negative eigenvalues, -1 unknown
  std::vector<int> suppressed;  ///< dofs decoupled by the solver, or without any stiffness
  std::vector<int> movers;      ///< dofs that move most in the softest motion of a singular matrix
  double reciprocal = -1.0;     ///< of the condition number, unit diagonal; -1 not known
  int digits = -1;
  std::string trouble;  ///< why no solution can be trusted, "" when one can

  bool conditionKnown() const { return reciprocal >= 0.0; }
  double condition() const;
};

/// Positive definite first; where that fails for want of a pivot, indefinite, and the softest motion decides
/// whether the matrix is singular or only indefinite. Leaves the factors in the solver.
Factorisation factorise(const UpperMatrix& matrix, const MatrixFacts& facts, Solver& solver);

void print(Console& console, const Factorisation& factors);
Json toJson(const Factorisation& factors);

}  // namespace cli
}  // namespace vematrix
