// Every allocation of the readers, the writers and the assembly of a structure fails once: std::bad_alloc (or
// an error that names the file) comes out, nothing leaks, no descriptor stays open, no half-written file is
// left, and the same call then does its work.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "AllocationSweep.h"
#include "HarwellBoeingText.h"
#include "models/Registry.h"
#include "models/io/HarwellBoeingReader.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/VtuMesh.h"
#include "models/io/VtuReader.h"
#include "solution/CSolnMatrix.h"
#include "support/SilenceLibrary.h"
#include "support/TempFolder.h"

namespace {

using namespace vematrix::models;
using reliability::Result;
using reliability::Scenario;
using reliability::SweepWithoutLeaks;

long EntriesOf(const std::string& folder) {
  long count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) count += entry.path().empty() ? 0 : 1;
  return count;
}

/// Sweeps a call whose result can be told right from wrong.
void Sweep(const std::string& what, const std::function<bool()>& isRight) {
  const auto judged = [&] { return isRight() ? Result::Right : Result::Wrong; };
  const long open = EntriesOf("/proc/self/fd");
  SweepWithoutLeaks(what, [&] { return Scenario{judged, isRight}; });
  EXPECT_EQ(EntriesOf("/proc/self/fd"), open) << what << ": descriptors left open";
}

TEST(ModelAllocationFaults, OfReadersEndInAnException) {
  const test_support::TempFolder folder;
  const Model model = makeModel("cantilever:4");
  const SymmetricTerms terms = model.stiffnessTerms();
  writeMatrixMarket(folder.Path("K.mtx"), terms);
  writeDenseColumns(folder.Path("f.mtx"), Eigen::VectorXd::Constant(9, 0.1));
  writeVtu(folder.Path("model.vtu"), toVtuMesh(model));
  folder.Write("K.rsa", reliability::harwellBoeingText);
  const std::string matrix = folder.Path("K.mtx"), fixed = folder.Path("K.rsa"),
                    vectors = folder.Path("f.mtx"), mesh = folder.Path("model.vtu");
  const std::vector<double> values = readMatrixMarket(matrix).value;

  Sweep("read Matrix Market", [&] { return readMatrixMarket(matrix).value == values; });
  Sweep("read Harwell-Boeing", [&] { return readSymmetricMatrix(fixed).value.back() == 20.0; });
  Sweep("read vectors", [&] { return readDenseColumns(vectors).value == std::vector<double>(9, 0.1); });
  Sweep("read mesh", [&] { return readVtu(mesh).points == toVtuMesh(model).points; });
}

TEST(ModelAllocationFaults, OfWritersLeaveNoPartOfAFile) {
  const test_support::TempFolder folder;
  const Model model = makeModel("cantilever:4");
  const SymmetricTerms terms = model.stiffnessTerms();
  const VtuMesh mesh = toVtuMesh(model);
  const std::string path = folder.Path("file");
  const auto sweepWriter = [&](const std::string& what, const std::function<void()>& write) {
    write();
    const auto size = std::filesystem::file_size(path);
    Sweep(what, [&] {
      write();
      return std::filesystem::file_size(path) == size;
    });
    EXPECT_EQ(EntriesOf(folder.Path()), 1) << what << ": parts of files are left";
  };

  sweepWriter("write Matrix Market", [&] { writeMatrixMarket(path, terms); });
  sweepWriter("write vectors", [&] { writeDenseColumns(path, Eigen::VectorXd::Constant(9, 0.1)); });
  sweepWriter("write mesh", [&] { writeVtu(path, mesh); });
}

TEST(ModelAllocationFaults, OfTheAssemblyEndInAnException) {
  test_support::SilenceLibrary silence;
  const double trace = toLowerTriangle(makeModel("frame:1:1:1").stiffnessTerms()).diagonal().sum();
  for (const Vessa::Matrix::SolMethod method : {Vessa::Matrix::SolSkyline, Vessa::Matrix::SolPardiso})
    Sweep("structure and assembly, method " + std::to_string(method), [&] {
      const Model model = makeModel("frame:1:1:1");
      Vessa::Matrix::CSolnMatrix k;
      k.SetMethod(method);
      k.SetNumDof(model.numDofs());
      model.assembleStiffness([&](int i, int j, double v) { k.AddTerm(i, j, v); });
      if (!k.Finalize()) return false;
      double sum = 0.0;
      for (int i = 1; i <= model.numDofs(); ++i) sum += k.GetAt(i, i);
      return std::fabs(sum - trace) <= 1e-12 * trace;
    });
}

}  // namespace
