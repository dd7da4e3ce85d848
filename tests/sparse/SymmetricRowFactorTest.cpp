#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
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

struct Factors {
  CSymmetricRow fast, slow;
};

Factors BothFactors(const CSymmetricRow& a) {
  Factors f;
  f.fast.SymbolicFactorization(a);
  f.slow = f.fast;
  f.fast.Factorization(a);
  f.slow.SlowFactorization(a);
  return f;
}

// Equal to the bit, so that NaN equals NaN.
bool SameBits(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

::testing::AssertionResult Identical(const CSymmetricRow& a, const CSymmetricRow& b) {
  if (a.Size() != b.Size())
    return ::testing::AssertionFailure() << a.Size() << " and " << b.Size() << " entries";
  for (int i = 1; i <= a.NumDof(); ++i)
    for (int j = i; j <= a.NumDof(); ++j)
      if (a.Exist(i, j) != b.Exist(i, j) || !SameBits(a.GetAt(i, j), b.GetAt(i, j)))
        return ::testing::AssertionFailure()
               << "u(" << i << "," << j << ") = " << a.GetAt(i, j) << " and " << b.GetAt(i, j);
  return ::testing::AssertionSuccess();
}

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
  Factors f = BothFactors(a);

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

  const Factors f = BothFactors(RowMatrix(3, terms));

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

    Factors f = BothFactors(RowMatrix(n, terms));
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

  const Factors f = BothFactors(RowMatrix(3, terms));

  EXPECT_TRUE(std::isnan(f.fast.GetAt(2, 2)));
  EXPECT_TRUE(std::isnan(f.fast.GetAt(3, 3)));
  EXPECT_TRUE(Identical(f.fast, f.slow));
}

