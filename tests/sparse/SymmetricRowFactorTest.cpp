#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "models/Registry.h"
#include "sparse/CSymmetricRow.h"
#include "sparse/SymmetricRowFixture.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"
#include "support/ScaledError.h"
#include "support/TrussGrid.h"

using namespace Vessa::Matrix;
using namespace test_support;

namespace {

// The layout straight from its definition: (i,j) is in U when A holds it or an earlier row holds both
// columns.
std::vector<std::vector<bool>> PatternByDefinition(int n, const std::vector<Term>& terms) {
  std::vector<std::vector<bool>> u(n + 1, std::vector<bool>(n + 1, false));
  for (const Term& t : terms) u[t.i][t.j] = true;
  for (int k = 1; k <= n; ++k)
    for (int i = k + 1; i <= n; ++i)
      for (int j = i; j <= n; ++j)
        if (u[k][i] && u[k][j]) u[i][j] = true;
  return u;
}

std::vector<double> Solved(const CSymmetricRow& u, const std::vector<double>& b) {
  CVector x(static_cast<int>(b.size()));
  for (int i = 1; i <= x.Size(); ++i) x[i] = b[i - 1];
  EXPECT_TRUE(u.BackSubs(x));
  return std::vector<double>(x.Array(), x.Array() + x.Size());
}

void CheckEverything(int n, const std::vector<Term>& terms, const std::string& what) {
  SCOPED_TRACE(what);
  const CSymmetricRow a = RowMatrix(n, terms);
  RowFactors f = BothFactors(a);

  ASSERT_TRUE(Identical(f.fast, f.slow));
  const auto pattern = PatternByDefinition(n, terms);
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= n; ++j) ASSERT_EQ(f.fast.Exist(i, j), pattern[i][j]) << i << "," << j;

  const Ldlt dense = FactorWithoutPivoting(DenseOf(n, terms));
  ASSERT_TRUE(dense.ok);
  for (int i = 1; i <= n; ++i)
    for (int j = i; j <= n; ++j) {
      const double u = static_cast<double>(dense.l(j - 1, i - 1) * std::sqrt(dense.d[i - 1]));
      ASSERT_NEAR(f.fast.GetAt(i, j), u, 1e-11 * (1.0 + std::fabs(u))) << i << "," << j;
    }

  f.fast.StoreFirstRow();
  const std::vector<double> b = RandomVector(n, 99), x = Solved(f.fast, b);
  EXPECT_TRUE(Solves(n, terms, x.data(), b.data()));
  EXPECT_EQ(Solved(f.slow, b), x) << "without StoreFirstRow";
}

}  // namespace

TEST(SymmetricRowFactor, OfAMatrixWorkedByHand) {
  const std::vector<Term> terms = {{1, 1, 4}, {1, 2, 2}, {1, 3, 6}, {2, 2, 5}, {2, 3, 3}, {3, 3, 14}};

  const RowFactors f = BothFactors(RowMatrix(3, terms));

  const double expected[6] = {2, 1, 3, 2, 0, std::sqrt(5.0)};
  int k = 0;
  for (int i = 1; i <= 3; ++i)
    for (int j = i; j <= 3; ++j) EXPECT_DOUBLE_EQ(f.fast.GetAt(i, j), expected[k++]);
}

TEST(SymmetricRowFactor, RandomPatterns) {
  for (int n = 2; n <= 60; n += 7)
    for (int perRow : {1, 3, 8}) CheckEverything(n, RandomSpd(n, perRow, 10 * n + perRow), std::to_string(n));
}

TEST(SymmetricRowFactor, RandomProfiles) {
  for (unsigned seed = 1; seed <= 5; ++seed)
    CheckEverything(50, FillProfile(RandomProfile(50, 12, seed), seed), "seed " + std::to_string(seed));
}

TEST(SymmetricRowFactor, Trusses) {
  for (auto [nx, ny] : {std::pair{1, 1}, {4, 2}, {7, 3}}) {
    const TrussGrid truss(nx, ny);
    CheckEverything(truss.n, truss.terms, std::to_string(nx) + " bays");
  }
}

