// Linear buckling: the critical load of a column pinned at both ends, π²·E·I/L² (Euler 1744).
//
// K·x = λ·(−Kg)·x, where Kg is the geometric stiffness of the stresses under the given load and λ its
// multiple at which the structure buckles. Turned round, −Kg·x = (1/λ)·K·x, the matrix on the right is
// positive definite.
#include <cmath>
#include <cstdio>
#include <vector>

#include "models/structures/Structures.h"
#include "si/gep11.h"
#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

int main() {
  const double pi = 3.14159265358979323846;

  // 1. The column under a thrust of 1 N, and its displacements.
  const models::PinnedColumn column{/*elements=*/16};
  const models::Model model = models::pinnedColumn(column);
  CSolnMatrix K;
  K.SetMethod(SolPardiso);
  K.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  K.Finalize();
  std::vector<int> zeroDofs;
  if (K.Reduce(OptStiffness, zeroDofs) != 0) return 1;
  CVector u(model.loads(0));
  K.BackSubstitute(u);

  // 2. The geometric stiffness of the stresses that these displacements cause, with its sign turned.
  CSolnMatrix G;
  G.SetMethod(SolPardiso);
  G.SetNumDof(model.numDofs());
  model.assembleGeometricStiffness(u.Inner(), [&](int i, int j, double v) { G.AddTerm(i, j, -v); });
  G.Finalize();

  // 3. The largest 1/λ, by powers of K⁻¹·(−Kg): one factorisation of K.
  const int wanted = 3;
  double shift = 0.0;
  si::gep11 solver(G.getEigenSparse(), K.getEigenSparse(), wanted, /*p=*/10, /*tol=*/1e-12, shift,
                   si::SHIFT_NONE,
                   /*maxIter=*/200);
  if (solver.solve_exp_orth() != si::STATUS_OK || solver.get_numpairs_converged() < wanted) return 1;
  std::vector<std::pair<int, double>> bad;
  solver.residuals(1e-6, bad);
  std::vector<double> inverse;
  Eigen::MatrixXd shapes;
  solver.get_eigenpairs(inverse, shapes);

  // 4. Half waves 1 and 2 in the weak plane, 1 in the strong plane, where E·I is four times as large.
  const double weak =
      pi * pi * column.material.young * column.section.inertiaZ / (column.length * column.length);
  const double known[] = {weak, 4.0 * weak, 4.0 * weak};
  bool good = bad.empty();
  for (int k = 0; k < wanted; ++k) {
    const double critical = 1.0 / inverse[static_cast<std::size_t>(k)];
    std::printf("critical load %d: %.6e N, Euler %.6e N\n", k + 1, critical, known[k]);
    good &= std::abs(critical / known[k] - 1.0) < 1e-4;
  }
  return good ? 0 : 1;
}
