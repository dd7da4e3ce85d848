#include "sparse/SymmetricLdlt.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <numeric>
#include <thread>
#include <utility>

#include "LdltMatrices.h"
#include "sparse/numeric/SpareArray.h"

using namespace Vessa::Matrix::sparse;
using namespace ldlt_test;

namespace {

constexpr double kBackwardError = 1e-14;

SymmetricLdlt Analysed(const LowerColumns& a, int threads = 1) {
  SymmetricLdlt solver;
  EXPECT_EQ(solver.Analyse(a.n, a.start.data(), a.row.data(), Triangle::Lower, threads), LdltStatus::Ok)
      << solver.Message();
  return solver;
}

SymmetricLdlt Factorised(const LowerColumns& a, PivotMode mode, double threshold = 0.0, int threads = 1) {
  SymmetricLdlt solver = Analysed(a, threads);
  EXPECT_EQ(solver.Factorize(a.value.data(), mode, threshold, threads), LdltStatus::Ok) << solver.Message();
  return solver;
}

std::vector<double> Loads(int n, int numRhs) {
  std::vector<double> b(static_cast<std::size_t>(n) * numRhs);
  for (std::size_t k = 0; k < b.size(); ++k)
    b[k] = 1.0 + static_cast<double>((7 * k) % 11) - 3.0 * static_cast<double>(k % 2);
  return b;
}

/// Largest backward error over numRhs solutions.
double SolutionError(const LowerColumns& a, const SymmetricLdlt& solver, int numRhs, int threads = 1) {
  const std::vector<double> b = Loads(a.n, numRhs);
  std::vector<double> x = b;
  EXPECT_EQ(solver.Solve(x.data(), numRhs, a.n, threads), LdltStatus::Ok);
  double worst = 0.0;
  for (int c = 0; c < numRhs; ++c) {
    const std::size_t at = static_cast<std::size_t>(c) * a.n;
    worst = std::max(worst, BackwardError(a, x.data() + at, b.data() + at));
  }
  return worst;
}

int ReferenceNegatives(const LowerColumns& a) {
  std::vector<int> order(a.n);
  std::iota(order.begin(), order.end(), 0);
  SimplicialFactor factor;
  EXPECT_EQ(FactorizeSimplicial(a, order, PivotMode::Indefinite, 0.0, factor), LdltStatus::Ok);
  return factor.record.numNegative;
}

void ExpectSolves(const LowerColumns& a, bool definite, const std::string& what) {
  SCOPED_TRACE(what);
  const SymmetricLdlt solver = Factorised(a, definite ? PivotMode::PositiveDefinite : PivotMode::Sturm);
  EXPECT_EQ(solver.NumNegative(), ReferenceNegatives(a));
  EXPECT_EQ(solver.Pivots().numFinished, a.n);
  for (int numRhs : {1, 3})
    EXPECT_LT(SolutionError(a, solver, numRhs), kBackwardError * std::sqrt(a.n + 1.0));
}

LowerColumns Arrow(int n, bool pointsDown) {
  std::vector<std::vector<double>> a(n, std::vector<double>(n, 0.0));
  for (int i = 0; i < n; ++i) a[i][i] = 2.0 + i % 3;
  const int tip = pointsDown ? n - 1 : 0;
  for (int i = 0; i < n; ++i) {
    if (i != tip) a[i][tip] = a[tip][i] = 1.0;
  }
  a[tip][tip] = 2.0 * n;
  return FromDense(a);
}

}  // namespace

TEST(SymmetricLdlt, AllPatternsUpToFiveDofsOfEitherKind) {
  for (int n = 1; n <= 5; ++n) {
    const int pairs = n * (n - 1) / 2;
    for (int pattern = 0; pattern < (1 << pairs); ++pattern) {
      for (bool definite : {true, false}) {
        std::vector<std::vector<double>> a(n, std::vector<double>(n, 0.0));
        for (int j = 0, bit = 0; j < n; ++j) {
          for (int i = j + 1; i < n; ++i, ++bit) a[i][j] = (pattern >> bit) & 1 ? 0.3 + 0.1 * bit : 0.0;
          a[j][j] = (definite || j % 2 == 0 ? 1.0 : -1.0) * (5.0 + j);
        }
        ExpectSolves(FromDense(a), definite,
                     "n " + std::to_string(n) + " pattern " + std::to_string(pattern));
      }
    }
  }
}

