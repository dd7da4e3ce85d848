#include <gtest/gtest.h>

#include "ModelChecks.h"
#include "models/Registry.h"
#include "models/structures/Structures.h"

using namespace vematrix::models;

namespace {

std::string complaint(const std::string& name) {
  try {
    makeModel(name);
  } catch (const std::invalid_argument& e) {
    return e.what();
  }
  return "";
}

}  // namespace

TEST(Registry, SizesOfTheBenchmarkModelsAreThoseOfTheirNames) {
  EXPECT_EQ(makeModel("brick:14").numDofs(), 9450);
  EXPECT_EQ(makeModel("bar:4:20").numDofs(), 3 * 5 * 5 * 20);
  EXPECT_EQ(makeModel("frame:10:10:15").numDofs(), 10890);
}

TEST(Registry, BadNamesAreRefusedWithWhatWasExpected) {
  EXPECT_NE(complaint("").find("brick:20"), std::string::npos);
  EXPECT_NE(complaint("castle:3").find("unknown structure 'castle'"), std::string::npos);
  EXPECT_NE(complaint("brick").find("expected brick:n"), std::string::npos);
  EXPECT_NE(complaint("brick:").find("n is ''"), std::string::npos);
  EXPECT_NE(complaint("brick:0").find("'0'"), std::string::npos);
  EXPECT_NE(complaint("brick:2x").find("'2x'"), std::string::npos);
  EXPECT_NE(complaint("brick:99999999999999999999").find("whole number"), std::string::npos);
  EXPECT_NE(complaint("brick:2:3").find("expected brick:n"), std::string::npos);
}

class EveryModel : public ::testing::TestWithParam<std::string> {};

TEST_P(EveryModel, SampleIsPositiveDefiniteAndLoaded) {
  const Model model = makeModel(GetParam());
  const Eigen::MatrixXd K = dense(model.stiffnessTerms());

  EXPECT_EQ(nullSpace(K).modes, 0);
  EXPECT_EQ(Eigen::LLT<Eigen::MatrixXd>(K).info(), Eigen::Success);
  EXPECT_GT(model.loads(0).norm(), 0.0);
}

TEST_P(EveryModel, FreeVariantIsSingularByItsRigidBodyMotions) {
  const Model model = makeModel(GetParam() + ":free");
  const Eigen::MatrixXd K = dense(model.stiffnessTerms());
  Eigen::MatrixXd rigid(model.numDofs(), 6);
  for (int mode = 0; mode < 6; ++mode) rigid.col(mode) = model.rigidBodyMotion(mode);
  Eigen::ColPivHouseholderQR<Eigen::MatrixXd> qr(rigid);
  qr.setThreshold(1e-10);

  EXPECT_EQ(nullSpace(K).modes, qr.rank());
}

TEST_P(EveryModel, LooseVariantHasOneZeroRow) {
  Model model = makeModel(GetParam());
  const int loose = addLooseDof(model);
  const Eigen::MatrixXd K = dense(model.stiffnessTerms());

  EXPECT_EQ(K.row(loose - 1).norm(), 0.0);
  EXPECT_EQ(nullSpace(K).modes, 1);
}

TEST_P(EveryModel, MechanismVariantIsSingular) {
  const Model model = makeModel(GetParam() + ":mechanism");
  const NullSpace null = nullSpace(dense(model.stiffnessTerms()));
  const int modes = null.modes;
  const auto& components = model.typeOf(0).components();
  const bool inSpace = components.size() == 6 || components == std::vector<Component>{Ux, Uy, Uz};
  const bool membrane = components == std::vector<Component>{Ux, Uy};

  EXPECT_EQ(modes, inSpace    ? 3
                   : membrane ? 1
                              : 2)
      << null.largestZero << " zero, " << null.smallestTrue << " true";
}

INSTANTIATE_TEST_SUITE_P(Catalogue, EveryModel, ::testing::ValuesIn([] {
                           std::vector<std::string> samples;
                           for (const auto& recipe : modelCatalogue()) samples.push_back(recipe.sample);
                           return samples;
                         }()));
