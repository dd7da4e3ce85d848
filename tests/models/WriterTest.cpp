#include <gtest/gtest.h>
#if defined(__linux__)
#include <sys/resource.h>

#include <csignal>
#endif

#include <cmath>
#include <filesystem>
#include <limits>

#include "models/Registry.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/OutputFile.h"
#include "models/io/VtuMesh.h"
#include "support/TempFolder.h"

using namespace vematrix::models;
using test_support::TempFolder;

namespace {

SymmetricTerms awkwardTerms() {
  SymmetricTerms t;
  t.n = 3;
  t.add(1, 1, 1.0 / 3.0);
  t.add(1, 3, -5e-324);
  t.add(2, 2, 1.7976931348623157e308);
  t.add(1, 3, 0.1);
  t.add(3, 3, 0.0);
  t.add(2, 3, -1e-17);
  return t;
}

int filesIn(const std::string& folder) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) count += entry.exists() ? 1 : 0;
  return count;
}

}  // namespace

TEST(SymmetricTermsList, DuplicatesAreSummedInOrderAndSorted) {
  SymmetricTerms t = awkwardTerms();

  t.sumDuplicates();

  EXPECT_EQ(t.row, (std::vector<int>{1, 2, 1, 2, 3}));
  EXPECT_EQ(t.col, (std::vector<int>{1, 2, 3, 3, 3}));
  EXPECT_EQ(t.value[2], 0.1);
}

TEST(SymmetricTermsList, LowerTriangleAndBackGivesTheSameMatrix) {
  const SymmetricTerms t = makeModel("brick:2").stiffnessTerms();
  const auto lower = toLowerTriangle(t);

  const auto again = toLowerTriangle(fromLowerTriangle(lower));

  EXPECT_EQ((lower - again).norm(), 0.0);
  EXPECT_EQ(lower.nonZeros(), again.nonZeros());
}

TEST(SymmetricTermsList, DiagonalIsStoredWhereTheListHasNone) {
  SymmetricTerms t;
  t.n = 3;
  t.add(1, 2, 4.0);

  const auto lower = toLowerTriangle(t);

  EXPECT_EQ(lower.nonZeros(), 4);
  EXPECT_EQ(lower.coeff(1, 0), 4.0);
}

TEST(MatrixMarketWriter, WhatIsWrittenReadsBackToTheBit) {
  const TempFolder folder;
  SymmetricTerms expected = awkwardTerms();

  writeMatrixMarket(folder.Path("K.mtx"), expected);
  SymmetricTerms found = readMatrixMarket(folder.Path("K.mtx"));

  expected.sumDuplicates();
  found.sumDuplicates();
  EXPECT_EQ(found.n, expected.n);
  EXPECT_EQ(found.row, expected.row);
  EXPECT_EQ(found.col, expected.col);
  EXPECT_EQ(found.value, expected.value);
}

TEST(MatrixMarketWriter, VectorsReadBackToTheBit) {
  const TempFolder folder;
  Eigen::MatrixXd columns(3, 2);
  columns << 1.0 / 3.0, -0.0, 1e-300, 2.5, 7.0, 1e22;

  writeDenseColumns(folder.Path("f.mtx"), columns);
  const DenseColumns found = readDenseColumns(folder.Path("f.mtx"));

  ASSERT_EQ(found.rows, 3);
  ASSERT_EQ(found.cols, 2);
  EXPECT_EQ(found.value, std::vector<double>(columns.data(), columns.data() + 6));
}

TEST(OutputFile, NothingIsLeftWithoutCommit) {
  const TempFolder folder;
  {
    OutputFile out(folder.Path("half"));
    out << "text";
    EXPECT_FALSE(folder.Exists("half"));
  }

  EXPECT_EQ(filesIn(folder.Path()), 0);
}

TEST(OutputFile, OldFileStaysWholeUntilCommit) {
  const TempFolder folder;
  folder.Write("file", "old");
  OutputFile out(folder.Path("file"));
  out << "new";

  EXPECT_EQ(folder.Read("file"), "old");
  out.commit();

  EXPECT_EQ(folder.Read("file"), "new");
  EXPECT_EQ(filesIn(folder.Path()), 1);
}

TEST(OutputFile, MissingFolderAndDirectoryAreRefused) {
  const TempFolder folder;

  EXPECT_THROW(OutputFile(folder.Path("no/such/file")), FileError);
  EXPECT_THROW(OutputFile(folder.Path()), FileError);
  EXPECT_EQ(filesIn(folder.Path()), 0);
}

#if defined(__linux__)
TEST(OutputFile, FullDiskIsReportedAndLeavesNoFile) {
  const TempFolder folder;
  rlimit old, small;
  getrlimit(RLIMIT_FSIZE, &old);
  small = old;
  small.rlim_cur = 100000;  // a file that may not grow behaves like a full disk
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);

  const auto write = [&] {
    OutputFile out(folder.Path("big"));
    for (int k = 0; k < 100000; ++k) out << 1.0 / 3.0 << '\n';
    out.commit();
  };
  EXPECT_THROW(write(), FileError);

  setrlimit(RLIMIT_FSIZE, &old);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(filesIn(folder.Path()), 0);
}
#endif

TEST(OutputFile, RemoveUnfinishedDropsPartialFilesOnly) {
  const TempFolder folder;
  folder.Write("file", "old");
  OutputFile out(folder.Path("file"));
  ASSERT_EQ(filesIn(folder.Path()), 2);

  OutputFile::removeUnfinished();

  EXPECT_EQ(filesIn(folder.Path()), 1);
  EXPECT_EQ(folder.Read("file"), "old");
}

TEST(VtuWriter, HoldsPointsCellsDofsAndDisplacements) {
  const TempFolder folder;
  const Model beam = makeModel("cantilever:1");
  const VtuMesh mesh = toVtuMesh(beam);

  writeVtu(folder.Path("beam.vtu"), mesh, {displacements("a & b", mesh, beam.loads(0))});
  const std::string text = folder.Read("beam.vtu");

  EXPECT_NE(text.find("NumberOfPoints=\"2\" NumberOfCells=\"1\""), std::string::npos);
  EXPECT_NE(text.find("10 0 0\n"), std::string::npos);
  EXPECT_NE(text.find("0 0 0 0 0 0\n1 2 3 4 5 6\n"), std::string::npos);
  EXPECT_NE(text.find("Name=\"a &amp; b\""), std::string::npos);
  EXPECT_NE(text.find("0 0 0\n0 0 -1000\n"), std::string::npos);
}

TEST(VtuWriter, DataThatDoNotFitAreRefusedAndLeaveNoFile) {
  const TempFolder folder;
  const VtuMesh mesh = toVtuMesh(makeModel("cantilever:1"));

  EXPECT_THROW(writeVtu(folder.Path("m.vtu"), mesh, {{"short", Eigen::MatrixXd::Zero(3, 1)}}),
               std::invalid_argument);
  EXPECT_THROW(displacements("u", mesh, Eigen::VectorXd::Zero(3)), std::invalid_argument);
  EXPECT_EQ(filesIn(folder.Path()), 0);
}