TEST(SymmetricLdlt, RandomMatricesUpToSixtyDofs) {
  for (int n = 6; n <= 60; n += 3) {
    for (double density : {0.0, 0.02, 0.1, 0.4, 1.0}) {
      for (bool definite : {true, false}) {
        ExpectSolves(Random(n, density, definite, 17u * n + static_cast<unsigned>(100 * density)), definite,
                     "n " + std::to_string(n) + " density " + std::to_string(density));
      }
    }
  }
}

TEST(SymmetricLdlt, DenseFrontsAroundThePanelWidth) {
  for (int n : {31, 32, 33, 127, 128, 129, 255, 257, 385})
    ExpectSolves(Random(n, 1.0, n % 2 == 0, n), n % 2 == 0, "n " + std::to_string(n));
}

TEST(SymmetricLdlt, ArrowsDiagonalsAndDenseRows) {
  for (int n : {2, 10, 400}) {
    ExpectSolves(Arrow(n, true), true, "down");
    ExpectSolves(Arrow(n, false), true, "up");
    ExpectSolves(Random(std::min(n, 500), 0.0, false, 3), false, "diagonal");
  }
}

TEST(SymmetricLdlt, BlocksOfAnyNumberOfVectors) {
  const LowerColumns a = FromModel(vematrix::models::makeModel("brick:5"));
  const SymmetricLdlt solver = Factorised(a, PivotMode::PositiveDefinite);

  for (int numRhs : {1, 2, 7, 8, 9, 16, 20, 24, 25, 49}) {
    EXPECT_LT(SolutionError(a, solver, numRhs), kBackwardError * std::sqrt(a.n)) << numRhs;
  }
}

TEST(SymmetricLdlt, SolvesColumnsThatLieApart) {
  const LowerColumns a = Random(30, 0.2, true, 5);
  const SymmetricLdlt solver = Factorised(a, PivotMode::PositiveDefinite);
  std::vector<double> x(2 * 40, -7.0);
  std::fill(x.begin(), x.begin() + 30, 1.0);
  std::fill(x.begin() + 40, x.begin() + 70, 1.0);

  solver.Solve(x.data(), 2, 40);

  for (int i = 0; i < 30; ++i) EXPECT_EQ(x[i], x[40 + i]);
  for (int i = 30; i < 40; ++i) EXPECT_EQ(x[i], -7.0);
}

TEST(SymmetricLdlt, NoDofs) {
  SymmetricLdlt solver;
  const int start = 0;

  EXPECT_EQ(solver.Analyse(0, &start, nullptr), LdltStatus::Ok);
  EXPECT_EQ(solver.Analyse(0, nullptr, nullptr), LdltStatus::Ok);
  EXPECT_EQ(solver.Factorize(nullptr, PivotMode::PositiveDefinite), LdltStatus::Ok);
  EXPECT_EQ(solver.Solve(nullptr, 1, 0), LdltStatus::Ok);
}

TEST(SymmetricLdlt, EmptyColumnsAreZeroPivots) {
  LowerColumns a;
  a.n = 3;
  a.start = {0, 0, 1, 1};
  a.row = {1};
  a.value = {4.0};

  const SymmetricLdlt solver = Factorised(a, PivotMode::Stiffness, 1e-40);

  EXPECT_EQ(solver.Pivots().suppressed, (std::vector<int>{1, 3}));
  std::vector<double> x{5.0, 8.0, 6.0};
  solver.Solve(x.data(), 1, 3);
  EXPECT_EQ(x, (std::vector<double>{5.0, 2.0, 6.0}));
}

TEST(SymmetricLdlt, SameBitsAtAnyNumberOfThreads) {
  for (const char* name : {"brick:11", "frame:4:4:6", "bar:3:60"}) {
    const LowerColumns a = FromModel(vematrix::models::makeModel(name));
    std::vector<double> first, firstBlock;
    for (int threads : {1, 2, 3, 5}) {
      const SymmetricLdlt solver = Factorised(a, PivotMode::Sturm, 0.0, threads);
      std::vector<double> x = Loads(a.n, 1), block = Loads(a.n, 5);
      solver.Solve(x.data(), 1, a.n, threads);
      solver.Solve(block.data(), 5, a.n, threads);
      if (threads == 1) {
        first = x;
        firstBlock = block;
      }
      EXPECT_EQ(std::memcmp(x.data(), first.data(), x.size() * sizeof(double)), 0) << name << ' ' << threads;
      EXPECT_EQ(std::memcmp(block.data(), firstBlock.data(), block.size() * sizeof(double)), 0)
          << name << ' ' << threads;
    }
  }
}

