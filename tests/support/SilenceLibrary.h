#pragma once
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

namespace test_support {

/// Sends standard output to nowhere while it lives: for tests that call the library, which writes trace
/// lines, many thousand times. Failures meanwhile are written to standard error as well, so that they are not
/// lost.
class SilenceLibrary {
public:
  SilenceLibrary() {
    static const bool once = [] {
      ::testing::UnitTest::GetInstance()->listeners().Append(new FailuresToStderr);
      return true;
    }();
    (void)once;
    Flush();
    m_saved = ::dup(1);
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, 1);
    ::close(nowhere);
  }
  SilenceLibrary(const SilenceLibrary&) = delete;
  SilenceLibrary& operator=(const SilenceLibrary&) = delete;
  ~SilenceLibrary() {
    Flush();
    ::dup2(m_saved, 1);
    ::close(m_saved);
  }

private:
  struct FailuresToStderr : ::testing::EmptyTestEventListener {
    void OnTestPartResult(const ::testing::TestPartResult& result) override {
      if (result.passed()) return;
      std::fprintf(stderr, "%s:%d: %s\n", result.file_name() == nullptr ? "" : result.file_name(),
                   result.line_number(), result.summary());
    }
  };
  static void Flush() {
    std::cout.flush();
    std::fflush(stdout);
  }
  int m_saved = -1;
};

}  // namespace test_support
