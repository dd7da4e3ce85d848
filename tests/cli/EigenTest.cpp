#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "RunProgram.h"
#include "models/io/MatrixMarketReader.h"
#include "models/io/VtuReader.h"
#include "solution/Pardiso.h"
#include "support/DataFolder.h"

namespace {

using nlohmann::json;
using test_support::DataPath;
using test_support::ProgramRun;
using test_support::runProgram;
using test_support::TempFolder;
using testing::HasSubstr;

std::string makeModel(const TempFolder& folder, const std::string& name) {
  EXPECT_EQ(runProgram("model " + name + " -o '" + folder.Path() + "'").exitCode, 0);
  return "'" + folder.Path("K.mtx") + "' '" + folder.Path("M.mtx") + "' ";
}

TEST(Modes, TextbookPairHasEigenvaluesTwoFourSix) {
  const TempFolder folder;
  folder.Write(
      "K.mtx",
      "%%MatrixMarket matrix coordinate real symmetric\n3 3 5\n1 1 2\n2 1 -1\n2 2 4\n3 2 -1\n3 3 2\n");
  folder.Write("M.mtx", "%%MatrixMarket matrix coordinate real symmetric\n3 3 3\n1 1 0.5\n2 2 1\n3 3 0.5\n");

  for (const char* algorithm : {"implicit-copy", "implicit", "explicit"}) {
    const ProgramRun run = runProgram("modes '" + folder.Path("K.mtx") + "' '" + folder.Path("M.mtx") +
                                      "' --count 3 --json --algorithm " + algorithm);

    ASSERT_EQ(run.exitCode, 0) << algorithm << run.out << run.err;
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(run.json()["modes"][k]["eigenvalue"].get<double>(), 2.0 * (k + 1), 1e-12) << algorithm;
      EXPECT_NEAR(run.json()["modes"][k]["frequency_hz"].get<double>(), std::sqrt(2.0 * (k + 1)) / (2 * M_PI),
                  1e-12);
    }
    EXPECT_EQ(run.json()["count_check"]["none_missed"], true) << run.out;
  }
}

TEST(Modes, FreeStructureHasSixRigidBodyModesAndSaysSo) {
  const TempFolder folder;
  const std::string matrices = makeModel(folder, "brick:2:free");

  const ProgramRun run = runProgram("modes " + matrices + "--count 8 --json");

  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  EXPECT_EQ(run.json()["free"], true);
  EXPECT_LT(run.json()["shift"], 0.0);
  for (int k = 0; k < 8; ++k) EXPECT_EQ(run.json()["modes"][k]["rigid_body"], k < 6) << run.out;
  EXPECT_EQ(run.json()["count_check"]["none_missed"], true);
  EXPECT_THAT(runProgram("modes " + matrices).out, HasSubstr("the structure can move freely"));
  EXPECT_EQ(runProgram("modes " + matrices + "--algorithm explicit").exitCode, 1);
}

TEST(Modes, WritesMassNormalisedVectorsAndShapesOnTheMesh) {
  const TempFolder folder;
  const std::string matrices = makeModel(folder, "cantilever:5");

  const ProgramRun run = runProgram("modes " + matrices + "--count 2 -o '" + folder.Path("x.mtx") +
                                    "' --vtu '" + folder.Path("model.vtu") + "'");

  ASSERT_EQ(run.exitCode, 0) << run.out << run.err;
  const auto vectors = vematrix::models::readDenseColumns(folder.Path("x.mtx"));
  const auto mass = vematrix::models::readMatrixMarket(folder.Path("M.mtx"));
  double sum = 0.0;
  mass.forEach([&](int i, int j, double v) {
    sum += (i == j ? 1 : 2) * v * vectors.value[i - 1] * vectors.value[j - 1];
  });
  EXPECT_NEAR(sum, 1.0, 1e-10);
  EXPECT_EQ(vectors.cols, 2);
  EXPECT_EQ(vematrix::models::readVtu(folder.Path("model-modes.vtu")).numPoints(), 6);
  EXPECT_THAT(folder.Read("model-modes.vtu"), HasSubstr("Name=\"mode 2\""));
}

TEST(Modes, TooFewIterationsEndWithOne) {
  const TempFolder folder;
  const std::string matrices = makeModel(folder, "thinplate:6");

  const ProgramRun run = runProgram("modes " + matrices + "--count 6 --subspace 6 --max-iterations 1 --json");

  EXPECT_EQ(run.exitCode, 1) << run.out;
  EXPECT_EQ(run.json()["ok"], false);
  EXPECT_THAT(run.json()["trouble"].get<std::string>(), HasSubstr("modes converged"));
}

TEST(Modes, BadInputEndsWithTwo) {
  const TempFolder folder;
  const std::string matrices = makeModel(folder, "cantilever:2");
  folder.Write("other.mtx", "%%MatrixMarket matrix coordinate real symmetric\n1 1 1\n1 1 1\n");
  const std::string stiffness = "'" + folder.Path("K.mtx") + "' ";

  EXPECT_EQ(runProgram("modes " + stiffness).exitCode, 2);
  EXPECT_EQ(runProgram("modes " + stiffness + "'" + folder.Path("other.mtx") + "'").exitCode, 2);
  EXPECT_EQ(runProgram("modes " + matrices + "--count 13").exitCode, 2);
  EXPECT_EQ(runProgram("modes " + matrices + "--count 0").exitCode, 2);
  EXPECT_EQ(runProgram("modes " + matrices + "--count 4 --subspace 3").exitCode, 2);
  EXPECT_EQ(runProgram("modes " + matrices + "--shift nan").exitCode, 2);
  EXPECT_EQ(runProgram("modes " + matrices + "--count 2 --vtu '" + folder.Path("other.mtx") + "'").exitCode,
            2);
}

