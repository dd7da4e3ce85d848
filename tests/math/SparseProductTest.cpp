#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>
#include <Eigen/Core>
#include <Eigen/SparseCore>

#include "math/SparseProductKernels.h"
#include "math/sparse_product.h"

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using Sparse = Eigen::SparseMatrix<double, 0, int>;
namespace math = Vessa::Matrix::math;

/// A random symmetric matrix, its lower triangle stored; with `upper` also wrong entries above the diagonal.
Sparse randomLower(int n, double density, unsigned seed, bool upper) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0), chance(0.0, 1.0);
  std::vector<Eigen::Triplet<double, int>> terms;
  for (int c = 0; c < n; ++c) {
    for (int r = c; r < n; ++r)
      if (chance(engine) < density) terms.emplace_back(r, c, value(engine));
    if (upper && c > 0) terms.emplace_back(c / 2, c, std::numeric_limits<double>::quiet_NaN());
  }
  Sparse A(n, n);
  A.setFromTriplets(terms.begin(), terms.end());
  return A;
}

/// The same matrix with room left in every column, as after an insertion.
Sparse uncompressed(const Sparse& A) {
  Sparse B = A;
  B.reserve(Eigen::VectorXi::Constant(int(A.cols()), 3));
  EXPECT_FALSE(B.isCompressed());
  return B;
}

MatrixXd randomBlock(int n, int columns, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  return MatrixXd::NullaryExpr(n, columns, [&]() { return value(engine); });
}

math::LowerCsc arrays(const Sparse& A) {
  return {int(A.cols()), A.outerIndexPtr(), A.outerIndexPtr() + 1, A.innerIndexPtr(), A.valuePtr()};
}

MatrixXd dense(const Sparse& A) {
  MatrixXd D = MatrixXd::Zero(A.rows(), A.cols());
  for (int c = 0; c < A.cols(); ++c) {
    for (Sparse::InnerIterator entry(A, c); entry; ++entry) {
      if (entry.row() < c) continue;
      D(entry.row(), c) = entry.value();
      D(c, entry.row()) = entry.value();
    }
  }
  return D;
}

/// |Y − A·X| entry by entry within the bound of a sum of n products, c·n·ε·(|A|·|X|).
void expectProduct(const Sparse& A, const MatrixXd& X, const MatrixXd& Y) {
  const MatrixXd D = dense(A);
  const MatrixXd bound = D.cwiseAbs() * X.cwiseAbs();
  const double worst =
      ((Y - D * X).cwiseAbs().array() - 2.0 * double(A.rows() + 1) * 2.3e-16 * bound.array()).maxCoeff();
  EXPECT_LE(worst, 0.0);
}

TEST(SymProductReference, MatchesNumbersByHand) {
  Sparse A(3, 3);  // [2 -1 0; -1 4 -1; 0 -1 2], lower triangle
  const std::vector<Eigen::Triplet<double, int>> terms{
      {0, 0, 2}, {1, 0, -1}, {1, 1, 4}, {2, 1, -1}, {2, 2, 2}};
  A.setFromTriplets(terms.begin(), terms.end());
  const VectorXd x = Eigen::Vector3d(1, 2, 3);
  VectorXd y(3);

  math::symProductReference(arrays(A), 1, x.data(), 3, y.data(), 3);

  EXPECT_EQ(y, VectorXd(Eigen::Vector3d(0, 4, 4)));
}

class SymProductColumns : public ::testing::TestWithParam<int> {};

TEST_P(SymProductColumns, EveryKernelMatchesTheDenseProduct) {
  const int columns = GetParam();
  for (int n : {1, 2, 7, 64}) {
    const Sparse A = randomLower(n, 0.3, 7 + n, false);
    const MatrixXd X = randomBlock(n, columns, 3);
    MatrixXd Y(n, columns);

    math::symProductReference(arrays(A), columns, X.data(), n, Y.data(), n);
    expectProduct(A, X, Y);
    for (int level = 0; level <= int(math::simdLevel()); ++level) {
      Y.setConstant(9.0);
      math::symProductOwn(1, math::SimdLevel(level), arrays(A), columns, X.data(), n, Y.data(), n);
      expectProduct(A, X, Y);
    }
    Y.setConstant(9.0);
    math::symProduct(A, X, Y);
    expectProduct(A, X, Y);
  }
}

/// Nodes of `dofs` dofs each, coupled at random, some of their terms missing: columns with the same rows
/// stand beside such that differ by one entry.
Sparse nodalLower(int nodes, int dofs, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0), chance(0.0, 1.0);
  std::vector<Eigen::Triplet<double, int>> terms;
  for (int a = 0; a < nodes; ++a) {
    for (int b = a; b < nodes; ++b) {
      if (b != a && chance(engine) > 0.2) continue;
      const bool gaps = chance(engine) < 0.1;
      for (int i = 0; i < dofs; ++i)
        for (int j = 0; j < dofs; ++j)
          if (b * dofs + j >= a * dofs + i && !(gaps && chance(engine) < 0.5))
            terms.emplace_back(b * dofs + j, a * dofs + i, value(engine));
    }
  }
  Sparse A(nodes * dofs, nodes * dofs);
  A.setFromTriplets(terms.begin(), terms.end());
  return A;
}

