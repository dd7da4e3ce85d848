#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <vector>

#include "../math/threads.h"
#include "../sparse/SymmetricLdlt.h"
#include "DirectEngine.h"

namespace Vessa {
namespace Matrix {

namespace {

using sparse::LdltStatus;
using sparse::PivotMode;

int ErrorCode(LdltStatus status) {
  switch (status) {
    case LdltStatus::Ok:
      return 0;
    case LdltStatus::BadInput:
    case LdltStatus::NotFactorised:
      return -1;
    case LdltStatus::OutOfMemory:
      return -2;
    case LdltStatus::OrderingFailed:
      return -3;
    case LdltStatus::PivotFailed:
    case LdltStatus::GrowthFailed:
    case LdltStatus::NotFinite:
      return -4;
    case LdltStatus::Internal:
      break;
  }
  return -5;
}

// 1e-13·‖A‖∞, the size below which a pivot of an indefinite matrix is not trusted.
double PivotThreshold(const SymmetricArrays& matrix) {
  std::vector<double> rowSum(static_cast<std::size_t>(matrix.n), 0.0);
  for (int i = 0; i < matrix.n; ++i)
    for (int k = matrix.start[i]; k < matrix.start[i + 1]; ++k) {
      const double a = std::fabs(matrix.value[k]);
      rowSum[i] += a;
      if (matrix.index[k] != i) rowSum[matrix.index[k]] += a;
    }
  return 1e-13 * *std::max_element(rowSum.begin(), rowSum.end());
}

// The library's own sparse LDLᵀ behind the seam.
class OwnEngine : public DirectEngine {
public:
  int Analyse(const SymmetricArrays& matrix, const EngineCall& call) override {
    return Guarded([&] {
      return m_ldlt.Analyse(matrix.n, matrix.start, matrix.index, sparse::Triangle::Lower, Threads(call));
    });
  }

  int Factorise(const SymmetricArrays& matrix, const EngineCall& call) override {
    const int error = Guarded([&] {
      if (call.matrixType == 2)
        return m_ldlt.Factorize(matrix.value, PivotMode::PositiveDefinite, 0.0, Threads(call));
      return m_ldlt.Factorize(matrix.value, PivotMode::Indefinite, PivotThreshold(matrix), Threads(call));
    });
    (*call.controls)[13] = m_ldlt.Pivots().numReplaced;
    (*call.controls)[22] = m_ldlt.NumNegative();
    return error;
  }

  double SmallestPivotRatio(const SymmetricArrays& matrix) override {
    return m_ldlt.SmallestPivotRatio(matrix.value);
  }

  int Solve(const SymmetricArrays& matrix, const EngineCall& call, int nrhs, double* b, double* x) override {
    std::vector<int>& controls = *call.controls;
    int steps = 0;
    const int error = Guarded([&] {
      return m_ldlt.SolveRefined(matrix.value, b, x, nrhs, matrix.n, controls[7], Threads(call), &steps);
    });
    controls[6] = steps;
    if (error == 0 && controls[5] == 1) std::copy_n(x, static_cast<std::size_t>(matrix.n) * nrhs, b);
    return error;
  }

  void DropFactors() noexcept override { m_ldlt.DropFactor(); }

  std::string Shortage() const override { return m_ldlt.Message(); }

  bool IsMkl() const noexcept override { return false; }

private:
  static int Threads(const EngineCall& call) {
    return call.threads > 0 ? call.threads : math::GetMaxThreads();
  }

  // Exceptions end here: the callers know codes only.
  template <class Step>
  static int Guarded(Step step) {
    try {
      return ErrorCode(step());
    } catch (const std::bad_alloc&) {
      return ErrorCode(LdltStatus::OutOfMemory);
    } catch (...) {
      return ErrorCode(LdltStatus::Internal);
    }
  }

  sparse::SymmetricLdlt m_ldlt;
};

}  // namespace

std::shared_ptr<DirectEngine> MakeOwnEngine() {
  return std::make_shared<OwnEngine>();
}

}  // namespace Matrix
}  // namespace Vessa
