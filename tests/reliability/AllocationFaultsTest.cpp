// Every allocation of assemble -> finalise -> reduce -> solve -> modes fails once: an exception or a
// documented code comes out, nothing leaks, and the object can be used again or destroyed.
#include <gtest/gtest.h>

#include <cmath>
#include <exception>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "FailingMalloc.h"
#include "si/gep11.h"
#include "si/sep.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CSymmetricRow.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;

constexpr int order = 30;

// A chain of unit springs, fixed at the left end, pulled at the right end with 1: u(i) = i.
void Assemble(CSolnMatrix& matrix) {
  for (int i = 1; i <= order; ++i) {
    matrix.AddTerm(i, i, i == order ? 1.0 : 2.0);
    if (i > 1) matrix.AddTerm(i - 1, i, -1.0);
  }
}

enum class Outcome { Solved, Refused, Wrong };

Outcome Cycle(CSolnMatrix& matrix) {
  std::vector<int> zeroDofs;
  matrix.SetNumDof(order);
  Assemble(matrix);
  if (!matrix.Finalize()) return Outcome::Refused;
  if (matrix.Reduce(OptStiffness, zeroDofs) != 0) return Outcome::Refused;
  CVector u(order, 0.0);
  u.SetAt(order, 1.0);
  matrix.BackSubstitute(u);
  for (int i = 1; i <= order; ++i) {
    if (!(std::fabs(u.GetAt(i) - i) <= 1e-10)) return Outcome::Wrong;
  }
  return Outcome::Solved;
}

// A wrong vector counts as reported when the report says so: the facade has no return value there.
bool Reported(const CReport& report) {
  return report.Status() >= 2 || report.Note().rfind("Error solving", 0) == 0;
}

struct Counts {
  long faults = 0;
  long exceptions = 0;
  long refusals = 0;
  long survived = 0;
  long reported = 0;
};

std::ostream& operator<<(std::ostream& out, const Counts& c) {
  return out << c.faults << " faults: " << c.exceptions << " exceptions, " << c.refusals << " codes, "
             << c.survived << " solved all the same, " << c.reported << " wrong vectors, told by the report";
}

class AllocationFaults : public ::testing::TestWithParam<std::pair<SolMethod, PardisoEngine>> {};

// One pass over all allocations of a cycle, the n-th failing.
void FailEveryAllocation(SolMethod method, PardisoEngine engine, Counts& counts) {
  bool delivered = true;
  for (long n = 1; delivered && n < 5000; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    CReport report;
    CSolnMatrix matrix;
    matrix.SetMethod(method);
    matrix.SetLog(&report);
    matrix.SetPardisoEngine(engine);
    Outcome outcome = Outcome::Solved;
    bool threw = false;
    failing_malloc::Arm(n);
    try {
      outcome = Cycle(matrix);
    } catch (const std::exception&) {
      threw = true;
    }
    failing_malloc::Disarm();
    delivered = failing_malloc::Delivered();
    if (!delivered) {
      ASSERT_EQ(outcome, Outcome::Solved);
      break;
    }
    ++counts.faults;
    counts.exceptions += threw ? 1 : 0;
    counts.refusals += !threw && outcome == Outcome::Refused ? 1 : 0;
    counts.survived += !threw && outcome == Outcome::Solved ? 1 : 0;
    if (!threw && outcome == Outcome::Wrong) {
      ++counts.reported;
      ASSERT_TRUE(Reported(report)) << "a wrong vector and no word in the report";
    }

    CReport second;
    matrix.SetLog(&second);
    matrix.SetZero();  // drops what was staged before the fault
    ASSERT_EQ(Cycle(matrix), Outcome::Solved) << "the same object, tried again";
  }
}

TEST_P(AllocationFaults, EachOneEndsInAnExceptionOrACodeAndTheObjectWorksAfterwards) {
  const auto [method, engine] = GetParam();
  if (engine == EngineMkl && !Pardiso::HasEngine(EngineMkl)) GTEST_SKIP() << "this build has no MKL";
  test_support::SilenceLibrary silence;
  Counts counts, again;
  FailEveryAllocation(method, engine, counts);  // what the libraries keep for good is allocated here
  const long long blocksBefore = failing_malloc::LiveBlocks();

  FailEveryAllocation(method, engine, again);

  EXPECT_GT(again.faults, 5);
  EXPECT_EQ(failing_malloc::LiveBlocks(), blocksBefore) << "leaked blocks";
  std::cerr << "method " << method << ", engine " << engine << ": " << again << "\n";
}

INSTANTIATE_TEST_SUITE_P(Methods, AllocationFaults,
                         ::testing::Values(std::make_pair(SolSkyline, EngineDefault),
                                           std::make_pair(SolCompColumn, EngineDefault),
                                           std::make_pair(SolPardiso, EngineOwn),
                                           std::make_pair(SolPardiso, EngineMkl)));

// The row-stored matrix has no result codes: an exception is the only answer.
TEST(AllocationFaultsRowStored, EndInBadAllocWithoutALeak) {
  const auto cycle = [] {
    CSymmetricRow A(order), factor;
    for (int i = 1; i <= order; ++i) {
      A.ReserveAt(i, i);
      if (i < order) A.ReserveAt(i, i + 1);
    }
    A.Sort();
    for (int i = 1; i <= order; ++i) {
      A.SetAt(i, i, i == order ? 1.0 : 2.0);
      if (i < order) A.SetAt(i, i + 1, -1.0);
    }
    A.StoreFirstRow();
    factor.SymbolicFactorization(A);
    factor.StoreFirstRow();
    factor.Factorization(A);
    CVector x(order, 0.0);
    x.SetAt(order, 1.0);
    factor.BackSubs(x);
    return std::fabs(x.GetAt(order) - order) < 1e-10;
  };
  const long long blocksBefore = failing_malloc::LiveBlocks();
  long faults = 0;
  for (long n = 1; n < 20000; ++n) {
    bool right = false, threw = false;
    failing_malloc::Arm(n);
    try {
      right = cycle();
    } catch (const std::bad_alloc&) {
      threw = true;
    }
    failing_malloc::Disarm();
    if (!failing_malloc::Delivered()) {
      EXPECT_TRUE(right);
      break;
    }
    ++faults;
    ASSERT_TRUE(threw) << "allocation " << n;
  }
  std::cerr << "row-stored: " << faults << " faults, all exceptions\n";
  EXPECT_GT(faults, 10);
  EXPECT_EQ(failing_malloc::LiveBlocks(), blocksBefore);
}

}  // namespace