TEST_P(SymProductColumns, EveryKernelMatchesTheDenseProductOnNodesWithSeveralDofs) {
  const int columns = GetParam();
  for (int dofs : {1, 2, 3, 4, 6}) {
    for (unsigned seed : {1u, 2u, 3u}) {
      const Sparse A = nodalLower(25, dofs, seed);
      const int n = int(A.cols());
      const MatrixXd X = randomBlock(n, columns, 3);
      for (int level = 0; level <= int(math::simdLevel()); ++level) {
        MatrixXd Y = MatrixXd::Constant(n, columns, 9.0);
        math::symProductOwn(1, math::SimdLevel(level), arrays(A), columns, X.data(), n, Y.data(), n);
        expectProduct(A, X, Y);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AroundThePanels, SymProductColumns,
                         ::testing::Values(1, 2, 3, 4, 5, 7, 8, 9, 12, 13, 16, 17, 20, 24, 25, 29, 33, 48));

TEST(SymProduct, LargeMatricesMatchTheReference) {
  Sparse A(90000, 90000);
  std::vector<Eigen::Triplet<double, int>> terms;
  for (int c = 0; c < 90000; ++c)  // nodes of three dofs, each coupled to the eight that follow
    for (int r = c; r < std::min(90000, c / 3 * 3 + 27); ++r) terms.emplace_back(r, c, 1.0 / (1 + r + c % 7));
  A.setFromTriplets(terms.begin(), terms.end());
  ASSERT_GT(A.nonZeros(), 2000000) << "large enough for the widest panels";
  for (int columns : {5, 20, 27}) {
    const MatrixXd X = randomBlock(90000, columns, 3);
    MatrixXd Y, expected(90000, columns);

    math::symProduct(A, X, Y);

    math::symProductReference(arrays(A), columns, X.data(), 90000, expected.data(), 90000);
    EXPECT_LT((Y - expected).cwiseAbs().maxCoeff(), 1e-12);
  }
}

/// Column by column the rows given, values 1, as the arrays of a matrix.
struct Pattern {
  explicit Pattern(const std::vector<std::vector<int>>& columns) {
    start.push_back(0);
    for (const std::vector<int>& rows : columns) {
      row.insert(row.end(), rows.begin(), rows.end());
      start.push_back(int(row.size()));
    }
    value.assign(row.size(), 1.0);
  }
  math::LowerCsc arrays() const {
    return {int(start.size()) - 1, start.data(), start.data() + 1, row.data(), value.data()};
  }
  std::vector<int> start, row;
  std::vector<double> value;
};

TEST(ColumnGroups, AreColumnsWithTheSameRowsBelowTheirDiagonalBlock) {
  using Groups = std::vector<int>;
  const auto groupsOf = [](const std::vector<std::vector<int>>& columns) {
    return math::columnGroups(Pattern(columns).arrays());
  };

  EXPECT_EQ(groupsOf({}), Groups());
  EXPECT_EQ(groupsOf({{0, 1, 2, 4}, {1, 2, 4}, {2, 4}, {3, 4}, {4}}), Groups({3, 2}));
  EXPECT_EQ(groupsOf({{0, 1, 2, 3}, {1, 2, 3}, {2, 3}, {3}}), Groups({3, 1})) << "three at most";
  EXPECT_EQ(groupsOf({{0, 1, 3}, {1, 2}, {2, 3}, {3}}), Groups({1, 1, 2})) << "another row, as many of them";
  EXPECT_EQ(groupsOf({{1, 2}, {1, 2}, {2}}), Groups({1, 2})) << "no diagonal entry";
  EXPECT_EQ(groupsOf({{}, {}, {2}}), Groups({1, 1, 1})) << "empty columns";
  EXPECT_EQ(groupsOf({{0}, {1, 2, 0}, {2, 0}}), Groups({1, 1, 1})) << "entries above the diagonal";
}

TEST(SymProduct, EntriesAboveTheDiagonalAreNotRead) {
  const Sparse A = randomLower(40, 0.2, 1, true);
  const MatrixXd X = randomBlock(40, 6, 2);
  MatrixXd Y;

  math::symProduct(A, X, Y);
  expectProduct(A, X, Y);
  VectorXd y(40);
  math::symProduct(A, X.data(), y.data());
  expectProduct(A, X.leftCols(1), y);
}

TEST(SymProduct, HonoursUncompressedMatrices) {
  const Sparse A = randomLower(40, 0.2, 1, true);
  const Sparse B = uncompressed(A);
  const MatrixXd X = randomBlock(40, 9, 2);
  MatrixXd YA, YB;

  math::symProduct(A, X, YA);
  math::symProduct(B, X, YB);
  EXPECT_EQ(YA, YB);
  VectorXd y(40);
  math::symProduct(B, X.data(), y.data());
  expectProduct(A, X.leftCols(1), y);
}

TEST(SymProduct, LeadingDimensionsMayExceedTheOrder) {
  const Sparse A = randomLower(10, 0.5, 4, false);
  const MatrixXd X = randomBlock(13, 5, 2);
  MatrixXd Y = MatrixXd::Constant(12, 5, 7.0);

  math::symProduct(A, 5, X.data(), 13, Y.data(), 12);

  expectProduct(A, X.topRows(10), Y.topRows(10));
  EXPECT_TRUE((Y.bottomRows(2).array() == 7.0).all());
}

TEST(SymProduct, NothingToDoIsHarmless) {
  const Sparse empty(0, 0);
  const Sparse A = randomLower(5, 0.5, 4, false);
  MatrixXd Y;

  math::symProduct(A, MatrixXd(5, 0), Y);
  EXPECT_EQ(Y.cols(), 0);
  math::symProduct(empty, MatrixXd(0, 3), Y);
  EXPECT_EQ(Y.size(), 0);
}

TEST(SymProduct, NanInTheVectorsPropagates) {
  const Sparse A = randomLower(20, 0.9, 4, false);
  MatrixXd X = randomBlock(20, 8, 2);
  X(3, 2) = std::numeric_limits<double>::quiet_NaN();
  MatrixXd Y;

  math::symProduct(A, X, Y);

  EXPECT_TRUE(Y.col(2).hasNaN());
  EXPECT_FALSE(Y.col(1).hasNaN());
}

}  // namespace
