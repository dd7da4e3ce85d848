#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "PardisoFixture.h"
#include "support/CaptureStdout.h"
#include "support/RandomMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

// What must never reach the solver, named.
struct Misread {
  const char* name;
  Sparse matrix;
  bool compressed = true;

  // Copying a matrix compresses it, so the spoilt state is made in place.
  void SpoilInto(Sparse& a) const {
    a = matrix;
    if (!compressed) a.uncompress();
  }
};

std::vector<Misread> MisreadMatrices() {
  const auto fromTriplets = [](int rows, int cols, std::vector<Eigen::Triplet<double, int>> t) {
    Sparse a(rows, cols);
    a.setFromTriplets(t.begin(), t.end());
    return a;
  };
  std::vector<Misread> all;
  all.push_back({"empty", Sparse(0, 0)});
  all.push_back({"not square", fromTriplets(3, 2, {{0, 0, 1.0}, {1, 1, 1.0}})});
  all.push_back({"no terms", Sparse(3, 3)});
  all.push_back(
      {"missing diagonal", fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 2, 5.0}, {2, 1, 1.0}})});
  all.push_back({"missing last diagonal", fromTriplets(2, 2, {{0, 0, 4.0}, {1, 0, 1.0}})});
  all.push_back({"upper triangle", fromTriplets(2, 2, {{0, 0, 4.0}, {0, 1, 1.0}, {1, 1, 4.0}})});
  all.push_back({"both triangles", fromTriplets(2, 2, {{0, 0, 4.0}, {0, 1, 1.0}, {1, 0, 1.0}, {1, 1, 4.0}})});
  all.push_back({"uncompressed", SmallMatrix(), false});
  Sparse unsorted = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  std::swap(unsorted.innerIndexPtr()[1], unsorted.innerIndexPtr()[2]);
  all.push_back({"unsorted", unsorted});
  Sparse repeated = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {2, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  repeated.innerIndexPtr()[2] = 1;
  all.push_back({"repeated row", repeated});
  Sparse outside = fromTriplets(3, 3, {{0, 0, 4.0}, {1, 0, 1.0}, {1, 1, 4.0}, {2, 2, 4.0}});
  outside.innerIndexPtr()[1] = 3;
  all.push_back({"row outside", outside});
  return all;
}

TEST_P(PardisoContract, MatrixThatWouldBeMisreadIsRefusedBeforeTheSolverSeesIt) {
  for (const Misread& bad : MisreadMatrices()) {
    Sparse a;
    bad.SpoilInto(a);
    Pardiso solver(a, 1);
    Choose(solver);
    for (const bool positiveDefinite : {true, false}) {
      bool ok = true;

      const std::string text = StdoutOf([&] { ok = solver.factorize(positiveDefinite); });

      EXPECT_FALSE(ok) << bad.name;
      EXPECT_EQ(text, "ERROR during symbolic factorization: -1\n") << bad.name;
      EXPECT_EQ(solver.lastError(), PardisoInconsistent) << bad.name;
      EXPECT_FALSE(solver.isFactorized()) << bad.name;
    }
  }
}

TEST_P(PardisoContract, MatrixSpoiltAfterFactorisationIsRefusedInTheSolve) {
  for (const Misread& bad : MisreadMatrices()) {
    Sparse a = LowerTriangle(3, FillProfile({0, 1, 2, 3}, 5));  // 6 terms, as none of the spoilt ones
    Pardiso solver(a, 1);
    Choose(solver);
    ASSERT_TRUE(solver.factorize(true));
    CVector b(3, 1.0);
    bool ok = true;
    bad.SpoilInto(a);

    const std::string text = StdoutOf([&] { ok = solver.solve(b); });

    EXPECT_FALSE(ok) << bad.name;
    EXPECT_EQ(text, kSolveLine) << bad.name;
    EXPECT_EQ(solver.lastError(), PardisoInconsistent) << bad.name;
  }
}

}  // namespace