// With a shift and without the count nothing else would ask for the engine before the eigensolver does.
TEST(Modes, EngineThatTheBuildDoesNotHaveEndsWithTwo) {
  if (Vessa::Matrix::Pardiso::HasEngine(Vessa::Matrix::EngineMkl))
    GTEST_SKIP() << "this build has every engine";
  const TempFolder folder;
  const std::string matrices = makeModel(folder, "brick:2");

  const ProgramRun run = runProgram("modes " + matrices + "--count 2 --shift -1 --no-check --engine mkl");

  EXPECT_EQ(run.exitCode, 2);
  EXPECT_THAT(run.err, HasSubstr("--engine mkl: this build does not have it"));
}

TEST(Modes, RealPairsReproduceTheReference) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  const json& matrices = test_support::Reference()["matrices"];
  for (const auto& [name, pair] : test_support::Reference()["pairs"].items()) {
    const json& k = matrices[pair["K"].get<std::string>()];
    const ProgramRun run = runProgram("modes '" + DataPath(k["file"]) + "' '" +
                                      DataPath(matrices[pair["M"].get<std::string>()]["file"]) +
                                      "' --count 8 --tol 1e-12 --json");
    ASSERT_EQ(run.exitCode, 0) << name << run.out << run.err;
    const double tolerance = std::max(1e-12, 4e-16 * k["cond_1"].get<double>());

    for (std::size_t m = 0; m < 8; ++m)
      EXPECT_NEAR(run.json()["modes"][m]["eigenvalue"].get<double>() / pair["eig_low20"][m].get<double>(),
                  1.0, tolerance)
          << name << " mode " << m + 1;
  }
}

TEST(Eig, BothEndsOfASmallMatrixAreExact) {
  const TempFolder folder;  // the second difference of order 5: 2 - 2 cos(k pi / 6)
  folder.Write("A.mtx",
               "%%MatrixMarket matrix coordinate real symmetric\n5 5 9\n1 1 2\n2 1 -1\n2 2 2\n3 2 -1\n3 3 2\n"
               "4 3 -1\n4 4 2\n5 4 -1\n5 5 2\n");

  const ProgramRun low = runProgram("eig '" + folder.Path("A.mtx") + "' --count 2 --json");
  const ProgramRun high = runProgram("eig '" + folder.Path("A.mtx") + "' --count 2 --highest --json");
  const ProgramRun near = runProgram("eig '" + folder.Path("A.mtx") + "' --count 1 --shift 2.1 --json");

  ASSERT_EQ(low.exitCode, 0) << low.out;
  ASSERT_EQ(high.exitCode, 0) << high.out;
  ASSERT_EQ(near.exitCode, 0) << near.out;
  EXPECT_NEAR(low.json()["pairs"][1]["eigenvalue"].get<double>(), 1.0, 1e-12);
  EXPECT_NEAR(high.json()["pairs"][0]["eigenvalue"].get<double>(), 2.0 + std::sqrt(3.0), 1e-12);
  EXPECT_NEAR(near.json()["pairs"][0]["eigenvalue"].get<double>(), 2.0, 1e-12);
  EXPECT_EQ(runProgram("eig '" + folder.Path("A.mtx") + "' --lowest --highest").exitCode, 2);
  EXPECT_EQ(runProgram("eig '" + folder.Path("A.mtx") + "' --count 6").exitCode, 2);
}

TEST(Eig, RealMatricesReproduceTheReferenceAtBothEnds) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  for (const char* name : {"bcsstk01", "lund_a", "gr_30_30", "nasa1824", "dwt_209"}) {
    const json& matrix = test_support::Reference()["matrices"][name];
    const std::string file = "'" + DataPath(matrix["file"]) + "' --pattern laplacian+1 --count 3 --json ";
    const double norm = matrix["one_norm"];

    const ProgramRun low = runProgram("eig " + file),
                     high = runProgram("eig " + file + "--highest --max-iterations 5000");

    ASSERT_EQ(low.exitCode, 0) << name << low.out;
    ASSERT_EQ(high.exitCode, 0) << name << high.out;
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(low.json()["pairs"][k]["eigenvalue"].get<double>(), matrix["eig_low10"][k].get<double>(),
                  4e-15 * norm);
      EXPECT_NEAR(high.json()["pairs"][k]["eigenvalue"].get<double>(),
                  matrix["eig_high5"][4 - k].get<double>(), 4e-15 * norm);
    }
  }
}

TEST(Cond, RealMatricesAreWithinAFactorThreeOfTheReference) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  for (const char* name :
       {"bcsstk01", "bcsstk05", "bcsstk14", "lund_a", "1138_bus", "gr_30_30", "nasa1824"}) {
    const json& matrix = test_support::Reference()["matrices"][name];
    const double exact = matrix["cond_1"];

    const ProgramRun run = runProgram("cond '" + DataPath(matrix["file"]) + "' --json");

    ASSERT_EQ(run.exitCode, 0) << name << run.out << run.err;
    EXPECT_LE(run.json()["condition"].get<double>(), exact * (1 + 1e-6)) << name;
    EXPECT_GE(run.json()["condition"].get<double>(), exact / 3) << name;
  }
}

TEST(Cond, SingularMatrixEndsWithOne) {
  const TempFolder folder;
  folder.Write("K.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 1\n2 1 -1\n2 2 1\n");
  folder.Write("E.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 1\n1 1 1\n");

  EXPECT_EQ(runProgram("cond '" + folder.Path("K.mtx") + "'").exitCode, 1);
  EXPECT_THAT(runProgram("cond '" + folder.Path("E.mtx") + "'").err, HasSubstr("dofs 2"));
}

}  // namespace