TEST(SymmetricLdlt, SupportedModelsHaveSmallBackwardErrors) {
  for (const char* name : {"brick:9", "bar:4:40", "frame:3:4:7"}) {
    const LowerColumns a = FromModel(vematrix::models::makeModel(name));
    const SymmetricLdlt solver = Factorised(a, PivotMode::PositiveDefinite, 0.0, 2);

    EXPECT_EQ(solver.NumNegative(), 0);
    EXPECT_LT(SolutionError(a, solver, 2, 2), kBackwardError * std::sqrt(a.n)) << name;
  }
}

TEST(SymmetricLdlt, PositiveDefiniteModeStopsAtAPivotThatIsNot) {
  LowerColumns a = Random(40, 0.1, true, 8);
  a.value[a.start[20]] = -3.0;

  SymmetricLdlt solver = Analysed(a);

  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::PositiveDefinite), LdltStatus::PivotFailed);
  EXPECT_FALSE(solver.IsFactorised());
  EXPECT_LT(solver.Pivots().numFinished, a.n);
  EXPECT_GT(solver.Pivots().failedDof, 0);
  EXPECT_EQ(solver.Solve(nullptr, 1, a.n), LdltStatus::NotFactorised);
}

TEST(SymmetricLdlt, NotFiniteTermsAreNamed) {
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    LowerColumns a = Random(10, 0.5, true, 2);
    a.value[a.start[3]] = bad;
    SymmetricLdlt solver = Analysed(a);

    EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::Sturm), LdltStatus::NotFinite);
    EXPECT_EQ(solver.Message(), "the matrix holds a NaN or infinity at (4, 4)");
  }
}

TEST(SymmetricLdlt, OverflowDuringEliminationIsAFailure) {
  const LowerColumns a = FromDense({{1e-300, 1e200}, {1e200, 1.0}});
  SymmetricLdlt solver = Analysed(a);

  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::Indefinite), LdltStatus::NotFinite);
}

TEST(SymmetricLdlt, SuppressedDofsMatchTheReferenceAndLeaveTheRestSolvable) {
  // A chain, a loose dof and a mass hanging on nothing but a zero column, in several places.
  for (int loose : {0, 7, 19}) {
    LowerColumns a = Random(20, 0.3, true, 40u + loose);
    for (int j = 0; j < a.n; ++j) {
      for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
        if (j == loose || a.row[t] == loose) a.value[t] = 0.0;
      }
    }
    const SymmetricLdlt solver = Factorised(a, PivotMode::Stiffness, 1e-40);

    EXPECT_EQ(solver.Pivots().suppressed, std::vector<int>{loose + 1});
    EXPECT_EQ(solver.NumNegative(), 0);
    std::vector<double> b = Loads(a.n, 1), x = b;
    solver.Solve(x.data(), 1, a.n);
    EXPECT_EQ(x[loose], b[loose]);
    x[loose] = b[loose] = 0.0;
    EXPECT_LT(BackwardError(a, x.data(), b.data()), 1e-13);
  }
}

TEST(SymmetricLdlt, ARigidBodyIsSuppressedAtARaisedThreshold) {
  const LowerColumns a = FromModel(vematrix::models::makeModel("brick:3:free"));
  double largest = 0.0;
  for (double v : a.value) largest = std::max(largest, std::fabs(v));

  const SymmetricLdlt solver = Factorised(a, PivotMode::Stiffness, 1e-10 * largest);

  EXPECT_EQ(solver.Pivots().suppressed.size(), 6u);
  // Loads in balance: the elastic part of the answer is right whatever the six held dofs do.
  std::vector<double> x(a.n, 1.0), b(a.n, 0.0);
  for (int i = 0; i < a.n; ++i) x[i] = (i * 37 % 11) - 5.0;
  for (int j = 0; j < a.n; ++j) {
    for (int t = a.start[j]; t < a.start[j + 1]; ++t) {
      b[a.row[t]] += a.value[t] * x[j];
      if (a.row[t] != j) b[j] += a.value[t] * x[a.row[t]];
    }
  }
  std::vector<double> y = b;
  for (int dof : solver.Pivots().suppressed) y[dof - 1] = 0.0;
  solver.Solve(y.data(), 1, a.n);
  EXPECT_LT(BackwardError(a, y.data(), b.data()), 1e-11);
}

