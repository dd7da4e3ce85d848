// Matrices derived from the row-stored one: the factorisations and the solution reach entries through the
// virtual operations, so that what a derived class changes there takes effect.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "sparse/CSymmetricRow.h"
#include "sparse/SymmetricRowFixture.h"
#include "support/RandomMatrix.h"

using namespace Vessa::Matrix;
using namespace test_support;

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

  const RowFactors f = BothFactors(a);

  const RowFactors expected = BothFactors(RowMatrix(12, increased));
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
