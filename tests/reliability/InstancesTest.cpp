// Several threads, each with its own matrices and eigensolvers, at once: they share only what the library
// documents as shared (standard output, the math library's thread count, the estimator's random engines,
// rand()).
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "skyline/CSkyLine.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;

// A chain of n springs k fixed at the left end and pulled at the right end: the tip moves by n / k.
bool SolveChain(SolMethod method, PardisoEngine engine, unsigned threads, int n, double k) {
  CReport report;
  CSolnMatrix matrix;
  matrix.SetMethod(method);
  matrix.SetPardisoEngine(engine);
  matrix.SetLog(&report);
  if (threads != 0) matrix.getPardiso().SetNumThreads(threads);
  matrix.SetNumDof(n);
  for (int i = 1; i <= n; ++i) {
    matrix.AddTerm(i, i, i == n ? k : 2.0 * k);
    if (i > 1) matrix.AddTerm(i - 1, i, -k);
  }
  if (!matrix.Finalize() || !matrix.Reduce(OptStiffness)) return false;
  CVector u(n, 0.0);
  u.SetAt(n, 1.0);
  matrix.BackSubstitute(u);
  return std::fabs(u.GetAt(n) - n / k) <= 1e-9 * n / k && report.NumLog() == 0;
}

TEST(Instances, ThreadsWithMatricesOfTheirOwnGetTheirOwnAnswers) {
  test_support::SilenceLibrary silence;
  std::atomic<int> wrong{0}, done{0};
  const auto work = [&](int thread) {
    for (int round = 0; round < 40; ++round) {
      const int n = 50 + 37 * thread + round;
      const double k = 1.0 + thread;
      if (!SolveChain(SolSkyline, EngineDefault, 0, n, k)) ++wrong;
      if (!SolveChain(SolCompColumn, EngineDefault, 0, n, k)) ++wrong;
      if (!SolveChain(SolPardiso, EngineOwn, 2, n, k)) ++wrong;
      done += 3;
    }
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) threads.emplace_back(work, t);
  for (std::thread& t : threads) t.join();

  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(done.load(), 4 * 40 * 3);
}

}  // namespace
