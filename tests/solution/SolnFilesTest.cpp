#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/resource.h>
#endif

#include "SolnFilesFixture.h"
#include "solution/CSolnMatrix.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

class SolnImage : public SolnFiles, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(SkylineAndCompColumn, SolnImage, ::testing::Values(0, 4));

class SolnAnyFile : public SolnFiles, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(EveryMethod, SolnAnyFile, ::testing::Values(0, 1, 3, 4, 6));

// ---- Opening and closing

TEST_P(SolnAnyFile, EmptyNameAndNullAreRefused) {
  const auto k = Matrix(GetParam());

  EXPECT_FALSE(k->OpenFile(""));
  EXPECT_FALSE(k->OpenFile(nullptr));
  EXPECT_FALSE(k->write_dense_file());  // no name was kept
}

TEST_P(SolnAnyFile, OpenCreatesAndCloseDeletesTheFile) {
  const auto k = Matrix(GetParam());

  EXPECT_TRUE(k->OpenFile(Name().c_str()));
  EXPECT_TRUE(FileIsThere());
  k->CloseFile();

  EXPECT_FALSE(FileIsThere());
}

TEST_P(SolnAnyFile, CloseWithNothingOpenIsHarmless) {
  const auto k = Matrix(GetParam());

  k->CloseFile();
  k->OpenFile(Name().c_str());
  k->CloseFile();
  folder.Write("matrix.tmp", "somebody else's");
  k->CloseFile();

  EXPECT_TRUE(FileIsThere());
}

TEST_P(SolnAnyFile, FolderThatDoesNotExistOrIsAFolderItselfFails) {
  const auto k = Matrix(GetParam());

  EXPECT_FALSE(k->OpenFile(folder.Path("no such folder/matrix.tmp").c_str()));
  EXPECT_FALSE(k->OpenFile(folder.Path().c_str()));
  EXPECT_FALSE(k->write_dense_file());
  k->CloseFile();

  EXPECT_TRUE(std::filesystem::exists(folder.Path()));
}

TEST_P(SolnAnyFile, OpeningAnotherFileGivesTheFirstUp) {
  const auto k = Matrix(GetParam());
  k->OpenFile(folder.Path("first").c_str());

  EXPECT_TRUE(k->OpenFile(Name().c_str()));

  EXPECT_FALSE(folder.Exists("first"));
  EXPECT_TRUE(FileIsThere());
}

TEST_P(SolnImage, WhatIsParkedStaysWhereAnotherFileCannotBeOpened) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));
  k->SetZero();

  EXPECT_FALSE(k->OpenFile(""));
  EXPECT_FALSE(k->OpenFile(folder.Path("no such folder/matrix.tmp").c_str()));

  EXPECT_TRUE(k->Read());
  EXPECT_EQ(k->GetAt(1, 1), 4.0);
  k->CloseFile();
  EXPECT_FALSE(FileIsThere());
}

TEST_P(SolnImage, OpeningTheSameFileAgainBeginsAnew) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));

  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  EXPECT_FALSE(k->Read());
}

TEST_P(SolnAnyFile, FileThatWasNeverClosedGoesWithItsLastOwner) {
  auto k = Matrix(GetParam());
  k->OpenFile(Name().c_str());
  auto copy = std::make_unique<CSolnMatrix>(*k);

  k.reset();
  EXPECT_TRUE(FileIsThere());
  copy.reset();

  EXPECT_FALSE(FileIsThere());
}

TEST_P(SolnAnyFile, ClosingThroughACopyClosesForBothOnce) {
  const auto k = Matrix(GetParam());
  k->OpenFile(Name().c_str());
  CSolnMatrix copy(*k);

  copy.CloseFile();
  k->CloseFile();

  EXPECT_FALSE(FileIsThere());
  EXPECT_FALSE(k->write_mm_file());
}

// ---- Saving and loading

TEST_P(SolnAnyFile, NotesAreReplacedWhateverTheOutcome) {
  const auto k = Matrix(GetParam());

  k->Write(false);
  EXPECT_EQ(report.Note(), "Saving Stiffness Matrix");
  k->Read();
  EXPECT_EQ(report.Note(), "Loading Stiffness Matrix");
}

TEST_P(SolnAnyFile, NothingOpenIsATemporaryFileErrorExceptForReadingFromMemory) {
  const auto k = Matrix(GetParam());

  EXPECT_FALSE(k->Write(false));
  EXPECT_EQ(Errors(), 1);
  EXPECT_EQ(report.Status(), 2);
  EXPECT_EQ(k->Read(), GetParam() == 6);
  EXPECT_EQ(Errors(), GetParam() == 6 ? 1 : 2);
}

TEST_P(SolnAnyFile, WithoutAReportFailureIsSilent) {
  const auto k = Finalised(GetParam(), 3, kSmall);

  EXPECT_FALSE(k->Write(false));
}

TEST_P(SolnImage, AssembledMatrixComesBackBitForBit) {
  const int n = 120;
  const std::vector<Term> terms = RandomSymmetric(n, 6, 4);
  const auto k = Matrix(GetParam(), terms, n);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));
  k->SetZero();
  ASSERT_TRUE(k->Read());

  for (const Term& t : terms) EXPECT_EQ(k->GetAt(t.i, t.j), t.value);
  EXPECT_EQ(report.NumLog(), 0);
}

