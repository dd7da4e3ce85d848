#include <gtest/gtest.h>

#include <string>

#include "SolnFixture.h"
#include "math/threads.h"
#include "solution/CSolnMatrix.h"

namespace {

using namespace Vessa::Matrix;
using namespace test_support;

TEST(SolnTrace, FinalizeWritesItsMarkersForEveryMethod) {
  for (const int method : {0, 1, 3, 4, 6}) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    k.SetNumDof(2);

    const std::string text = StdoutOf([&] { k.Finalize(); });

    EXPECT_EQ(
        text,
        "DEBUG - -->Vessa::Matrix::CSolnMatrix::Finalize\nDEBUG - <--Vessa::Matrix::CSolnMatrix::Finalize\n")
        << "method " << method;
  }
}

class SolnThreads : public ::testing::Test {
protected:
  SolnThreads() : m_count(math::GetMaxThreads()), m_dynamic(math::IsDynamic()) {}
  ~SolnThreads() override {
    math::SetNumThreads(m_count);
    math::SetDynamic(m_dynamic);
  }
  static void FinalizeWith(unsigned int threads, int method = 6) {
    CSolnMatrix k;
    k.SetMethod(static_cast<SolMethod>(method));
    k.SetPardisoNumThreads(threads);
    k.SetNumDof(2);
    Quietly([&] { return k.Finalize(); });
  }

private:
  int m_count;
  bool m_dynamic;
};

TEST_F(SolnThreads, NumberWithinThePresentSettingIsTakenForTheProcess) {
  math::SetNumThreads(2);
  math::SetDynamic(false);

  FinalizeWith(1);

  EXPECT_EQ(math::GetMaxThreads(), 1);
  EXPECT_FALSE(math::IsDynamic());
}

TEST_F(SolnThreads, ZeroOrMoreThanThePresentSettingLeavesItToTheLibrary) {
  for (const unsigned int wanted : {0u, 3u, 1000u, 0xFFFFFFFFu}) {
    math::SetNumThreads(2);
    math::SetDynamic(false);

    FinalizeWith(wanted);

    EXPECT_EQ(math::GetMaxThreads(), 2) << wanted;
    EXPECT_TRUE(math::IsDynamic()) << wanted;
  }
}

TEST_F(SolnThreads, PresentSettingAndNotTheProcessorIsTheMaximum) {
  math::SetNumThreads(1);
  math::SetDynamic(false);

  FinalizeWith(2);

  EXPECT_EQ(math::GetMaxThreads(), 1);
  EXPECT_TRUE(math::IsDynamic());
}

TEST_F(SolnThreads, OtherMethodsLeaveTheThreadsAlone) {
  math::SetNumThreads(2);
  math::SetDynamic(false);

  FinalizeWith(1, 0);
  FinalizeWith(1, 4);

  EXPECT_EQ(math::GetMaxThreads(), 2);
  EXPECT_FALSE(math::IsDynamic());
}

}  // namespace
