#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#if !defined(_WIN32)
#include <signal.h>
#include <sys/resource.h>
#endif

#include "SolnFixture.h"
#include "models/io/MatrixMarketReader.h"
#include "solution/CSolnMatrix.h"
#include "support/RandomMatrix.h"
#include "support/TempFolder.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

const std::vector<Term> kSmall = {{1, 1, 4.0}, {1, 2, 1.0}, {2, 2, 3.0}, {2, 3, 2.0}, {3, 3, 5.0}};

class SolnFiles : public ::testing::Test {
protected:
  std::unique_ptr<CSolnMatrix> Matrix(int method, const std::vector<Term>& terms = kSmall, int n = 3) {
    return Finalised(method, n, terms, &report);
  }
  std::string Name() const { return folder.Path("matrix.tmp"); }
  bool FileIsThere() const { return folder.Exists("matrix.tmp"); }
  int Errors() const {
    int count = 0;
    for (int i = 0; i < report.NumLog(); ++i) count += report.LogMessage(i) == "Temporary file error";
    return count;
  }

  TempFolder folder;
  CReport report;
};

class SolnImage : public SolnFiles, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(SkylineAndCompColumn, SolnImage, ::testing::Values(0, 4));

class SolnAnyFile : public SolnFiles, public ::testing::WithParamInterface<int> {};
INSTANTIATE_TEST_SUITE_P(EveryMethod, SolnAnyFile, ::testing::Values(0, 1, 3, 4, 6));

// ---- Opening and closing
// ----------------------------------------------------------------------------------------------

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
// -----------------------------------------------------------------------------------------------

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

// ---- Method 6: memory and Matrix Market
// -------------------------------------------------------------------------------

TEST_F(SolnFiles, PardisoIsRestoredFromMemory) {
  const auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));
  k->SetZero();
  std::filesystem::remove(Name());
  ASSERT_TRUE(k->Read());

  for (const Term& t : kSmall) EXPECT_EQ(k->GetAt(t.j, t.i), t.value);
  std::vector<int> zeroDofs;
  EXPECT_EQ(Quietly([&] { return k->Reduce(OptStiffness, zeroDofs); }), 0);
}

TEST_F(SolnFiles, PardisoCopyInMemoryIsCompressed) {
  const auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  k->getEigenSparse().uncompress();

  ASSERT_TRUE(k->Write(false));
  ASSERT_TRUE(k->Read());

  EXPECT_TRUE(k->getEigenSparse().isCompressed());
}

TEST_F(SolnFiles, MatrixMarketTextIsTheDocumentedOne) {
  const auto k = Matrix(6, {{1, 1, 4.0}, {1, 2, 1.0 / 3.0}, {2, 2, -1.5e300}});
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));

  EXPECT_EQ(folder.Read("matrix.tmp"),
            "%%MatrixMarket matrix coordinate real symmetric\n"
            "3 3 4\n"
            "1 1                    4\n"
            "2 1   0.3333333333333333\n"
            "2 2            -1.5e+300\n"
            "3 3                    0\n");
}

TEST_F(SolnFiles, SeventeenthDigitIsWrittenWhereSixteenAreTooFew) {
  const auto k = Matrix(6, {{1, 1, 0.1}, {2, 2, 0.1 + 0.2}}, 2);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));

  EXPECT_NE(folder.Read("matrix.tmp").find("1 1                  0.1\n2 2  0.30000000000000004\n"),
            std::string::npos);
}

TEST_F(SolnFiles, MatrixMarketOfAnEmptyMatrixHasNoEntries) {
  const auto k = Matrix(6, {}, 0);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));

  EXPECT_EQ(folder.Read("matrix.tmp"), "%%MatrixMarket matrix coordinate real symmetric\n0 0 0\n");
}

