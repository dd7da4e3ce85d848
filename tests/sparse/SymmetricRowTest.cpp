#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "sparse/CSymmetricRow.h"
#include "sparse/SymmetricRowFixture.h"
#include "support/DenseReference.h"
#include "support/RandomMatrix.h"

using namespace Vessa::Matrix;
using test_support::Term;

namespace {

// | 4 1 . 2 |
// |   5 . . |
// |     6 3 |
// |       7 |
const std::vector<Term> kTerms = {{1, 1, 4}, {1, 2, 1}, {1, 4, 2}, {2, 2, 5},
                                  {3, 3, 6}, {3, 4, 3}, {4, 4, 7}};

CSymmetricRow Small() {
  return RowMatrix(4, kTerms);
}

#if !defined(_WIN32)
// Position in the virtual table: in the common C++ ABI a pointer to a virtual member holds its byte offset
// plus one. The destructor takes the first two places.
template <class Member>
long Slot(Member member) {
  static_assert(sizeof(Member) >= sizeof(long), "pointer to member");
  long offset;
  std::memcpy(&offset, &member, sizeof offset);
  return (offset - 1) / static_cast<long>(sizeof(void*)) - 1;
}
#endif

}  // namespace

#if !defined(_WIN32)
TEST(SymmetricRowSlots, FollowTheDeclaredOrder) {
  using R = CSymmetricRow;
  EXPECT_EQ(Slot(static_cast<R (R::*)(double)>(&R::operator*)), 1);
  EXPECT_EQ(Slot(&R::operator+=), 2);
  EXPECT_EQ(Slot(&R::SetPreconditioner), 3);
  EXPECT_EQ(Slot(&R::SetNumDof), 4);
  EXPECT_EQ(Slot(&R::SetNumCheck), 5);
  EXPECT_EQ(Slot(&R::Preconditioner), 6);
  EXPECT_EQ(Slot(&R::NumDof), 7);
  EXPECT_EQ(Slot(&R::SetLog), 8);
  EXPECT_EQ(Slot(&R::Size), 9);
  EXPECT_EQ(Slot(&R::Sort), 10);
  EXPECT_EQ(Slot(&R::ReserveAt), 11);
  EXPECT_EQ(Slot(&R::AllocateAt), 12);
  EXPECT_EQ(Slot(&R::SetAt), 13);
  EXPECT_EQ(Slot(&R::AddAt), 14);
  EXPECT_EQ(Slot(&R::GetAt), 15);
  EXPECT_EQ(Slot(&R::ElementAt), 16);
  EXPECT_EQ(Slot(&R::ElementAtIndex), 17);
  EXPECT_EQ(Slot(&R::Exist), 18);
  EXPECT_EQ(Slot(&R::FirstRow), 19);
  EXPECT_EQ(Slot(&R::SetAll), 20);
  EXPECT_EQ(Slot(&R::Scale), 21);
  EXPECT_EQ(Slot(&R::Multiply), 22);
  EXPECT_EQ(Slot(static_cast<void (R::*)(CDiag&) const>(&R::Diag)), 23);
  EXPECT_EQ(Slot(static_cast<CDiag (R::*)()>(&R::Diag)), 24);
  EXPECT_EQ(Slot(&R::Identity), 25);
  EXPECT_EQ(Slot(&R::StoreFirstRow), 26);
  EXPECT_EQ(Slot(&R::CreateColumnLookup), 27);
  EXPECT_EQ(Slot(&R::SymbolicFactorization), 28);
  EXPECT_EQ(Slot(&R::SlowFactorization), 29);
  EXPECT_EQ(Slot(&R::Factorization), 30);
  EXPECT_EQ(Slot(static_cast<bool (R::*)(CVector&) const>(&R::BackSubs)), 31);
  EXPECT_EQ(Slot(static_cast<bool (R::*)(CVector const&, CVector&) const>(&R::BackSubs)), 32);
  EXPECT_EQ(Slot(&R::Log), 33);
  EXPECT_EQ(Slot(&R::Note), 34);
  EXPECT_EQ(Slot(&R::Skyline), 35);
  EXPECT_EQ(Slot(&R::Sparsity), 36);
  EXPECT_EQ(Slot(&R::ExtractSubMatrix), 38);
  EXPECT_EQ(Slot(&R::ExtractDiagMatrix), 39);
}
#endif

TEST(SymmetricRow, DefaultsOfAFreshMatrix) {
  CSymmetricRow a, b(3);

  EXPECT_EQ(a.NumDof(), 0);
  EXPECT_EQ(a.Size(), 0);
  EXPECT_EQ(a.Preconditioner(), PreConditioner2);
  EXPECT_EQ(b.NumDof(), 3);
  EXPECT_EQ(b.Size(), 0);
  EXPECT_EQ(b.FirstRow(1), 0);
}

