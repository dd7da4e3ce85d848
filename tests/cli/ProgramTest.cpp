#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>

#include "RunProgram.h"
#include "models/io/MatrixMarketReader.h"

namespace {

using test_support::ProgramRun;
using test_support::runProgram;
using test_support::TempFolder;
using testing::HasSubstr;
using testing::StartsWith;

const std::string pngStart("\x89PNG\r\n\x1a\n", 8);

int numFiles(const TempFolder& folder) {
  return int(std::distance(std::filesystem::directory_iterator(folder.Path()), {}));
}

TEST(Model, WritesMatricesLoadsAndMeshThatSolve) {
  const TempFolder folder;

  const ProgramRun run = runProgram("model cantilever 4 -o '" + folder.Path("new/folder") + "' --json");

  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.json()["dofs"], 24);
  const auto summary = run.json();
  for (const auto& file : summary["files"])
    EXPECT_TRUE(std::filesystem::exists(file.get<std::string>())) << file;
  EXPECT_EQ(runProgram("solve '" + folder.Path("new/folder/K.mtx") + "' --rhs '" +
                       folder.Path("new/folder/f.mtx") + "'")
                .exitCode,
            0);
}

TEST(Model, ListsAndRefuses) {
  const TempFolder folder;
  folder.Write("file", "");

  EXPECT_GE(runProgram("model --list --json").json()["models"].size(), 10u);
  EXPECT_THAT(runProgram("model --list").out, HasSubstr("brick:n"));
  EXPECT_EQ(runProgram("model").exitCode, 2);
  EXPECT_EQ(runProgram("model castle:3 -o '" + folder.Path() + "'").exitCode, 2);
  EXPECT_EQ(runProgram("model brick:none -o '" + folder.Path() + "'").exitCode, 2);
  EXPECT_EQ(runProgram("model brick:1 -o '" + folder.Path("file") + "'").exitCode, 2);
  EXPECT_EQ(numFiles(folder), 1);
}

TEST(Model, RefusesWhatTheMachineCannotHold) {
  for (const char* name :
       {"brick 100000", "plate:100000:100000", "frame:100000:100000:100000", "slab:100000"}) {
    const ProgramRun run = runProgram(std::string("model ") + name);

    EXPECT_EQ(run.exitCode, 2) << name;
    EXPECT_THAT(run.err, HasSubstr("than this machine can hold")) << name;
  }
  EXPECT_EQ(runProgram("bench bar:100000:100000").exitCode, 2);
}

TEST(Convert, TurnsAnyFormatIntoMatrixMarketAndLeavesNothingOnFailure) {
  const TempFolder folder;
  folder.Write("A.psa",
               "title\n 3 1 1 1\npsa 2 2 3 0\n(3I3)           (3I2)           \n  1  3  4\n 1 2 2\n");

  const ProgramRun run = runProgram("convert '" + folder.Path("A.psa") + "' '" + folder.Path("A.mtx") +
                                    "' --pattern laplacian+1");

  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_THAT(vematrix::models::readMatrixMarket(folder.Path("A.mtx")).value,
              testing::ElementsAre(2.0, -1.0, 2.0));
  EXPECT_EQ(runProgram("convert '" + folder.Path("none") + "' '" + folder.Path("B.mtx") + "'").exitCode, 2);
  EXPECT_EQ(runProgram("convert '" + folder.Path("A.psa") + "' /no/such/folder/B.mtx").exitCode, 2);
  EXPECT_EQ(numFiles(folder), 2);
}

TEST(Info, CountsPredictsAndDraws) {
  const TempFolder folder;  // an arrow that points the wrong way: renumbering shrinks its profile
  folder.Write("A.mtx",
               "%%MatrixMarket matrix coordinate real symmetric\n6 6 9\n1 1 9\n2 2 9\n3 3 9\n4 4 9\n5 5 0\n"
               "6 6 -9\n6 1 1\n4 1 1\n3 1 1\n");

  const ProgramRun run =
      runProgram("info '" + folder.Path("A.mtx") + "' --json --spy '" + folder.Path("spy.png") + "'");

  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_EQ(run.json()["bandwidth"], 5);
  EXPECT_EQ(run.json()["profile"], 1 + 1 + 3 + 4 + 1 + 6);
  EXPECT_LT(run.json()["profile_renumbered"], run.json()["profile"]);
  EXPECT_EQ(run.json()["parts"], 3);
  EXPECT_EQ(run.json()["empty_rows"], nlohmann::json::array({5}));
  EXPECT_EQ(run.json()["negative_diagonals"], nlohmann::json::array({6}));
  EXPECT_THAT(folder.Read("spy.png"), StartsWith(pngStart));
  EXPECT_EQ(runProgram("info '" + folder.Path("none.mtx") + "'").exitCode, 2);
  EXPECT_EQ(runProgram("info '" + folder.Path("A.mtx") + "' --spy /no/such/folder/spy.png").exitCode, 2);
}

