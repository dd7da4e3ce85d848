// Counting eigenvalues by hand: the skyline engine alone, without the solution matrix.
//
// The number of eigenvalues of K·x = λ·M·x below σ is the number of negative pivots of K − σ·M (Sylvester's
// law of inertia). The structure is the simply supported thin square plate of the NAFEMS benchmarks:
// frequencies 2.377, 5.942, 5.942, 9.507, 11.884 and 11.884 Hz.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "models/structures/Structures.h"
#include "skyline/CSkyLine.h"

using namespace Vessa::Matrix;
namespace models = vematrix::models;

namespace {

// The skyline of a term list: column heights, index, values.
void build(CSkyLine& A, const models::SymmetricTerms& terms) {
  A.SetNumDof(terms.n);
  terms.forEach([&](int i, int j, double) { A.SetColHeight(j, std::max(A.ColHeight(j), j - i + 1)); });
  A.CreateIndex();
  terms.forEach([&](int i, int j, double v) { A.ElementAt(i, j) += v; });
  A.SetAssemble();
}

// Eigenvalues below sigma, or -1 when the count cannot be trusted.
int countBelow(const CSkyLine& K, const CSkyLine& M, double sigma) {
  // 3. A copy, because the reduction overwrites it; K − σ·M in place.
  CSkyLine shifted(K);
  shifted.Shift(M, sigma);

  // 4. Option 1 keeps negative pivots and gives up when a multiplier grows beyond 1e7: then σ sits on an
  // eigenvalue of
  //    a leading block, and a shift a little beside it will do.
  std::vector<int> zeroDofs;
  if (!shifted.Reduce(OptSturm, zeroDofs)) return -1;

  // 5. The pivots are on the diagonal now.
  const CDiag pivots = shifted.Diag();
  int negative = 0;
  for (int i = 1; i <= pivots.NumDof(); ++i) negative += pivots.GetAt(i, i) < 0.0 ? 1 : 0;
  return negative;
}

}  // namespace

int main() {
  // 1. The plate, 16 x 16 elements: its modes are within 4 % of the published ones.
  const models::Model plate = models::thinSquarePlate(16);

  // 2. Stiffness and consistent mass have the same profile.
  CSkyLine K, M;
  build(K, plate.stiffnessTerms());
  build(M, plate.massTerms());

  struct {
    double hertz;
    int below;
  } const known[] = {{2.0, 0}, {4.0, 1}, {8.0, 3}, {11.0, 4}, {13.5, 6}};
  bool good = true;
  for (const auto& k : known) {
    const double omega = 2.0 * 3.14159265358979323846 * k.hertz;
    const int found = countBelow(K, M, omega * omega);
    std::printf("modes below %5.1f Hz: %d (known: %d)\n", k.hertz, found, k.below);
    good &= found == k.below;
  }
  return good ? 0 : 1;
}
