#include <gtest/gtest.h>

#include "containers/CMatInt.h"
#include "containers/CVecInt.h"

using Vessa::Matrix::CMatInt;
using Vessa::Matrix::CVecInt;

TEST(CVecInt, KeepsInsertionOrderWithoutDuplicates) {
  CVecInt v;

  for (int x : {5, 3, 5, -1, 3}) v.SetVal(x);

  ASSERT_EQ(v.Size(), 3);
  EXPECT_EQ(v.Row(0), 5);
  EXPECT_EQ(v.Row(1), 3);
  EXPECT_EQ(v.Row(2), -1);
  EXPECT_TRUE(v.Exist(3));
  EXPECT_FALSE(v.Exist(4));
}

TEST(CVecInt, SortIsAscending) {
  CVecInt v;
  for (int x : {5, 3, -1}) v.SetVal(x);

  v.Sort();

  EXPECT_EQ(v.Row(0), -1);
  EXPECT_EQ(v.Row(1), 3);
  EXPECT_EQ(v.Row(2), 5);
}

TEST(CVecInt, CopiesAreDeep) {
  CVecInt a;
  a.SetVal(1);
  CVecInt b(a), c;
  c = a;

  a.SetVal(2);

  EXPECT_EQ(b.Size(), 1);
  EXPECT_EQ(c.Size(), 1);
}

TEST(CMatInt, SetValGrowsToTheColumn) {
  CMatInt m;

  m.SetVal(3, 7);

  EXPECT_EQ(m.Size(), 7);
  EXPECT_EQ(m.ColSize(7), 1);
  EXPECT_EQ(m.ColRow(7, 0), 3);
  EXPECT_EQ(m.ColSize(6), 0);
}

TEST(CMatInt, ExistTakesRowThenColumnAndIsFalseBeyondTheLastColumn) {
  CMatInt m;
  m.SetVal(3, 7);

  EXPECT_TRUE(m.Exist(3, 7));
  EXPECT_FALSE(m.Exist(7, 3));
  EXPECT_FALSE(m.Exist(1, 7));
  EXPECT_FALSE(m.Exist(1, 9));
}

TEST(CMatInt, DuplicatesAreListedOnceAndSortOrdersEveryColumn) {
  CMatInt m;
  for (int row : {4, 2, 4, 1}) m.SetVal(row, 1);
  for (int row : {9, 8}) m.SetVal(row, 2);

  m.Sort();

  ASSERT_EQ(m.ColSize(1), 3);
  EXPECT_EQ(m.ColRow(1, 0), 1);
  EXPECT_EQ(m.ColRow(1, 1), 2);
  EXPECT_EQ(m.ColRow(1, 2), 4);
  EXPECT_EQ(m.ColRow(2, 0), 8);
}

TEST(CMatInt, SetSizeKeepsSurvivingColumns) {
  CMatInt m;
  m.SetVal(1, 1);
  m.SetVal(2, 3);

  m.SetSize(2);
  EXPECT_EQ(m.Size(), 2);
  EXPECT_TRUE(m.Exist(1, 1));

  m.SetSize(3);
  EXPECT_EQ(m.ColSize(3), 0);
}

TEST(CMatInt, ClearRemovesAllColumns) {
  CMatInt m;
  m.SetVal(1, 4);

  m.Clear();

  EXPECT_EQ(m.Size(), 0);
  EXPECT_FALSE(m.Exist(1, 4));
}

TEST(CMatInt, CopiesAreDeep) {
  CMatInt a;
  a.SetVal(1, 1);
  CMatInt b(a), c;
  c = a;

  a.SetVal(2, 1);

  EXPECT_EQ(b.ColSize(1), 1);
  EXPECT_EQ(c.ColSize(1), 1);
}