TEST_P(SolnImage, ReducedMatrixSolvesAfterParking) {
  const auto k = Matrix(GetParam());
  std::vector<int> zeroDofs;
  ASSERT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), 0);
  CVector before(3, 1.0), after(3, 1.0);
  Quietly([&] { k->BackSubstitute(before); });
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));
  k->SetZero();
  ASSERT_TRUE(k->Read());
  if (GetParam() == 4) Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); });
  Quietly([&] { k->BackSubstitute(after); });

  for (int i = 1; i <= 3; ++i) EXPECT_DOUBLE_EQ(after[i], before[i]);
}

TEST_P(SolnImage, FileMayBeWrittenAndReadSeveralTimes) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  for (int round = 0; round < 3; ++round) {
    ASSERT_TRUE(k->Write(false));
    k->Scale(5.0);
    ASSERT_TRUE(k->Read());
    EXPECT_EQ(k->GetAt(1, 1), 4.0);
  }
}

TEST_P(SolnImage, FileRemovedMeanwhileIsNoLoss) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));
  std::filesystem::remove(Name());

  EXPECT_TRUE(k->Read());  // the open handle still holds the data
  k->CloseFile();

  EXPECT_EQ(k->GetAt(1, 1), 4.0);
}

TEST_P(SolnImage, TruncatedImageIsReported) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));
  std::filesystem::resize_file(Name(), std::filesystem::file_size(Name()) - 8);

  EXPECT_FALSE(k->Read());

  EXPECT_EQ(Errors(), 1);
  EXPECT_EQ(k->GetAt(1, 1), 4.0);
  EXPECT_EQ(FileIsThere(), GetParam() == 0);  // only method 4 gives the file up
  k->CloseFile();
  EXPECT_FALSE(FileIsThere());
}

TEST_P(SolnImage, EmptyImageIsReported) {
  const auto k = Matrix(GetParam());
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  EXPECT_FALSE(k->Read());

  EXPECT_EQ(Errors(), 1);
  EXPECT_EQ(k->GetAt(2, 3), 2.0);
}

TEST_F(SolnFiles, ForeignOrDamagedImageOfCompressedColumnsLosesNothing) {
  for (std::size_t position = 0; position < 64; position += 4) {
    const auto k = Matrix(4);
    ASSERT_TRUE(k->OpenFile(Name().c_str()));
    ASSERT_TRUE(k->Write(false));
    std::string bytes = folder.Read("matrix.tmp");
    ASSERT_GT(bytes.size(), position);
    bytes[position] = static_cast<char>(bytes[position] ^ 0x5A);
    folder.Write("matrix.tmp", bytes);

    EXPECT_FALSE(k->Read()) << "byte " << position;

    for (const Term& t : kSmall) EXPECT_EQ(k->GetAt(t.i, t.j), t.value) << "byte " << position;
    EXPECT_FALSE(FileIsThere()) << "byte " << position;
  }
}

#if !defined(_WIN32)
// For its lifetime, files of this process cannot grow beyond `bytes`: the writes fail as on a full disk.
class FullDisk {
public:
  explicit FullDisk(rlim_t bytes) {
    m_handler = signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &m_before);
    const rlimit limit = {bytes, m_before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &m_before);
    signal(SIGXFSZ, m_handler);
  }

private:
  rlimit m_before;
  void (*m_handler)(int);
};

TEST_P(SolnImage, FullDiskIsReportedAndLosesNothing) {
  const int n = 400;
  const std::vector<Term> terms = RandomSpd(n, 20, 9);
  const auto k = Matrix(GetParam(), terms, n);
  for (const rlim_t bytes : {rlim_t{0}, rlim_t{2}, rlim_t{100}, rlim_t{5000}}) {
    ASSERT_TRUE(k->OpenFile(Name().c_str()));
    bool ok = true;
    {
      const FullDisk disk(bytes);
      ok = k->Write(false);
    }

    EXPECT_FALSE(ok) << bytes;
    for (const Term& t : terms) ASSERT_EQ(k->GetAt(t.i, t.j), t.value);
    k->CloseFile();
    EXPECT_FALSE(FileIsThere()) << bytes;
  }
  EXPECT_EQ(Errors(), 4);
}

TEST_F(SolnFiles, FullDiskFailsTheMatrixMarketFileAndTakesItAway) {
  const int n = 400;
  const std::vector<Term> terms = RandomSpd(n, 20, 9);
  const auto k = Matrix(6, terms, n);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  bool ok = true;
  {
    const FullDisk disk(3000);
    ok = k->Write(false);
  }

  EXPECT_FALSE(ok);
  EXPECT_EQ(Errors(), 1);
  EXPECT_FALSE(FileIsThere());
  k->SetZero();
  EXPECT_TRUE(k->Read());  // the copy in memory was taken first
  EXPECT_EQ(k->NumTerm(), static_cast<int>(terms.size()));
}
#endif

}  // namespace
