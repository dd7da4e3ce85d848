#include "containers/CVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>

using Vessa::Matrix::CVector;

namespace {

CVector VectorOf(std::initializer_list<double> values) {
  CVector v(static_cast<int>(values.size()));
  int i = 1;
  for (double x : values) v.SetAt(i++, x);
  return v;
}

void ExpectElements(const CVector& v, std::initializer_list<double> values) {
  ASSERT_EQ(v.Size(), static_cast<int>(values.size()));
  int i = 1;
  for (double x : values) {
    EXPECT_EQ(v.GetAt(i), x) << "element " << i;
    ++i;
  }
}

bool Aligned(const void* p) {
  return reinterpret_cast<std::uintptr_t>(p) % 32 == 0;
}

}  // namespace

TEST(CVectorConstruction, DefaultIsEmptyWithoutStorage) {
  CVector v;

  EXPECT_EQ(v.Size(), 0);
  EXPECT_EQ(v.Array(), nullptr);
}

TEST(CVectorConstruction, EveryIntegerTypeGivesTheSize) {
  EXPECT_EQ(CVector(5).Size(), 5);
  EXPECT_EQ(CVector(5L).Size(), 5);
  EXPECT_EQ(CVector(5LL).Size(), 5);
  EXPECT_EQ(CVector(0).Size(), 0);
  EXPECT_EQ(CVector(Eigen::Index(5)).Size(), 5);
}

TEST(CVectorConstruction, ValueFillsEveryElement) {
  ExpectElements(CVector(3, 2.5), {2.5, 2.5, 2.5});
}

TEST(CVectorConstruction, NegativeOrImpossibleSizeIsBadAlloc) {
  EXPECT_THROW(CVector(-1), std::bad_alloc);
  EXPECT_THROW(CVector(-1, 0.0), std::bad_alloc);
  EXPECT_THROW(CVector(1LL << 61), std::bad_alloc);
}

TEST(CVectorConstruction, CopiesAreDeep) {
  const CVector a = VectorOf({1, 2, 3});
  const Eigen::VectorXd inner = a.Inner();
  CVector b(a), c(inner);

  b[1] = 9;
  c[2] = 9;

  ExpectElements(a, {1, 2, 3});
  ExpectElements(b, {9, 2, 3});
  ExpectElements(c, {1, 9, 3});
}

TEST(CVectorStorage, IsAlignedTo32Bytes) {
  for (int n : {1, 2, 3, 5, 17, 1000}) EXPECT_TRUE(Aligned(CVector(n).Array())) << n;
}

TEST(CVectorMove, ConstructionTakesTheStorageAndEmptiesTheSource) {
  CVector a(4, 1.0);
  const double* storage = a.Array();

  CVector b(std::move(a));

  EXPECT_EQ(b.Array(), storage);
  EXPECT_EQ(a.Size(), 0);
  EXPECT_EQ(a.Array(), nullptr);
}

TEST(CVectorMove, AssignmentEmptiesTheSourceInsteadOfSwapping) {
  CVector a(4, 1.0), b(7, 2.0);
  const double* storage = a.Array();

  b = std::move(a);

  EXPECT_EQ(b.Array(), storage);
  ExpectElements(b, {1, 1, 1, 1});
  EXPECT_EQ(a.Size(), 0);
  EXPECT_EQ(a.Array(), nullptr);
}

TEST(CVectorMove, AssignmentFromEigenEmptiesTheSource) {
  Eigen::VectorXd inner = Eigen::VectorXd::Constant(3, 5.0);
  CVector b(2, 1.0);

  b = std::move(inner);

  ExpectElements(b, {5, 5, 5});
  EXPECT_EQ(inner.size(), 0);
}

TEST(CVectorMove, ToItselfKeepsTheElements) {
  CVector a = VectorOf({1, 2});
  CVector& same = a;

  a = std::move(same);

  ExpectElements(a, {1, 2});
}