TEST_F(SolnFiles, FinishedMatrixMarketFileStaysUntilItIsClosed) {
  auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));
  const std::string text = folder.Read("matrix.tmp");

  EXPECT_FALSE(k->Write(false));  // its stream is closed
  EXPECT_FALSE(k->write_mm_file());
  EXPECT_EQ(Errors(), 1);
  EXPECT_EQ(folder.Read("matrix.tmp"), text);

  k->CloseFile();
  EXPECT_FALSE(FileIsThere());
  k->CloseFile();
}

TEST_F(SolnFiles, FinishedMatrixMarketFileOutlivesTheObjectAndANewOpen) {
  auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile(folder.Path("kept").c_str()));
  ASSERT_TRUE(k->Write(false));
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));

  k.reset();

  EXPECT_TRUE(folder.Exists("kept"));
  EXPECT_TRUE(FileIsThere());
}

TEST_F(SolnFiles, MatrixMarketFileNeedsAnOpenFile) {
  const auto k = Matrix(6);

  EXPECT_FALSE(k->write_mm_file());
}

// Values that need all their digits, and every kind of finite double.
std::vector<Term> DifficultTerms(int n) {
  std::vector<Term> terms;
  RandomNumbers random(12);
  for (int j = 1; j <= n; ++j)
    for (int i = std::max(1, j - 9); i <= j; ++i) {
      std::uint64_t bits = (static_cast<std::uint64_t>(random.Unit() * 4294967296.0) << 32) |
                           static_cast<std::uint64_t>(random.Unit() * 4294967296.0);
      double value;
      std::memcpy(&value, &bits, sizeof value);
      if (!std::isfinite(value) || std::fabs(value) < 2.3e-16) value = random.Signed() + 1.5;
      terms.push_back({i, j, value});
    }
  return terms;
}

TEST_F(SolnFiles, MatrixMarketFileReadsBackToTheLastBit) {
  const int n = 200;
  const auto k = Matrix(6, DifficultTerms(n), n);
  auto& a = k->getEigenSparse();
  a.coeffRef(0, 0) = std::numeric_limits<double>::denorm_min();
  a.coeffRef(1, 1) = std::numeric_limits<double>::max();
  a.coeffRef(2, 2) = -0.0;
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));
  const vematrix::models::SymmetricTerms read = vematrix::models::readMatrixMarket(Name());

  ASSERT_EQ(read.size(), static_cast<std::size_t>(a.nonZeros()));
  read.forEach([&a](int i, int j, double value) {
    const double expected = a.coeff(std::max(i, j) - 1, std::min(i, j) - 1);
    EXPECT_EQ(std::memcmp(&expected, &value, sizeof expected), 0) << expected << " against " << value;
  });
}

// The first one in the search path may belong to somebody's own installation.
std::string PythonWithScipy() {
  for (const std::string python : {"python3", "/usr/bin/python3"})
    if (std::system((python + " -c 'import scipy.io' > /dev/null 2>&1").c_str()) == 0) return python;
  return std::string();
}

TEST_F(SolnFiles, MatrixMarketFileReadsBackInScipyToTheLastBit) {
  const std::string python = PythonWithScipy();
  if (python.empty()) GTEST_SKIP() << "no python3 with scipy is installed (package python3-scipy)";
  const int n = 60;
  const auto k = Matrix(6, DifficultTerms(n), n);
  const auto& a = k->getEigenSparse();
  ASSERT_TRUE(k->OpenFile(Name().c_str()));
  ASSERT_TRUE(k->Write(false));
  folder.Write("read.py",
               "import sys, numpy, scipy.io\n"
               "a = scipy.io.mmread(sys.argv[1]).toarray()\n"
               "assert (a == a.T).all()\n"
               "numpy.tril(a).tofile(sys.argv[2])\n");

  const std::string command =
      python + " '" + folder.Path("read.py") + "' '" + Name() + "' '" + folder.Path("dense.bin") + "'";
  ASSERT_EQ(std::system(command.c_str()), 0);

  const std::string bytes = folder.Read("dense.bin");
  ASSERT_EQ(bytes.size(), sizeof(double) * n * n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j <= i; ++j) {
      double read;
      std::memcpy(&read, bytes.data() + sizeof(double) * (static_cast<std::size_t>(i) * n + j), sizeof read);
      EXPECT_EQ(read, a.coeff(i, j)) << i << ", " << j;
    }
}