TEST(SymmetricRowFactor, ZeroPivotGivesZeroAndInfinities) {
  const Factors f = BothFactors(RowMatrix(2, {{1, 1, 0}, {1, 2, 1}, {2, 2, 1}}));

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
  Factors f = BothFactors(a);
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
  const Factors f = BothFactors(RowMatrix(30, terms));
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

// ---- derived matrices

namespace {

struct Counting : CSymmetricRow {
  void AllocateAt(int i, int j) override { ++count["AllocateAt"], CSymmetricRow::AllocateAt(i, j); }
  void SetAt(int i, int j, double v) override { ++count["SetAt"], CSymmetricRow::SetAt(i, j, v); }
  double GetAt(int i, int j) const override { return ++count["GetAt"], CSymmetricRow::GetAt(i, j); }
  bool Exist(int i, int j) const override { return ++count["Exist"], CSymmetricRow::Exist(i, j); }
  int FirstRow(int c) const override { return ++count["FirstRow"], CSymmetricRow::FirstRow(c); }
  void CreateColumnLookup() override { ++count["CreateColumnLookup"], CSymmetricRow::CreateColumnLookup(); }
  void Note(char const* text) const override { ++count["Note"], CSymmetricRow::Note(text); }
  mutable std::map<std::string, int> count;
};

// A matrix that shows its diagonal increased by 10 without storing it.
struct Stiffened : CSymmetricRow {
  double GetAt(int i, int j) const override { return CSymmetricRow::GetAt(i, j) + (i == j ? 10.0 : 0.0); }
};

// A factor that refuses every entry outside a band of two: an incomplete factorisation.
struct Incomplete : CSymmetricRow {
  void AllocateAt(int i, int j) override {
    if (j - i <= 1) CSymmetricRow::AllocateAt(i, j);
  }
};

// A factor that finds common rows by testing candidates, so that neither the lookup nor its positions are
// used.
struct OwnNextRow : CSymmetricRow {
  mutable int calls = 0;

private:
  int NextRow(int i, int& pi, int j, int& pj) const override {
    ++calls;
    for (int k = i - ++pi; k >= 1; k = i - ++pi) {
      pj = pi;
      if (Exist(k, i) && Exist(k, j)) return k;
    }
    return 0;
  }
};

}  // namespace

TEST(SymmetricRowDerived, FactorisationsReachEntriesThroughVirtualOperations) {
  const std::vector<Term> terms = RandomSpd(15, 4, 2);
  const Counting a = RowMatrix<Counting>(15, terms);
  a.count.clear();
  Counting u;

  u.SymbolicFactorization(a);
  EXPECT_EQ(u.count["AllocateAt"], u.Size());
  EXPECT_EQ(u.count["CreateColumnLookup"], 1);
  EXPECT_GT(u.count["Exist"], 0);
  EXPECT_GT(a.count["Exist"], 0);
  EXPECT_GT(a.count["FirstRow"], 0);

  for (bool fast : {true, false}) {
    u.count.clear();
    a.count.clear();
    fast ? u.Factorization(a) : u.SlowFactorization(a);
    EXPECT_EQ(u.count["SetAt"], u.Size()) << "every entry is stored once";
    EXPECT_EQ(u.count["Note"], 1);
    EXPECT_GT(u.count["GetAt"], 0);
    EXPECT_GT(u.count["Exist"], 0);
    EXPECT_EQ(a.count["GetAt"], static_cast<int>(terms.size())) << "every term is read once";
  }

  u.count.clear();
  CVector x(15, 1.0);
  u.BackSubs(x);
  EXPECT_GE(u.count["GetAt"], 2 * u.Size());
}

TEST(SymmetricRowDerived, OverriddenGetAtOfTheMatrixChangesWhatIsFactorised) {
  const std::vector<Term> terms = RandomSpd(12, 4, 3);
  std::vector<Term> increased = terms;
  for (Term& t : increased)
    if (t.i == t.j) t.value += 10.0;
  const Stiffened a = RowMatrix<Stiffened>(12, terms);

  const Factors f = BothFactors(a);

  const Factors expected = BothFactors(RowMatrix(12, increased));
  EXPECT_TRUE(Identical(f.fast, expected.fast));
  EXPECT_TRUE(Identical(f.slow, expected.slow));
}

TEST(SymmetricRowDerived, OverriddenGetAtOfTheFactorReachesEveryStage) {
  struct Doubled : CSymmetricRow {
    double GetAt(int i, int j) const override { return 2.0 * CSymmetricRow::GetAt(i, j); }
  };
  const CSymmetricRow a = RowMatrix(2, {{1, 1, 4}, {1, 2, 2}, {2, 2, 9}});
  for (bool fast : {true, false}) {
    Doubled u;
    u.SymbolicFactorization(a);
    fast ? u.Factorization(a) : u.SlowFactorization(a);

    EXPECT_EQ(u.CSymmetricRow::GetAt(1, 1), 2.0);
    EXPECT_EQ(u.CSymmetricRow::GetAt(1, 2), 0.5);             // 2 / (2·2)
    EXPECT_EQ(u.CSymmetricRow::GetAt(2, 2), std::sqrt(8.0));  // 9 − (2·0.5)²
    CVector x(2, 4.0);
    u.BackSubs(x);
    const double y1 = 4.0 / 4.0, y2 = (4.0 - 1.0 * y1) / (2 * std::sqrt(8.0)), x2 = y2 / (2 * std::sqrt(8.0));
    EXPECT_DOUBLE_EQ(x[2], x2);
    EXPECT_DOUBLE_EQ(x[1], (y1 - 1.0 * x2) / 4.0);
  }
}

TEST(SymmetricRowDerived, RefusedFillMakesAnIncompleteFactorAlikeInBothStages) {
  const std::vector<Term> terms = RandomSpd(20, 6, 9);
  const CSymmetricRow a = RowMatrix(20, terms);
  Incomplete fast;
  fast.SymbolicFactorization(a);
  Incomplete slow = fast;

  fast.Factorization(a);
  slow.SlowFactorization(a);

  EXPECT_TRUE(Identical(fast, slow));
  for (int i = 1; i <= 20; ++i)
    for (int j = i + 2; j <= 20; ++j) EXPECT_FALSE(fast.Exist(i, j));
}

TEST(SymmetricRowDerived, OverriddenNextRowIsUsed) {
  const std::vector<Term> terms = RandomSpd(18, 5, 12);
  const CSymmetricRow a = RowMatrix(18, terms);
  OwnNextRow u;
  u.SymbolicFactorization(a);

  u.Factorization(a);

  EXPECT_GT(u.calls, 0);
  EXPECT_TRUE(Identical(u, BothFactors(a).slow));
}
