// How far to trust a solution: the condition number, and what units do to it.
//
// First a chain of 99 springs between two walls, K = tridiag(−1, 2, −1), whose condition number in the
// one-norm is (n + 1)²/2 = 5000. Then the same chain with one displacement measured in another unit: the
// physics is the same, the condition number is not.
#include <cmath>
#include <cstdio>
#include <vector>

#include "solution/CSolnMatrix.h"

using namespace Vessa::Matrix;

namespace {

// Dof `scaled` (0: none) counts in units of 1/factor metres.
double chainCondition(SolMethod method, int n, int scaled, double factor) {
  CSolnMatrix K;
  K.SetMethod(method);
  K.SetNumDof(n);
  const auto unit = [&](int i) { return i == scaled ? factor : 1.0; };
  for (int i = 1; i <= n; ++i) {
    K.AddTerm(i, i, 2.0 * unit(i) * unit(i));
    if (i < n) K.AddTerm(i, i + 1, -1.0 * unit(i) * unit(i + 1));
  }
  K.Finalize();

  // The skyline is overwritten by its factors; products and solutions both work on them.
  std::vector<int> zeroDofs;
  if (K.Reduce(OptStiffness, zeroDofs) != 0) return -1.0;
  return K.CondEst();
}

}  // namespace

int main() {
  const int n = 99;
  const double exact = 0.5 * (n + 1) * (n + 1);
  bool good = true;
  for (SolMethod method : {SolSkyline, SolCompColumn, SolPardiso}) {
    const double metres = chainCondition(method, n, 0, 1.0);
    const double mixed = chainCondition(method, n, 50, 1e4);
    // An estimate is a lower bound, and rarely too low by more than 3.
    std::printf("method %d: condition %.1f (exact %.1f), about %.0f digits lost; with mixed units %.2e\n",
                int(method), metres, exact, std::log10(metres), mixed);
    good &= metres > exact / 3.0 && metres < exact * (1.0 + 1e-10) && mixed > 1e4 * exact;
  }
  return good ? 0 : 1;
}
