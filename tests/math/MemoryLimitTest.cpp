// What is left of a memory control group, read from files as the system shows them.
#include "math/memory_limit.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <limits>
#include <string>

#include "support/TempFolder.h"

namespace {

using namespace Vessa::Matrix::math;

constexpr std::int64_t unlimited = std::numeric_limits<std::int64_t>::max();

class GroupMemory : public ::testing::Test {
protected:
  void Put(const std::string& name, const std::string& text) {
    std::filesystem::create_directories(std::filesystem::path(m_folder.Path(name)).parent_path());
    m_folder.Write(name, text);
  }
  std::int64_t Available() { return AvailableGroupMemory(m_folder.Path(), m_folder.Path("self")); }
  test_support::TempFolder m_folder;
};

TEST_F(GroupMemory, IsUnlimitedWithoutGroupsAndWithoutALimit) {
  EXPECT_EQ(Available(), unlimited);
  Put("self", "0::/job\n");
  Put("job/memory.max", "max\n");
  Put("job/memory.current", "100\n");
  EXPECT_EQ(Available(), unlimited);
}

TEST_F(GroupMemory, OfVersion2CountsFilePagesAsFreeUnlessTheyAreMapped) {
  Put("self", "0::/user/job\n");
  Put("user/job/memory.max", "1000\n");
  Put("user/job/memory.current", "700\n");
  Put("user/job/memory.stat", "anon 400\nfile 300\nfile_mapped 30\ninactive_file 200\nactive_file 50\n");

  EXPECT_EQ(Available(), 1000 - (700 - (250 - 30)));
}

TEST_F(GroupMemory, IsTheNarrowestOfAGroupAndThoseAboveIt) {
  Put("self", "0::/user/job\n");
  Put("user/job/memory.max", "1000\n");
  Put("user/job/memory.current", "100\n");
  Put("user/memory.max", "1500\n");
  Put("user/memory.current", "1400\n");

  EXPECT_EQ(Available(), 100);
}

TEST_F(GroupMemory, OfAContainerStandsAtTheMountPoint) {
  Put("self", "0::/machine/of/another/view\n");
  Put("memory.max", "5000\n");
  Put("memory.current", "2000\n");

  EXPECT_EQ(Available(), 3000);
}

TEST_F(GroupMemory, OfVersion1IsFoundUnderItsController) {
  Put("self", "5:cpu,cpuacct:/job\n4:hugetlb,memory:/job\n0::/\n");
  Put("memory/job/memory.limit_in_bytes", "900\n");
  Put("memory/job/memory.usage_in_bytes", "800\n");
  Put("memory/job/memory.stat",
      "cache 10\ntotal_mapped_file 50\ntotal_inactive_file 300\ntotal_active_file 0\n");
  Put("cpu/job/memory.limit_in_bytes", "1\n");

  EXPECT_EQ(Available(), 350);
}

TEST_F(GroupMemory, IsNeverNegative) {
  Put("self", "0::/\n");
  Put("memory.max", "100\n");
  Put("memory.current", "200\n");

  EXPECT_EQ(Available(), 0);
}

TEST(MemoryLimit, OfThisProcessIsPositiveAndARequestBeyondItNamesBothFigures) {
  const std::int64_t available = AvailableMemory();
  EXPECT_GT(available, 0);
  EXPECT_LE(available, AvailableAddressSpace());
  EXPECT_NO_THROW(RequireMemory("a byte", 1));
  EXPECT_NO_THROW(RequireMemory("a moderate array", kAskFirst));
  if (available == unlimited) GTEST_SKIP() << "this system does not tell how much memory there is";
  try {
    RequireMemory("the factor", unlimited);
    FAIL();
  } catch (const std::bad_alloc& error) {
    EXPECT_EQ(std::string(error.what()).rfind("the factor needs 9223372036855 MB, this process may take ", 0),
              0u)
        << error.what();
  }
}

TEST(MemoryLimit, ShortageRoundsToTheWorseSide) {
  EXPECT_EQ(ShortageText("it", 1000001, 1999999), "it needs 2 MB, this process may take 1 MB more");
}

}  // namespace
