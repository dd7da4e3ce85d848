// Every allocation of parking, copying and shifting a solution matrix fails once: an exception
// or false comes out, nothing leaks, and the same object can be read, filled again and used.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "AllocationSweep.h"
#include "solution/CSolnMatrix.h"
#include "support/SilenceLibrary.h"
#include "support/TempFolder.h"

namespace {

using namespace Vessa::Matrix;
using reliability::Result;
using reliability::Scenario;
using reliability::SweepWithoutLeaks;

constexpr int order = 12;

// A chain of springs of stiffness k, fixed at the left end.
// `far` couples its ends.
bool Fill(CSolnMatrix& matrix, double k, double far = 0.0) {
  matrix.SetZero();
  matrix.SetNumDof(order);
  for (int i = 1; i <= order; ++i) {
    matrix.AddTerm(i, i, i == order ? k : 2.0 * k);
    if (i > 1) matrix.AddTerm(i - 1, i, -k);
  }
  if (far != 0.0) matrix.AddTerm(1, order, far);
  return matrix.Finalize();
}

bool Holds(const CSolnMatrix& matrix, SolMethod method, double k) {
  for (int i = 1; i <= order; ++i) {
    if (matrix.GetAt(i, i) != (i == order ? k : 2.0 * k)) return false;
    if (i > 1 && (method == SolPardiso ? matrix.GetAt(i, i - 1) : matrix.GetAt(i - 1, i)) != -k) return false;
  }
  return true;
}

std::shared_ptr<CSolnMatrix> Made(SolMethod method, double k, double far = 0.0) {
  auto matrix = std::make_shared<CSolnMatrix>();
  matrix->SetMethod(method);
  EXPECT_TRUE(Fill(*matrix, k, far));
  return matrix;
}

class MatrixAllocationFaults : public ::testing::TestWithParam<SolMethod> {
protected:
  void SweepStep(const std::string& what, const std::function<Result(CSolnMatrix&)>& step) const {
    const SolMethod method = GetParam();
    SweepWithoutLeaks(what + ", method " + std::to_string(method), [&] {
      const auto matrix = Made(method, 1.0);
      return Scenario{[=] { return step(*matrix); },
                      [=] {
                        matrix->Read();  // whatever is in the file or in memory: it must do no harm
                        matrix->CloseFile();
                        return Fill(*matrix, 1.0) && step(*matrix) == Result::Right;
                      }};
    });
  }
  test_support::SilenceLibrary silence;
  test_support::TempFolder folder;
};

INSTANTIATE_TEST_SUITE_P(Methods, MatrixAllocationFaults,
                         ::testing::Values(SolSkyline, SolCompColumn, SolPardiso));

TEST_P(MatrixAllocationFaults, OfParkingEndInAnExceptionOrFalse) {
  const std::string path = folder.Path("park");
  SweepStep("park and fetch", [&](CSolnMatrix& k) {
    if (!k.OpenFile(path.c_str()) || !k.Write(false)) return Result::Refused;
    k.SetZero();
    if (!k.Read()) return Result::Refused;
    k.CloseFile();
    return Holds(k, GetParam(), 1.0) ? Result::Right : Result::Wrong;
  });
}

TEST_P(MatrixAllocationFaults, OfCopiesEndInAnException) {
  SweepStep("copy", [&](CSolnMatrix& k) {
    const CSolnMatrix copy(k);
    return Holds(copy, GetParam(), 1.0) ? Result::Right : Result::Wrong;
  });
}

// By a matrix that has a term more: the sum needs storage of its own.
TEST_P(MatrixAllocationFaults, OfShiftsEndInAnException) {
  if (GetParam() != SolPardiso) GTEST_SKIP() << "a shift takes no memory";
  const auto other = Made(GetParam(), 1.0, 1.0);
  SweepStep("shift", [&](CSolnMatrix& k) {
    k.Shift(*other, 0.5);
    return Holds(k, GetParam(), 0.5) && k.GetAt(order, 1) == -0.5 ? Result::Right : Result::Wrong;
  });
}

}  // namespace
