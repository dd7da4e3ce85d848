#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "SolnFilesFixture.h"
#include "models/io/MatrixMarketReader.h"
#include "solution/CSolnMatrix.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

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

}  // namespace
