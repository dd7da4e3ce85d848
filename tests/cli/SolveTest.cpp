#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "RunProgram.h"
#include "models/io/MatrixMarketReader.h"
#include "support/DataFolder.h"

namespace {

using test_support::ProgramRun;
using test_support::runProgram;
using testing::HasSubstr;

const char* const methods[] = {"skyline", "pardiso", "compcolumn"};

const std::string chain =
    "%%MatrixMarket matrix coordinate real symmetric\n3 3 5\n1 1 2\n2 1 -1\n2 2 2\n3 2 -1\n3 3 1\n";
const std::string looseChain =
    "%%MatrixMarket matrix coordinate real symmetric\n4 4 5\n1 1 2\n2 1 -1\n2 2 2\n"
    "4 2 -1\n4 4 1\n";
const std::string freeChain =
    "%%MatrixMarket matrix coordinate real symmetric\n3 3 5\n1 1 1\n2 1 -1\n2 2 2\n3 2 -1\n3 3 1\n";

class SolveWith : public testing::TestWithParam<const char*> {
protected:
  ProgramRun solve(const std::string& arguments) const {
    return runProgram("solve '" + m_folder.Path("K.mtx") + "' --json --method " + GetParam() + " " +
                      arguments);
  }
  test_support::TempFolder m_folder;
};

TEST_P(SolveWith, SpringChainHasItsKnownDisplacements) {
  m_folder.Write("K.mtx", chain);

  const ProgramRun run = solve("--load ones -o '" + m_folder.Path("x.mtx") + "'");

  EXPECT_EQ(run.exitCode, 0);
  ASSERT_TRUE(run.json().is_object()) << run.out;
  EXPECT_EQ(run.json()["ok"], true);
  EXPECT_LE(run.json()["loads"][0]["residual"], 1e-15);
  EXPECT_EQ(run.json()["loads"][0]["largest"]["dof"], 3);
  EXPECT_NEAR(run.json()["loads"][0]["largest"]["value"].get<double>(), 6.0, 1e-14);
  const auto written = vematrix::models::readDenseColumns(m_folder.Path("x.mtx"));
  EXPECT_THAT(written.value, testing::Pointwise(testing::DoubleNear(1e-14), {3.0, 5.0, 6.0}));
}

TEST_P(SolveWith, PointLoadsMakeOneCaseAndFilesOneCasePerColumn) {
  m_folder.Write("K.mtx", chain);
  m_folder.Write("f.mtx", "%%MatrixMarket matrix array real general\n3 2\n1\n0\n0\n0\n0\n1\n");

  const ProgramRun points = solve("--load 1=2 --load 3=1.5");
  const ProgramRun columns = solve("--rhs '" + m_folder.Path("f.mtx") + "'");

  ASSERT_EQ(points.json()["loads"].size(), 1u);
  EXPECT_NEAR(points.json()["loads"][0]["x_sum"].get<double>(), 2.0 * 3.0 + 1.5 * 6.0, 1e-13);
  ASSERT_EQ(columns.json()["loads"].size(), 2u);
  EXPECT_NEAR(columns.json()["loads"][1]["x_infnorm"].get<double>(), 3.0, 1e-14);
}

TEST_P(SolveWith, DofWithoutStiffnessIsNamedAndNotTrusted) {
  m_folder.Write("K.mtx", looseChain);

  const ProgramRun run = solve("");

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.json()["ok"], false);
  EXPECT_EQ(run.json()["factorisation"]["suppressed_dofs"], nlohmann::json::array({3})) << run.out;
}

TEST_P(SolveWith, FreeStructureIsNotTrusted) {
  m_folder.Write("K.mtx", freeChain);

  const ProgramRun run = solve("");

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_EQ(run.json()["ok"], false);
  EXPECT_NE(
      run.json()["factorisation"]["suppressed_dofs"].size() + run.json()["factorisation"]["soft_dofs"].size(),
      0u)
      << run.out;
}

TEST_P(SolveWith, FreeStructureUnderABalancedLoadIsStillNotTrusted) {
  m_folder.Write("K.mtx", freeChain);

  const ProgramRun run = solve("--load 1=1 --load 3=-1");

  EXPECT_EQ(run.exitCode, 1) << run.out;
}

TEST_P(SolveWith, IndefiniteMatrixIsSolvedAndItsNegativeEigenvalueSaid) {
  m_folder.Write("K.mtx", "%%MatrixMarket matrix coordinate real symmetric\n2 2 3\n1 1 1\n2 1 2\n2 2 1\n");

  const ProgramRun run = solve("--load 1=3");

  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NEAR(run.json()["loads"][0]["x_2norm"].get<double>(), std::sqrt(5.0), 1e-14);
  if (std::string(GetParam()) != "compcolumn") {
    EXPECT_EQ(run.json()["factorisation"]["negative_eigenvalues"], 1);
  }
}

