// Panel substitutions at every instruction set against the reference.
#include "kernels_support.h"

namespace {
using namespace Vessa::Matrix::kernels;
using namespace kerneltest;

class PanelSolves : public AtEveryLevel {};
INSTANTIATE_TEST_SUITE_P(Levels, PanelSolves, ::testing::Values(0, 1, 2), LevelName);

/// Unit lower panel with entries small enough for a well-conditioned triangle; poison on and above the
/// diagonal.
Array Panel(int m, int k, std::mt19937& generator) {
  Array l = RandomArray(m, k, generator);
  for (int j = 0; j < k; ++j)
    for (int i = 0; i < m; ++i) l(i, j) = i <= j ? Poison() : l(i, j) * 2.0 / (k + 1);
  return l;
}

double SolveBound(int m) {
  return 1e-15 * (m + 10);
}

const int columnCounts[] = {0, 1, 2, 3, 5, 7, 8, 9, 12, 16, 17, 31, 40, 127, 128, 129, 150};
const int rowCounts[] = {0, 1, 3, 4, 7, 8, 9, 15, 24, 25, 61};

TEST_P(PanelSolves, ForwardMatchesReference) {
  std::mt19937 generator(1);
  for (const int k : columnCounts)
    for (const int below : rowCounts) {
      const Array l = Panel(k + below, k, generator);
      std::vector<double> x = RandomVector(k, generator), xSlow = x;
      std::vector<double> y(static_cast<std::size_t>(below), Poison()), ySlow = y;

      Forward(l.Data(), l.ld, k + below, k, x.data(), y.data());
      reference::Forward(l.Data(), l.ld, k + below, k, xSlow.data(), ySlow.data());

      EXPECT_TRUE(Close(x, xSlow, SolveBound(k))) << k << ' ' << below;
      EXPECT_TRUE(Close(y, ySlow, SolveBound(k))) << k << ' ' << below;
      for (const double v : y) EXPECT_FALSE(std::isnan(v));
    }
}

TEST_P(PanelSolves, BackwardMatchesReferenceWithAndWithoutPivots) {
  std::mt19937 generator(2);
  for (const int k : columnCounts)
    for (const int below : rowCounts) {
      const Array l = Panel(k + below, k, generator);
      const std::vector<double> start = RandomVector(k, generator), y = RandomVector(below, generator);
      std::vector<double> d = RandomVector(k, generator);
      for (double& p : d) p += p < 0 ? -1.0 : 1.0;
      for (const double* pivots :
           {static_cast<const double*>(nullptr), static_cast<const double*>(d.data())}) {
        std::vector<double> x = start, xSlow = start;

        Backward(l.Data(), l.ld, pivots, k + below, k, x.data(), y.data());
        reference::Backward(l.Data(), l.ld, pivots, k + below, k, xSlow.data(), y.data());

        EXPECT_TRUE(Close(x, xSlow, SolveBound(k + below) * 4)) << k << ' ' << below;
        for (const double v : x) EXPECT_FALSE(std::isnan(v));
      }
    }
}

/// Rows of Y in a scattered order, with rows in between that must stay as they are.
std::vector<int> ScatteredRows(int count) {
  std::vector<int> rows;
  for (int i = 0; i < count; ++i) rows.push_back(3 * i + i % 2);
  return rows;
}

struct BlockCase {
  Array l;
  int m, k, lanes;
  std::ptrdiff_t ld;
  std::vector<int> rows;
  std::vector<double> x, y;
};

BlockCase MakeBlock(int k, int below, int lanes, bool scattered, std::mt19937& generator) {
  BlockCase c{Panel(k + below, k, generator), k + below, k, lanes, lanes + 3, {}, {}, {}};
  if (scattered) c.rows = ScatteredRows(below);
  c.x.assign(static_cast<std::size_t>(c.ld * k), Poison());
  c.y.assign(static_cast<std::size_t>(c.ld * (3 * below + 2)), Poison());
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  for (int i = 0; i < k; ++i)
    for (int r = 0; r < lanes; ++r) c.x[static_cast<std::size_t>(i * c.ld + r)] = uniform(generator);
  for (int i = 0; i < 3 * below + 2; ++i)
    for (int r = 0; r < lanes; ++r) c.y[static_cast<std::size_t>(i * c.ld + r)] = uniform(generator);
  return c;
}

void CheckBlocks(const std::vector<int>& columns, const std::vector<int>& laneCounts) {
  std::mt19937 generator(3);
  for (const int k : columns)
    for (const int below : {0, 1, 4, 7, 8, 9, 30})
      for (const int lanes : laneCounts)
        for (const bool scattered : {false, true}) {
          SCOPED_TRACE(std::to_string(k) + " " + std::to_string(below) + " lanes " + std::to_string(lanes));
          BlockCase fast = MakeBlock(k, below, lanes, scattered, generator), slow = fast;
          const int* rows = scattered ? fast.rows.data() : nullptr;
          std::vector<double> d = RandomVector(k, generator);
          for (double& p : d) p += p < 0 ? -1.0 : 1.0;

          ForwardBlock(fast.l.Data(), fast.l.ld, fast.m, k, fast.x.data(), fast.ld, fast.y.data(), fast.ld,
                       rows, lanes);
          reference::ForwardBlock(slow.l.Data(), slow.l.ld, slow.m, k, slow.x.data(), slow.ld, slow.y.data(),
                                  slow.ld, rows, lanes);
          EXPECT_TRUE(Close(fast.x, slow.x, SolveBound(k)));
          EXPECT_TRUE(Close(fast.y, slow.y, SolveBound(k)));

          for (const double* pivots :
               {static_cast<const double*>(d.data()), static_cast<const double*>(nullptr)}) {
            BackwardBlock(fast.l.Data(), fast.l.ld, pivots, fast.m, k, fast.x.data(), fast.ld, fast.y.data(),
                          fast.ld, rows, lanes);
            reference::BackwardBlock(slow.l.Data(), slow.l.ld, pivots, slow.m, k, slow.x.data(), slow.ld,
                                     slow.y.data(), slow.ld, rows, lanes);
            EXPECT_TRUE(Close(fast.x, slow.x, SolveBound(fast.m) * 16));
          }
        }
}

TEST_P(PanelSolves, BlocksMatchReferenceForEverySmallWidth) {
  CheckBlocks({0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 15, 16, 17}, {8, 16, 24});
}

TEST_P(PanelSolves, BlocksMatchReferenceForManyLanesAndWidePanels) {
  CheckBlocks({5, 40, 127, 128, 130, 260}, {0, 24, 32, 40, 56});
}

TEST_P(PanelSolves, LanesDoNotDependOnTheirNeighbours) {
  std::mt19937 generator(4);
  const BlockCase wide = MakeBlock(37, 29, 40, true, generator);
  BlockCase all = wide;
  ForwardBlock(all.l.Data(), all.l.ld, all.m, all.k, all.x.data(), all.ld, all.y.data(), all.ld,
               all.rows.data(), 40);
  BackwardBlock(all.l.Data(), all.l.ld, nullptr, all.m, all.k, all.x.data(), all.ld, all.y.data(), all.ld,
                all.rows.data(), 40);
  for (const int first : {0, 8, 24, 32}) {
    BlockCase part = wide;
    ForwardBlock(part.l.Data(), part.l.ld, part.m, part.k, part.x.data() + first, part.ld,
                 part.y.data() + first, part.ld, part.rows.data(), 8);
    BackwardBlock(part.l.Data(), part.l.ld, nullptr, part.m, part.k, part.x.data() + first, part.ld,
                  part.y.data() + first, part.ld, part.rows.data(), 8);
    for (int i = 0; i < 37; ++i)
      for (int r = first; r < first + 8; ++r) {
        const auto at = static_cast<std::size_t>(i * wide.ld + r);
        ASSERT_EQ(part.x[at], all.x[at]) << i << ' ' << r;
      }
  }
}

}  // namespace
