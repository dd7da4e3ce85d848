// Vibration modes: the lowest natural frequencies of a cantilevered tapered membrane.
//
// The benchmark FV32 of the NAFEMS Selected Benchmarks for Natural Frequency Analysis (1987): 44.623, 130.03,
// 162.70, 246.05, 379.90 and 391.44 Hz.
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
  const double published[] = {44.623, 130.03, 162.70, 246.05, 379.90, 391.44};
  const int wanted = 6;

  // 1. Stiffness and mass, two matrices of method 6: only that one hands out its Eigen matrix.
  const models::Model model = models::taperedMembrane(32);
  CSolnMatrix K, M;
  for (CSolnMatrix* matrix : {&K, &M}) {
    matrix->SetMethod(SolPardiso);
    matrix->SetNumDof(model.numDofs());
  }
  model.assembleStiffness([&](int i, int j, double v) { K.AddTerm(i, j, v); });
  model.assembleMass([&](int i, int j, double v) { M.AddTerm(i, j, v); });
  K.Finalize();
  M.Finalize();

  // 2. K·x = ω²·M·x near the shift 0: the structure is supported, so that K can be factorised. The tolerance
  // is on the
  //    backward error, which counts against ‖K‖: the lowest modes, whose ω²·‖M‖ is a millionth of that, need
  //    a sharp one.
  double shift = 0.0;
  si::gep11 solver(K.getEigenSparse(), M.getEigenSparse(), wanted, /*p=*/0, /*tol=*/1e-13, shift,
                   si::SHIFT_NONE,
                   /*maxIter=*/100);
  if (solver.solve_imp_orth_copy() != si::STATUS_OK || solver.get_numpairs_converged() < wanted) return 1;

  // 3. Residuals first, then the pairs: the first `wanted` of them have converged.
  std::vector<std::pair<int, double>> bad;
  solver.residuals(1e-6, bad);
  std::vector<double> lambda;
  Eigen::MatrixXd modes;
  solver.get_eigenpairs(lambda, modes);

  for (const auto& pair : bad) std::printf("mode %d has a residual of %.1e\n", pair.first + 1, pair.second);

  // 4. Frequencies against the published ones.
  bool good = bad.empty();
  for (int k = 0; k < wanted; ++k) {
    const double hertz = std::sqrt(lambda[k]) / (2.0 * pi);
    std::printf("mode %d: %8.3f Hz, published %8.3f Hz\n", k + 1, hertz, published[k]);
    good &= std::abs(hertz / published[k] - 1.0) < 0.002;
  }

  // 5. None missed: a factorisation just above the last mode has as many negative pivots as there are modes
  // below.
  K.Shift(M, lambda[wanted - 1] * 1.0001);
  std::vector<int> zeroDofs;
  good &= K.Reduce(OptSturm, zeroDofs) == 0;
  std::printf("%d modes below %.3f Hz, %d found\n", K.getPardiso().negative_evals(),
              std::sqrt(lambda[wanted - 1]) / (2.0 * pi), wanted);
  return good && K.getPardiso().negative_evals() == wanted ? 0 : 1;
}
