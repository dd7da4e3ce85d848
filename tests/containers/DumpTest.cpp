#include <gtest/gtest.h>

#include <filesystem>
#include <locale>

#include "containers/CMatrix.h"
#include "containers/CVector.h"
#include "containers/DumpFile.h"
#include "support/TempFolder.h"

using test_support::ScopedEnvironment;
using test_support::TempFolder;
using Vessa::Matrix::CMatrix;
using Vessa::Matrix::CVector;
using Vessa::Matrix::DumpPath;

namespace {

class Dump : public ::testing::Test {
protected:
  Dump() : m_temp("TEMP", m_folder.Path().c_str()) {
    m_vector.SetAt(1, 1.0);
    m_vector.SetAt(2, -2.5);
    m_vector.SetAt(3, 1.0 / 3.0);
  }
  TempFolder m_folder;
  ScopedEnvironment m_temp;
  CVector m_vector = CVector(3);
  const std::string m_text = "VECTOR DUMP\n\n1,1\n2,-2.5\n3,0.333333\n";
};

struct CommaDecimal : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

}  // namespace

TEST_F(Dump, DefaultGoesToVectorCsvInTemp) {
  EXPECT_TRUE(m_vector.Dump());

  EXPECT_EQ(m_folder.Read("vector.csv"), m_text);
}

TEST_F(Dump, BareNameGoesToTempWithThePlatformSeparator) {
  EXPECT_TRUE(m_vector.Dump("other.txt"));

  EXPECT_EQ(m_folder.Read("other.txt"), m_text);
}

TEST_F(Dump, EmptyVectorWritesOnlyTheHeader) {
  EXPECT_TRUE(CVector().Dump());

  EXPECT_EQ(m_folder.Read("vector.csv"), "VECTOR DUMP\n\n");
}

TEST_F(Dump, FolderTakesThePlaceOfTemp) {
  TempFolder elsewhere;

  EXPECT_TRUE(m_vector.Dump("", elsewhere.Path().c_str()));

  EXPECT_EQ(elsewhere.Read("vector.csv"), m_text);
  EXPECT_FALSE(m_folder.Exists("vector.csv"));
}

TEST_F(Dump, WithoutTempABareNameFails) {
  ScopedEnvironment none("TEMP", nullptr);

  EXPECT_FALSE(m_vector.Dump());
  EXPECT_FALSE(m_vector.Dump("bare.csv"));
}

TEST_F(Dump, WithEmptyTempABareNameFails) {
  ScopedEnvironment empty("TEMP", "");

  EXPECT_FALSE(m_vector.Dump());
}

TEST_F(Dump, FolderServesWithoutTemp) {
  ScopedEnvironment none("TEMP", nullptr);

  EXPECT_TRUE(m_vector.Dump("", m_folder.Path().c_str()));
}

TEST_F(Dump, FalseReplacesAndTrueAppends) {
  m_folder.Write("vector.csv", "old\n");

  EXPECT_TRUE(m_vector.Dump("", "", false));
  EXPECT_EQ(m_folder.Read("vector.csv"), m_text);

  EXPECT_TRUE(m_vector.Dump("", "", true));
  EXPECT_EQ(m_folder.Read("vector.csv"), m_text + m_text);
}

TEST_F(Dump, MissingFolderFails) {
  EXPECT_FALSE(m_vector.Dump("", m_folder.Path("missing").c_str()));
}

TEST_F(Dump, NullArgumentsAreTheDefaults) {
  EXPECT_TRUE(m_vector.Dump(nullptr, nullptr));

  EXPECT_EQ(m_folder.Read("vector.csv"), m_text);
}

TEST_F(Dump, NumbersDoNotFollowTheGlobalLocale) {
  const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaDecimal));
  const bool written = m_vector.Dump();
  std::locale::global(before);

  EXPECT_TRUE(written);
  EXPECT_EQ(m_folder.Read("vector.csv"), m_text);
}

TEST_F(Dump, MatrixSharesTheOpenerAndHasItsOwnDefaultName) {
  CMatrix<0> rowMajor(2, 3);
  CMatrix<1> columnMajor(2, 3);
  for (int i = 1; i <= 2; ++i)
    for (int j = 1; j <= 3; ++j) rowMajor.SetAt(i, j, 10 * i + j), columnMajor.SetAt(i, j, 10 * i + j);

  EXPECT_TRUE(rowMajor.Dump());
  EXPECT_TRUE(columnMajor.Dump("", "", true));

  const std::string one = "MATRIX DUMP\n\n1,11,12,13\n2,21,22,23\n";
  EXPECT_EQ(m_folder.Read("matrix.csv"), one + one);
  ScopedEnvironment none("TEMP", nullptr);
  EXPECT_FALSE(rowMajor.Dump());
}

#if !defined(_WIN32)
TEST_F(Dump, NameWithASlashIsUsedAsItStandsWhateverTheFolder) {
  TempFolder elsewhere;

  EXPECT_TRUE(m_vector.Dump(elsewhere.Path("here.csv").c_str(), m_folder.Path().c_str()));

  EXPECT_EQ(elsewhere.Read("here.csv"), m_text);
}

TEST_F(Dump, FullDiskIsAFailure) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";

  EXPECT_FALSE(m_vector.Dump("/dev/full"));
}

TEST_F(Dump, PathRules) {
  EXPECT_EQ(DumpPath("a.csv", "folder"), "folder/a.csv");
  EXPECT_EQ(DumpPath("a.csv", ""), m_folder.Path() + "/a.csv");
  EXPECT_EQ(DumpPath("dir\\a.csv", "folder"), "dir\\a.csv");
  EXPECT_EQ(DumpPath("dir/a.csv", "folder"), "dir/a.csv");
}
#endif
