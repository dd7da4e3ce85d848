// The first two estimates of a fresh process, exactly, for the test that they are reproducible.
#include <cstdio>

#include "SolnFixture.h"
#include "support/RandomMatrix.h"

int main() {
  const int n = 60;
  const auto k = test_support::Finalised(0, n, test_support::RandomSpd(n, 5, 17));
  test_support::Quietly([&] { return k->Reduce(Vessa::Matrix::OptStiffness); });
  const double first = test_support::Quietly([&] { return k->CondEst(); });
  const double second = test_support::Quietly([&] { return k->CondEst(); });
  std::printf("%a %a\n", first, second);
  return 0;
}