TEST(CVectorMove, NeverThrows) {
  EXPECT_TRUE(std::is_nothrow_move_constructible<CVector>::value);
  EXPECT_TRUE(std::is_nothrow_move_assignable<CVector>::value);
}

TEST(CVectorAssignment, TakesSizeAndElementsAndKeepsStorageOfEqualSize) {
  CVector a = VectorOf({1, 2, 3}), b(3, 0.0), c(5, 0.0);
  const double* storage = b.Array();

  b = a;
  c = a;
  a = CVector();

  EXPECT_EQ(b.Array(), storage);
  ExpectElements(b, {1, 2, 3});
  ExpectElements(c, {1, 2, 3});
  EXPECT_EQ(a.Size(), 0);
}

TEST(CVectorAssignment, OfEmptyFreesTheStorage) {
  CVector a(3, 1.0);
  const CVector empty;

  a = empty;

  EXPECT_EQ(a.Size(), 0);
  EXPECT_EQ(a.Array(), nullptr);
}

TEST(CVectorSwap, ExchangesStorage) {
  CVector a = VectorOf({1, 2}), b = VectorOf({3});
  const double *storageA = a.Array(), *storageB = b.Array();

  a.swap(b);

  EXPECT_EQ(a.Array(), storageB);
  EXPECT_EQ(b.Array(), storageA);
  ExpectElements(a, {3});
  ExpectElements(b, {1, 2});
}

TEST(CVectorAccess, IsOneBasedExceptByIndex) {
  CVector v = VectorOf({10, 20, 30});
  const CVector& c = v;

  EXPECT_EQ(c[1], 10);
  EXPECT_EQ(v[1], 10);
  EXPECT_EQ(v.ElementAt(2), 20);
  EXPECT_EQ(c.ElementAt(2), 20);
  EXPECT_EQ(c.GetAt(3), 30);
  EXPECT_EQ(c.GetAtIndex(0), 10);
  EXPECT_EQ(v.ElementAtIndex(2), 30);
  EXPECT_EQ(&v[1], v.Array());
  EXPECT_EQ(v.ArrayRef(), v.Array());
  EXPECT_EQ(c.ArrayRef(), c.Array());
  EXPECT_EQ(v.Inner()[1], 20);
  EXPECT_EQ(c.Inner()[1], 20);
}

TEST(CVectorAccess, WritesReachTheElement) {
  CVector v(3, 0.0);

  v[1] = 1;
  v.SetAt(2, 2);
  v.AddAt(2, 0.5);
  v.ElementAtIndex(2) = 3;
  v.ElementAt(3) += 1;

  ExpectElements(v, {1, 2.5, 4});
}

TEST(CVectorSize, SameSizeKeepsTheContents) {
  CVector v = VectorOf({1, 2, 3});
  const double* storage = v.Array();

  v.SetSize(3);

  EXPECT_EQ(v.Array(), storage);
  ExpectElements(v, {1, 2, 3});
}

TEST(CVectorSize, OtherSizeReallocatesAndZeroFrees) {
  CVector v(3, 1.0);

  EXPECT_TRUE(v.SetNumDof(100));
  EXPECT_EQ(v.Size(), 100);
  EXPECT_EQ(v.NumDof(), 100);
  EXPECT_TRUE(Aligned(v.Array()));

  v.SetSize(0);
  EXPECT_EQ(v.Size(), 0);
  EXPECT_EQ(v.Array(), nullptr);
}

TEST(CVectorSize, NegativeSizeThrowsAndLeavesTheVectorWhole) {
  CVector v = VectorOf({1, 2});

  EXPECT_THROW(v.SetSize(-3), std::bad_alloc);

  ExpectElements(v, {1, 2});
}

