// Trailing updates and products at every instruction set against the reference.
#include "kernels_support.h"

namespace {
using namespace Vessa::Matrix::kernels;
using namespace kerneltest;

class Products : public AtEveryLevel {};
INSTANTIATE_TEST_SUITE_P(Levels, Products, ::testing::Values(0, 1, 2), LevelName);

// Rounding of a sum of k products of numbers up to 1 (D up to 1) added to a number up to 1.
double ProductBound(int k) {
  return 4.0 * (k + 2) * (k + 2) * 1.2e-16;
}

void CheckTrailing(int m, int k, Target target, std::mt19937& generator) {
  SCOPED_TRACE("m " + std::to_string(m) + " k " + std::to_string(k));
  const Array l = RandomArray(m, k, generator);
  const std::vector<double> d = RandomVector(k, generator);
  Array fast = RandomArray(m, m, generator);
  for (int j = 0; j < m; ++j)
    for (int i = 0; i < m; ++i)
      if (i < j || target == Target::Fresh) fast(i, j) = Poison();
  Array slow = fast;
  Workspace work;

  UpdateTrailing(l.Data(), l.ld, d.data(), m, k, fast.Data(), fast.ld, 0, m, work, target);
  reference::UpdateTrailing(l.Data(), l.ld, d.data(), m, k, slow.Data(), slow.ld, 0, m, target);

  EXPECT_TRUE(Close(fast.value, slow.value, ProductBound(k)));
}

TEST_P(Products, TrailingUpdateMatchesReferenceForEverySmallSize) {
  std::mt19937 generator(7);
  for (int m = 0; m <= 52; ++m)
    for (const int k : {0, 1, 2, 3, 7, 8, 9, 31}) CheckTrailing(m, k, Target::Filled, generator);
}

TEST_P(Products, TrailingUpdateMatchesReferenceAroundTheBlockSizes) {
  std::mt19937 generator(8);
  for (const int m : {95, 96, 97, 191, 192, 193, 217})
    for (const int k : {1, 47, 48, 255, 256, 257}) CheckTrailing(m, k, Target::Filled, generator);
}

TEST_P(Products, FreshTargetNeedsNoInitialValues) {
  std::mt19937 generator(9);
  for (const int m : {0, 1, 5, 8, 24, 31, 100, 200})
    for (const int k : {0, 1, 9, 60, 300}) CheckTrailing(m, k, Target::Fresh, generator);
}

TEST_P(Products, ColumnRangesGiveTheBitsOfOneCall) {
  std::mt19937 generator(10);
  for (const int m : {13, 60, 131, 250})
    for (const int k : {3, 40, 64, 300}) {
      const Array l = RandomArray(m, k, generator);
      const std::vector<double> d = RandomVector(k, generator);
      const Array start = RandomArray(m, m, generator);
      Workspace work;
      Array whole = start;
      UpdateTrailing(l.Data(), l.ld, d.data(), m, k, whole.Data(), whole.ld, 0, m, work);
      for (const int step : {1, 5, 8, 17, 24, 64, 100}) {
        Array parts = start;
        for (int c = 0; c < m; c += step)
          UpdateTrailing(l.Data(), l.ld, d.data(), m, k, parts.Data(), parts.ld, c, std::min(c + step, m),
                         work);
        EXPECT_TRUE(SameBits(parts.value, whole.value)) << "m " << m << " k " << k << " step " << step;
      }
    }
}

TEST_P(Products, RectangleGivesTheBitsOfTheTrailingUpdate) {
  std::mt19937 generator(11);
  const int m = 150, k = 70, split = 61;
  const Array l = RandomArray(m, k, generator);
  const std::vector<double> d = RandomVector(k, generator);
  Array triangle = RandomArray(m, m, generator);
  Array rectangle = triangle;
  Workspace work;

  UpdateTrailing(l.Data(), l.ld, d.data(), m, k, triangle.Data(), triangle.ld, 0, m, work);
  SubtractProduct(l.Data() + split, l.ld, l.Data(), l.ld, d.data(), m - split, split, k,
                  rectangle.Data() + split, rectangle.ld, work);

  for (int j = 0; j < split; ++j)
    for (int i = split; i < m; ++i) ASSERT_EQ(rectangle(i, j), triangle(i, j)) << i << ' ' << j;
}

TEST_P(Products, ProductMatchesReferenceWithAndWithoutPivots) {
  std::mt19937 generator(12);
  for (const int m : {0, 1, 7, 23, 24, 25, 100, 193})
    for (const int n : {0, 1, 3, 8, 9, 64, 65})
      for (const int k : {0, 1, 12, 50, 257}) {
        const Array a = RandomArray(m, k, generator), b = RandomArray(n, k, generator);
        const std::vector<double> d = RandomVector(k, generator);
        const Array start = RandomArray(m, n, generator);
        for (const double* pivots : {static_cast<const double*>(nullptr), d.data()}) {
          Array fast = start, slow = start;
          Workspace work;
          SubtractProduct(a.Data(), a.ld, b.Data(), b.ld, pivots, m, n, k, fast.Data(), fast.ld, work);
          reference::SubtractProduct(a.Data(), a.ld, b.Data(), b.ld, pivots, m, n, k, slow.Data(), slow.ld);
          EXPECT_TRUE(Close(fast.value, slow.value, ProductBound(k))) << m << ' ' << n << ' ' << k;
        }
      }
}

TEST(ProductLevels, FusedLevelsGiveTheSameBits) {
  if (BestKernelLevel() < KernelLevel::Avx512) GTEST_SKIP() << "this processor has no AVX-512";
  std::mt19937 generator(13);
  const int m = 203, k = 301;
  const Array l = RandomArray(m, k, generator);
  const std::vector<double> d = RandomVector(k, generator);
  Array wide = RandomArray(m, m, generator);
  Array narrow = wide;
  Workspace work;

  UpdateTrailing(l.Data(), l.ld, d.data(), m, k, wide.Data(), wide.ld, 0, m, work);
  ASSERT_TRUE(SetKernelLevel(KernelLevel::Avx2));
  UpdateTrailing(l.Data(), l.ld, d.data(), m, k, narrow.Data(), narrow.ld, 0, m, work);
  SetKernelLevel(BestKernelLevel());

  EXPECT_TRUE(SameBits(wide.value, narrow.value));
}

}  // namespace
