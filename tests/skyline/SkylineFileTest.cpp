// The temporary file: what is in it, and what is left when reading or writing fails.
#include <gtest/gtest.h>
#include <unistd.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <csignal>
#include <cstdint>

#include "skyline/Profiles.h"
#include "support/TempFolder.h"

using namespace Vessa::Matrix;
using namespace skyline_test;
namespace ts = test_support;

namespace {

std::wstring Wide(const std::string& ascii) {
  return std::wstring(ascii.begin(), ascii.end());
}

CSkyLine Matrix(const ts::TempFolder& folder) {
  const std::vector<int> height = ts::RandomProfile(200, 150, 1);
  CSkyLine m = MakeSkyline(height, ts::FillProfile(height, 2));
  m.SetTmpFile(Wide(folder.Path("park.bin")).c_str());
  return m;
}

/// Files may not grow beyond `bytes` while this lives.
class FileSizeLimit {
public:
  explicit FileSizeLimit(rlim_t bytes) {
    m_signal = std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_before);
    rlimit now = m_before;
    now.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &m_before);
    std::signal(SIGXFSZ, m_signal);
  }

private:
  rlimit m_before;
  void (*m_signal)(int);
};

}  // namespace

TEST(SkylineFile, HoldsThePhaseAndTheTermsInStoreOrder) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  CReport log;
  m.SetLog(&log);

  ASSERT_TRUE(m.OpenFile());
  ASSERT_TRUE(m.Write());

  EXPECT_EQ(log.Note(), "Saving Stiffness Matrix");
  const std::string bytes = folder.Read("park.bin");
  ASSERT_EQ(bytes.size(), 4u + 8u * m.NumStiff());
  std::int32_t phase;
  std::memcpy(&phase, bytes.data(), 4);
  EXPECT_EQ(phase, 2);
  std::vector<double> values(m.NumStiff());
  std::memcpy(values.data(), bytes.data() + 4, 8 * values.size());
  EXPECT_TRUE(SameBits(values, ValuesOf(m)));
  m.CloseFile();
  EXPECT_FALSE(folder.Exists("park.bin"));
  m.CloseFile();  // nothing open
}

TEST(SkylineFile, ReducedMatrixComesBackReduced) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  CReport log;
  m.SetLog(&log);
  std::vector<int> zeroDofs;
  m.Reduce(0, zeroDofs);
  const std::vector<double> factors = ValuesOf(m);
  const CVector x(200, 1.0);
  const CVector product = m * x;
  ASSERT_TRUE(m.OpenFile());
  ASSERT_TRUE(m.Write());
  m.Null();
  m.SetAssemble();

  ASSERT_TRUE(m.Read());

  EXPECT_EQ(log.Note(), "Loading Stiffness Matrix");
  EXPECT_EQ(m.GetPhase(), PhaseReduced);
  EXPECT_TRUE(SameBits(factors, ValuesOf(m)));
  EXPECT_EQ((m * x).GetAt(7), product.GetAt(7));
  m.CloseFile();
}

TEST(SkylineFile, WrittenTwiceStartsAtTheBeginning) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  m.OpenFile();
  m.Write();
  m.Scale(2.0);
  const std::vector<double> second = ValuesOf(m);
  ASSERT_TRUE(m.Write());
  m.Null();
  ASSERT_TRUE(m.Read());
  EXPECT_TRUE(SameBits(second, ValuesOf(m)));
  EXPECT_EQ(folder.Read("park.bin").size(), 4u + 8u * m.NumStiff());
  m.CloseFile();
}

TEST(SkylineFile, DiagonalAndEmptyMatrices) {
  const ts::TempFolder folder;
  CSkyLine m;
  m.SetTmpFile(Wide(folder.Path("d.bin")).c_str());
  ASSERT_TRUE(m.OpenFile());
  EXPECT_TRUE(m.Write());
  EXPECT_EQ(folder.Read("d.bin").size(), 4u);
  EXPECT_TRUE(m.Read());
  m.SetDiagonal(true);
  m.SetNumDof(3);
  m.SetAt(2, 2, 5.0);
  EXPECT_TRUE(m.Write());
  EXPECT_EQ(folder.Read("d.bin").size(), 28u);
  m.Null();
  EXPECT_TRUE(m.Read());
  EXPECT_EQ(m.GetAt(2, 2), 5.0);
  m.CloseFile();
}

TEST(SkylineFile, WithoutAFileNothingIsReadOrWritten) {
  CSkyLine m = MakeSkyline(1, {{1, 1, 3}});
  EXPECT_FALSE(m.Write());
  EXPECT_FALSE(m.Read());
  EXPECT_FALSE(m.OpenFile());  // no name
  EXPECT_FALSE(m.Write(nullptr));
  EXPECT_EQ(m.GetAt(1, 1), 3.0);
}

TEST(SkylineFile, FoldersThatCannotBeWrittenAreRefused) {
  const ts::TempFolder folder;
  CSkyLine m = MakeSkyline(1, {{1, 1, 3}});
  m.SetTmpFile(Wide(folder.Path("missing/park.bin")).c_str());
  EXPECT_FALSE(m.OpenFile());
  m.SetTmpFile(Wide(folder.Path()).c_str());
  EXPECT_FALSE(m.OpenFile());
  folder.Write("file", "x");
  m.SetTmpFile(Wide(folder.Path("file/park.bin")).c_str());
  EXPECT_FALSE(m.OpenFile());
  EXPECT_FALSE(m.Write());
  EXPECT_EQ(folder.Read("file"), "x");
}

