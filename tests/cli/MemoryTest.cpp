// The commands under a limit of their address space, from plenty down to what hardly lets them start: a
// trusted result, or exit code 1 or 2 and words; never a signal.
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "RunProgram.h"
#include "support/Sanitizers.h"
#include "support/TempFolder.h"

namespace {

using test_support::ProgramRun;

class MemoryLimitOf : public ::testing::TestWithParam<const char*> {
protected:
  static void SetUpTestSuite() {
    s_folder = new test_support::TempFolder;
    test_support::runProgram("model brick:9 -o '" + s_folder->Path() + "'");
  }
  static void TearDownTestSuite() { delete s_folder; }

  static ProgramRun run(const std::string& arguments, long kilobytes) {
    const std::string limit = "ulimit -v " + std::to_string(kilobytes) + " && ";
    return test_support::runProgram(arguments, "cd '" + s_folder->Path() + "' && " + limit);
  }
  /// Plenty first, then from what is enough downwards, in short steps where the program only just starts.
  static long nextLimit(long kilobytes) {
    if (kilobytes > 300000) return 300000;
    return kilobytes > 170000 ? kilobytes * 17 / 20 : kilobytes * 97 / 100;
  }
  static test_support::TempFolder* s_folder;
};
test_support::TempFolder* MemoryLimitOf::s_folder = nullptr;

TEST_P(MemoryLimitOf, IsMetWithATrustedResultOrAMessage) {
  if (test_support::underSanitizer()) GTEST_SKIP() << "a sanitizer maps more than any limit allows";
  int good = 0, refused = 0, figures = 0;
  long kilobytes = 800000;
  for (; kilobytes > 10000; kilobytes = nextLimit(kilobytes)) {
    SCOPED_TRACE(std::to_string(kilobytes / 1000) + " MB");
    const ProgramRun run = MemoryLimitOf::run(GetParam(), kilobytes);
    if (run.exitCode == 127) break;  // the system's loader, before the program
    ASSERT_TRUE(run.exitCode >= 0 && run.exitCode <= 2) << "exit " << run.exitCode << "\n" << run.err;
    good += run.exitCode == 0 ? 1 : 0;
    if (run.exitCode == 0) continue;
    ++refused;
    const std::string words = run.out + run.err;
    ASSERT_NE(words.find("memory"), std::string::npos) << words;
    figures += std::regex_search(words, std::regex("needs [0-9]+ MB, this process may take [0-9]+ MB more"));
  }
  std::printf("%s: %d limits solved, %d refused, %d with both figures; the loader gives up at %ld MB\n",
              GetParam(), good, refused, figures, kilobytes / 1000);
  EXPECT_GT(good, 1);
  EXPECT_GT(refused, 0);
}

INSTANTIATE_TEST_SUITE_P(Commands, MemoryLimitOf,
                         ::testing::Values("solve K.mtx --method skyline", "solve K.mtx --method compcolumn",
                                           "solve K.mtx --method pardiso --engine own",
                                           "solve K.mtx --method pardiso",
                                           "modes K.mtx M.mtx --count 3 --threads 1",
                                           "cond K.mtx --method pardiso", "doctor K.mtx", "info K.mtx"),
                         [](const auto& info) { return "Command" + std::to_string(info.index); });

}  // namespace
