// Panel factorisation at every instruction set against the reference: values, pivots, suppression, failures.
#include "kernels_support.h"

namespace {
using namespace Vessa::Matrix::kernels;
using namespace kerneltest;

class FactorFronts : public AtEveryLevel {};
INSTANTIATE_TEST_SUITE_P(Levels, FactorFronts, ::testing::Values(0, 1, 2), LevelName);

PivotRule Rule(int mode, double zeroStiff = 0.0) {
  PivotRule rule;
  rule.mode = mode;
  rule.zeroStiff = zeroStiff;
  return rule;
}

struct Result {
  Array f;
  std::vector<double> d;
  PivotStats stats;
  bool finished = false;
};

Result Fast(const Array& front, const PivotRule& rule, int first = 0) {
  Result r{front, std::vector<double>(static_cast<std::size_t>(front.columns)), {}, false};
  Workspace work;
  r.finished = FactorFront(r.f.Data(), r.f.ld, r.f.rows, r.f.columns, r.d.data(), rule, first, r.stats, work);
  return r;
}

Result Slow(const Array& front, const PivotRule& rule, int first = 0) {
  Result r{front, std::vector<double>(static_cast<std::size_t>(front.columns)), {}, false};
  r.finished =
      reference::FactorFront(r.f.Data(), r.f.ld, r.f.rows, r.f.columns, r.d.data(), rule, first, r.stats);
  return r;
}

void ExpectSame(const Result& fast, const Result& slow, int m) {
  ASSERT_TRUE(fast.finished);
  ASSERT_TRUE(slow.finished);
  EXPECT_TRUE(Close(fast.f.value, slow.f.value, 1e-14));
  EXPECT_TRUE(Close(fast.d, slow.d, 1e-14 * (m + 4)));
  EXPECT_EQ(fast.stats.numNegative, slow.stats.numNegative);
  EXPECT_EQ(fast.stats.suppressed, slow.stats.suppressed);
  EXPECT_EQ(fast.stats.minIndex, slow.stats.minIndex);
  EXPECT_EQ(fast.stats.maxIndex, slow.stats.maxIndex);
  EXPECT_EQ(fast.stats.failure, PivotFailure::None);
}

TEST_P(FactorFronts, MatchReferenceForEverySmallSize) {
  std::mt19937 generator(1);
  for (int k = 0; k <= 35; ++k)
    for (const int below : {0, 1, 7, 8, 9, 23, 24, 25, 50}) {
      SCOPED_TRACE("k " + std::to_string(k) + " below " + std::to_string(below));
      const int m = k + below;
      const Array front = DominantFront(m, k, generator, 3);
      ExpectSame(Fast(front, Rule(PivotRule::Indefinite), 5), Slow(front, Rule(PivotRule::Indefinite), 5), m);
    }
}

TEST_P(FactorFronts, MatchReferenceAroundTheBlockSizes) {
  std::mt19937 generator(2);
  for (const int k : {47, 48, 63, 64, 65, 95, 96, 97, 127, 128, 129, 200})
    for (const int below : {0, 1, 100}) {
      SCOPED_TRACE("k " + std::to_string(k) + " below " + std::to_string(below));
      const int m = k + below;
      for (const int mode : {0, 1, 2, 3}) {
        const Array front = DominantFront(m, k, generator, mode == 0 ? 0 : 5);
        ExpectSame(Fast(front, Rule(mode)), Slow(front, Rule(mode)), m);
      }
    }
}

TEST_P(FactorFronts, WideFrontHasASmallBackwardError) {
  std::mt19937 generator(3);
  const int m = 640, k = 600;
  const Array front = DominantFront(m, k, generator, 2);

  const Result r = Fast(front, Rule(PivotRule::Sturm));

  ASSERT_TRUE(r.finished);
  EXPECT_EQ(r.stats.numNegative, 300);
  double worst = 0.0;
  for (int j = 0; j < k; j += 7)
    for (int i = j; i < m; i += 5) {
      long double sum = 0.0;
      for (int p = 0; p <= j; ++p) sum += static_cast<long double>(r.f(i, p)) * r.d[p] * r.f(j, p);
      worst = std::max(worst, std::fabs(static_cast<double>(sum - front(i, j))));
    }
  EXPECT_LT(worst, 1e-12 * m);
}

TEST_P(FactorFronts, RowsBelowDoNotDependOnHowManyThereAre) {
  std::mt19937 generator(4);
  const int k = 75;
  const Array tall = DominantFront(k + 90, k, generator);
  const Result all = Fast(tall, Rule(0));
  for (const int below : {1, 8, 23, 24, 37}) {
    Array cut(k + below, k);
    for (int j = 0; j < k; ++j)
      for (int i = 0; i < cut.rows; ++i) cut(i, j) = tall(i, j);
    const Result part = Fast(cut, Rule(0));
    for (int j = 0; j < k; ++j)
      for (int i = j; i < cut.rows; ++i) ASSERT_EQ(part.f(i, j), all.f(i, j)) << i << ' ' << j;
  }
}

// Row and column of dof z follow from dof z−1 (or are alone when z = 0), so that its pivot cancels to about
// zero.
Array SingularAt(int z, int m, int k, std::mt19937& generator) {
  Array front = DominantFront(m, k, generator);
  for (int i = 0; i < m; ++i) {
    if (i < z) front(z, i) = 0.0;
    if (i > z) front(i, z) = 0.0;
  }
  front(z, z) = 0.0;
  return front;
}

TEST_P(FactorFronts, SuppressPivotsAtEveryPosition) {
  std::mt19937 generator(5);
  for (const int k : {1, 5, 8, 13, 32, 40, 70})
    for (int z = 0; z < k; ++z) {
      SCOPED_TRACE("k " + std::to_string(k) + " zero " + std::to_string(z));
      const int m = k + 11;
      const Array front = SingularAt(z, m, k, generator);

      const Result fast = Fast(front, Rule(PivotRule::Stiffness, 1e-9), 100);

      ExpectSame(fast, Slow(front, Rule(PivotRule::Stiffness, 1e-9), 100), m);
      EXPECT_EQ(fast.stats.suppressed, std::vector<int>{100 + z});
      EXPECT_EQ(fast.d[static_cast<std::size_t>(z)], 1.0);
    }
}

// A pivot below the threshold whose row and column are full: both must be taken out of the factor.
TEST_P(FactorFronts, SuppressedRowAndColumnAreZeroWhateverTheyHeld) {
  std::mt19937 generator(6);
  for (const int k : {3, 8, 20, 32, 45, 100})
    for (int z = 0; z < k; z += z < 34 ? 1 : 9) {
      SCOPED_TRACE("k " + std::to_string(k) + " zero " + std::to_string(z));
      const int m = k + 30;
      Array front = DominantFront(m, k, generator);
      const Result before = Slow(front, Rule(PivotRule::Indefinite));
      front(z, z) -= before.d[static_cast<std::size_t>(z)];  // its pivot becomes a rounding error

      const Result fast = Fast(front, Rule(PivotRule::Stiffness, 1e-6));

      ExpectSame(fast, Slow(front, Rule(PivotRule::Stiffness, 1e-6)), m);
      ASSERT_EQ(fast.stats.suppressed, std::vector<int>{z});
      for (int p = 0; p < z; ++p) EXPECT_EQ(fast.f(z, p), 0.0);
      for (int i = z + 1; i < m; ++i) EXPECT_EQ(fast.f(i, z), 0.0);
    }
}

TEST_P(FactorFronts, ManySuppressedPivotsAreAllListed) {
  std::mt19937 generator(16);
  const int k = 50, m = 60;
  Array front = DominantFront(m, k, generator);
  std::vector<int> zeros = {0, 1, 7, 8, 9, 31, 32, 33, 49};
  for (const int z : zeros) {
    for (int p = 0; p < z; ++p) front(z, p) = 0.0;
    for (int i = z; i < m; ++i) front(i, z) = 0.0;
  }

  const Result fast = Fast(front, Rule(PivotRule::Stiffness, 1e-40));

  ExpectSame(fast, Slow(front, Rule(PivotRule::Stiffness, 1e-40)), m);
  EXPECT_EQ(fast.stats.suppressed, zeros);
}

TEST_P(FactorFronts, ExactZeroPivotBecomesTheReplacementInTheModesOfAnySign) {
  std::mt19937 generator(17);
  for (const int mode : {1, 2, 3})
    for (int z = 0; z < 40; ++z) {
      const Array front = SingularAt(z, 50, 40, generator);

      const Result fast = Fast(front, Rule(mode));

      ExpectSame(fast, Slow(front, Rule(mode)), 50);
      EXPECT_EQ(fast.d[static_cast<std::size_t>(z)], zeroPivotReplacement);
      EXPECT_EQ(fast.stats.numNegative, 1);
      EXPECT_GT(fast.stats.minPivot, 1.0);
    }
}

TEST_P(FactorFronts, PositiveDefiniteModeFailsAtTheFirstPivotThatIsNotPositive) {
  std::mt19937 generator(18);
  for (const double pivot : {0.0, -3.0})
    for (int z = 0; z < 70; ++z) {
      Array front = SingularAt(z, 80, 70, generator);
      front(z, z) = pivot;
      if (z + 5 < 70) front(z + 5, z + 5) = -200.0;

      const Result fast = Fast(front, Rule(PivotRule::PositiveDefinite), 7);

      EXPECT_FALSE(fast.finished);
      EXPECT_EQ(fast.stats.failure, PivotFailure::NotPositive);
      EXPECT_EQ(fast.stats.failureIndex, 7 + z);
      EXPECT_EQ(fast.stats.failureValue, pivot);
    }
}

TEST_P(FactorFronts, GrowthFailsAtEveryPositionInSturmModeOnly) {
  std::mt19937 generator(19);
  for (const int k : {1, 6, 8, 20, 40, 66}) {
    const int m = k + 27;
    for (int z = 0; z < k; ++z)
      for (const int row : {z + 1, std::min(z + 9, m - 1), k, m - 1}) {
        if (row <= z) continue;
        SCOPED_TRACE("k " + std::to_string(k) + " column " + std::to_string(z) + " row " +
                     std::to_string(row));
        Array front = SingularAt(z, m, k, generator);
        front(z, z) = 1.0;
        front(row, z) = -2e7;

        const Result sturm = Fast(front, Rule(PivotRule::Sturm), 3);

        EXPECT_FALSE(sturm.finished);
        EXPECT_EQ(sturm.stats.failure, PivotFailure::Growth);
        EXPECT_EQ(sturm.stats.failureIndex, 3 + z);
        EXPECT_EQ(sturm.stats.failureValue, -2e7);
        EXPECT_TRUE(Fast(front, Rule(PivotRule::Indefinite)).finished);
      }
  }
}

TEST_P(FactorFronts, MultiplierOfExactlyTheLimitPasses) {
  for (const int k : {2, 9, 40}) {
    Array front(k + 1, k);
    for (int j = 0; j < k; ++j)
      for (int i = j; i <= k; ++i) front(i, j) = i == j ? 1.0 : 0.0;
    front(k, k - 1) = 1e7;
    EXPECT_TRUE(Fast(front, Rule(PivotRule::Sturm)).finished);
    front(k, k - 1) = std::nextafter(1e7, 2e7);
    EXPECT_FALSE(Fast(front, Rule(PivotRule::Sturm)).finished);
  }
}

// A column with growth before a pivot that is not finite: the earlier column is the one reported.
TEST_P(FactorFronts, TheEarlierOfTwoFailuresIsReported) {
  std::mt19937 generator(20);
  for (const int z : {0, 3, 9, 35}) {
    Array front = SingularAt(z, 60, 40, generator);
    front(z, z) = 1.0;
    front(59, z) = 3e7;
    front(z + 2, z + 2) = Poison();

    const Result fast = Fast(front, Rule(PivotRule::Sturm));

    EXPECT_EQ(fast.stats.failure, PivotFailure::Growth);
    EXPECT_EQ(fast.stats.failureIndex, z);
  }
}

TEST_P(FactorFronts, NotANumberOrInfinityOnTheDiagonalFailsInEveryModeAtItsColumn) {
  std::mt19937 generator(21);
  for (const double bad : {Poison(), HUGE_VAL, -HUGE_VAL})
    for (const int mode : {0, 1, 2, 3})
      for (int z = 0; z < 45; ++z) {
        Array front = DominantFront(50, 45, generator);
        front(z, z) = bad;

        const Result fast = Fast(front, Rule(mode, 1e-40));

        EXPECT_FALSE(fast.finished) << "mode " << mode << " column " << z;
        EXPECT_EQ(fast.stats.failure, PivotFailure::NotFinite);
        EXPECT_EQ(fast.stats.failureIndex, z);
      }
}

TEST_P(FactorFronts, NotANumberOffTheDiagonalReachesThePivotOfItsRow) {
  std::mt19937 generator(22);
  for (const int mode : {0, 1, 2, 3})
    for (const int column : {0, 5, 8, 31, 32, 60})
      for (const int row : {61, 64, 69}) {
        Array front = DominantFront(70, 70, generator);
        front(row, column) = Poison();

        const Result fast = Fast(front, Rule(mode, 1e-40));

        EXPECT_FALSE(fast.finished) << "mode " << mode << " entry " << row << ' ' << column;
        EXPECT_EQ(fast.stats.failure, PivotFailure::NotFinite);
        EXPECT_EQ(fast.stats.failureIndex, row);
      }
}

// A suppressed column must not hide a number that is not finite in one of its rows.
TEST_P(FactorFronts, NotANumberInASuppressedColumnIsNotHidden) {
  std::mt19937 generator(23);
  for (int z = 0; z < 40; z += 3) {
    Array front = SingularAt(z, 45, 45, generator);
    front(44, z) = Poison();

    const Result fast = Fast(front, Rule(PivotRule::Stiffness, 1e-9));

    EXPECT_FALSE(fast.finished);
    EXPECT_EQ(fast.stats.failureIndex, 44);
  }
}

TEST(PivotStatsMerge, DoesNotDependOnTheOrder) {
  PivotStats a, b;
  a.minPivot = 2, a.minIndex = 5, a.maxPivot = 9, a.maxIndex = 6, a.suppressed = {8}, a.numNegative = 1;
  b.minPivot = 2, b.minIndex = 3, b.maxPivot = 9, b.maxIndex = 7, b.suppressed = {2, 4}, b.numNegative = 2;
  b.failure = PivotFailure::Growth, b.failureIndex = 4;
  PivotStats ab = a, ba = b;

  ab.Merge(b);
  ba.Merge(a);

  for (const PivotStats& s : {ab, ba}) {
    EXPECT_EQ(s.minIndex, 3);
    EXPECT_EQ(s.maxIndex, 6);
    EXPECT_EQ(s.numNegative, 3);
    EXPECT_EQ(s.suppressed, (std::vector<int>{2, 4, 8}));
    EXPECT_EQ(s.failureIndex, 4);
  }
}

}  // namespace
