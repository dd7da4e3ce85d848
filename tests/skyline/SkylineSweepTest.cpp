// Solutions and products: every instruction set, one vector or many, gives the same bits; and they are right.
#include <gtest/gtest.h>

#include "skyline/Profiles.h"
#include "skyline/SkylinePlain.h"
#include "skyline/SkylineReference.h"
#include "skyline/SkylineSweep.h"
#include "support/DenseReference.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

namespace {

std::vector<const skyline::SweepKernels*> AllKernels() {
  std::vector<const skyline::SweepKernels*> all{&skyline::BaselineSweepKernels()};
  if (skyline::Avx2SweepKernels()) all.push_back(skyline::Avx2SweepKernels());
  if (skyline::Avx512SweepKernels()) all.push_back(skyline::Avx512SweepKernels());
  return all;
}

struct Case {
  int n;
  std::vector<int> end;
  std::vector<double> value;
};

Case MakeCase(int n, int tallest, unsigned seed) {
  const std::vector<int> height = ts::RandomProfile(n, tallest, seed);
  const CSkyLine m = MakeSkyline(height, ts::FillProfile(height, seed + 1));
  Case c{n, std::vector<int>(n + 1, 0), ValuesOf(m)};
  for (int j = 1; j <= n; ++j) c.end[j] = c.end[j - 1] + height[j];
  return c;
}

using One = void (*)(const double*, const int*, int, const double*, double*, const skyline::SweepKernels&);
using Many = void (*)(const double*, const int*, int, const double*, double*, int,
                      const skyline::SweepKernels&);
using Plain = void (*)(const double*&, const int*, int, const double*, double*);

void SolveOne(const double* value, const int* end, int n, const double* x, double* y,
              const skyline::SweepKernels& kernels) {
  std::copy_n(x, n, y);
  skyline::Solve(value, end, n, y, kernels);
}

void SolveMany(const double* value, const int* end, int n, const double* x, double* y, int count,
               const skyline::SweepKernels& kernels) {
  std::copy_n(x, n * count, y);
  skyline::SolveBlock(value, end, n, y, count, kernels);
}

void SolvePlain(const double*& value, const int* end, int n, const double* x, double* y) {
  std::copy_n(x, n, y);
  skyline::plain::Solve(value, end, n, y);
}

void SolveReference(const double*& value, const int* end, int n, const double* x, double* y) {
  std::copy_n(x, n, y);
  skyline::reference::Solve(value, end, n, y);
}

struct Operation {
  const char* name;
  Plain reference, plain;
  One one;
  Many many;
};

const Operation kOperations[] = {
    {"solve", SolveReference, SolvePlain, SolveOne, SolveMany},
    {"assembled product", skyline::reference::MultiplyAssembled<const double*>,
     skyline::plain::MultiplyAssembled<const double*>, skyline::MultiplyAssembled,
     skyline::MultiplyAssembledBlock},
    {"reduced product", skyline::reference::MultiplyReduced<const double*>,
     skyline::plain::MultiplyReduced<const double*>, skyline::MultiplyReduced, skyline::MultiplyReducedBlock},
};

std::vector<double> Column(const std::vector<double>& block, int count, int c) {
  std::vector<double> x;
  for (std::size_t k = c; k < block.size(); k += count) x.push_back(block[k]);
  return x;
}

}  // namespace

TEST(SkylineSweeps, EveryKernelGivesTheBitsOfThePlainLoops) {
  for (int n : {1, 2, 3, 8, 9, 10, 17, 33, 100, 257}) {
    for (int tallest : {1, 2, 8, 9, 10, 17, 18, 257}) {
      const Case c = MakeCase(n, tallest, n + tallest);
      const std::vector<double> x = ts::RandomVector(n, 5);
      for (const Operation& operation : kOperations) {
        std::vector<double> expected(n), y(n);
        const double* value = c.value.data();
        operation.plain(value, c.end.data(), n, x.data(), expected.data());
        for (const skyline::SweepKernels* kernels : AllKernels()) {
          operation.one(c.value.data(), c.end.data(), n, x.data(), y.data(), *kernels);
          EXPECT_TRUE(SameBits(y, expected))
              << operation.name << ' ' << kernels->name << ' ' << n << ' ' << tallest;
        }
      }
    }
  }
}

TEST(SkylineSweeps, BlocksGiveTheBitsOfTheirVectors) {
  for (int n : {1, 2, 10, 65}) {
    const Case c = MakeCase(n, 40, n);
    for (int count : {1, 2, 3, 4, 5, 7, 8, 9, 16, 19, 33}) {
      const std::vector<double> x = ts::RandomVector(n * count, count);
      for (const Operation& operation : kOperations) {
        for (const skyline::SweepKernels* kernels : AllKernels()) {
          std::vector<double> block(x.size()), y(n);
          operation.many(c.value.data(), c.end.data(), n, x.data(), block.data(), count, *kernels);
          for (int v = 0; v < count; ++v) {
            operation.one(c.value.data(), c.end.data(), n, Column(x, count, v).data(), y.data(), *kernels);
            EXPECT_TRUE(SameBits(y, Column(block, count, v)))
                << operation.name << ' ' << kernels->name << ", n " << n << ", vector " << v << " of "
                << count;
          }
        }
      }
    }
  }
}

