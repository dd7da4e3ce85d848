#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "RunProgram.h"
#include "support/DataFolder.h"

namespace {

using nlohmann::json;
using test_support::ProgramRun;
using test_support::runProgram;
using test_support::TempFolder;
using testing::HasSubstr;

class Doctor : public testing::Test {
protected:
  json examine(const std::string& model, int expectedCode) {
    EXPECT_EQ(runProgram("model " + model + " -o '" + m_folder.Path() + "'").exitCode, 0);
    const ProgramRun run = runProgram("doctor '" + m_folder.Path("K.mtx") + "' '" + m_folder.Path("M.mtx") +
                                      "' --mesh '" + m_folder.Path("model.vtu") + "' --json");
    EXPECT_EQ(run.exitCode, expectedCode) << run.out << run.err;
    return run.json();
  }
  json examineText(const std::string& text, int expectedCode) {
    m_folder.Write("A.mtx", text);
    const ProgramRun run = runProgram("doctor '" + m_folder.Path("A.mtx") + "' --json");
    EXPECT_EQ(run.exitCode, expectedCode) << run.out << run.err;
    return run.json();
  }
  static std::multiset<std::string> kinds(const json& report) {
    std::multiset<std::string> result;
    for (const json& mechanism : report["mechanisms"]) result.insert(mechanism["kind"].get<std::string>());
    return result;
  }
  TempFolder m_folder;
};

TEST_F(Doctor, SupportedStructureIsHealthy) {
  const json report = examine("frame:1:1:2", 0);

  EXPECT_EQ(report["ok"], true);
  EXPECT_EQ(report["singular"], false);
  EXPECT_GT(report["condition_unit_diagonal"], 1.0);
}

TEST_F(Doctor, FreeBodyHasThreeTranslationsAndThreeRotationsAndSixRestraintsCureIt) {
  for (const char* model : {"brick:3:free", "frame:1:1:2:free", "slab:2:free"}) {
    const json report = examine(model, 1);

    EXPECT_EQ(kinds(report), (std::multiset<std::string>{"rotation", "rotation", "rotation", "translation",
                                                         "translation", "translation"}))
        << model << report;
    EXPECT_EQ(report["restraints"]["dofs"].size(), 6u) << model;
    EXPECT_EQ(report["restraints"]["proved"], true) << model;
    EXPECT_EQ(report["restraints"]["each_needed"], true) << model;
    EXPECT_THAT(report["mechanisms"][0]["text"].get<std::string>(), HasSubstr("rigid translation of"))
        << model;
    EXPECT_LT(report["null_residual"], 1e-11) << model;
  }
}

TEST_F(Doctor, PartOnAJointHasThreeRotationsAboutTheJoint) {
  const json report = examine("frame:1:1:2:mechanism", 1);

  EXPECT_EQ(kinds(report), (std::multiset<std::string>{"rotation", "rotation", "rotation"})) << report;
  EXPECT_EQ(report["restraints"]["proved"], true);
  for (int axis = 0; axis < 3; ++axis)
    EXPECT_THAT(report["mechanisms"][axis]["text"].get<std::string>(),
                HasSubstr(std::string("axis ") + "xyz"[axis] + " through"));
}

TEST_F(Doctor, LooseDofIsNamedWithItsPlace) {
  const json report = examine("truss:4:loose", 1);

  EXPECT_EQ(report["mechanisms"].size(), 1u);
  EXPECT_EQ(report["matrix"]["empty_rows"], report["restraints"]["dofs"]);
  EXPECT_THAT(report["mechanisms"][0]["text"].get<std::string>(), HasSubstr("of node"));
}

TEST_F(Doctor, PartsThatFloatAreCountedOneByOne) {  // two free springs and a fixed one
  const json report = examineText(
      "%%MatrixMarket matrix coordinate real symmetric\n5 5 7\n1 1 1\n2 1 -1\n2 2 1\n3 3 1\n4 3 -1\n4 4 1\n5 "
      "5 3\n",
      1);

  EXPECT_EQ(report["matrix"]["parts"], 3);
  EXPECT_EQ(report["mechanisms"].size(), 2u);
  EXPECT_EQ(report["restraints"]["dofs"].size(), 2u);
  EXPECT_EQ(report["restraints"]["proved"], true);
}

TEST_F(Doctor, WrongSignsAreNotMistakenForMechanisms) {
  const json report =
      examineText("%%MatrixMarket matrix coordinate real symmetric\n2 2 2\n1 1 1\n2 2 -1\n", 1);

  EXPECT_EQ(report["singular"], false);
  EXPECT_EQ(report["negative_eigenvalues"], 1);
  EXPECT_EQ(report["matrix"]["negative_diagonals"], json::array({2}));
}

TEST_F(Doctor, ZeroMatrixIsAllMechanism) {
  const json report = examineText("%%MatrixMarket matrix coordinate real symmetric\n3 3 0\n", 1);

  EXPECT_EQ(report["mechanisms"].size(), 3u) << report;
  EXPECT_EQ(report["restraints"]["dofs"], json::array({1, 2, 3}));
}

TEST_F(Doctor, BadUnitsAreToldFromBadPhysics) {
  const json report = examineText(
      "%%MatrixMarket matrix coordinate real symmetric\n3 3 4\n1 1 2e9\n2 2 3e-9\n3 3 2e-9\n3 2 -1e-9\n", 0);

  EXPECT_GT(report["condition"], 1e17);
  EXPECT_LT(report["condition_unit_diagonal"], 10.0);
}

TEST_F(Doctor, WritesTheMotionsOnTheMesh) {
  examine("brick:2:free", 1);

  const ProgramRun run =
      runProgram("doctor '" + m_folder.Path("K.mtx") + "' --mesh '" + m_folder.Path("model.vtu") +
                 "' --vtu-output '" + m_folder.Path("sick.vtu") + "'");

  EXPECT_EQ(run.exitCode, 1);
  EXPECT_THAT(run.out, HasSubstr("6 independent motions without stiffness"));
  EXPECT_THAT(m_folder.Read("sick.vtu"), HasSubstr("Name=\"mechanism 6\""));
}

TEST_F(Doctor, BadInputEndsWithTwo) {
  examine("cantilever:2", 0);
  m_folder.Write("one.mtx", "%%MatrixMarket matrix coordinate real symmetric\n1 1 1\n1 1 1\n");
  const std::string k = "doctor '" + m_folder.Path("K.mtx") + "' ";

  EXPECT_EQ(runProgram("doctor '" + m_folder.Path("none.mtx") + "'").exitCode, 2);
  EXPECT_EQ(runProgram(k + "'" + m_folder.Path("one.mtx") + "'").exitCode, 2);
  EXPECT_EQ(runProgram(k + "--mesh '" + m_folder.Path("one.mtx") + "'").exitCode, 2);
  EXPECT_EQ(
      runProgram("doctor '" + m_folder.Path("one.mtx") + "' --mesh '" + m_folder.Path("model.vtu") + "'")
          .exitCode,
      2);
  EXPECT_EQ(runProgram(k + "--vtu-output x.vtu").exitCode, 2);
}

}  // namespace
