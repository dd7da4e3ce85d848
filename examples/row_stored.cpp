// The row-stored matrix from start to end: reserve, sort, fill, first rows, symbolic stage, numeric stage,
// solve.
//
// A steel frame of 3 x 2 bays and 4 storeys, clamped in the ground. A host uses CSymmetricRow when it wants
// the factor itself, entry by entry, or a step of its own in the factorisation. Checked by the residual of
// the solution and against the displacements that the solution matrix finds with PARDISO.
#include <cmath>
#include <cstdio>

#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

// The same structure through the solution matrix.
CVector reference(const models::Model& model) {
  CSolnMatrix K;
  K.SetMethod(SolPardiso);
  K.SetNumDof(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  CVector x(model.loads(0));
  if (K.Finalize() && K.Reduce(OptStiffness)) K.BackSubstitute(x);
  return x;
}

// Largest difference between two vectors, relative to the second.
double difference(const CVector& a, const CVector& b) {
  return (a - b).MaxAbs() / b.MaxAbs();
}

}  // namespace

int main() {
  const models::Model model = models::makeModel("frame:3:2:4");
  const int n = model.numDofs();

  // 1. The pattern: every term of the upper triangle, each diagonal included. The order does not matter.
  CReport report;
  CSymmetricRow K(n);
  K.SetLog(&report);
  model.assembleStiffness([&](int i, int j, double) { K.AllocateAt(i, j); });

  // 2. Sorted rows are searched by bisection.
  K.Sort();

  // 3. The values.
  model.assembleStiffness([&](int i, int j, double v) { K.AddAt(i, j, v); });

  // 4. The first row of every column, once the pattern is complete.
  K.StoreFirstRow();

  // 5. The factor is a second matrix: first its pattern, with what fills in.
  CSymmetricRow U;
  U.SetLog(&report);
  U.SymbolicFactorization(K);
  std::printf("%d dofs, %d entries of K, %d of U, %.0f %% of the profile empty\n", n, K.Size(), U.Size(),
              100.0 * U.Sparsity());

  // 6. Then its values. Nothing tells of a matrix that is not positive definite but the diagonal of U.
  U.Factorization(K);
  CDiag pivots;
  U.Diag(pivots);
  for (int i = 1; i <= n; ++i) {
    if (!(pivots.GetAt(i, i) > 0.0)) {
      std::printf("no stiffness left at %s\n", model.describeDof(i).c_str());
      return 1;
    }
  }

  // 7. Solve: as many loads as wanted. The first rows of U spare the solution the empty ends of its columns.
  U.StoreFirstRow();
  const CVector load(model.loads(0));
  CVector x;
  U.BackSubs(load, x);

  // 8. K·x must be the load again, and the displacements those of the other way.
  CVector product;
  K.Multiply(x, product);
  const double residual = difference(product, load), apart = difference(x, reference(model));
  std::printf("largest displacement %.6e m, residual %.1e, against the solution matrix %.1e\n", x.MaxAbs(),
              residual, apart);
  return residual < 1e-9 && apart < 1e-9 ? 0 : 1;
}
