// The skyline without memory: the value store in pieces, refusals, and results that do not depend on either.
#include <gtest/gtest.h>

#include <exception>

#include "skyline/Profiles.h"
#include "support/FailingAllocator.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

TEST(ValueStore, FreshStoreIsEmptyAndAllocated) {
  const SkylineValueStore store;
  EXPECT_EQ(store.Count(), 0);
  EXPECT_EQ(store.NumChunks(), 0);
  EXPECT_TRUE(store.Allocated());
}

TEST(ValueStore, CountBelowOneAllocatesNothing) {
  for (int count : {0, -7}) {
    SkylineValueStore store;
    store.SetCount(count);
    store.Allocate();
    EXPECT_EQ(store.Count(), count);
    EXPECT_EQ(store.NumChunks(), 0);
    EXPECT_TRUE(store.Allocated());
  }
}

TEST(ValueStore, SetCountAloneTakesNoMemory) {
  SkylineValueStore store;
  store.SetCount(10);
  EXPECT_FALSE(store.Allocated());
}

TEST(ValueStore, FirstAttemptIsOneChunkOfZeros) {
  SkylineValueStore store;
  store.SetCount(1000);
  store.Allocate();
  EXPECT_EQ(store.NumChunks(), 1);
  EXPECT_EQ(store.ChunkSize(), 1000);
  for (int k = 0; k < 1000; ++k) EXPECT_EQ(store[k], 0.0);
}

TEST(ValueStore, FailedAttemptsHalveTheChunks) {
  SkylineValueStore store;
  store.SetCount(1003);
  {
    const auto limit = ts::WithAllocations::UpTo(130 * sizeof(double));
    store.Allocate();
  }
  EXPECT_EQ(store.NumChunks(), 8);
  EXPECT_EQ(store.ChunkSize(), 126);
  for (int k = 0; k < 1003; ++k) store[k] = k;
  for (int k = 0; k < 1003; ++k) EXPECT_EQ(store[k], k);
}

TEST(ValueStore, TheTenthAttemptHas512Chunks) {
  SkylineValueStore store;
  store.SetCount(4000000);
  {
    const auto limit = ts::WithAllocations::UpTo(7813 * sizeof(double));
    store.Allocate();
  }
  EXPECT_EQ(store.NumChunks(), 512);
  EXPECT_EQ(store.ChunkSize(), 7813);
}

TEST(ValueStore, AfterTheTenthAttemptItGivesUpSilently) {
  SkylineValueStore store;
  store.SetCount(4000000);
  {
    const auto limit = ts::WithAllocations::UpTo(7812 * sizeof(double));
    EXPECT_NO_THROW(store.Allocate());
  }
  EXPECT_FALSE(store.Allocated());
  EXPECT_EQ(store.NumChunks(), 0);
  EXPECT_EQ(store.Count(), 4000000);
  store.Allocate();
  EXPECT_TRUE(store.Allocated());
}

TEST(ValueStore, ReleaseKeepsTheCount) {
  SkylineValueStore store;
  store.SetCount(5);
  store.Allocate();
  store.Release();
  EXPECT_FALSE(store.Allocated());
  EXPECT_EQ(store.Count(), 5);
}

TEST(ValueStore, CopyKeepsTheChunkSize) {
  SkylineValueStore store;
  store.SetCount(100);
  {
    const auto limit = ts::WithAllocations::UpTo(60 * sizeof(double));
    store.Allocate();
  }
  store[99] = 3.0;
  SkylineValueStore copy(store);
  store[99] = 4.0;
  EXPECT_EQ(copy.NumChunks(), 2);
  EXPECT_EQ(copy.ChunkSize(), 50);
  EXPECT_EQ(copy[99], 3.0);
}

TEST(SkylineMemory, CreateIndexWithoutMemoryLogsThrowsAndKeepsThePhase) {
  CReport log;
  CSkyLine matrix;
  matrix.SetLog(&log);
  matrix.SetNumDof(3000);
  for (int j = 1; j <= 3000; ++j) matrix.SetColHeight(j, j);
  try {
    const auto limit = ts::WithAllocations::UpTo(5000);
    matrix.CreateIndex();
    FAIL() << "no exception";
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "Unable to allocate memory for matrix");
  }
  ASSERT_EQ(log.NumLog(), 1);
  EXPECT_EQ(log.LogStatus(0), 2);
  EXPECT_EQ(log.LogMessage(0), "Unable to allocate memory for matrix");
  EXPECT_EQ(matrix.GetPhase(), PhaseHeights);
}

TEST(SkylineMemory, ReduceWithoutStorageLogsAndFails) {
  CReport log;
  CSkyLine matrix;
  matrix.SetLog(&log);
  matrix.SetNumDof(3000);
  try {
    const auto limit = ts::WithAllocations::UpTo(30);
    matrix.CreateIndex();
  } catch (const std::exception&) {
  }
  std::vector<int> zeroDofs{5};

  EXPECT_FALSE(matrix.Reduce(0, zeroDofs));

  EXPECT_TRUE(zeroDofs.empty());
  EXPECT_EQ(log.LogMessage(log.NumLog() - 1), "Error is matrix reduction");
  EXPECT_EQ(log.LogStatus(log.NumLog() - 1), 2);
  EXPECT_NE(matrix.GetPhase(), PhaseReduced);
}

