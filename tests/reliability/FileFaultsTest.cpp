// Every file call of the matrices fails once, transfers one byte, is interrupted, or finds the disk full:
// what the interface promises comes out, the matrix is unharmed, no half-written file stays, and the same
// object does the same thing correctly afterwards.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "FileFaultSweep.h"
#include "containers/CReport.h"
#include "models/io/MatrixMarketReader.h"
#include "skyline/CSkyLine.h"
#include "solution/CSolnMatrix.h"
#include "sparse/CCompColumn.h"
#include "support/SilenceLibrary.h"

namespace {

using namespace Vessa::Matrix;
using reliability::Attempt;
using reliability::Ending;
using reliability::Reading;
using reliability::Sweep;
using reliability::Writing;

constexpr int order = 90;
constexpr int band = 12;

// Diagonally dominant, with the same small band everywhere; k scales it.
double Term(int i, int j, double k) {
  return i == j ? k * (2.0 * band + i) : -k / (1.0 + j - i);
}

bool InBand(int i, int j) {
  return i <= j && j - i < band;
}

class FileFaults : public ::testing::Test {
protected:
  void SetUp() override {
    if (!failing_files::Available()) GTEST_SKIP() << failing_files::WhyNot();
  }
  test_support::SilenceLibrary silence;
};

// ---- The solution matrix

std::unique_ptr<CSolnMatrix> Matrix(SolMethod method, CReport& report) {
  auto k = std::make_unique<CSolnMatrix>();
  k->SetMethod(method);
  k->SetLog(&report);
  k->SetNumDof(order);
  for (int j = 1; j <= order; ++j)
    for (int i = std::max(1, j - band + 1); i <= j; ++i) k->AddTerm(i, j, Term(i, j, 1.0));
  EXPECT_TRUE(k->Finalize());
  return k;
}

bool Holds(const CSolnMatrix& k, SolMethod method, double scale) {
  for (int j = 1; j <= order; ++j)
    for (int i = std::max(1, j - band + 1); i <= j; ++i)
      if ((method == SolPardiso ? k.GetAt(j, i) : k.GetAt(i, j)) != Term(i, j, scale)) return false;
  return true;
}

// K u = f for the load that belongs to displacements of 1.
bool Solves(CSolnMatrix& k) {
  CVector u(order, 0.0);
  for (int j = 1; j <= order; ++j)
    for (int i = 1; i <= j; ++i) {
      if (!InBand(i, j)) continue;
      u.AddAt(i, Term(i, j, 1.0));
      if (i != j) u.AddAt(j, Term(i, j, 1.0));
    }
  std::vector<int> zeroDofs;
  if (k.Reduce(OptStiffness, zeroDofs) != 0) return false;
  k.BackSubstitute(u);
  for (int i = 1; i <= order; ++i)
    if (!(std::fabs(u.GetAt(i) - 1.0) < 1e-12)) return false;
  return true;
}

bool HasMessage(const CReport& report, const std::string& text) {
  for (int m = 0; m < report.NumLog(); ++m)
    if (report.LogMessage(m) == text && report.LogStatus(m) == 2) return true;
  return false;
}

/// Parks and fetches the matrix without a fault, and solves with it.
void ExpectToWork(CSolnMatrix& k, SolMethod method, const std::string& path) {
  ASSERT_TRUE(k.OpenFile(path.c_str()));
  ASSERT_TRUE(k.Write(false));
  k.SetZero();
  ASSERT_TRUE(k.Read());
  EXPECT_TRUE(Holds(k, method, 1.0));
  EXPECT_TRUE(Solves(k));
  k.CloseFile();
}

class SolutionMatrixFaults : public FileFaults, public ::testing::WithParamInterface<SolMethod> {};
INSTANTIATE_TEST_SUITE_P(Methods, SolutionMatrixFaults,
                         ::testing::Values(SolSkyline, SolCompColumn, SolPardiso));

TEST_P(SolutionMatrixFaults, ParkingSucceedsOrIsRefusedAndLosesNothing) {
  const SolMethod method = GetParam();
  Sweep("park, method " + std::to_string(method), Writing, 397, [&](Attempt& attempt) {
    CReport report;
    const auto k = Matrix(method, report);
    bool opened = false;

    const Ending ending = attempt.Run([&] {
      opened = k->OpenFile(attempt.Path("park").c_str());
      return opened && k->Write(false);
    });

    ASSERT_NE(ending, Ending::Threw);
    EXPECT_TRUE(Holds(*k, method, 1.0));
    if (ending == Ending::Done && method != SolPardiso) {
      k->Scale(2.0);
      EXPECT_TRUE(k->Read());
      EXPECT_TRUE(Holds(*k, method, 1.0));
    } else if (ending == Ending::Done) {
      EXPECT_EQ(vematrix::models::readMatrixMarket(attempt.Path("park")).size(),
                std::size_t(k->getEigenSparse().nonZeros()));
    } else {
      EXPECT_EQ(HasMessage(report, "Temporary file error"), opened);
      EXPECT_TRUE(attempt.FilesInFolder() == 0 || method == SolSkyline) << "a half-written file";
    }
    k->CloseFile();
    EXPECT_EQ(attempt.FilesInFolder(), 0);
    ExpectToWork(*k, method, attempt.Path("again"));
  });
}

TEST_P(SolutionMatrixFaults, FetchingSucceedsOrIsRefused) {
  const SolMethod method = GetParam();
  if (method == SolPardiso) GTEST_SKIP() << "method 6 keeps its copy in memory: no file is read";
  Sweep("fetch, method " + std::to_string(method), Reading, 1, [&](Attempt& attempt) {
    CReport report;
    const auto k = Matrix(method, report);
    ASSERT_TRUE(k->OpenFile(attempt.Path("park").c_str()));
    ASSERT_TRUE(k->Write(false));
    k->Scale(2.0);

    const Ending ending = attempt.Run([&] { return k->Read(); });

    ASSERT_NE(ending, Ending::Threw);
    if (ending == Ending::Done) {
      EXPECT_TRUE(Holds(*k, method, 1.0));
    } else {
      EXPECT_TRUE(HasMessage(report, "Temporary file error"));
      EXPECT_TRUE(method == SolSkyline || Holds(*k, method, 2.0)) << "read in part";
      k->CloseFile();
      EXPECT_EQ(attempt.FilesInFolder(), 0);
    }
    CReport fresh;
    ExpectToWork(*Matrix(method, fresh), method, attempt.Path("again"));
    EXPECT_TRUE(ending != Ending::Done || Solves(*k));
  });
}

TEST_P(SolutionMatrixFaults, ClosingLeavesAFileOnlyWhenItCannotBeRemoved) {
  const SolMethod method = GetParam();
  Sweep("close, method " + std::to_string(method), {failing_files::Fault::Error}, 1, [&](Attempt& attempt) {
    CReport report;
    const auto k = Matrix(method, report);
    ASSERT_TRUE(k->OpenFile(attempt.Path("park").c_str()));
    ASSERT_TRUE(k->Write(false));

    attempt.Run([&] {
      k->CloseFile();
      return true;
    });

    EXPECT_EQ(attempt.FilesInFolder(), attempt.Where() == "unlink" ? 1 : 0);
    EXPECT_FALSE(k->write_mm_file()) << "nothing is open any more";
    ExpectToWork(*k, method, attempt.Path("again"));
  });
}

// ---- The engines by themselves

CSkyLine Skyline(const std::string& path) {
  CSkyLine m;
  m.SetTmpFile(std::wstring(path.begin(), path.end()).c_str());
  m.SetNumDof(order);
  for (int j = 1; j <= order; ++j) m.SetColHeight(j, std::min(j, band));
  EXPECT_TRUE(m.CreateIndex());
  for (int j = 1; j <= order; ++j)
    for (int i = std::max(1, j - band + 1); i <= j; ++i) m.SetAt(i, j, Term(i, j, 1.0));
  m.SetAssemble();
  return m;
}

template <class Engine>
bool Holds(const Engine& m, double scale) {
  for (int j = 1; j <= order; ++j)
    for (int i = std::max(1, j - band + 1); i <= j; ++i)
      if (m.GetAt(i, j) != Term(i, j, scale)) return false;
  return true;
}

TEST_F(FileFaults, SkylineImageIsWrittenOrTheFileIsGone) {
  Sweep("skyline, write", Writing, 397, [&](Attempt& attempt) {
    CSkyLine m = Skyline(attempt.Path("park"));

    const Ending ending = attempt.Run([&] { return m.OpenFile() && m.Write(); });

    ASSERT_NE(ending, Ending::Threw);
    EXPECT_TRUE(Holds(m, 1.0));
    if (ending == Ending::Refused) {
      EXPECT_EQ(attempt.FilesInFolder(), 0);
      EXPECT_FALSE(m.Write()) << "the handle is forgotten";
      ASSERT_TRUE(m.OpenFile());
      ASSERT_TRUE(m.Write());
    }
    m.Scale(2.0);
    EXPECT_TRUE(m.Read());
    EXPECT_TRUE(Holds(m, 1.0));
    m.CloseFile();
    EXPECT_EQ(attempt.FilesInFolder(), 0);
  });
}

TEST_F(FileFaults, SkylineImageIsReadOrTheFileIsGone) {
  Sweep("skyline, read", Reading, 1, [&](Attempt& attempt) {
    CSkyLine m = Skyline(attempt.Path("park"));
    ASSERT_TRUE(m.OpenFile());
    ASSERT_TRUE(m.Write());
    m.Null();

    const Ending ending = attempt.Run([&] { return m.Read(); });

    ASSERT_NE(ending, Ending::Threw);
    EXPECT_EQ(Holds(m, 1.0), ending == Ending::Done);
    EXPECT_EQ(attempt.FilesInFolder(), ending == Ending::Done ? 1 : 0);
    m.CloseFile();
  });
}

CCompColumn Columns() {
  CMatInt pattern;
  pattern.SetSize(order);
  for (int j = 1; j <= order; ++j)
    for (int i = 1; i <= order; ++i)
      if (InBand(std::min(i, j), std::max(i, j))) pattern.SetVal(i, j);
  CCompColumn m;
  m.Set(pattern);
  for (int j = 1; j <= order; ++j)
    for (int i = 1; i <= order; ++i)
      if (InBand(std::min(i, j), std::max(i, j))) m.SetAt(i, j, Term(std::min(i, j), std::max(i, j), 1.0));
  return m;
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Writes and reads the image of an engine through a stream of the host, assembled and (where it can be)
/// reduced.
template <class Layer>
void SweepImage(const std::string& what, bool reduced) {
  const auto make = [&] {
    CCompColumn m = Columns();
    EXPECT_EQ(reduced ? m.Reduce(true, 1e-40) : order, order);
    return m;
  };
  Sweep(what + ", write", Writing, 997, [&](Attempt& attempt) {
    CCompColumn m = make(), other;
    const File file(std::fopen(attempt.Path("image").c_str(), "w+b"));

    const Ending ending = attempt.Run([&] { return m.Layer::Write(file.get()); });

    ASSERT_NE(ending, Ending::Threw);
    EXPECT_TRUE(Holds(m, 1.0));
    EXPECT_EQ(other.Layer::Read(file.get()), ending == Ending::Done) << "an image cut short is taken";
    EXPECT_TRUE(m.Layer::Write(file.get()));
    EXPECT_TRUE(other.Layer::Read(file.get()));
    EXPECT_TRUE(Holds(other, 1.0));
  });
  Sweep(what + ", read", Reading, 1, [&](Attempt& attempt) {
    CCompColumn m = make(), other = Columns();
    const File file(std::fopen(attempt.Path("image").c_str(), "w+b"));
    ASSERT_TRUE(m.Layer::Write(file.get()));
    other.Scale(2.0);

    const Ending ending = attempt.Run([&] { return other.Layer::Read(file.get()); });

    ASSERT_NE(ending, Ending::Threw);
    EXPECT_TRUE(Holds(other, ending == Ending::Done ? 1.0 : 2.0));
    ASSERT_TRUE(m.Layer::Write(file.get()));
    EXPECT_TRUE(other.Layer::Read(file.get()));
    EXPECT_TRUE(Holds(other, 1.0));
  });
}

TEST_F(FileFaults, CompressedColumnImagesAreWholeOrRefused) {
  SweepImage<CSparse>("pattern and values", false);
  SweepImage<CCompColumn>("compressed columns", false);
  SweepImage<CCompColumn>("compressed columns, reduced", true);
}

// ---- Text dumps

TEST_F(FileFaults, DumpsSayWhetherTheyAreComplete) {
  CVector vector(700, 1.0 / 3.0);
  CMatrix<0> matrix(30, 30, 1.0 / 3.0);
  for (const bool ofVector : {true, false}) {
    Sweep(ofVector ? "dump of a vector" : "dump of a matrix", Writing, 397, [&](Attempt& attempt) {
      const std::string path = attempt.Path("dump.csv");

      const Ending ending =
          attempt.Run([&] { return ofVector ? vector.Dump(path.c_str()) : matrix.Dump(path.c_str()); });

      ASSERT_NE(ending, Ending::Threw);
      const std::string text = attempt.Folder().Read("dump.csv");
      EXPECT_TRUE(ofVector ? vector.Dump(path.c_str()) : matrix.Dump(path.c_str()));
      EXPECT_TRUE(ending == Ending::Refused || text == attempt.Folder().Read("dump.csv")) << "cut short";
    });
  }
}

}  // namespace
