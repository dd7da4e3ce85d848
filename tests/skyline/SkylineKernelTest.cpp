// The kernels of the reduction against the reference, to the bit: values, pivot records, suppressed dofs and,
// when the reduction gives up, the state it leaves.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "skyline/Profiles.h"
#include "skyline/SkylineBlock.h"
#include "skyline/SkylinePlain.h"
#include "skyline/SkylineReference.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

namespace {

/// A skyline as bare arrays.
struct Arrays {
  int n = 0;
  std::vector<int> end;
  std::vector<double> value;

  double& At(int i, int j) { return value[end[j - 1] + (j - i)]; }
  int Top(int j) const { return j - (end[j] - end[j - 1]) + 1; }
};

Arrays MakeArrays(const std::vector<int>& height) {
  Arrays a;
  a.n = static_cast<int>(height.size()) - 1;
  a.end.assign(a.n + 1, 0);
  for (int j = 1; j <= a.n; ++j) a.end[j] = a.end[j - 1] + height[j];
  a.value.assign(a.end[a.n], 0.0);
  return a;
}

Arrays MakeArrays(const std::vector<int>& height, const std::vector<Term>& terms) {
  Arrays a = MakeArrays(height);
  for (const Term& t : terms) a.At(t.i, t.j) += t.value;
  return a;
}

/// Full random profile, dominant diagonal of either sign.
Arrays RandomArrays(int n, int lowest, int tallest, unsigned seed) {
  ts::RandomNumbers random(seed);
  std::vector<int> height(n + 1, 0);
  for (int j = 1; j <= n; ++j) height[j] = std::min(j, random.Integer(lowest, tallest));
  return MakeArrays(height, ts::FillProfile(height, seed + 1, [](int i) { return i % 5 ? 1.0 : -1.0; }));
}

struct Outcome {
  bool complete;
  std::vector<double> value;
  std::vector<int> zeroDofs;
  std::pair<int, double> max, min;
};

template <class Reduce>
Outcome Run(const Arrays& a, int option, double zero, Reduce reduce) {
  Outcome out;
  out.value = a.value;
  skyline::Pivots pivots{option, zero, &out.zeroDofs, {-3, 0.0}, {-4, 1e20}};
  out.complete = reduce(out.value.data(), a.end.data(), a.n, pivots);
  out.max = pivots.max;
  out.min = pivots.min;
  return out;
}

/// Equal bits, NaN being equal to NaN whatever its sign and payload: those depend on the order of operands.
bool SameNumber(double a, double b) {
  return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

::testing::AssertionResult Same(const Outcome& expected, const Outcome& got, const Arrays& a) {
  if (expected.complete != got.complete) return ::testing::AssertionFailure() << "complete: " << got.complete;
  if (expected.zeroDofs != got.zeroDofs) return ::testing::AssertionFailure() << "other suppressed dofs";
  if (expected.max != got.max || expected.min != got.min)
    return ::testing::AssertionFailure() << "other records";
  for (int j = 1; j <= a.n; ++j) {
    for (int k = a.end[j - 1]; k < a.end[j]; ++k) {
      if (!SameNumber(expected.value[k], got.value[k]))
        return ::testing::AssertionFailure() << "row " << j - (k - a.end[j - 1]) << " of column " << j
                                             << " is " << got.value[k] << ", not " << expected.value[k];
    }
  }
  return ::testing::AssertionSuccess();
}

std::vector<const skyline::BlockKernels*> AllKernels() {
  std::vector<const skyline::BlockKernels*> all{&skyline::BaselineBlockKernels()};
  if (skyline::Avx2BlockKernels()) all.push_back(skyline::Avx2BlockKernels());
  if (skyline::Avx512BlockKernels()) all.push_back(skyline::Avx512BlockKernels());
  return all;
}

/// Holds every kernel to the reference; returns what that gave.
Outcome Check(const Arrays& a, int option, const std::string& what, double zero = 1e-40) {
  SCOPED_TRACE(what + ", option " + std::to_string(option));
  const Outcome expected = Run(a, option, zero, [](double* v, const int* end, int n, skyline::Pivots& p) {
    return skyline::reference::Reduce(v, end, n, p);
  });
  const Outcome plain = Run(a, option, zero, [](double* v, const int* end, int n, skyline::Pivots& p) {
    return skyline::plain::ReduceColumns(v, end, 1, n, p);
  });
  EXPECT_TRUE(Same(expected, plain, a)) << "plain loops";
  for (const skyline::BlockKernels* kernels : AllKernels()) {
    const Outcome blocked = Run(a, option, zero, [&](double* v, const int* end, int n, skyline::Pivots& p) {
      return skyline::ReduceInBlocks(v, end, n, p, *kernels);
    });
    EXPECT_TRUE(Same(expected, blocked, a)) << kernels->name;
  }
  return expected;
}

/// Takes dof p out of the structure: its row and column are zero.
void Loosen(Arrays& a, int p) {
  for (int i = a.Top(p); i <= p; ++i) a.At(i, p) = 0.0;
  for (int j = p + 1; j <= a.n; ++j)
    if (a.Top(j) <= p) a.At(p, j) = 0.0;
}

const int kOptions[] = {0, 1, 2};

}  // namespace

TEST(SkylineKernels, EverySmallSizeIsTheReferenceToTheBit) {
  for (int n = 1; n <= 140; ++n) {
    for (int tallest : {1, 2, 3, 5, 9, 33, 140}) {
      const Arrays a = RandomArrays(n, 1, tallest, 100 * n + tallest);
      for (int option : kOptions)
        Check(a, option, "n " + std::to_string(n) + ", tallest " + std::to_string(tallest));
    }
  }
}

TEST(SkylineKernels, TallColumnsAroundTheBlockSizesAreTheReferenceToTheBit) {
  for (int n : {15, 16, 17, 31, 32, 33, 63, 64, 65, 66, 127, 128, 129, 191, 192, 193, 257, 400}) {
    for (int lowest : {20, 60, 400}) {
      const Arrays a = RandomArrays(n, lowest, 400, n + lowest);
      for (int option : kOptions) Check(a, option, "n " + std::to_string(n));
    }
  }
}

TEST(SkylineKernels, OneTallColumnAmongShortOnesAtEveryPlace) {
  const int n = 150;
  for (int p = 1; p <= n; ++p) {
    std::vector<int> height(n + 1, 2);
    for (int j = 1; j <= n; ++j) height[j] = std::min(j, j % 70 < 8 ? 40 : 2);
    height[p] = p;
    const Arrays a = MakeArrays(height, ts::FillProfile(height, p));
    Check(a, 0, "tall column " + std::to_string(p));
  }
}

TEST(SkylineKernels, SuppressedPivotAtEveryDof) {
  const Arrays whole = RandomArrays(150, 25, 80, 3);
  for (int p = 1; p <= whole.n; ++p) {
    Arrays a = whole;
    Loosen(a, p);

    const Outcome out = Check(a, 0, "dof " + std::to_string(p));

    EXPECT_EQ(out.zeroDofs, std::vector<int>{p});
    EXPECT_TRUE(out.complete);
  }
}

TEST(SkylineKernels, PivotBelowALargeThresholdZeroesItsRowAndColumn) {
  const Arrays whole = RandomArrays(130, 25, 80, 5);
  for (int p = 1; p <= whole.n; p += 3) {
    Arrays a = whole;
    a.At(p, p) = 1e-3;  // other terms of the row are not zero
    Check(a, 0, "dof " + std::to_string(p), 1.0);
  }
}

TEST(SkylineKernels, SeveralAndAllPivotsSuppressed) {
  Arrays a = RandomArrays(200, 30, 90, 7);
  for (int p : {1, 2, 3, 17, 64, 65, 66, 100, 199, 200}) Loosen(a, p);
  EXPECT_EQ(Check(a, 0, "ten dofs").zeroDofs.size(), 10u);
  EXPECT_EQ(Check(a, 0, "a threshold above all pivots", 1e30).zeroDofs.size(), 200u);
  std::fill(a.value.begin(), a.value.end(), 0.0);
  EXPECT_EQ(Check(a, 0, "a zero matrix").zeroDofs.size(), 200u);
}

TEST(SkylineKernels, ExactlyZeroPivotAtEveryDofBecomesNegative) {
  const Arrays whole = RandomArrays(150, 25, 80, 9);
  for (int p = 1; p <= whole.n; ++p) {
    Arrays a = whole;
    Loosen(a, p);
    for (int option : {1, 2}) EXPECT_EQ(Check(a, option, std::to_string(p)).value[a.end[p - 1]], -1e-16);
    EXPECT_EQ(Check(a, 0, std::to_string(p), 0.0).value[a.end[p - 1]], -1e-16);
  }
}

TEST(SkylineKernels, MultiplierGrowthAtEveryColumnLeavesTheStateOfThePlainLoops) {
  const Arrays whole = RandomArrays(150, 25, 80, 11);
  for (int p = 2; p <= whole.n; ++p) {
    for (int q : {p - 1, (whole.Top(p) + p) / 2, whole.Top(p)}) {
      if (q >= p) continue;
      Arrays a = whole;
      for (int i = a.Top(q); i < q; ++i) a.At(i, q) = 0.0;
      for (int j = q + 1; j < p; ++j)
        if (a.Top(j) <= q) a.At(q, j) = 0.0;
      a.At(q, q) = 1e-9;
      a.At(q, p) = 1.0;

      const Outcome out = Check(a, 1, "multiplier (" + std::to_string(p) + ", " + std::to_string(q) + ")");

      EXPECT_FALSE(out.complete);
      Check(a, 0, "the same in the stiffness mode");
    }
  }
}

TEST(SkylineKernels, MultiplierOfExactlyTenMillionPasses) {
  Arrays a = MakeArrays({0, 1, 2});
  a.At(1, 1) = 1.0;
  a.At(1, 2) = -1e7;
  a.At(2, 2) = 1.0;
  EXPECT_TRUE(Check(a, 1, "exactly").complete);
  a.At(1, 2) = std::nextafter(-1e7, -1e8);
  EXPECT_FALSE(Check(a, 1, "one bit more").complete);
}

TEST(SkylineKernels, ValuesThatAreNotFiniteStayWhereTheReferenceHasThem) {
  const Arrays whole = RandomArrays(140, 20, 70, 13);
  const double inf = std::numeric_limits<double>::infinity();
  for (double strange : {std::numeric_limits<double>::quiet_NaN(), inf, -inf}) {
    for (int p = 1; p <= whole.n; p += 5) {
      for (int q : {p, (whole.Top(p) + p) / 2, whole.Top(p)}) {
        Arrays a = whole;
        a.At(q, p) = strange;
        for (int option : kOptions)
          Check(a, option, std::to_string(strange) + " at " + std::to_string(q) + ", " + std::to_string(p));
      }
    }
  }
}

TEST(SkylineKernels, SuppressedDofIsListedOnceWhenItsBlockIsDoneAgain) {
  const Arrays whole = RandomArrays(140, 30, 70, 19);
  for (int p = 1; p < whole.n; ++p) {
    Arrays a = whole;
    Loosen(a, p);
    const int q = std::min(p + 5, a.n);
    a.At(q, q) = std::numeric_limits<double>::quiet_NaN();

    EXPECT_EQ(Check(a, 0, "dof " + std::to_string(p)).zeroDofs, std::vector<int>{p});
  }
}

TEST(SkylineKernels, OverflowUnderflowAndNegativeZeros) {
  for (double scale : {1e160, 1e300, 1e-160, 1e-300, 1e-310}) {
    Arrays a = RandomArrays(140, 20, 70, 15);
    for (double& v : a.value) v *= scale;
    for (int j = 1; j <= a.n; j += 2) a.At(a.Top(j), j) = -0.0;
    for (int option : kOptions) Check(a, option, std::to_string(scale));
    for (int j = 1; j <= a.n; ++j)
      if (a.Top(j) < j) a.At(a.Top(j), j) = 1e150;
    for (int option : kOptions) Check(a, option, std::to_string(scale) + " with large terms");
  }
}

TEST(SkylineKernels, ColumnsTallerThanTheFirstCache) {
  const Arrays a = RandomArrays(1100, 900, 1100, 17);
  Check(a, 0, "tall");
}
