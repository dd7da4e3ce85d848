// A host outside the source tree: two springs in series under a unit load, u = (1/k1, 1/k1 + 1/k2).
#include <vematrix/vematrix.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "solution/CSolnMatrix.h"

int main() {
  using namespace Vessa::Matrix;
  const double k1 = 2.0, k2 = 4.0;
  for (const SolMethod method : {SolSkyline, SolCompColumn, SolPardiso}) {
    CSolnMatrix matrix;
    matrix.SetMethod(method);
    matrix.SetNumDof(2);
    matrix.AddTerm(1, 1, k1 + k2);
    matrix.AddTerm(1, 2, -k2);
    matrix.AddTerm(2, 2, k2);
    std::vector<int> zeroDofs;
    if (!matrix.Finalize() || matrix.Reduce(OptStiffness, zeroDofs) != 0) return 1;
    CVector u(2, 0.0);
    u.SetAt(2, 1.0);
    matrix.BackSubstitute(u);
    std::printf("method %d: u = %g %g\n", method, u.GetAt(1), u.GetAt(2));
    if (std::fabs(u.GetAt(1) - 1 / k1) > 1e-14 || std::fabs(u.GetAt(2) - 1 / k1 - 1 / k2) > 1e-14) return 1;
  }
  return 0;
}
