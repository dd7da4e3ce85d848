// New values on the same structure: what an iteration on the stiffness (contact, plasticity, optimisation)
// does.
//
// A truss bridge whose bars grow from 40 cm² to 80 cm²: twice the stiffness, half the displacements under the
// same forces.
#include <cmath>
#include <cstdio>
#include <vector>

#include "models/structures/Structures.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

bool solve(CSolnMatrix& K, const models::Model& model, CVector& u) {
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  std::vector<int> zeroDofs;
  if (!K.Finalize() || K.Reduce(OptStiffness, zeroDofs) != 0) return false;
  K.BackSubstitute(u);
  return true;
}

bool halves(SolMethod method) {
  // 1. Two bridges with the same dofs; the loads are those of the first.
  const models::Model slender = models::trussBridge({20, 5.0, 0.004}),
                      stout = models::trussBridge({20, 5.0, 0.008});
  const Eigen::VectorXd f = slender.loads(0);

  // 2. The first set of values.
  CSolnMatrix K;
  K.SetMethod(method);
  K.SetNumDof(slender.numDofs());
  CVector before(f), after(f);
  if (!solve(K, slender, before)) return false;

  // 3. SetZero drops the values; then the same calls again. Reduce releases the old factors by itself.
  // SetNumDof
  //    makes sure that every diagonal term exists, as at the beginning.
  K.SetZero();
  K.SetNumDof(stout.numDofs());
  if (!solve(K, stout, after)) return false;

  // 4. Half the displacements.
  const double error = (2.0 * after.Inner() - before.Inner()).norm() / before.Norm();
  std::printf("method %d: largest displacement %.6f m, then %.6f m; half of it but for %.1e\n", int(method),
              before.MaxAbs(), after.MaxAbs(), error);
  return error < 1e-10;
}

}  // namespace

int main() {
  bool good = true;
  for (SolMethod method : {SolSkyline, SolCompColumn, SolPardiso}) good &= halves(method);
  return good ? 0 : 1;
}