TEST(SymmetricLdlt, MultiplierGrowthEndsTheSturmModeOnly) {
  const LowerColumns a = FromDense({{1e-9, 1.0}, {1.0, 1e-9}});
  SymmetricLdlt solver = Analysed(a);

  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::Sturm), LdltStatus::GrowthFailed);
  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::Indefinite), LdltStatus::Ok);
  EXPECT_EQ(solver.NumNegative(), 1);
}

TEST(SymmetricLdlt, IndefiniteModeRaisesSmallPivotsAndRefinementMakesUpForIt) {
  const LowerColumns a = FromDense({{0.0, 1.0, 0.0}, {1.0, 0.0, 0.0}, {0.0, 0.0, -1e-20}});
  const SymmetricLdlt solver = Factorised(a, PivotMode::Indefinite, 1e-13);

  EXPECT_EQ(solver.NumNegative(), 2);
  EXPECT_EQ(solver.Pivots().numReplaced, 2);
  const double b[] = {1.0, 2.0, 0.0};
  double x[3];
  EXPECT_EQ(solver.SolveRefined(a.value.data(), b, x, 1, 3, 2), LdltStatus::Ok);
  EXPECT_NEAR(x[0], 2.0, 1e-12);
  EXPECT_NEAR(x[1], 1.0, 1e-12);
}

TEST(SymmetricLdlt, AMultiplierOfExactlyTheLimitPasses) {
  const LowerColumns a = FromDense({{1.0, 1e7, 0.0}, {1e7, 1.0, 0.0}, {0.0, 0.0, 1.0}});
  SymmetricLdlt solver = Analysed(a);

  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::Sturm), LdltStatus::Ok);
}

TEST(SymmetricLdlt, APatternThatIsKnownIsNotAnalysedAgain) {
  LowerColumns a = Random(50, 0.1, true, 12);
  SymmetricLdlt solver = Factorised(a, PivotMode::PositiveDefinite);
  const SymmetricLdlt copy = solver;

  EXPECT_EQ(solver.Analyse(a.n, a.start.data(), a.row.data()), LdltStatus::Ok);
  EXPECT_TRUE(solver.IsFactorised());
  for (double& v : a.value) v *= 2.0;
  EXPECT_EQ(solver.Factorize(a.value.data(), PivotMode::PositiveDefinite), LdltStatus::Ok);

  std::vector<double> x(a.n, 2.0), y(a.n, 1.0);
  solver.Solve(x.data(), 1, a.n);
  copy.Solve(y.data(), 1, a.n);  // the copy still has the factor of the old values
  EXPECT_EQ(x, y);
}

TEST(SymmetricLdlt, BadPatternsAreRefusedWithTheFactsAndChangeNothing) {
  const LowerColumns a = Random(10, 0.3, true, 1);
  SymmetricLdlt solver = Factorised(a, PivotMode::PositiveDefinite);
  const int start[] = {0, 1, 2}, outside[] = {0, 2}, above[] = {0, 0}, falling[] = {0, 2, 1},
            late[] = {1, 1, 1};

  EXPECT_EQ(solver.Analyse(2, start, outside), LdltStatus::BadInput);
  EXPECT_EQ(solver.Message(), "column 2 stores row 3 of 2");
  EXPECT_EQ(solver.Analyse(2, start, above), LdltStatus::BadInput);
  EXPECT_EQ(solver.Message(), "column 2 stores row 1, above the diagonal; expected the lower triangle only");
  EXPECT_EQ(solver.Analyse(2, falling, above), LdltStatus::BadInput);
  EXPECT_EQ(solver.Analyse(2, late, above), LdltStatus::BadInput);
  EXPECT_EQ(solver.Analyse(-1, start, above), LdltStatus::BadInput);
  EXPECT_TRUE(solver.IsFactorised());
  EXPECT_EQ(solver.NumDof(), 10);
}

TEST(SymmetricLdlt, RefinementImprovesAndNeverSpoils) {
  LowerColumns a = FromModel(vematrix::models::makeModel("bar:2:40"));
  const SymmetricLdlt solver = Factorised(a, PivotMode::Indefinite);
  const std::vector<double> b = Loads(a.n, 2);
  std::vector<double> plain = b, refined(b.size());
  solver.Solve(plain.data(), 2, a.n);

  int steps = -1;
  EXPECT_EQ(solver.SolveRefined(a.value.data(), b.data(), refined.data(), 2, a.n, 2, 1, &steps),
            LdltStatus::Ok);

  EXPECT_GE(steps, 0);
  EXPECT_LE(steps, 2);
  EXPECT_LE(BackwardError(a, refined.data(), b.data()), BackwardError(a, plain.data(), b.data()));
}

