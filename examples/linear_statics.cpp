// Linear statics with several load cases: one assembly, one factorisation, many solutions.
//
// A steel cantilever of beam elements, 10 m long, under a tip force downwards, a tip force sideways and its
// own weight. Known answers: P·L³/(3·E·I) for the forces, q·L⁴/(8·E·I) for the weight; at the nodes the
// elements are exact.
#include <cmath>
#include <cstdio>
#include <vector>

#include "models/structures/Structures.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

bool agrees(const char* what, double found, double known) {
  const double error = std::abs(found / known - 1.0);
  std::printf("%-40s %.10e m, known %.10e m, off by %.1e\n", what, found, known, error);
  return error < 1e-8;
}

}  // namespace

int main() {
  // 1. The structure, with three load cases.
  const models::Cantilever beam{/*elements=*/20};
  const models::Model model = models::cantilever(beam);

  // 2. Method first, then the report, then the number of dofs.
  CReport report;
  CSolnMatrix K;
  K.SetMethod(SolPardiso);
  K.SetLog(&report);
  K.SetNumDof(model.numDofs());

  // 3. Terms of the upper triangle in any order, dofs from 1; what falls on one place is summed.
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  if (!K.Finalize()) return 1;

  // 4. One factorisation.
  std::vector<int> zeroDofs;
  const int code = K.Reduce(OptStiffness, zeroDofs);
  if (code != 0) {
    std::printf("Reduce ended with %d\n", code);
    return 1;
  }

  // 5. One load case at a time: the load goes in, the displacements come back in the same vector.
  CVector down(model.loads(0));
  K.BackSubstitute(down);

  // 6. Or several at once, one to a column, which costs less than one after the other.
  CMatrix<1> both(model.numDofs(), 2);
  both.Inner().col(0) = model.loads(1);
  both.Inner().col(1) = model.loads(2);
  K.BackSubstitute(both);

  // 7. The known answers.
  const double L = beam.length, E = beam.material.young;
  const double weight = beam.material.density * beam.section.area * 9.81;
  const int tip = beam.elements, uy = model.dof(tip, models::Uy), uz = model.dof(tip, models::Uz);
  bool good =
      agrees("tip, 1000 N downwards:", -down[uz], 1000.0 * L * L * L / (3.0 * E * beam.section.inertiaY));
  good &= agrees("tip, 1000 N sideways:", both.GetAt(uy, 1),
                 1000.0 * L * L * L / (3.0 * E * beam.section.inertiaZ));
  good &= agrees("tip, own weight:", -both.GetAt(uz, 2),
                 weight * std::pow(L, 4) / (8.0 * E * beam.section.inertiaY));
  return good ? 0 : 1;
}