TEST(CVectorReductions, OfASmallVector) {
  const CVector v = VectorOf({3, -7, 2});

  EXPECT_EQ(v.Max(), 3);
  EXPECT_EQ(v.Min(), -7);
  EXPECT_EQ(v.MaxAbs(), 7);
  EXPECT_EQ(v.Sum(), -2);
  EXPECT_DOUBLE_EQ(VectorOf({3, 4}).Norm(), 5);
  EXPECT_EQ(v.Dot(v), 62);
  EXPECT_EQ(v * v, 62);
}

TEST(CVectorReductions, OfAnEmptyVectorAreZero) {
  const CVector v;

  EXPECT_EQ(v.Sum(), 0);
  EXPECT_EQ(v.Norm(), 0);
  EXPECT_EQ(v.Dot(v), 0);
  EXPECT_EQ(v.Max(), 0);
  EXPECT_EQ(v.Min(), 0);
  EXPECT_EQ(v.MaxAbs(), 0);
}

TEST(CVectorReductions, DotRunsOverThisVectorAndIsZeroForAnEmptyArgument) {
  const CVector v = VectorOf({1, 2}), longer = VectorOf({10, 20, 99}), empty;

  EXPECT_EQ(v.Dot(longer), 50);
  EXPECT_EQ(v.Dot(empty), 0);
}

TEST(CVectorReductions, NaNIsNotLostWhereverItStands) {
  for (int i = 1; i <= 9; ++i) {
    CVector v(9, 1.0);
    v[i] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(std::isnan(v.Max()) && std::isnan(v.Min()) && std::isnan(v.MaxAbs())) << i;
    EXPECT_TRUE(std::isnan(v.Sum()) && std::isnan(v.Norm())) << i;
  }
}

TEST(CVectorArithmetic, ProducesNewVectorsOfThisSize) {
  const CVector a = VectorOf({1, 2}), b = VectorOf({10, 20, 99});

  ExpectElements(a + b, {11, 22});
  ExpectElements(a - b, {-9, -18});
  ExpectElements(a * 3.0, {3, 6});
  ExpectElements(a * 3, {3, 6});
  ExpectElements(a / 4.0, {0.25, 0.5});
}

TEST(CVectorArithmetic, InPlaceWorksOverThisSize) {
  const CVector b = VectorOf({10, 20, 99});
  CVector a = VectorOf({1, 2});

  ExpectElements(a += b, {11, 22});
  ExpectElements(a -= b, {1, 2});
  ExpectElements(a *= 8, {8, 16});
  ExpectElements(a /= 4, {2, 4});
  a.AddVector(b);
  ExpectElements(a, {12, 24});
  a.AddFactoredVector(-2, b);
  ExpectElements(a, {-8, -16});
}

TEST(CVectorArithmetic, DivisionIsTrueDivisionInEveryElement) {
  // 5/49 differs from 5·(1/49) in the last bit; nine elements cover a vectorised body and its tail.
  const double divisor = 49.0, reciprocal = 1.0 / divisor;
  ASSERT_NE(5.0 / divisor, 5.0 * reciprocal);
  const CVector a(9, 5.0);
  CVector b(a);

  const CVector quotient = a / divisor;
  b /= divisor;

  for (int i = 1; i <= 9; ++i) {
    EXPECT_EQ(quotient[i], 5.0 / divisor);
    EXPECT_EQ(b.GetAt(i), 5.0 / divisor);
  }
}

TEST(CVectorArithmetic, EveryLengthAroundTheVectorWidth) {
  for (int n = 0; n <= 19; ++n) {
    CVector a(n), b(n);
    for (int i = 1; i <= n; ++i) a[i] = i, b[i] = 0.5 * i;
    a.AddFactoredVector(2.0, b);
    double sum = 0.0;
    for (int i = 1; i <= n; ++i) {
      EXPECT_EQ(a.GetAt(i), 2.0 * i) << n;
      sum += 2.0 * i;
    }
    EXPECT_EQ(a.Sum(), sum) << n;
  }
}