TEST(SpareArray, KeepsTheLargestThatIsWithinTheLimit) {
  SpareArray spare;
  double* const first = [&] {
    Vessa::Matrix::math::LargeArray array = spare.Take(100);
    double* const data = array.Data();
    spare.GiveBack(std::move(array), 100);
    return data;
  }();

  Vessa::Matrix::math::LargeArray again = spare.Take(60), another = spare.Take(60);
  EXPECT_EQ(again.Data(), first) << "large enough";
  EXPECT_NE(another.Data(), first) << "taken already";
  spare.GiveBack(std::move(again), 99);
  EXPECT_EQ(spare.Take(1).Count(), 1u) << "beyond the limit";
  spare.GiveBack(std::move(another), 99);
  EXPECT_EQ(spare.Take(61).Count(), 61u) << "too small";
}

TEST(SymmetricLdlt, SolvesDoNotSeeWhatEarlierOnesLeftBehind) {
  const LowerColumns a = FromModel(vematrix::models::makeModel("bar:2:40"));
  const SymmetricLdlt solver = Factorised(a, PivotMode::Indefinite);
  const std::vector<double> b = Loads(a.n, 20);
  std::vector<double> expected = b;
  solver.Solve(expected.data(), 20, a.n);

  for (const int before : {1, 3, 20, 24}) {
    std::vector<double> spoilt(static_cast<std::size_t>(a.n) * before,
                               std::numeric_limits<double>::quiet_NaN());
    solver.Solve(spoilt.data(), before, a.n);
    std::vector<double> x = b;
    solver.Solve(x.data(), 20, a.n);

    EXPECT_EQ(x, expected) << "after a block of " << before;
  }
}

TEST(SymmetricLdlt, SolutionsDoNotDependOnHowManyAreSolvedForTogether) {
  const LowerColumns a = FromModel(vematrix::models::makeModel("brick:9"));
  const SymmetricLdlt solver = Factorised(a, PivotMode::Indefinite, 0.0, 2);
  const std::vector<double> b = Loads(a.n, 230);
  std::vector<double> expected = b;
  for (int c = 0; c < 230; c += 2)
    solver.Solve(expected.data() + static_cast<std::ptrdiff_t>(c) * a.n, 2, a.n);

  for (const int count : {2, 8, 24, 25, 32, 33, 40, 57, 100, 104, 105, 230}) {
    std::vector<double> x(b.begin(), b.begin() + static_cast<std::ptrdiff_t>(count) * a.n);
    ASSERT_EQ(solver.Solve(x.data(), count, a.n, 2), LdltStatus::Ok);

    EXPECT_TRUE(std::equal(x.begin(), x.end(), expected.begin())) << count << " together";
  }
}

TEST(SymmetricLdlt, SeveralThreadsMaySolveWithOneFactor) {
  const LowerColumns a = FromModel(vematrix::models::makeModel("bar:2:40"));
  const SymmetricLdlt solver = Factorised(a, PivotMode::Indefinite);
  const std::vector<double> b = Loads(a.n, 5);
  std::vector<double> expected = b;
  solver.Solve(expected.data(), 5, a.n);
  std::vector<std::vector<double>> x(3, b);

  std::vector<std::thread> threads;
  for (std::vector<double>& own : x)
    threads.emplace_back([&] {
      for (int k = 0; k < 20; ++k) {
        own = b;
        solver.Solve(own.data(), 5, a.n);
      }
    });
  for (std::thread& thread : threads) thread.join();

  for (const std::vector<double>& own : x) EXPECT_EQ(own, expected);
}

TEST(SymmetricLdlt, PredictionCountsTheFactorOfATridiagonalMatrixExactly) {
  std::vector<std::vector<double>> t(30, std::vector<double>(30, 0.0));
  for (int i = 0; i < 30; ++i) {
    t[i][i] = 2.0;
    if (i > 0) t[i][i - 1] = -1.0;
  }
  const SymmetricLdlt solver = Analysed(FromDense(t));

  EXPECT_EQ(solver.Prediction().factorTerms, 30 + 29);
  EXPECT_EQ(solver.Prediction().operations, 29.0 * 4 + 1);
  EXPECT_GE(solver.Prediction().storedTerms, 59);
  EXPECT_GE(solver.Prediction().peakBytes, solver.Prediction().factorBytes);
}