TEST(Pictures, AreDrawnOfSolutionsModesAndMechanisms) {
  const TempFolder folder;
  ASSERT_EQ(runProgram("model truss:3:free -o '" + folder.Path() + "'").exitCode, 0);
  const std::string k = "'" + folder.Path("K.mtx") + "' ", m = "'" + folder.Path("M.mtx") + "' ";
  const std::string mesh =
      "--mesh '" + folder.Path("model.vtu") + "' --picture '" + folder.Path("p.png") + "' ";

  EXPECT_EQ(runProgram("doctor " + k + mesh).exitCode, 1);
  EXPECT_THAT(folder.Read("p.png"), StartsWith(pngStart));
  std::filesystem::remove(folder.Path("p.png"));
  EXPECT_EQ(
      runProgram("modes " + k + m + mesh + "--count 8 --history '" + folder.Path("h.png") + "'").exitCode, 0);
  EXPECT_THAT(folder.Read("p.png"), StartsWith(pngStart));
  EXPECT_THAT(folder.Read("h.png"), StartsWith(pngStart));
  EXPECT_EQ(runProgram("modes " + k + m + "--picture x.png").exitCode, 2);
  EXPECT_EQ(runProgram("doctor " + k + "--picture x.png").exitCode, 2);
  EXPECT_EQ(runProgram("solve " + k + "--picture x.png").exitCode, 2);
}

TEST(Bench, TimesEveryMethodAndDrawsBars) {
  const TempFolder folder;

  const ProgramRun run =
      runProgram("bench bar:2:4 --repeat 1 --json --picture '" + folder.Path("b.png") + "'");

  ASSERT_EQ(run.exitCode, 0) << run.err;
  EXPECT_GE(run.json()["methods"].size(), 2u);
  const auto summary = run.json();
  for (const auto& method : summary["methods"]) EXPECT_LT(method["residual"], 1e-12);
  EXPECT_THAT(folder.Read("b.png"), StartsWith(pngStart));
  EXPECT_EQ(runProgram("bench castle:2").exitCode, 2);
  EXPECT_EQ(runProgram("bench /no/such/file.mtx").exitCode, 2);
  EXPECT_EQ(runProgram("bench bar:2:4 --repeat 0").exitCode, 2);
}

TEST(Manual, AndCompletionKnowEveryCommand) {
  const std::string manual = runProgram("manual").out, completion = runProgram("completion").out;
  for (const char* command :
       {"solve", "modes", "eig", "cond", "info", "model", "convert", "doctor", "bench"}) {
    EXPECT_THAT(manual, HasSubstr(std::string(".SS ") + command));
    EXPECT_THAT(completion, HasSubstr(std::string(command) + ") options=\"--"));
    EXPECT_THAT(runProgram(std::string(command) + " --help").out, HasSubstr("Examples:")) << command;
  }
}

TEST(Program, PipesGetNoColourAndNoProgress) {
  const TempFolder folder;
  ASSERT_EQ(runProgram("model cantilever:2 -o '" + folder.Path() + "'").exitCode, 0);

  const ProgramRun run = runProgram("solve '" + folder.Path("K.mtx") + "'");

  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.out.find('\033'), std::string::npos);
  EXPECT_EQ(run.out.find("DEBUG"), std::string::npos);
}

TEST(Program, InterruptionLeavesNoHalfWrittenFile) {
  const TempFolder folder;  // interrupted while the matrices of a larger model are written
  const std::string command = "model brick:16 -o '" + folder.Path() +
                              "' & pid=$!; for i in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 "
                              "16 17 18 19 20 21 22 23 24 25 26 27 28 29 30; do sleep 0.1; ls '" +
                              folder.Path() +
                              "' | grep -q part && break; done; kill -TERM $pid; wait $pid; exit $?; true";

  const ProgramRun run = runProgram(command);

  EXPECT_TRUE(run.exitCode == 128 + SIGTERM || run.exitCode == 0) << run.exitCode << run.err;
  for (const auto& file : std::filesystem::directory_iterator(folder.Path()))
    EXPECT_EQ(file.path().string().find("part"), std::string::npos) << file;
}

}  // namespace
