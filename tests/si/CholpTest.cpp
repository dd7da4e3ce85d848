#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "si/Pencils.h"
#include "si/cholp.h"
#include "support/CaptureStdout.h"

namespace {

using namespace pencils;
using Eigen::MatrixXd;

MatrixXd randomBlock(int n, int k, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> value(-1.0, 1.0);
  return MatrixXd::NullaryExpr(n, k, [&]() { return value(engine); });
}

double departure(const Sparse& B, const MatrixXd& Y) {
  return (Y.transpose() * times(B, Y) - MatrixXd::Identity(Y.cols(), Y.cols())).norm();
}

int occurrences(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST(Cholp, MakesTheBlockBOrthonormalAndKeepsItsSpan) {
  Sparse B = springChain(40, 3.0, 1.0, true).K;
  MatrixXd Y = randomBlock(40, 6, 1);
  const MatrixXd before = Y;
  si::cholp basis(B, Y, 4);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  const std::string printed = capture.Stop();
  EXPECT_LE(departure(B, Y), 2.3e-12);
  EXPECT_LT((Y * (Y.transpose() * times(B, before)) - before).norm(), 1e-12 * before.norm());
  EXPECT_LT((basis.product() - times(B, Y)).norm(), 1e-12);
  EXPECT_EQ(printed.rfind("cholp::orthogonalize: residual= ", 0), 0u);
}

TEST(Cholp, LeavesAnOrthonormalBlockAloneAndSilent) {
  Sparse B = springChain(40, 3.0, 1.0, true).K;
  MatrixXd Y = randomBlock(40, 6, 1);
  si::cholp basis(B, Y, 4);
  {
    test_support::CaptureStdout quiet;
    basis.orthogonalize();
  }
  const MatrixXd before = Y;
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  EXPECT_EQ(capture.Stop(), "");
  EXPECT_EQ(Y, before);
}

TEST(Cholp, RepeatsUntilOrthonormalOnNearlyDependentColumns) {
  Sparse B = springChain(60, 1e10, 1.0, true).K;
  MatrixXd Y = randomBlock(60, 5, 1);
  Y.col(4) = Y.col(0) + 1e-7 * Y.col(4);
  si::cholp basis(B, Y, 4);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  EXPECT_GE(occurrences(capture.Stop(), "residual= "), 2);
  EXPECT_LE(departure(B, Y), 2.3e-12);
}

TEST(Cholp, ReportsADeficientRankAndGoesOn) {
  Sparse B = identity(20);
  MatrixXd Y = randomBlock(20, 4, 1);
  Y.col(3) = Y.col(1);
  si::cholp basis(B, Y, 4);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  const std::string printed = capture.Stop();
  EXPECT_NE(printed.find("Error in LAPACKE_dpstrf. iErr = 1\tRank of SBS returned = 3\n"), std::string::npos)
      << printed;
  EXPECT_LE(occurrences(printed, "residual= "), 5);
}

TEST(Cholp, MakesAtMostOnePassMoreThanAllowed) {
  Sparse B = identity(20);
  MatrixXd Y = randomBlock(20, 4, 1);
  Y.col(3).setZero();  // never becomes a unit vector
  si::cholp basis(B, Y, 2);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  EXPECT_EQ(occurrences(capture.Stop(), "residual= "), 3);
}

TEST(Cholp, SurvivesNan) {
  Sparse B = identity(10);
  MatrixXd Y = randomBlock(10, 3, 1);
  Y(2, 1) = std::numeric_limits<double>::quiet_NaN();
  si::cholp basis(B, Y, 4);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  EXPECT_EQ(occurrences(capture.Stop(), "residual= "), 5);
}

TEST(Cholp, AnEmptyBlockIsOrthonormal) {
  Sparse B = identity(10);
  MatrixXd Y(10, 0);
  si::cholp basis(B, Y, 4);
  test_support::CaptureStdout capture;

  basis.orthogonalize();

  EXPECT_EQ(capture.Stop(), "");
}

}  // namespace
