// The program in a real memory control group, whose limit ends a process without a word when it is met: every
// run must end with a trusted result, or with exit code 1 or 2 and words. VEMATRIX_CONTROL_GROUP_ALL tries
// more limits.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "RunProgram.h"
#include "support/Sanitizers.h"
#include "support/TempFolder.h"

namespace {

/// A memory control group of this test, version 1 or 2; a folder of the kernel's, gone with the object.
class ControlGroup {
public:
  ControlGroup() {
    const std::string name = "/vematrix-test-" + std::to_string(getpid());
    for (const std::string mount : {"/sys/fs/cgroup/memory", "/sys/fs/cgroup"}) {
      m_folder = mount + name;
      if (mkdir(m_folder.c_str(), 0755) != 0) continue;
      for (const char* file : {"/memory.limit_in_bytes", "/memory.max"}) {
        m_limit = m_folder + file;
        if (setLimit(1000)) return;
      }
      rmdir(m_folder.c_str());
    }
    m_folder.clear();
  }
  ~ControlGroup() {
    if (exists()) rmdir(m_folder.c_str());
  }
  ControlGroup(const ControlGroup&) = delete;
  ControlGroup& operator=(const ControlGroup&) = delete;

  bool exists() const { return !m_folder.empty(); }
  bool setLimit(int megabytes) const {
    if (access(m_limit.c_str(), W_OK) != 0) return false;
    std::ofstream file(m_limit);
    file << megabytes * 1000000LL << std::flush;
    return file.good();
  }
  /// A shell command that moves the shell into the group, to stand in front of another.
  std::string enter() const { return "echo $$ > " + m_folder + "/cgroup.procs && "; }

private:
  std::string m_folder, m_limit;
};

/// MB, from plenty to hardly more than the text of the matrix.
std::vector<int> limits() {
  if (std::getenv("VEMATRIX_CONTROL_GROUP_ALL"))
    return {800, 500, 400, 300, 250, 200, 170, 150, 130, 110, 100, 90, 80, 70, 60, 50, 40};
  return {500, 250, 150, 90, 60};
}

class InAControlGroup : public ::testing::TestWithParam<const char*> {};

TEST_P(InAControlGroup, EndsWithATrustedResultOrAMessage) {
  if (test_support::underSanitizer()) GTEST_SKIP() << "a sanitizer takes more than any limit allows";
  const ControlGroup group;
  if (!group.exists())
    GTEST_SKIP() << "no memory control group can be made here (that takes root and /sys/fs/cgroup)";
  const test_support::TempFolder folder;
  ASSERT_EQ(test_support::runProgram("model brick:20 -o '" + folder.Path() + "'").exitCode, 0);
  int good = 0, refused = 0;
  for (const int megabytes : limits()) {
    SCOPED_TRACE(std::to_string(megabytes) + " MB");
    ASSERT_TRUE(group.setLimit(megabytes));
    const test_support::ProgramRun run =
        test_support::runProgram(GetParam(), "cd '" + folder.Path() + "' && " + group.enter());
    ASSERT_TRUE(run.exitCode >= 0 && run.exitCode <= 2) << "exit " << run.exitCode << "\n"
                                                        << run.out << run.err;
    ++(run.exitCode == 0 ? good : refused);
    if (run.exitCode != 0) {
      EXPECT_NE((run.out + run.err).find(" MB more"), std::string::npos) << run.err;
    }
  }
  std::printf("%s: %d limits solved, %d refused\n", GetParam(), good, refused);
  EXPECT_GT(good, 0);
  EXPECT_GT(refused, 0);
}

INSTANTIATE_TEST_SUITE_P(Commands, InAControlGroup,
                         ::testing::Values("solve K.mtx --threads 2 --method skyline",
                                           "solve K.mtx --threads 2 --method compcolumn",
                                           "solve K.mtx --threads 2 --method pardiso --engine own",
                                           "solve K.mtx --threads 2 --method pardiso",
                                           "modes K.mtx M.mtx --count 3 --threads 2"),
                         [](const auto& info) { return "Command" + std::to_string(info.index); });

}  // namespace
