#include "containers/CReport.h"

#include <gtest/gtest.h>

#include <string>

using Vessa::Matrix::CReport;

TEST(CReport, FreshReportIsEmptyWithStatusZero) {
  const CReport r;

  EXPECT_EQ(r.Status(), 0);
  EXPECT_EQ(r.NumLog(), 0);
  EXPECT_EQ(r.Note(), "");
}

TEST(CReport, StatusIsTheHighestLevelAndEntriesKeepTheirOrder) {
  CReport r;

  r.Log(2, "a");
  r.Log(1, std::string("b"));

  EXPECT_EQ(r.Status(), 2);
  ASSERT_EQ(r.NumLog(), 2);
  EXPECT_EQ(r.LogStatus(0), 2);
  EXPECT_EQ(r.LogMessage(0), "a");
  EXPECT_EQ(r.LogStatus(1), 1);
  EXPECT_EQ(r.LogMessage(1), "b");
}

TEST(CReport, NegativeLevelIsLoggedWithoutLoweringTheStatus) {
  CReport r;

  r.Log(-3, "x");

  EXPECT_EQ(r.Status(), 0);
  EXPECT_EQ(r.LogStatus(0), -3);
}

TEST(CReport, NoteIsReplacedNotAppended) {
  CReport r;

  r.Note("one");
  r.Note(std::string("two"));

  EXPECT_EQ(r.Note(), "two");
}

TEST(CReport, NoteOfItsOwnNoteStaysUnchanged) {
  CReport r;
  r.Note("a note that is longer than a small string buffer holds");

  r.Note(r.Note());
  r.Note(r.Note().c_str());

  EXPECT_EQ(r.Note(), "a note that is longer than a small string buffer holds");
}

TEST(CReport, LogOfItsOwnMessageIsSafeWhileTheEntriesGrow) {
  CReport r;
  r.Log(1, "a message that is longer than a small string buffer holds");

  for (int k = 0; k < 100; ++k) r.Log(1, r.LogMessage(0));

  EXPECT_EQ(r.LogMessage(100), "a message that is longer than a small string buffer holds");
}

TEST(CReport, ClearKeepsTheStatus) {
  CReport r;
  r.Log(2, "failure");
  r.Note("note");

  r.Clear();

  EXPECT_EQ(r.NumLog(), 0);
  EXPECT_EQ(r.Note(), "");
  EXPECT_EQ(r.Status(), 2);
}

TEST(CReport, CopiesAreDeep) {
  CReport a;
  a.Log(1, "first");
  a.Note("note");

  CReport b(a), c;
  c = a;
  a.Log(2, "second");
  a.Note("other");

  for (const CReport* r : {&b, &c}) {
    EXPECT_EQ(r->NumLog(), 1);
    EXPECT_EQ(r->Status(), 1);
    EXPECT_EQ(r->Note(), "note");
  }
}

TEST(CReport, NullTextCountsAsEmpty) {
  CReport r;

  r.Log(1, static_cast<const char*>(nullptr));
  r.Note(static_cast<const char*>(nullptr));

  EXPECT_EQ(r.LogMessage(0), "");
  EXPECT_EQ(r.Note(), "");
}