TEST(SkylineMemory, LargestProfileIsAcceptedAndOneTermMoreRefused) {
  const int most = 0x3FFFFFFF;
  const auto limit = ts::WithAllocations::UpTo(1 << 20);  // nobody waits for 8 GB of zeros
  for (int extra : {0, 1}) {
    CReport log;
    CSkyLine matrix;
    matrix.SetLog(&log);
    matrix.SetNumDof(3);
    matrix.SetColHeight(1, 1);
    matrix.SetColHeight(2, most - 2 + extra);
    matrix.SetColHeight(3, 1);
    if (extra == 0) {
      EXPECT_THROW(matrix.CreateIndex(), std::exception);
      EXPECT_EQ(matrix.NumStiff(), most);
      EXPECT_EQ(log.LogMessage(0), "Unable to allocate memory for matrix");
    } else {
      EXPECT_FALSE(matrix.CreateIndex());
      EXPECT_EQ(matrix.NumStiff(), most + 1);
      EXPECT_EQ(log.LogMessage(0), "Too many terms in matrix");
      EXPECT_EQ(log.LogStatus(0), 2);
    }
    EXPECT_EQ(matrix.GetPhase(), PhaseHeights);
  }
}

TEST(SkylineMemory, TotalBeyond32BitsIsRefusedToo) {
  CSkyLine matrix;
  matrix.SetNumDof(2);
  matrix.SetColHeight(1, 0x3FFFFFFF);
  matrix.SetColHeight(2, 0x7FFFFFFF);
  EXPECT_FALSE(matrix.CreateIndex());
  EXPECT_EQ(matrix.NumStiff(), 0x7FFFFFFF);
}

TEST(SkylineMemory, SetNumDofWithoutMemoryThrows) {
  const auto limit = ts::WithAllocations::UpTo(100);
  CSkyLine profile;
  EXPECT_THROW(profile.SetNumDof(100000), std::exception);
  EXPECT_EQ(profile.NumDof(), 0);
  CSkyLine diagonal;
  diagonal.SetDiagonal(true);
  EXPECT_THROW(diagonal.SetNumDof(100000), std::exception);
  EXPECT_THROW(CSkyLine().SetNumDof(-5), std::exception);
}

TEST(SkylineMemory, StoreInPiecesGivesTheSameBits) {
  const int n = 200;
  const std::vector<int> height = ts::RandomProfile(n, 90, 3);
  const std::vector<Term> terms = ts::FillProfile(height, 5);
  CSkyLine whole = MakeSkyline(height, terms);
  CSkyLine pieces;
  pieces.SetNumDof(n);
  for (int j = 1; j <= n; ++j) pieces.SetColHeight(j, height[j]);
  {
    const auto limit = ts::WithAllocations::UpTo(2000 * sizeof(double));
    pieces.CreateIndex();
  }
  for (const Term& t : terms) pieces.ElementAt(t.i, t.j) += t.value;
  pieces.SetAssemble();
  CVector x(n, 1.0), y(n, 1.0);
  std::vector<int> zeroDofs;
  whole.Scale(0.5);
  pieces.Scale(0.5);
  EXPECT_TRUE(SameBits(ValuesOf(whole), ValuesOf(pieces)));
  const CVector wholeProduct = whole * x, piecesProduct = pieces * x;

  EXPECT_TRUE(whole.Reduce(0, zeroDofs));
  EXPECT_TRUE(pieces.Reduce(0, zeroDofs));
  whole.BackSubs(x);
  pieces.BackSubs(y);

  EXPECT_TRUE(SameBits(ValuesOf(whole), ValuesOf(pieces)));
  for (int i = 1; i <= n; ++i) {
    EXPECT_EQ(x.GetAt(i), y.GetAt(i));
    EXPECT_EQ(wholeProduct.GetAt(i), piecesProduct.GetAt(i));
  }
}

TEST(SkylineMemory, EveryAllocationMayFailOnce) {
  const int n = 130;
  const std::vector<int> height = ts::RandomProfile(n, 130, 7);
  const std::vector<Term> terms = ts::FillProfile(height, 9);
  CSkyLine expected = MakeSkyline(height, terms);
  std::vector<int> zeroDofs;
  expected.Reduce(0, zeroDofs);
  const std::vector<double> factors = ValuesOf(expected);
  for (long failAt = 0;; ++failAt) {
    ASSERT_LT(failAt, 1000);
    CReport log;
    CSkyLine matrix;
    matrix.SetLog(&log);
    bool reached, done = false;
    {
      const auto limit = ts::WithAllocations::FailingAt(failAt);
      try {
        matrix.SetNumDof(n);
        for (int j = 1; j <= n; ++j) matrix.SetColHeight(j, height[j]);
        matrix.CreateIndex();
        for (const Term& t : terms) matrix.ElementAt(t.i, t.j) += t.value;
        matrix.SetAssemble();
        done = matrix.Reduce(0, zeroDofs);
      } catch (const std::exception&) {
      }
      reached = limit.HasFailed();
    }
    if (done) {
      EXPECT_TRUE(SameBits(ValuesOf(matrix), factors)) << "allocation " << failAt;
    }
    matrix.SetNumDof(2);  // still usable
    matrix.Clear();
    EXPECT_TRUE(matrix.CreateIndex());
    if (!reached) {
      EXPECT_TRUE(done);
      break;
    }
  }
}
