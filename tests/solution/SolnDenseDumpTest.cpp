#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "SolnFilesFixture.h"
#include "solution/CSolnMatrix.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

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