TEST(SymmetricRow, NegativeDofCountMakesNoRows) {
  CSymmetricRow a(-2);

  EXPECT_EQ(a.NumDof(), 0);
}

TEST(SymmetricRow, PreconditionerIsHandedBack) {
  CSymmetricRow a;

  a.SetPreconditioner(PreConditioner1);
  a.SetNumCheck(7);

  EXPECT_EQ(CSymmetricRow(a).Preconditioner(), PreConditioner1);
}

TEST(SymmetricRow, SetNumDofKeepsEntriesOfTheSameCountAndDropsThemOtherwise) {
  CSymmetricRow a = Small();

  a.SetNumDof(4);
  EXPECT_EQ(a.Size(), 7);

  a.SetNumDof(5);
  EXPECT_EQ(a.NumDof(), 5);
  EXPECT_EQ(a.Size(), 0);

  a.SetNumDof(0);
  EXPECT_EQ(a.NumDof(), 0);
}

TEST(SymmetricRow, ReserveAndAllocateAddAnEntryOnce) {
  CSymmetricRow a(3);

  a.ReserveAt(1, 2);
  a.AllocateAt(1, 2);
  a.ReserveAt(1, 2);
  a.AllocateAt(1, 1);

  EXPECT_EQ(a.Size(), 2);
  EXPECT_TRUE(a.Exist(1, 2));
  EXPECT_TRUE(a.Exist(1, 1));
  EXPECT_FALSE(a.Exist(1, 3));
  EXPECT_EQ(a.GetAt(1, 2), 0.0);
}

TEST(SymmetricRow, EntriesKeepInsertionOrderUntilSorted) {
  CSymmetricRow a(4);
  for (int j : {4, 2, 1, 3}) {
    a.AllocateAt(1, j);
    a.SetAt(1, j, j);
  }

  for (int k = 0; k < 4; ++k) EXPECT_EQ(a.ElementAtIndex(1, k), (std::vector<double>{4, 2, 1, 3})[k]);
  a.Sort();
  for (int k = 0; k < 4; ++k) EXPECT_EQ(a.ElementAtIndex(1, k), k + 1.0);
}

TEST(SymmetricRow, EveryEntryIsFoundInSortedAndUnsortedRows) {
  test_support::RandomNumbers random(5);
  for (int trial = 0; trial < 200; ++trial) {
    const int n = random.Integer(1, 40);
    std::vector<double> stored(n + 1, 0.0);
    CSymmetricRow a(n);
    for (int k = random.Integer(0, 2 * n); k > 0; --k) {
      const int j = random.Integer(1, n);
      a.AllocateAt(1, j);
      a.SetAt(1, j, stored[j] = random.Unit() + 1.0);
    }
    for (int pass = 0; pass < 2; ++pass) {
      for (int j = 0; j <= n + 1; ++j) {
        const double expected = j >= 1 && j <= n ? stored[j] : 0.0;
        EXPECT_EQ(a.GetAt(1, j), expected) << "n " << n << " column " << j << " pass " << pass;
        EXPECT_EQ(a.Exist(1, j), expected != 0.0);
      }
      a.Sort();
    }
  }
}

TEST(SymmetricRow, SetAddAndReferencesReachTheEntry) {
  CSymmetricRow a = Small();

  a.SetAt(1, 2, 10);
  a.AddAt(1, 2, 0.5);
  a.ElementAt(3, 4) += 1;
  a.ElementAtIndex(2, 0) = 9;

  EXPECT_EQ(a.GetAt(1, 2), 10.5);
  EXPECT_EQ(a.GetAt(3, 4), 4);
  EXPECT_EQ(a.GetAt(2, 2), 9);
}

TEST(SymmetricRow, LowerTriangleReadsZero) {
  const CSymmetricRow a = Small();

  EXPECT_EQ(a.GetAt(4, 1), 0.0);
  EXPECT_FALSE(a.Exist(4, 1));
  EXPECT_EQ(a.GetAt(1, 4), 2);
}

TEST(SymmetricRow, ScalarProductLeavesTheOperand) {
  CSymmetricRow a = Small();

  const CSymmetricRow b = a * 2.0;

  EXPECT_EQ(b.GetAt(1, 4), 4);
  EXPECT_EQ(a.GetAt(1, 4), 2);
  EXPECT_EQ(b.FirstRow(4), 1);
}

TEST(SymmetricRow, AddingADiagonalReturnsACopyByValue) {
  CSymmetricRow a = Small();
  CDiag d(4);
  for (int i = 1; i <= 4; ++i) d.SetAt(i, i, i);

  CSymmetricRow b = a += d;
  b.SetAt(1, 1, 0);

  EXPECT_EQ(a.GetAt(1, 1), 5);
  EXPECT_EQ(a.GetAt(4, 4), 11);
  EXPECT_EQ(b.GetAt(4, 4), 11);
  static_assert(std::is_same<decltype(a += d), CSymmetricRow>::value, "by value");
}

