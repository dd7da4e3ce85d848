#include <gtest/gtest.h>

#include <map>
#include <utility>
#include <vector>

#include "solution/TermStaging.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using test_support::RandomNumbers;

// The definition: a map that adds up in the order given.
std::map<std::pair<int, int>, double> Summed(const std::vector<StagedTerm>& terms, Triangle triangle) {
  std::map<std::pair<int, int>, double> sum;
  for (const StagedTerm& t : terms) {
    const bool mirrored = triangle == Triangle::Upper && t.row > t.col;
    const auto place = mirrored ? std::make_pair(t.row, t.col) : std::make_pair(t.col, t.row);
    const auto found = sum.find(place);
    if (found == sum.end())
      sum[place] = t.value;
    else
      found->second += t.value;
  }
  return sum;
}

std::vector<StagedTerm> RandomTerms(int n, int count, unsigned seed) {
  RandomNumbers random(seed);
  std::vector<StagedTerm> terms;
  for (int k = 0; k < count; ++k)
    terms.push_back({random.Integer(0, n - 1), random.Integer(0, n - 1), random.Signed() * 1e3});
  return terms;
}

void ExpectMerged(const MergedColumns& merged, int n, const std::map<std::pair<int, int>, double>& sum) {
  ASSERT_EQ(merged.n, n);
  ASSERT_EQ(merged.NumTerm(), sum.size());
  auto next = sum.begin();
  for (int c = 0; c < n; ++c)
    for (std::size_t k = merged.start[c]; k < merged.start[c + 1]; ++k, ++next) {
      EXPECT_EQ(next->first, std::make_pair(c, merged.row[k]));
      EXPECT_EQ(next->second, merged.value[k]);  // to the bit: the order of the sum is promised
    }
}

TEST(TermStaging, MergeEqualsAMapOfSumsToTheBit) {
  for (const Triangle triangle : {Triangle::AsAdded, Triangle::Upper})
    for (const int n : {1, 2, 7, 40, 300})
      for (const int count : {0, 1, 5, 1023, 1024, 1025, 2048, 30000}) {
        const std::vector<StagedTerm> terms = RandomTerms(n, count, 1000 + n + count);
        TermStaging staging;
        staging.SetNumDof(n);
        for (const StagedTerm& t : terms) staging.Add(t.row, t.col, t.value);
        ASSERT_EQ(staging.Count(), terms.size());

        const MergedColumns merged = MergeTerms(staging, n, triangle);

        EXPECT_TRUE(staging.IsEmpty());
        ExpectMerged(merged, n, Summed(terms, triangle));
      }
}

TEST(TermStaging, ZeroDiagonalEqualsZerosAddedFirst) {
  for (const Triangle triangle : {Triangle::AsAdded, Triangle::Upper})
    for (const int n : {1, 2, 7, 40})
      for (const int count : {0, 1, 5, 3000}) {
        std::vector<StagedTerm> terms = RandomTerms(n, count, 2000 + n + count);
        TermStaging staging;
        staging.SetNumDof(n);
        staging.AddZeroDiagonal();
        for (const StagedTerm& t : terms) staging.Add(t.row, t.col, t.value);
        for (int i = 0; i < n; ++i) terms.insert(terms.begin(), StagedTerm{i, i, 0.0});
        EXPECT_FALSE(staging.IsEmpty());
        TermStaging copy(staging);

        const MergedColumns merged = MergeTerms(staging, n, triangle);
        const MergedColumns fromCopy = MergeTerms(copy, n, triangle);

        EXPECT_TRUE(staging.IsEmpty());
        ExpectMerged(merged, n, Summed(terms, triangle));
        ExpectMerged(fromCopy, n, Summed(terms, triangle));
      }
}

TEST(TermStaging, TermsComeBackInTheOrderAdded) {
  const std::vector<StagedTerm> terms = RandomTerms(50, 5000, 3);
  TermStaging staging;
  staging.SetNumDof(50);
  for (const StagedTerm& t : terms) staging.Add(t.row, t.col, t.value);
  const TermStaging copy(staging);

  for (const TermStaging* s : {static_cast<const TermStaging*>(&staging), &copy}) {
    std::size_t k = 0;
    s->ForEach([&](int row, int col, double value) {
      ASSERT_LT(k, terms.size());
      EXPECT_EQ(row, terms[k].row);
      EXPECT_EQ(col, terms[k].col);
      EXPECT_EQ(value, terms[k].value);
      ++k;
    });
    EXPECT_EQ(k, terms.size());
  }
}

TEST(TermStaging, CopyOfAnEmptyStagingTakesTerms) {
  TermStaging empty;
  empty.SetNumDof(3);
  TermStaging copy(empty);

  copy.Add(1, 2, 5.0);

  EXPECT_EQ(copy.Count(), 1u);
  EXPECT_EQ(empty.Count(), 0u);
}

TEST(TermStaging, NewSizeDropsTheTermsAndTheSameSizeKeepsThem) {
  TermStaging staging;
  staging.SetNumDof(3);
  staging.Add(0, 0, 1.0);

  staging.SetNumDof(3);
  EXPECT_EQ(staging.Count(), 1u);

  staging.SetNumDof(4);
  EXPECT_TRUE(staging.IsEmpty());
}

TEST(TermStaging, TermsOutsideAreCountedWithTheFirstNamed) {
  TermStaging staging;
  staging.SetNumDof(3);
  EXPECT_EQ(staging.LeftOutMessage(), "");

  staging.Add(3, 1, 1.0);
  EXPECT_EQ(staging.LeftOutMessage(),
            "1 term outside the triangle of 3 dof left out, the first in row 4, column 2");
  staging.Add(-1, 0, 1.0);
  EXPECT_EQ(staging.LeftOutMessage(),
            "2 terms outside the triangle of 3 dof left out, the first in row 4, column 2");

  EXPECT_TRUE(staging.IsEmpty());
  staging.Clear();
  EXPECT_EQ(staging.LeftOutMessage(), "");
}

TEST(TermStaging, TheSamePlacesOverAndOverDoNotFillTheMemory) {
  const int n = 10, rounds = (1 << 24) / n + 1000;
  TermStaging staging;
  staging.SetNumDof(n);
  staging.Add(n, n, 1.0);
  staging.AddZeroDiagonal();

  for (int r = 0; r < rounds; ++r)
    for (int i = 0; i < n; ++i) staging.Add(i, i, 1.0);

  EXPECT_LT(staging.Count(), std::size_t{20000});
  EXPECT_NE(staging.LeftOutMessage(), "");
  EXPECT_TRUE(staging.HasZeroDiagonal());
  const MergedColumns merged = MergeTerms(staging, n, Triangle::AsAdded);
  ASSERT_EQ(merged.NumTerm(), static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) EXPECT_EQ(merged.value[i], static_cast<double>(rounds));
}

}  // namespace