TEST(CVectorArithmetic, AliasedOperandsAreAllowed) {
  CVector a = VectorOf({1, 2, 3, 4, 5});

  a += a;
  a.AddFactoredVector(1.0, a);

  ExpectElements(a, {4, 8, 12, 16, 20});
}

TEST(CVectorCopy, KeepsSizeAndStorage) {
  CVector a(2, 0.0);
  const double* storage = a.Array();

  a.Copy(VectorOf({7, 8, 9}));

  EXPECT_EQ(a.Array(), storage);
  ExpectElements(a, {7, 8});
}

TEST(CVectorTrace, DoesNothing) {
  const CVector a = VectorOf({1});

  a.Trace("text");

  ExpectElements(a, {1});
}

TEST(CVectorNew, ObjectsOnTheHeapAreAligned) {
  std::unique_ptr<CVector> one(new CVector(3, 1.0));
  std::unique_ptr<CVector[]> many(new CVector[5]);
  std::unique_ptr<CVector> nothrow(new (std::nothrow) CVector(2, 1.0));

  EXPECT_TRUE(Aligned(one.get()));
  EXPECT_TRUE(Aligned(nothrow.get()));
  EXPECT_EQ(many[4].Size(), 0);
}

TEST(CVectorNew, PlacementUsesTheGivenAddress) {
  alignas(32) unsigned char place[sizeof(CVector)];

  CVector* v = new (place) CVector(3, 1.5);

  EXPECT_EQ(static_cast<void*>(v), static_cast<void*>(place));
  EXPECT_EQ(v->Sum(), 4.5);
  v->~CVector();
}

TEST(CVectorNew, SizeZeroGivesNullAndNullMayBeDeleted) {
  // Compilers take it for granted that these functions return no null, unless they cannot see which is
  // called.
  void* (*volatile allocate)(std::size_t) = &CVector::operator new;
  void* (*volatile allocateArray)(std::size_t) = &CVector::operator new[];
  void* (*volatile allocateNothrow)(std::size_t, const std::nothrow_t&) = &CVector::operator new;

  EXPECT_EQ(allocate(0), nullptr);
  EXPECT_EQ(allocateArray(0), nullptr);
  EXPECT_EQ(allocateNothrow(0, std::nothrow), nullptr);
  CVector::operator delete(nullptr);
  CVector::operator delete[](nullptr);
  CVector::operator delete(nullptr, std::nothrow);
}

TEST(CVectorNew, RawBlocksAreAlignedWithTheAllocatedAddressInFront) {
  for (std::size_t size = 1; size < 200; size += 13) {
    void* block = CVector::operator new(size);
    EXPECT_TRUE(Aligned(block));
    const auto original = reinterpret_cast<std::uintptr_t>(static_cast<void**>(block)[-1]);
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    EXPECT_EQ((original & ~std::uintptr_t(31)) + 32, address);
    CVector::operator delete(block, size);
  }
}

TEST(CVectorNew, FailureThrowsInTheNothrowFormToo) {
  const std::size_t impossible = std::numeric_limits<std::size_t>::max() - 7;

  EXPECT_THROW(CVector::operator new(impossible), std::bad_alloc);
  EXPECT_THROW(CVector::operator new[](impossible), std::bad_alloc);
  EXPECT_THROW(CVector::operator new(impossible, std::nothrow), std::bad_alloc);
  EXPECT_FALSE(noexcept(CVector::operator new(impossible, std::nothrow)));
}

TEST(CVectorNew, PlacementDeleteDoesNothing) {
  // A real release in the placement form would make the second one a double free, which the allocator
  // reports.
  void (*volatile placementDelete)(void*, void*) = &CVector::operator delete;
  void (*volatile placementDeleteArray)(void*, void*) = &CVector::operator delete[];
  void* block = CVector::operator new(64);

  placementDelete(block, block);
  placementDeleteArray(block, block);

  EXPECT_TRUE(Aligned(block));
  CVector::operator delete(block);
}
