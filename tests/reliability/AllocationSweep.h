#pragma once
#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <iostream>
#include <string>

#include "FailingMalloc.h"

namespace reliability {

/// What an operation under a failed allocation came to.
enum class Result {
  Right,      ///< the whole and right result
  Refused,    ///< a code, or fewer results than were asked for, all of them right
  Threw,      ///< a standard exception
  WrongTold,  ///< a wrong result with a word in the report
  Wrong       ///< a wrong result as if it were right
};

struct AllocationCounts {
  long faults = 0, exceptions = 0, codes = 0, right = 0, told = 0;
};

inline void Count(Result result, AllocationCounts& counts) {
  ++counts.faults;
  counts.exceptions += result == Result::Threw ? 1 : 0;
  counts.codes += result == Result::Refused ? 1 : 0;
  counts.right += result == Result::Right ? 1 : 0;
  counts.told += result == Result::WrongTold ? 1 : 0;
}

/// Runs `operation` with one allocation armed to fail; it judges its result itself.
inline Result WithFailingAllocation(long n, const std::function<Result()>& operation) {
  Result result = Result::Threw;
  failing_malloc::Arm(n);
  try {
    result = operation();
  } catch (const std::exception&) {
  }
  failing_malloc::Disarm();
  return result;
}

/// An object made anew for every fault: `operation` is what meets it, `again` what must come out right on the
/// same object afterwards.
struct Scenario {
  std::function<Result()> operation;
  std::function<bool()> again;
};

/// Fails the first, second, ... allocation of the operation until it gets through.
inline void SweepAllocations(const std::function<Scenario()>& make, AllocationCounts& counts) {
  bool delivered = true;
  for (long n = 1; delivered; ++n) {
    ASSERT_LT(n, 100000) << "no end";
    const Scenario scenario = make();
    const Result result = WithFailingAllocation(n, scenario.operation);
    delivered = failing_malloc::Delivered();
    if (delivered) Count(result, counts);
    ASSERT_NE(result, Result::Wrong) << "allocation " << n;
    ASSERT_TRUE(delivered || result == Result::Right) << "without a fault";
    ASSERT_TRUE(scenario.again()) << "the same object again, after allocation " << n;
  }
}

/// Every allocation; when blocks are left, all once more: what libraries keep for good they take once, a leak
/// shows again. One printed line.
inline void SweepWithoutLeaks(const std::string& what, const std::function<Scenario()>& make) {
  AllocationCounts counts, again;
  const long long first = failing_malloc::LiveBlocks();
  SweepAllocations(make, counts);
  if (::testing::Test::HasFatalFailure()) return;
  const long long before = failing_malloc::LiveBlocks();
  if (before != first) SweepAllocations(make, again);
  EXPECT_EQ(failing_malloc::LiveBlocks(), before) << "leaked blocks";
  EXPECT_GT(counts.faults, 3);
  std::cerr << what << ": " << counts.faults << " faults: " << counts.exceptions << " exceptions, "
            << counts.codes << " codes, " << counts.right << " right all the same, " << counts.told
            << " wrong, told by the report, 0 wrong in silence\n";
}

}  // namespace reliability
