#include "containers/CMatrix.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>
#include <utility>

using Vessa::Matrix::CMatrix;
using Vessa::Matrix::CMatrixError;

namespace {

template <class Matrix>
class CMatrixBothLayouts : public ::testing::Test {};
using Layouts = ::testing::Types<CMatrix<0>, CMatrix<1>>;
TYPED_TEST_SUITE(CMatrixBothLayouts, Layouts, );

template <class Matrix>
Matrix Numbered(int rows, int cols) {
  Matrix m(rows, cols);
  for (int i = 1; i <= rows; ++i)
    for (int j = 1; j <= cols; ++j) m.SetAt(i, j, 10 * i + j);
  return m;
}

}  // namespace

TYPED_TEST(CMatrixBothLayouts, ConstructorsGiveShapeAndFill) {
  const TypeParam empty, zeros(2, 3), filled(2, 3, 1.5);

  EXPECT_EQ(empty.NumRows(), 0);
  EXPECT_EQ(empty.NumCols(), 0);
  EXPECT_EQ(zeros.NumRows(), 2);
  EXPECT_EQ(zeros.NumCols(), 3);
  for (int i = 1; i <= 2; ++i)
    for (int j = 1; j <= 3; ++j) {
      EXPECT_EQ(zeros.GetAt(i, j), 0.0);
      EXPECT_EQ(filled.GetAt(i, j), 1.5);
    }
}

TYPED_TEST(CMatrixBothLayouts, AccessIsOneBased) {
  TypeParam m = Numbered<TypeParam>(2, 3);
  const TypeParam& c = m;

  m.AddAt(1, 2, 0.5);
  m.ElementAt(2, 3) = 7;

  EXPECT_EQ(c.GetAt(1, 2), 12.5);
  EXPECT_EQ(c.ElementAt(2, 3), 7);
  EXPECT_EQ(c.Inner()(0, 0), 11);
  EXPECT_EQ(m.Inner()(1, 0), 21);
}

TYPED_TEST(CMatrixBothLayouts, SetSizeKeepsTheSameShapeAndZeroesAnyOther) {
  TypeParam m = Numbered<TypeParam>(2, 3);

  EXPECT_TRUE(m.SetSize(2, 3));
  EXPECT_EQ(m.GetAt(2, 3), 23);

  EXPECT_TRUE(m.SetSize(3, 2));
  EXPECT_EQ(m.NumRows(), 3);
  for (int i = 1; i <= 3; ++i)
    for (int j = 1; j <= 2; ++j) EXPECT_EQ(m.GetAt(i, j), 0.0);
}

TYPED_TEST(CMatrixBothLayouts, NegativeShapeThrowsAndLeavesTheMatrixWhole) {
  TypeParam m = Numbered<TypeParam>(2, 2);

  EXPECT_THROW(TypeParam(-1, 2), std::bad_alloc);
  EXPECT_THROW(m.SetSize(2, -1), std::bad_alloc);

  EXPECT_EQ(m.GetAt(2, 2), 22);
}

TYPED_TEST(CMatrixBothLayouts, CopiesAreDeepAndMovesEmptyTheSource) {
  TypeParam a = Numbered<TypeParam>(2, 2);
  TypeParam copy(a), assigned;
  assigned = a;
  const double* storage = a.Array();

  TypeParam moved(std::move(a));
  EXPECT_EQ(moved.Array(), storage);
  EXPECT_EQ(a.NumRows(), 0);

  TypeParam target(5, 5, 1.0);
  target = std::move(moved);
  EXPECT_EQ(target.Array(), storage);
  EXPECT_EQ(moved.NumCols(), 0);

  target.SetAll(0.0);
  EXPECT_EQ(copy.GetAt(2, 1), 21);
  EXPECT_EQ(assigned.GetAt(2, 1), 21);
}

TYPED_TEST(CMatrixBothLayouts, TakesAnEigenMatrix) {
  Eigen::MatrixXd inner(2, 2);
  inner << 1, 2, 3, 4;

  const TypeParam m(inner);

  EXPECT_EQ(m.GetAt(1, 2), 2);
  EXPECT_EQ(m.GetAt(2, 1), 3);
}

TEST(CMatrixLayout, ZeroIsRowMajorAndOneColumnMajor) {
  const CMatrix<0> rows = Numbered<CMatrix<0>>(2, 3);
  const CMatrix<1> columns = Numbered<CMatrix<1>>(2, 3);

  EXPECT_EQ(rows.Array()[1], 12);
  EXPECT_EQ(rows.Array()[3], 21);
  EXPECT_EQ(columns.Array()[1], 21);
  EXPECT_EQ(columns.Array()[2], 12);
}

TEST(CMatrixError, DerivesDirectlyFromStdExceptionAndKeepsItsMessage) {
  EXPECT_TRUE((std::is_base_of<std::exception, CMatrixError>::value));
  EXPECT_FALSE((std::is_base_of<std::runtime_error, CMatrixError>::value));
  EXPECT_FALSE((std::is_base_of<std::logic_error, CMatrixError>::value));
  try {
    throw CMatrixError("what went wrong");
  } catch (const std::exception& e) {
    EXPECT_STREQ(e.what(), "what went wrong");
  }
}
