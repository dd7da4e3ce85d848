// What assembling a large matrix holds in memory, as the operating system counts it.
#include <gtest/gtest.h>

#include <cstddef>

#include "SolnFixture.h"
#include "models/Registry.h"
#include "solution/CSolnMatrix.h"
#include "support/ProcessMemory.h"
#include "support/Sanitizers.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

double Resident() {
  return StatusBytes("VmRSS");
}

double Peak() {
  return StatusBytes("VmHWM");
}

class SolnMemory : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(WithStagedTerms, SolnMemory, ::testing::Values(4, 6));

TEST_P(SolnMemory, NeverMoreThanOneCopyOfTheTermsBesideTheMatrix) {
  if (underSanitizer()) GTEST_SKIP() << "a sanitizer keeps memory that was freed";
  if (!ResetPeak() || Peak() == 0.0) GTEST_SKIP() << "this system does not tell the peak memory of a process";
  const vematrix::models::Model model = vematrix::models::makeModel("brick:24");
  const double slack = 8e6;
  CSolnMatrix k;
  k.SetMethod(static_cast<SolMethod>(GetParam()));
  const double before = Resident();

  k.SetNumDof(model.numDofs());
  std::size_t count = static_cast<std::size_t>(model.numDofs());
  model.assembleStiffness([&](int i, int j, double v) {
    k.AddTerm(i, j, v);
    ++count;
  });
  const double staged = 16.0 * static_cast<double>(count);
  EXPECT_LE(Resident() - before, staged + slack);
  ASSERT_TRUE(ResetPeak());
  Quietly([&] { return k.Finalize(); });
  const double peak = Peak() - before, after = Resident() - before;

  const double matrix = 12.0 * k.NumTerm();
  RecordProperty("staged_MB", static_cast<int>(staged / 1e6));
  RecordProperty("matrix_MB", static_cast<int>(matrix / 1e6));
  RecordProperty("peak_MB", static_cast<int>(peak / 1e6));
  EXPECT_LE(peak, staged + matrix + slack) << "staged " << staged << ", matrix " << matrix;
  EXPECT_LE(after, matrix + slack) << "the terms are gone after Finalize";
}

}  // namespace