TEST(SkylineFile, ReadOnlyFolderIsRefused) {
  if (geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
  const ts::TempFolder folder;
  chmod(folder.Path().c_str(), 0500);
  CSkyLine m = MakeSkyline(1, {{1, 1, 3}});
  m.SetTmpFile(Wide(folder.Path("park.bin")).c_str());
  EXPECT_FALSE(m.OpenFile());
  chmod(folder.Path().c_str(), 0700);
}

TEST(SkylineFile, TruncatedFileKeepsTheValuesReadAndIsDeleted) {
  for (int kept : {0, 1, 100, 9000}) {
    for (int extraBytes : {0, 5}) {
      const ts::TempFolder folder;
      CSkyLine m = Matrix(folder);
      CReport log;
      m.SetLog(&log);
      ASSERT_GT(m.NumStiff(), 9000);
      ASSERT_TRUE(m.OpenFile());
      ASSERT_TRUE(m.Write());
      const std::vector<double> saved = ValuesOf(m);
      ASSERT_EQ(truncate(folder.Path("park.bin").c_str(), 4 + 8 * kept + extraBytes), 0);
      m.Scale(2.0);
      m.SetPhase(PhaseReduced);
      const std::vector<double> doubled = ValuesOf(m);

      EXPECT_FALSE(m.Read());

      const std::vector<double> now = ValuesOf(m);
      for (int k = 0; k < m.NumStiff(); ++k) ASSERT_EQ(now[k], k < kept ? saved[k] : doubled[k]) << k;
      EXPECT_EQ(m.GetPhase(), PhaseAssembled);
      ASSERT_EQ(log.NumLog(), 1);
      EXPECT_EQ(log.LogMessage(0), "Error reading temporary file");
      EXPECT_EQ(log.LogStatus(0), 2);
      EXPECT_FALSE(folder.Exists("park.bin"));
      EXPECT_FALSE(m.Read());
      EXPECT_FALSE(m.Write());
      EXPECT_TRUE(m.OpenFile());
      m.CloseFile();
    }
  }
}

TEST(SkylineFile, FileWithoutAPhaseFailsWithoutAMessage) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  CReport log;
  m.SetLog(&log);
  m.OpenFile();
  EXPECT_FALSE(m.Read());
  EXPECT_EQ(log.NumLog(), 0);
  EXPECT_EQ(m.GetPhase(), PhaseAssembled);
  EXPECT_FALSE(folder.Exists("park.bin"));
}

TEST(SkylineFile, FullDiskFailsTheWriteAndLeavesNoFile) {
  for (rlim_t room : {0, 2, 4, 4096, 60000, 4 + 8 * 9000}) {
    const ts::TempFolder folder;
    CSkyLine m = Matrix(folder);
    CReport log;
    m.SetLog(&log);
    const std::vector<double> before = ValuesOf(m);
    ASSERT_TRUE(m.OpenFile());
    {
      const FileSizeLimit limit(room);
      EXPECT_FALSE(m.Write()) << room;
    }
    EXPECT_FALSE(folder.Exists("park.bin"));
    EXPECT_EQ(log.NumLog(), 0);
    EXPECT_TRUE(SameBits(before, ValuesOf(m)));
    ASSERT_TRUE(m.OpenFile());
    EXPECT_TRUE(m.Write());
    m.CloseFile();
  }
}

TEST(SkylineFile, FullDiskIsNoticedForASmallMatrixToo) {
  const ts::TempFolder folder;
  CSkyLine m = MakeSkyline(1, {{1, 1, 3}});  // fits the stream's buffer
  m.SetTmpFile(Wide(folder.Path("park.bin")).c_str());
  ASSERT_TRUE(m.OpenFile());
  const FileSizeLimit limit(4);
  EXPECT_FALSE(m.Write());
  EXPECT_FALSE(folder.Exists("park.bin"));
}

TEST(SkylineFile, FailureOnAnotherStreamClosesTheOwnFile) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  std::FILE* other = std::tmpfile();
  ASSERT_NE(other, nullptr);

  EXPECT_FALSE(m.Read(other));  // empty; no own file to close
  ASSERT_TRUE(m.OpenFile());
  EXPECT_FALSE(m.Read(other));
  EXPECT_FALSE(folder.Exists("park.bin"));
  EXPECT_TRUE(m.Write(other));
  m.Null();
  EXPECT_TRUE(m.Read(other));
  EXPECT_NE(m.GetAt(3, 3), 0.0);
  std::fclose(other);
}

TEST(SkylineFile, MatrixWithoutStorageIsNotWrittenOrRead) {
  const ts::TempFolder folder;
  CSkyLine m = Matrix(folder);
  CReport log;
  m.SetLog(&log);
  m.OpenFile();
  m.Write();
  m.Clear();
  EXPECT_FALSE(m.Read());
  EXPECT_EQ(log.LogMessage(0), "Error reading temporary file");
  m.OpenFile();
  EXPECT_FALSE(m.Write());
  EXPECT_FALSE(folder.Exists("park.bin"));
}

TEST(SkylineFile, NameBeyondAscii) {
  const ts::TempFolder folder;
  CSkyLine m = MakeSkyline(1, {{1, 1, 3}});
  m.SetTmpFile((Wide(folder.Path("")) + L"tr\u00e4ger \u6881.bin").c_str());
  ASSERT_TRUE(m.OpenFile());
  EXPECT_TRUE(m.Write());
  EXPECT_TRUE(folder.Exists("tr\xc3\xa4ger \xe6\xa2\x81.bin"));
  m.CloseFile();
  EXPECT_FALSE(folder.Exists("tr\xc3\xa4ger \xe6\xa2\x81.bin"));
}