TEST_P(SolveWith, TinyAndHugeUnitsDoNotMatter) {
  m_folder.Write(
      "K.mtx",
      "%%MatrixMarket matrix coordinate real symmetric\n3 3 4\n1 1 2e-60\n2 1 -1e-60\n2 2 2e-60\n3 3 1e90\n");

  const ProgramRun run = solve("--load 1=3e-60 --load 3=1e90");

  EXPECT_EQ(run.exitCode, 0) << run.out;
  EXPECT_NEAR(run.json()["loads"][0]["x_2norm"].get<double>(), std::sqrt(6.0), 1e-13);
}

TEST_P(SolveWith, RealMatricesReproduceTheReferenceSolutions) {
  VEMATRIX_SKIP_WITHOUT_DATA();
  for (const auto& [name, matrix] : test_support::Reference()["matrices"].items()) {
    if (!matrix.value("positive_definite_numerically", false) || !matrix.contains("solve_b_ones")) continue;
    const ProgramRun run = runProgram("solve '" + test_support::DataPath(matrix["file"]) +
                                      "' --pattern laplacian+1 --json --method " + GetParam());
    ASSERT_EQ(run.exitCode, 0) << name << ": " << run.out << run.err;
    const nlohmann::json load = run.json()["loads"][0];
    const double tolerance = std::max(1e-12, 4e-16 * matrix["cond_1"].get<double>());

    for (const char* norm : {"x_2norm", "x_infnorm"})
      EXPECT_NEAR(load[norm].get<double>() / matrix["solve_b_ones"][norm].get<double>(), 1.0, tolerance)
          << name;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryMethod, SolveWith, testing::ValuesIn(methods));

TEST(Solve, BadInputEndsWithTwoAndOneLine) {
  const test_support::TempFolder folder;
  folder.Write("K.mtx", chain);
  folder.Write("cut.mtx", chain.substr(0, 70));
  folder.Write("f.mtx", "%%MatrixMarket matrix array real general\n2 1\n1\n0\n");
  const std::string k = "'" + folder.Path("K.mtx") + "' ";
  const std::string requests[] = {"'" + folder.Path("none.mtx") + "'",
                                  "'" + folder.Path("cut.mtx") + "'",
                                  "'" + folder.Path() + "'",
                                  k + "--rhs '" + folder.Path("f.mtx") + "'",
                                  k + "--rhs '" + folder.Path("none.mtx") + "'",
                                  k + "--load 4=1",
                                  k + "--load 0=1",
                                  k + "--load 1",
                                  k + "--load 1=x",
                                  k + "--load 1=inf",
                                  k + "--load 1.5=1",
                                  k + "--trace /no/such/folder/trace",
                                  k + "-o /no/such/folder/x.mtx"};
  for (const std::string& request : requests) {
    const ProgramRun run = runProgram("solve " + request);

    EXPECT_EQ(run.exitCode, 2) << request << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1) << request << run.err;
    EXPECT_THAT(run.err, HasSubstr("vematrix solve: ")) << request;
  }
  EXPECT_THAT(runProgram("solve '" + folder.Path("cut.mtx") + "'").err, HasSubstr("cut.mtx:5: "));
}

TEST(Solve, WrongOptionsEndWithTwo) {
  for (const char* request : {"", "solve", "nonsense", "solve K.mtx --method gauss", "solve K.mtx --nonsense",
                              "solve K.mtx --threads 0"})
    EXPECT_EQ(runProgram(request).exitCode, 2) << request;
}

TEST(Solve, HelpAndVersionEndWithZero) {
  EXPECT_EQ(runProgram("--help").exitCode, 0);
  EXPECT_THAT(runProgram("solve --help").out, HasSubstr("Examples:"));
  EXPECT_THAT(runProgram("--version").out, HasSubstr("vematrix "));
}

TEST(Solve, ErrorsAreJsonTooWhenAskedFor) {
  const ProgramRun run = runProgram("solve /no/such/file.mtx --json");

  EXPECT_EQ(run.exitCode, 2);
  EXPECT_EQ(run.json()["exit_code"], 2);
  EXPECT_THAT(run.json()["error"].get<std::string>(), HasSubstr("/no/such/file.mtx: cannot be opened"));
}

TEST(Solve, TraceGoesToItsFileAndNothingElseToStandardOutput) {
  const test_support::TempFolder folder;
  folder.Write("K.mtx", chain);

  const ProgramRun run =
      runProgram("solve '" + folder.Path("K.mtx") + "' --json --trace '" + folder.Path("trace") + "'");

  EXPECT_TRUE(run.json().is_object());
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(folder.Read("trace"), HasSubstr("DEBUG - -->Vessa::Matrix::CSolnMatrix::Reduce\n"));
}

TEST(Solve, FullDiskIsReported) {
  if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full on this system";
  const test_support::TempFolder folder;
  folder.Write("K.mtx", chain);

  EXPECT_EQ(test_support::runProgram("solve '" + folder.Path("K.mtx") + "' -o /dev/full").exitCode, 2);
}

}  // namespace