TEST(SymmetricRowFactor, StructuresOfTheHostHaveIdenticalFactorsAndSmallResiduals) {
  for (const char* name : {"brick:3", "plate:6:6", "frame:2:1:2", "truss:6", "shell:3:3", "cantilever:20"}) {
    SCOPED_TRACE(name);
    const vematrix::models::Model model = vematrix::models::makeModel(name);
    const int n = model.numDofs();
    vematrix::models::SymmetricTerms sums = model.stiffnessTerms();
    sums.sumDuplicates();
    std::vector<Term> terms;
    for (std::size_t k = 0; k < sums.size(); ++k) terms.push_back({sums.row[k], sums.col[k], sums.value[k]});

    RowFactors f = BothFactors(RowMatrix(n, terms));
    f.fast.StoreFirstRow();
    const std::vector<double> b = RandomVector(n, 7), x = Solved(f.fast, b);

    EXPECT_TRUE(Identical(f.fast, f.slow));
    EXPECT_TRUE(Solves(n, terms, x.data(), b.data()));
  }
}

TEST(SymmetricRowFactor, ArrowWithFullFirstRowFillsTheTriangle) {
  const int n = 9;
  std::vector<Term> terms;
  for (int i = 1; i <= n; ++i) terms.push_back({i, i, 20.0});
  for (int j = 2; j <= n; ++j) terms.push_back({1, j, 1.0});

  CSymmetricRow u;
  u.SymbolicFactorization(RowMatrix(n, terms));

  EXPECT_EQ(u.Size(), n * (n + 1) / 2);
  CheckEverything(n, terms, "first row");
}

TEST(SymmetricRowFactor, ArrowWithFullLastColumnHasNoFill) {
  const int n = 9;
  std::vector<Term> terms;
  for (int i = 1; i <= n; ++i) terms.push_back({i, i, 20.0});
  for (int i = 1; i < n; ++i) terms.push_back({i, n, 1.0});

  CSymmetricRow u;
  u.SymbolicFactorization(RowMatrix(n, terms));

  EXPECT_EQ(u.Size(), 2 * n - 1);
  CheckEverything(n, terms, "last column");
}

TEST(SymmetricRowFactor, DiagonalMatrixTakesRootsAndDividesTwice) {
  CSymmetricRow u;
  const CSymmetricRow a = RowMatrix(3, {{1, 1, 4}, {2, 2, 9}, {3, 3, 16}});
  u.SymbolicFactorization(a);
  u.Factorization(a);
  u.StoreFirstRow();

  EXPECT_EQ(u.Size(), 3);
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(u.GetAt(i, i), i + 1.0);
  const std::vector<double> x = Solved(u, {8, 27, 64});
  EXPECT_EQ(x, (std::vector<double>{2, 3, 4}));
}

TEST(SymmetricRowFactor, NoDofs) {
  CSymmetricRow a, u(5);
  CVector x;
  a.StoreFirstRow();

  EXPECT_TRUE(u.SymbolicFactorization(a));
  EXPECT_EQ(u.NumDof(), 0);
  EXPECT_EQ(u.Skyline(), 0);
  EXPECT_TRUE(u.Factorization(a));
  EXPECT_TRUE(u.SlowFactorization(a));
  EXPECT_TRUE(u.BackSubs(x));
  EXPECT_TRUE(u.BackSubs(CVector(), x));
  EXPECT_EQ(x.Size(), 0);
}

TEST(SymmetricRowFactor, OneDof) {
  CheckEverything(1, {{1, 1, 9}}, "n = 1");
}

TEST(SymmetricRowFactor, NegativePivotGivesNaNThatSpreadsAlikeInBothStages) {
  const std::vector<Term> terms = {{1, 1, 1}, {1, 2, 2}, {2, 2, 1}, {2, 3, 1}, {3, 3, 5}};

  const RowFactors f = BothFactors(RowMatrix(3, terms));

  EXPECT_TRUE(std::isnan(f.fast.GetAt(2, 2)));
  EXPECT_TRUE(std::isnan(f.fast.GetAt(3, 3)));
  EXPECT_TRUE(Identical(f.fast, f.slow));
}

TEST(SymmetricRowFactor, ZeroPivotGivesZeroAndInfinities) {
  const RowFactors f = BothFactors(RowMatrix(2, {{1, 1, 0}, {1, 2, 1}, {2, 2, 1}}));

  EXPECT_EQ(f.fast.GetAt(1, 1), 0.0);
  EXPECT_TRUE(std::isinf(f.fast.GetAt(1, 2)));
  EXPECT_TRUE(Identical(f.fast, f.slow));
}

