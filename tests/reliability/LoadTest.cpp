// Ten thousand cycles of assemble, reduce and solve, on one object and on fresh ones, with flat memory.
// VEMATRIX_LOAD_CYCLES changes the number.
#include <gtest/gtest.h>

#include <unistd.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FailingMalloc.h"
#include "solution/CSolnMatrix.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;

constexpr int order = 60;

long Cycles() {
  const char* wanted = std::getenv("VEMATRIX_LOAD_CYCLES");
  return wanted != nullptr ? std::atol(wanted) : 10000;
}

/// Resident set of this process in bytes.
long long ResidentBytes() {
  std::ifstream statm("/proc/self/statm");
  long long total = 0, resident = 0;
  statm >> total >> resident;
  return resident * static_cast<long long>(::sysconf(_SC_PAGESIZE));
}

// A chain of springs of stiffness k with its ends held, a unit load in the middle.
bool Cycle(CSolnMatrix& matrix, double k) {
  matrix.SetZero();
  matrix.SetNumDof(order);
  for (int i = 1; i <= order; ++i) {
    matrix.AddTerm(i, i, 2.0 * k);
    if (i > 1) matrix.AddTerm(i - 1, i, -k);
  }
  if (!matrix.Finalize() || !matrix.Reduce(OptStiffness)) return false;
  CVector u(order, 0.0);
  const int middle = order / 2;
  u.SetAt(middle, 1.0);
  matrix.BackSubstitute(u);
  const double exact = middle * (order + 1.0 - middle) / (order + 1.0) / k;
  return std::fabs(u.GetAt(middle) - exact) <= 1e-10 * exact;
}

class Load : public ::testing::TestWithParam<std::pair<SolMethod, PardisoEngine>> {
protected:
  std::unique_ptr<CSolnMatrix> Fresh() const {
    auto matrix = std::make_unique<CSolnMatrix>();
    matrix->SetMethod(GetParam().first);
    matrix->SetPardisoEngine(GetParam().second);
    return matrix;
  }

  // Memory is taken after a tenth of the cycles, when everything that is kept for good is there, and at the
  // end.
  void RunFlat(bool oneObject) {
    if (GetParam().second == EngineMkl && !Pardiso::HasEngine(EngineMkl))
      GTEST_SKIP() << "this build has no MKL";
    test_support::SilenceLibrary silence;
    auto kept = Fresh();
    long long bytes = 0, resident = 0, blocks = 0;
    const long cycles = Cycles();
    for (long c = 0; c < cycles; ++c) {
      if (c == cycles / 10) {
        bytes = failing_malloc::LiveBytes();
        blocks = failing_malloc::LiveBlocks();
        resident = ResidentBytes();
      }
      auto fresh = oneObject ? nullptr : Fresh();
      ASSERT_TRUE(Cycle(oneObject ? *kept : *fresh, 1.0 + static_cast<double>(c % 7))) << "cycle " << c;
    }
    const long long bytesAfter = failing_malloc::LiveBytes(), residentAfter = ResidentBytes();
    std::fprintf(stderr,
                 "method %d engine %d, %ld cycles on %s: heap %lld -> %lld bytes, %lld -> %lld blocks, "
                 "resident %lld -> %lld KiB\n",
                 GetParam().first, GetParam().second, cycles, oneObject ? "one object" : "fresh objects",
                 bytes, bytesAfter, blocks, failing_malloc::LiveBlocks(), resident / 1024,
                 residentAfter / 1024);
    EXPECT_LE(static_cast<double>(bytesAfter), 1.01 * static_cast<double>(bytes));
    EXPECT_LE(static_cast<double>(residentAfter), 1.01 * static_cast<double>(resident));
  }
};

TEST_P(Load, OneObjectUsedOverAndOverKeepsItsMemory) {
  RunFlat(true);
}

TEST_P(Load, FreshObjectsGiveAllTheirMemoryBack) {
  RunFlat(false);
}

INSTANTIATE_TEST_SUITE_P(Methods, Load,
                         ::testing::Values(std::make_pair(SolSkyline, EngineDefault),
                                           std::make_pair(SolCompColumn, EngineDefault),
                                           std::make_pair(SolPardiso, EngineOwn),
                                           std::make_pair(SolPardiso, EngineMkl)));

}  // namespace
