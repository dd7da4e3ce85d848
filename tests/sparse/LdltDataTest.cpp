#include <gtest/gtest.h>

#include <string>

#include "LdltMatrices.h"
#include "models/io/MatrixMarketReader.h"
#include "sparse/SymmetricLdlt.h"
#include "support/DataFolder.h"

using namespace Vessa::Matrix::sparse;
using namespace ldlt_test;

namespace {

LowerColumns Load(const std::string& file) {
  const Eigen::SparseMatrix<double, 0, int> lower =
      vematrix::models::toLowerTriangle(vematrix::models::readMatrixMarket(
          test_support::DataPath(file), vematrix::models::PatternValues::LaplacianPlusOne));
  LowerColumns a;
  a.n = static_cast<int>(lower.rows());
  a.start.assign(lower.outerIndexPtr(), lower.outerIndexPtr() + a.n + 1);
  a.row.assign(lower.innerIndexPtr(), lower.innerIndexPtr() + lower.nonZeros());
  a.value.assign(lower.valuePtr(), lower.valuePtr() + lower.nonZeros());
  return a;
}

/// The file named by an entry of reference.json, in whichever form it is there.
std::string FileOf(const nlohmann::json& entry) {
  return entry.at("file").get<std::string>();
}

SymmetricLdlt Analysed(const LowerColumns& a) {
  SymmetricLdlt solver;
  EXPECT_EQ(solver.Analyse(a.n, a.start.data(), a.row.data()), LdltStatus::Ok) << solver.Message();
  return solver;
}

}  // namespace

TEST(LdltData, DefiniteMatricesAreSolvedWithSmallBackwardErrors) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  int count = 0;
  for (const auto& item : test_support::Reference().at("matrices").items()) {
    if (!item.value().value("positive_definite_numerically", false)) continue;
    SCOPED_TRACE(item.key());
    const LowerColumns a = Load(FileOf(item.value()));
    SymmetricLdlt solver = Analysed(a);

    ASSERT_EQ(solver.Factorize(a.value.data(), PivotMode::PositiveDefinite, 0.0, 2), LdltStatus::Ok)
        << solver.Message();
    const std::vector<double> b(a.n, 1.0);
    std::vector<double> x = b;
    solver.Solve(x.data(), 1, a.n, 2);

    EXPECT_LT(BackwardError(a, x.data(), b.data()), 1e-14 * std::sqrt(a.n));
    if (item.value().contains("solve_b_ones")) {
      double sum = 0.0;
      for (double v : x) sum += v * v;
      const double expected = item.value()["solve_b_ones"]["x_2norm"];
      const double tolerance = std::max(1e-12, 1e-15 * item.value().value("cond_1", 1.0));
      EXPECT_NEAR(std::sqrt(sum), expected, tolerance * expected);
    }
    ++count;
  }
  EXPECT_GE(count, 15);
}

TEST(LdltData, InertiaBelowShiftsIsThatOfDenseFactorisations) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  int count = 0;
  for (const auto& item : test_support::Reference().at("matrices").items()) {
    if (!item.value().contains("shifted_inertia")) continue;
    SCOPED_TRACE(item.key());
    const LowerColumns a = Load(FileOf(item.value()));
    SymmetricLdlt solver = Analysed(a);
    for (const auto& shift : item.value()["shifted_inertia"]) {
      std::vector<double> shifted = a.value;
      for (int j = 0; j < a.n; ++j) shifted[a.start[j]] -= shift.at("sigma").get<double>();

      ASSERT_EQ(solver.Factorize(shifted.data(), PivotMode::Indefinite, 0.0, 2), LdltStatus::Ok);

      EXPECT_EQ(solver.NumNegative(), shift.at("expected_negative").get<int>()) << shift.at("sigma");
      ++count;
    }
  }
  EXPECT_GE(count, 30);
}
