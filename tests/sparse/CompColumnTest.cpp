#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "containers/CReport.h"
#include "sparse/CCompColumn.h"

using namespace Vessa::Matrix;

namespace {

/// Both triangles of a dense symmetric matrix; zeros are not stored unless on the diagonal.
CCompColumn FromDense(const std::vector<std::vector<double>>& a, CReport* log = nullptr) {
  const int n = static_cast<int>(a.size());
  CMatInt pattern;
  pattern.SetSize(n);
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) {
      if (i == j || a[i - 1][j - 1] != 0.0) pattern.SetVal(i, j);
    }
  }
  pattern.Sort();
  CCompColumn m;
  m.SetLog(log);
  EXPECT_TRUE(m.Set(pattern));
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) m.AddAt(i, j, a[i - 1][j - 1]);
  }
  return m;
}

std::vector<std::vector<double>> Spring(int n) {
  std::vector<std::vector<double>> a(n, std::vector<double>(n, 0.0));
  for (int i = 0; i < n; ++i) {
    a[i][i] = 2.0;
    if (i > 0) a[i][i - 1] = a[i - 1][i] = -1.0;
  }
  return a;
}

CVector Ones(int n) {
  return CVector(n, 1.0);
}

}  // namespace

TEST(CompColumn, SolvesASpringChain) {
  CCompColumn m = FromDense(Spring(6));
  CVector x = m * Ones(6);

  const int result = m.Reduce(true, 1e-40);
  m.BackSubs(x);

  EXPECT_EQ(result, 6);
  for (int i = 1; i <= 6; ++i) EXPECT_NEAR(x[i], 1.0, 1e-14);
}

TEST(CompColumn, CountsBothTriangles) {
  CCompColumn m = FromDense(Spring(4));

  EXPECT_EQ(m.NumTerm(), 4 + 2 * 3);
  EXPECT_EQ(m.NumDof(), 4);
}

TEST(CompColumn, AnEmptyMatrixReducesToZeroDof) {
  CCompColumn m;

  EXPECT_EQ(m.Reduce(true, 1e-40), 0);
  m.BackSubs(static_cast<double*>(nullptr));
}

TEST(CompColumn, StiffnessModeSuppressesTheLooseDofAndNamesIt) {
  CReport log;
  std::vector<std::vector<double>> a = Spring(5);
  for (int i = 0; i < 5; ++i) a[3][i] = a[i][3] = 0.0;
  CCompColumn m = FromDense(a, &log);

  const int result = m.Reduce(true, 1e-40);
  CVector x(5, 2.0);
  m.BackSubs(x);

  EXPECT_EQ(result, 5 + 4 - 1);
  ASSERT_EQ(m.SuppressedDofs(), std::vector<int>{4});
  ASSERT_EQ(log.NumLog(), 1);
  EXPECT_EQ(log.LogStatus(0), 1);
  EXPECT_EQ(log.LogMessage(0), "Zero pivot suppressed at dof 4");
  EXPECT_EQ(x[4], 2.0);
  EXPECT_NEAR(x[5], 1.0, 1e-15);
}

TEST(CompColumn, ASuppressedFirstDofGivesNMinusOne) {
  std::vector<std::vector<double>> a = Spring(3);
  a[0][0] = a[0][1] = a[1][0] = 0.0;
  CCompColumn m = FromDense(a);

  EXPECT_EQ(m.Reduce(true, 1e-40), 2);
  EXPECT_EQ(m.SuppressedDofs(), std::vector<int>{1});
}

TEST(CompColumn, SturmModeCountsNegativePivots) {
  CCompColumn m = FromDense({{1, 2, 0}, {2, 1, 0}, {0, 0, -3}});

  EXPECT_EQ(m.Reduce(false, 1e-40), 3);
  EXPECT_EQ(m.NumNegative(), 2);
}

TEST(CompColumn, SturmModeTurnsAnExactZeroIntoANegativePivot) {
  CCompColumn m = FromDense({{0, 0}, {0, 1}});

  EXPECT_EQ(m.Reduce(false, 1e-40), 2);
  EXPECT_EQ(m.NumNegative(), 1);
}

TEST(CompColumn, MultiplierGrowthEndsTheSturmModeWithANotice) {
  CReport log;
  CCompColumn m = FromDense({{1e-9, 1}, {1, 1e-9}}, &log);

  const int result = m.Reduce(false, 1e-40);

  EXPECT_LT(result, 2);
  ASSERT_EQ(log.NumLog(), 1);
  EXPECT_EQ(log.LogMessage(0), "Sturm sequence check failed due to multiplier growth");
}

TEST(CompColumn, ANaNOrInfinityNeverPasses) {
  for (double bad : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    for (bool stiffness : {true, false}) {
      CReport log;
      std::vector<std::vector<double>> a = Spring(4);
      a[2][2] = bad;
      CCompColumn m = FromDense(a, &log);

      EXPECT_LT(m.Reduce(stiffness, 1e-40), 4);
      EXPECT_EQ(log.Status(), 2);
    }
  }
}

TEST(CompColumn, ValuesThatAreNotSymmetricAreRefused) {
  CReport log;
  CCompColumn m = FromDense(Spring(4), &log);
  m.SetAt(2, 3, 5.0);

  EXPECT_LT(m.Reduce(true, 1e-40), 4);
  EXPECT_EQ(log.LogMessage(0), "The matrix is not symmetric: terms (3, 2) and (2, 3) differ");
}