TEST(SymmetricRow, SetAllAndScaleTouchStoredEntriesOnly) {
  CSymmetricRow a = Small();

  a.SetAll(2.0);
  a.Scale(1.5);

  EXPECT_EQ(a.GetAt(1, 1), 3);
  EXPECT_EQ(a.GetAt(3, 4), 3);
  EXPECT_EQ(a.GetAt(1, 3), 0);
}

TEST(SymmetricRow, ProductCountsTheDiagonalOnceAndOthersTwice) {
  const CSymmetricRow a = Small();
  CVector x(4), y(9, 5.0);
  for (int i = 1; i <= 4; ++i) x[i] = i;

  a.Multiply(x, y);
  a.Multiply(x, x);

  for (const CVector* v : {&y, &x}) {
    ASSERT_EQ(v->Size(), 4);
    EXPECT_EQ(v->GetAt(1), 4 * 1 + 1 * 2 + 2 * 4);
    EXPECT_EQ(v->GetAt(2), 1 * 1 + 5 * 2);
    EXPECT_EQ(v->GetAt(3), 6 * 3 + 3 * 4);
    EXPECT_EQ(v->GetAt(4), 2 * 1 + 3 * 3 + 7 * 4);
  }
}

TEST(SymmetricRow, ProductAgreesWithDenseForEveryRowLength) {
  for (int n = 1; n <= 20; ++n) {
    const std::vector<Term> terms = test_support::RandomSymmetric(n, 2 * n, n);
    const CSymmetricRow a = RowMatrix(n, terms);
    const std::vector<double> x = test_support::RandomVector(n, n);
    CVector v(n), y;
    for (int i = 1; i <= n; ++i) v[i] = x[i - 1];

    a.Multiply(v, y);

    const auto expected = test_support::Multiply(test_support::DenseOf(n, terms), x);
    for (int i = 1; i <= n; ++i) EXPECT_NEAR(y[i], static_cast<double>(expected[i - 1]), 1e-14 * n);
  }
}

TEST(SymmetricRow, DiagonalAndIdentity) {
  CSymmetricRow a = Small();
  a.SetNumDof(3);
  a.AllocateAt(2, 2);
  a.SetAt(2, 2, 5);
  CDiag d(9, 1.0), identity;

  a.Diag(d);
  a.Identity(identity);

  EXPECT_EQ(d.NumDof(), 3);
  EXPECT_EQ(d.GetAt(1, 1), 0);
  EXPECT_EQ(d.GetAt(2, 2), 5);
  EXPECT_EQ(a.Diag().GetAt(2, 2), 5);
  EXPECT_EQ(identity.NumDof(), 3);
  EXPECT_EQ(identity.GetAt(3, 3), 1);
}

TEST(SymmetricRow, FirstRowIsTheSmallestRowOfTheColumnOrZero) {
  CSymmetricRow a(4);
  for (auto [i, j] : {std::pair{2, 4}, {1, 1}, {2, 2}, {4, 4}}) a.AllocateAt(i, j);

  a.StoreFirstRow();

  EXPECT_EQ(a.FirstRow(1), 1);
  EXPECT_EQ(a.FirstRow(2), 2);
  EXPECT_EQ(a.FirstRow(3), 0);
  EXPECT_EQ(a.FirstRow(4), 2);
}

TEST(SymmetricRow, StoreFirstRowKeepsStaleEntries) {
  CSymmetricRow a(3);
  for (int i = 1; i <= 3; ++i) a.AllocateAt(i, i);
  a.StoreFirstRow();

  a.AllocateAt(1, 3);
  a.StoreFirstRow();

  EXPECT_EQ(a.FirstRow(3), 3);
}

TEST(SymmetricRow, SkylineAndSparsityCountColumnHeights) {
  CSymmetricRow a = Small();

  a.CreateColumnLookup();

  EXPECT_EQ(a.Skyline(), 1 + 2 + 1 + 4);
  EXPECT_DOUBLE_EQ(a.Sparsity(), 1.0 - 7.0 / 8.0);
}

TEST(SymmetricRow, SparsityOfFullTriangleAndOfDiagonalIsZero) {
  CSymmetricRow full(5), diagonal(5);
  for (int i = 1; i <= 5; ++i) {
    diagonal.AllocateAt(i, i);
    for (int j = i; j <= 5; ++j) full.AllocateAt(i, j);
  }

  full.CreateColumnLookup();
  diagonal.CreateColumnLookup();

  EXPECT_EQ(full.Skyline(), 15);
  EXPECT_EQ(full.Sparsity(), 0.0);
  EXPECT_EQ(diagonal.Skyline(), 5);
  EXPECT_EQ(diagonal.Sparsity(), 0.0);
}