TEST(SymmetricRowFactor, NotesAreKeptToTheLetter) {
  CReport report;
  CSymmetricRow u;
  u.SetLog(&report);
  const CSymmetricRow a = RowMatrix(2, {{1, 1, 4}, {2, 2, 9}});
  CVector x(2, 1.0), y;

  u.SymbolicFactorization(a);
  EXPECT_EQ(report.Note(), "Symbolic Factorization");
  u.SlowFactorization(a);
  EXPECT_EQ(report.Note(), "Factorization");
  report.Note("");
  u.Factorization(a);
  EXPECT_EQ(report.Note(), "Factorization");
  u.BackSubs(x, y);
  EXPECT_EQ(report.Note(), "Back Substitution");
  u.BackSubs(y);
  EXPECT_EQ(report.Note(), "Back substitution");
  EXPECT_EQ(report.NumLog(), 0);
}

TEST(SymmetricRowFactor, SolveIntoAnotherVectorSizesItAndKeepsTheLoad) {
  const TrussGrid truss(3, 2);
  const CSymmetricRow a = RowMatrix(truss.n, truss.terms);
  RowFactors f = BothFactors(a);
  f.fast.StoreFirstRow();
  const std::vector<double> load = RandomVector(truss.n, 3);
  CVector b(truss.n), x(2, 7.0);
  for (int i = 1; i <= truss.n; ++i) b[i] = load[i - 1];

  EXPECT_TRUE(f.fast.BackSubs(b, x));

  ASSERT_EQ(x.Size(), truss.n);
  EXPECT_EQ(std::vector<double>(x.Array(), x.Array() + truss.n), Solved(f.fast, load));
  for (int i = 1; i <= truss.n; ++i) EXPECT_EQ(b[i], load[i - 1]);
}

TEST(SymmetricRowFactor, SolveWithoutColumnLookupGivesTheSameBits) {
  const std::vector<Term> terms = RandomSpd(30, 4, 8);
  const RowFactors f = BothFactors(RowMatrix(30, terms));
  CSymmetricRow copied(30);  // the same entries, but never a lookup
  for (int i = 1; i <= 30; ++i)
    for (int j = i; j <= 30; ++j)
      if (f.fast.Exist(i, j)) {
        copied.AllocateAt(i, j);
        copied.SetAt(i, j, f.fast.GetAt(i, j));
      }
  const std::vector<double> b = RandomVector(30, 1);

  EXPECT_EQ(Solved(copied, b), Solved(f.fast, b));
}

TEST(SymmetricRowFactor, ReusedForAnotherPatternHoldsNothingOfTheOldOne) {
  // A wide matrix first, then a narrow one of the same size, and back.
  const int n = 25;
  const std::vector<Term> wide = RandomSpd(n, 10, 4), narrow = FillProfile(RandomProfile(n, 3, 4), 4);
  CSymmetricRow u;
  for (const std::vector<Term>* terms : {&wide, &narrow, &wide}) {
    const CSymmetricRow a = RowMatrix(n, *terms);
    u.SymbolicFactorization(a);
    u.Factorization(a);
    u.StoreFirstRow();
    const std::vector<double> b = RandomVector(n, 2), x = Solved(u, b);

    EXPECT_TRUE(Solves(n, *terms, x.data(), b.data()));
  }
}

TEST(SymmetricRowFactor, WithoutFirstRowsOfTheMatrixTheFactorIsTheSame) {
  const std::vector<Term> terms = RandomSpd(20, 4, 6);
  CSymmetricRow bare(20);
  for (const Term& t : terms) {
    bare.AllocateAt(t.i, t.j);
    bare.SetAt(t.i, t.j, t.value);
  }
  bare.Sort();

  EXPECT_TRUE(Identical(BothFactors(bare).fast, BothFactors(RowMatrix(20, terms)).fast));
  EXPECT_TRUE(Identical(BothFactors(bare).slow, BothFactors(RowMatrix(20, terms)).fast));
}

TEST(SymmetricRowFactor, StaleFirstRowsOfTheMatrixLeaveEntriesOut) {
  CSymmetricRow a(3);
  for (int i = 1; i <= 3; ++i) a.AllocateAt(i, i), a.SetAt(i, i, 2.0);
  a.StoreFirstRow();
  a.AllocateAt(1, 3);
  a.SetAt(1, 3, 1.0);
  a.StoreFirstRow();
  CSymmetricRow u;

  u.SymbolicFactorization(a);

  EXPECT_FALSE(u.Exist(1, 3));
}

TEST(SymmetricRowFactor, InPlaceWhenNothingFillsIn) {
  const std::vector<Term> terms = FillProfile(std::vector<int>{0, 1, 2, 2, 2, 2}, 1);
  CSymmetricRow u = RowMatrix(5, terms);

  u.SymbolicFactorization(u);
  u.Factorization(u);

  EXPECT_TRUE(Identical(u, BothFactors(RowMatrix(5, terms)).fast));
}