TEST_F(SolnFiles, MatrixMarketFileHasAPointInEveryLocale) {
  const char* old = std::setlocale(LC_NUMERIC, nullptr);
  const std::string before = old == nullptr ? "C" : old;
  bool comma = false;
  for (const char* name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "fr_FR"})
    comma = comma || std::setlocale(LC_NUMERIC, name) != nullptr;
  const auto k = Matrix(6, {{1, 1, 1.5}});
  k->OpenFile(Name().c_str());

  const bool ok = k->Write(false);
  std::setlocale(LC_NUMERIC, before.c_str());

  ASSERT_TRUE(ok);
  EXPECT_NE(folder.Read("matrix.tmp").find("1 1                  1.5\n"), std::string::npos);
  if (!comma) GTEST_SKIP() << "no locale with a decimal comma is installed; checked in the C locale only";
}

TEST_F(SolnFiles, NotANumberAndInfinityAreWrittenAsText) {
  const auto k = Matrix(6);
  k->getEigenSparse().coeffRef(0, 0) = std::numeric_limits<double>::quiet_NaN();
  k->getEigenSparse().coeffRef(1, 1) = -std::numeric_limits<double>::infinity();
  ASSERT_TRUE(k->OpenFile(Name().c_str()));

  ASSERT_TRUE(k->Write(false));

  const std::string text = folder.Read("matrix.tmp");
  EXPECT_NE(text.find("1 1                  nan\n"), std::string::npos) << text;
  EXPECT_NE(text.find("2 2                 -inf\n"), std::string::npos) << text;
}

// ---- The dense dump
// ---------------------------------------------------------------------------------------------------

class SolnDense : public SolnFiles {
protected:
  SolnDense() : m_before(std::filesystem::current_path()) { std::filesystem::current_path(folder.Path()); }
  ~SolnDense() override { std::filesystem::current_path(m_before); }

  static constexpr const char* kDense = "c:\\temp\\dense.out";

private:
  std::filesystem::path m_before;
};

TEST_F(SolnDense, FileIsWhatEigenPrintsForTheDenseMatrix) {
  for (const int n : {1, 3, 30}) {
    const auto k = Matrix(6, RandomSymmetric(n, 3, 40 + n), n);
    ASSERT_TRUE(k->OpenFile("matrix.tmp"));

    ASSERT_TRUE(k->Write(true));

    std::ostringstream expected;
    expected << Eigen::MatrixXd(k->getEigenSparse());
    EXPECT_EQ(folder.Read(kDense), expected.str()) << "n = " << n;
    k->CloseFile();
  }
}

TEST_F(SolnDense, TemporaryFileIsLeftOpenForALaterWrite) {
  const auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile("matrix.tmp"));

  ASSERT_TRUE(k->Write(true));
  EXPECT_TRUE(k->Write(false));
}

TEST_F(SolnDense, WithoutANameNothingIsWritten) {
  const auto k = Matrix(6);

  EXPECT_FALSE(k->write_dense_file());
  EXPECT_FALSE(k->Write(true));

  EXPECT_EQ(Errors(), 1);
  EXPECT_FALSE(folder.Exists(kDense));
}

TEST_F(SolnDense, FailureToOpenIsNotReported) {
  const auto k = Matrix(6);
  ASSERT_TRUE(k->OpenFile("matrix.tmp"));
  std::filesystem::create_directory(kDense);

  EXPECT_TRUE(k->write_dense_file());
}

}  // namespace
