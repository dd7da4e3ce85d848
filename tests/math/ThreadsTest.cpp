#include <gtest/gtest.h>

#include <thread>

#include "math/threads.h"

namespace {

using namespace Vessa::Matrix::math;

class Threads : public ::testing::Test {
protected:
  Threads() : m_before(GetMaxThreads()) {}
  ~Threads() override { SetNumThreads(m_before); }

private:
  int m_before;
};

TEST_F(Threads, MaximumIsThePresentSetting) {
  SetNumThreads(2);
  EXPECT_EQ(GetMaxThreads(), 2);

  SetNumThreads(1);
  EXPECT_EQ(GetMaxThreads(), 1);
}

TEST_F(Threads, NumbersBelowOneChangeNothing) {
  SetNumThreads(2);

  SetNumThreads(0);
  SetNumThreads(-5);

  EXPECT_EQ(GetMaxThreads(), 2);
}

TEST_F(Threads, DynamicIsRemembered) {
  SetDynamic(false);
  EXPECT_FALSE(IsDynamic());

  SetDynamic(true);
  EXPECT_TRUE(IsDynamic());
}

TEST_F(Threads, LocalSettingHoldsForItsScopeAndItsThreadOnly) {
  SetNumThreads(2);
  {
    const LocalThreads local(1);
    int elsewhere = 0;
    std::thread([&elsewhere] { elsewhere = GetMaxThreads(); }).join();

    EXPECT_EQ(GetMaxThreads(), 1);
    EXPECT_EQ(elsewhere, 2);
  }
  EXPECT_EQ(GetMaxThreads(), 2);
}

TEST_F(Threads, LocalSettingOfZeroChangesNothing) {
  SetNumThreads(2);

  const LocalThreads none(0);

  EXPECT_EQ(GetMaxThreads(), 2);
}

}  // namespace
