#include "models/io/VtuReader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "models/Registry.h"
#include "models/io/FileError.h"
#include "support/TempFolder.h"

namespace {

using namespace vematrix::models;
using testing::HasSubstr;
using testing::Not;

TEST(VtuReader, ReadsBackEveryModelToTheBit) {
  const test_support::TempFolder folder;
  for (const ModelRecipe& recipe : modelCatalogue()) {
    const VtuMesh mesh = toVtuMesh(makeModel(recipe.sample));
    writeVtu(folder.Path("model.vtu"), mesh);

    const VtuMesh back = readVtu(folder.Path("model.vtu"));

    EXPECT_EQ(back.points, mesh.points) << recipe.name;
    EXPECT_EQ(back.connectivity, mesh.connectivity) << recipe.name;
    EXPECT_EQ(back.offsets, mesh.offsets) << recipe.name;
    EXPECT_EQ(back.types, mesh.types) << recipe.name;
    EXPECT_EQ(back.dofs, mesh.dofs) << recipe.name;
  }
}

class DamagedVtu : public testing::Test {
protected:
  void SetUp() override {
    writeVtu(m_folder.Path("model.vtu"), toVtuMesh(makeModel("cantilever:2")));
    m_good = m_folder.Read("model.vtu");
  }
  std::string messageOf(const std::string& text) {
    m_folder.Write("bad.vtu", text);
    try {
      readVtu(m_folder.Path("bad.vtu"));
    } catch (const FileError& error) {
      return error.what();
    }
    return "";
  }
  std::string with(const std::string& what, const std::string& by) {
    std::string text = m_good;
    text.replace(text.find(what), what.size(), by);
    return messageOf(text);
  }
  test_support::TempFolder m_folder;
  std::string m_good;
};

TEST_F(DamagedVtu, IsRefusedInOneLine) {
  EXPECT_EQ(messageOf(m_good), "");
  EXPECT_THAT(messageOf(""), HasSubstr("has no <UnstructuredGrid>"));
  EXPECT_THAT(messageOf("%%MatrixMarket matrix\n"), HasSubstr("expected an unstructured grid"));
  EXPECT_THAT(with("format=\"ascii\"", "format=\"appended\""), HasSubstr("expected \"ascii\""));
  EXPECT_THAT(with("NumberOfPoints=\"3\"", "NumberOfPoints=\"4\""), HasSubstr("for each of 4 points"));
  EXPECT_THAT(with("Name=\"offsets\"", "Name=\"others\""), HasSubstr("no array \"offsets\""));
  EXPECT_THAT(with("0\n1\n1\n2\n", "0\n1\n1\n3\n"), HasSubstr("out of range"));
  EXPECT_THAT(with("2\n4\n", "4\n2\n"), HasSubstr("offsets fall"));
  EXPECT_THAT(with("3\n3\n", "3\n"), HasSubstr("as many types"));
  EXPECT_THAT(with("0 0 0", "0 nan 0"), HasSubstr("found \"nan\""));
}

TEST_F(DamagedVtu, PointsWithoutAnArrayAreRefused) {
  const std::size_t from = m_good.find("<Points>") + 8;
  const std::string text = m_good.substr(0, from) + m_good.substr(m_good.find("</Points>"));

  EXPECT_THAT(messageOf(text), HasSubstr("has no array of points"));
}

TEST_F(DamagedVtu, TextOfTheFileCannotBreakTheMessage) {
  for (const std::string& message :
       {with("format=\"ascii\"", "format=\"as\ncii\""), with("NumberOfPoints=\"3\"", "NumberOfPoints=\"\n\""),
        with("0 0 0", "0 \x01 0")}) {
    EXPECT_NE(message, "");
    EXPECT_THAT(message, Not(testing::ContainsRegex("[[:cntrl:]]")));
  }
}

TEST_F(DamagedVtu, CutAnywhereIsRefusedUpToItsLastTags) {
  for (std::size_t end = 0; end < m_good.find("</Piece>"); end += 7)
    EXPECT_NE(messageOf(m_good.substr(0, end)), "");
}

}  // namespace