TEST(SkylineSweeps, PlainLoopsAgreeWithTheReference) {
  for (int n : {1, 5, 40, 200}) {
    const Case c = MakeCase(n, 60, n);
    const std::vector<double> x = ts::RandomVector(n, 7);
    for (const Operation& operation : kOperations) {
      std::vector<double> expected(n), y(n);
      const double* value = c.value.data();
      operation.reference(value, c.end.data(), n, x.data(), expected.data());
      operation.plain(value, c.end.data(), n, x.data(), y.data());
      double largest = 0.0, difference = 0.0;
      for (int i = 0; i < n; ++i) {
        largest = std::max(largest, std::fabs(expected[i]));
        difference = std::max(difference, std::fabs(expected[i] - y[i]));
      }
      EXPECT_LE(difference, 1e-14 * n * largest) << operation.name << ' ' << n;
    }
  }
}

TEST(SkylineProducts, AssembledAndReducedAgreeWithTheDenseProduct) {
  for (int n : {1, 2, 7, 30, 150}) {
    const std::vector<int> height = ts::RandomProfile(n, 50, n);
    const std::vector<Term> terms = ts::FillProfile(height, n);
    CSkyLine m = MakeSkyline(height, terms);
    const std::vector<double> v = ts::RandomVector(n, 3);
    CVector x(n);
    for (int i = 0; i < n; ++i) x.ElementAtIndex(i) = v[i];
    const ts::Dense dense = ts::DenseOf(n, terms);
    const std::vector<ts::Real> expected = ts::Multiply(dense, v);
    const double bound = 1e-14 * n * static_cast<double>(ts::OneNorm(dense));
    std::vector<int> zeroDofs;

    const CVector assembled = m * x;
    ASSERT_TRUE(m.Reduce(0, zeroDofs));
    const CVector reduced = m * x;

    for (int i = 1; i <= n; ++i) {
      EXPECT_NEAR(assembled.GetAt(i), static_cast<double>(expected[i - 1]), bound);
      EXPECT_NEAR(reduced.GetAt(i), static_cast<double>(expected[i - 1]), bound);
    }
  }
}

TEST(SkylineProducts, BlockMembersAreTheSingleOnesToTheBit) {
  const int n = 90, count = 13;
  const std::vector<int> height = ts::RandomProfile(n, 50, 3);
  CSkyLine m = MakeSkyline(height, ts::FillProfile(height, 4));
  CMatrix<0> X(n, count);
  const std::vector<double> v = ts::RandomVector(n * count, 3);
  std::copy(v.begin(), v.end(), X.Array());
  std::vector<int> zeroDofs;
  const auto columnOf = [&](const CMatrix<0>& block, int c) {
    CVector x(n);
    for (int i = 1; i <= n; ++i) x[i] = block.GetAt(i, c);
    return x;
  };
  const auto expectColumns = [&](const CMatrix<0>& block, auto single) {
    ASSERT_EQ(block.NumRows(), n);
    ASSERT_EQ(block.NumCols(), count);
    for (int c = 1; c <= count; ++c) {
      const CVector y = single(columnOf(X, c));
      for (int i = 1; i <= n; ++i) EXPECT_EQ(block.GetAt(i, c), y.GetAt(i));
    }
  };

  expectColumns(m * X, [&](const CVector& x) { return m * x; });
  ASSERT_TRUE(m.Reduce(0, zeroDofs));
  expectColumns(m * X, [&](const CVector& x) { return m * x; });
  CMatrix<0> solved(X);
  CReport log;
  m.SetLog(&log);
  m.BackSubs(solved);
  EXPECT_EQ(log.Note(), "Back-substitution");
  expectColumns(solved, [&](CVector x) {
    m.BackSubs(x);
    return x;
  });
}

TEST(SkylineProducts, OtherPhasesGiveNothing) {
  CSkyLine m = MakeSkyline(2, {{1, 1, 1}, {2, 2, 1}});
  for (Phase phase : {PhaseHeights, PhaseIndexed}) {
    m.SetPhase(phase);
    EXPECT_EQ((m * CVector(2, 1.0)).Size(), 0);
    EXPECT_EQ((m * CMatrix<0>(2, 3, 1.0)).NumRows(), 0);
  }
}

TEST(SkylineProducts, DiagonalModeMultipliesInBothPhases) {
  CSkyLine m;
  m.SetDiagonal(true);
  m.SetNumDof(2);
  m.SetAt(1, 1, 3.0);
  m.SetAt(2, 2, -4.0);
  for (Phase phase : {PhaseAssembled, PhaseReduced}) {
    m.SetPhase(phase);
    EXPECT_EQ((m * CVector(2, 2.0)).GetAt(2), -8.0);
    EXPECT_EQ((m * CMatrix<0>(2, 3, 2.0)).GetAt(1, 3), 6.0);
  }
  CMatrix<0> b(2, 2, 12.0);
  m.BackSubs(b);
  EXPECT_EQ(b.GetAt(1, 2), 4.0);
  EXPECT_EQ(b.GetAt(2, 1), -3.0);
}

TEST(SkylineProducts, EmptyAndMismatched) {
  CSkyLine none;
  none.SetAssemble();
  EXPECT_EQ((none * CVector()).Size(), 0);
  CSkyLine m = MakeSkyline(3, {{1, 1, 1}, {2, 2, 1}, {3, 3, 1}});
  EXPECT_THROW(m * CVector(2, 1.0), CMatrixError);
  EXPECT_THROW(m * CMatrix<0>(2, 2, 1.0), CMatrixError);
  EXPECT_EQ((m * CMatrix<0>(3, 0)).NumRows(), 3);
  m.Clear();
  m.SetAssemble();
  EXPECT_THROW(m * CVector(3, 1.0), CMatrixError);
}