TEST(SymmetricRow, LookupIsRebuiltFromScratch) {
  CSymmetricRow a(2);
  a.AllocateAt(1, 1);
  a.AllocateAt(2, 2);
  a.CreateColumnLookup();
  EXPECT_EQ(a.Skyline(), 2);

  a.AllocateAt(1, 2);
  a.CreateColumnLookup();

  EXPECT_EQ(a.Skyline(), 3);
}

TEST(SymmetricRow, SubMatrixIsSymmetricAndTakesOnlyTheBlock) {
  CSymmetricRow a = Small();

  const CMatrix<0> block = a.ExtractSubMatrix(2, 4);

  ASSERT_EQ(block.NumRows(), 3);
  const double expected[3][3] = {{5, 0, 0}, {0, 6, 3}, {0, 3, 7}};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) EXPECT_EQ(block.GetAt(i + 1, j + 1), expected[i][j]);
}

TEST(SymmetricRow, SubMatrixSkipsEntriesLeftOfTheDiagonal) {
  CSymmetricRow a(3);
  a.AllocateAt(3, 2);
  a.AllocateAt(3, 3);
  a.Sort();
  a.SetAll(1.0);

  const CMatrix<0> block = a.ExtractSubMatrix(2, 3);

  EXPECT_EQ(block.GetAt(1, 2), 0);
  EXPECT_EQ(block.GetAt(2, 2), 1);
}

TEST(SymmetricRow, DiagonalBlockHoldsOnlyStoredDiagonals) {
  CSymmetricRow a = Small(), none(3);
  none.AllocateAt(1, 2);
  none.AllocateAt(2, 3);
  none.SetAll(4.0);

  const CMatrix<0> block = a.ExtractDiagMatrix(3, 4), zeros = none.ExtractDiagMatrix(1, 3);

  EXPECT_EQ(block.GetAt(1, 1), 6);
  EXPECT_EQ(block.GetAt(2, 2), 7);
  EXPECT_EQ(block.GetAt(1, 2), 0);
  EXPECT_EQ(zeros.Inner().cwiseAbs().sum(), 0.0);
}

TEST(SymmetricRow, LogAndNoteNeedAReport) {
  CSymmetricRow a;
  CReport report;

  a.Log(2, "lost");
  a.Note("lost");
  a.SetLog(&report);
  a.Log(2, "failure");
  a.Note("note");

  EXPECT_EQ(report.NumLog(), 1);
  EXPECT_EQ(report.LogMessage(0), "failure");
  EXPECT_EQ(report.Note(), "note");
}

TEST(SymmetricRow, CopyAndAssignmentAreDeepAndKeepTheLog) {
  CSymmetricRow a = Small(), c;
  CReport report;
  a.SetLog(&report);
  a.CreateColumnLookup();
  CSymmetricRow b(a);
  c = a;

  a.SetAt(1, 1, -1);
  b.Note("from the copy");

  EXPECT_EQ(b.GetAt(1, 1), 4);
  EXPECT_EQ(c.GetAt(1, 1), 4);
  EXPECT_EQ(c.Skyline(), 8);
  EXPECT_EQ(c.FirstRow(4), 1);
  EXPECT_EQ(report.Note(), "from the copy");
}

#ifdef NDEBUG
TEST(SymmetricRowMissingEntry, ReleaseBuildLosesTheValueAndHarmsNothing) {
  CSymmetricRow a = Small();

  a.SetAt(2, 4, 99);
  a.AddAt(2, 4, 99);
  a.ElementAt(2, 4) = 99;
  a.ElementAtIndex(2, 50) = 99;
  a.ElementAtIndex(2, -1) = 99;
  a.ElementAt(77, 1) = 99;
  a.ReserveAt(5, 5);
  a.AllocateAt(1, 5);
  a.AllocateAt(0, 1);

  EXPECT_EQ(a.Size(), 7);
  for (const Term& t : kTerms) EXPECT_EQ(a.GetAt(t.i, t.j), t.value);
  EXPECT_EQ(a.GetAt(2, 4), 0.0);
  EXPECT_EQ(a.ElementAt(2, 4), 0.0);
  EXPECT_EQ(a.GetAt(0, 0), 0.0);
  EXPECT_EQ(a.FirstRow(0), 0);
  EXPECT_EQ(a.FirstRow(99), 0);
}
#else
TEST(SymmetricRowMissingEntryDeathTest, DebugBuildAsserts) {
  CSymmetricRow a = Small();

  EXPECT_DEATH(a.SetAt(2, 4, 99), "never reserved");
  EXPECT_DEATH(a.AddAt(2, 4, 99), "never reserved");
  EXPECT_DEATH(a.ElementAt(2, 4), "never reserved");
}
#endif
