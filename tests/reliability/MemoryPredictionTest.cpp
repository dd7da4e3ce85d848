// The memory that is predicted before a factorisation against the peak that the system counts, each case in a
// child process of its own.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <string>

#include "math/large_memory.h"
#include "models/Registry.h"
#include "models/io/SymmetricTerms.h"
#include "solution/DirectEngine.h"
#include "sparse/analysis/LdltAnalysis.h"
#include "sparse/numeric/LdltFactor.h"
#include "support/ProcessMemory.h"
#include "support/Sanitizers.h"

namespace {

using namespace Vessa::Matrix;
using test_support::ResetPeak;
using test_support::StatusBytes;
using Sparse = Eigen::SparseMatrix<double, 0, int>;

struct Figures {
  double predicted = 0.0, real = 0.0;  // bytes
};

// Bytes by which the resident set rises at its highest while `work` runs.
double Rise(const std::function<void()>& work) {
  math::ReturnFreeMemory();
  ResetPeak();
  const double before = StatusBytes("VmRSS");
  work();
  return StatusBytes("VmHWM") - before;
}

// What `measure` finds in a child process; zeros when it fails.
Figures InChild(const std::function<Figures()>& measure) {
  int ends[2];
  Figures figures;
  if (::pipe(ends) != 0) return figures;
  const pid_t child = ::fork();
  if (child == 0) {
    const Figures found = measure();
    ::_exit(::write(ends[1], &found, sizeof found) == sizeof found ? 0 : 1);
  }
  ::close(ends[1]);
  if (::read(ends[0], &figures, sizeof figures) != sizeof figures) figures = Figures();
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return figures;
}

Figures OwnEngine(const Sparse& matrix, int threads) {
  auto analysis = std::make_shared<sparse::LdltAnalysis>();
  AnalysePattern(static_cast<int>(matrix.rows()), matrix.outerIndexPtr(), matrix.innerIndexPtr(),
                 sparse::Triangle::Lower, 1, *analysis);
  Figures figures;
  figures.predicted = static_cast<double>(MemoryOfFactorization(*analysis, threads).resident);
  sparse::LdltFactor factor;
  factor.analysis = analysis;
  sparse::PivotRecord record;
  figures.real = Rise([&] {
    FactorizeFronts(matrix.valuePtr(), sparse::PivotMode::PositiveDefinite, 0.0, threads, factor, record);
  });
  return figures;
}

Figures Mkl(const Sparse& matrix, int threads) {
  const auto engine = MakeMklEngine();
  std::vector<int> controls(64, 0);
  controls[0] = 1, controls[1] = 3, controls[9] = 13, controls[10] = 1, controls[23] = 1, controls[34] = 1;
  const EngineCall call{2, threads, &controls};
  const SymmetricArrays arrays{static_cast<int>(matrix.rows()), matrix.outerIndexPtr(),
                               matrix.innerIndexPtr(), matrix.valuePtr()};
  engine->Analyse(arrays, call);
  Figures figures;
  figures.predicted = 1024.0 * controls[16] * 1.05 + 2e6;  // as the engine asks for it
  figures.real = Rise([&] { engine->Factorise(arrays, call); });
  return figures;
}

class MemoryPrediction : public ::testing::TestWithParam<const char*> {
protected:
  void SetUp() override {
    if (test_support::underSanitizer()) GTEST_SKIP() << "a sanitizer keeps memory that was freed";
    if (!ResetPeak() || StatusBytes("VmHWM") == 0.0)
      GTEST_SKIP() << "this system does not tell the peak memory of a process";
  }
  static void Check(const char* engine, int threads, const Figures& figures) {
    std::printf("%s, %s, %d threads: predicted %.1f MB, real %.1f MB, ratio %.2f\n", GetParam(), engine,
                threads, figures.predicted / 1e6, figures.real / 1e6, figures.predicted / figures.real);
    EXPECT_GT(figures.real, 0.0);
    EXPECT_GE(figures.predicted, 0.97 * figures.real) << engine << ": killed without a word";
    EXPECT_LE(figures.predicted, 1.5 * figures.real + 1e7 * threads) << engine << ": refused without need";
  }
};

TEST_P(MemoryPrediction, IsNotBelowThePeakNorFarAbove) {
  const Sparse matrix = toLowerTriangle(vematrix::models::makeModel(GetParam()).stiffnessTerms());
  for (const int threads : {1, 2, 4})
    Check("own engine", threads, InChild([&] { return OwnEngine(matrix, threads); }));
  if (MakeMklEngine() == nullptr) return;
  for (const int threads : {1, 2}) Check("MKL", threads, InChild([&] { return Mkl(matrix, threads); }));
}

INSTANTIATE_TEST_SUITE_P(Models, MemoryPrediction,
                         ::testing::Values("brick:18", "shell:60:60", "plate:100:100", "frame:10:10:15"),
                         [](const auto& info) { return "Model" + std::to_string(info.index); });

}  // namespace
