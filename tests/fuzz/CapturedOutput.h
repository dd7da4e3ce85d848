#pragma once
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

#include "Choices.h"

#if defined(__SANITIZE_ADDRESS__)
#define VEMATRIX_HAS_SANITIZER
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VEMATRIX_HAS_SANITIZER
#endif
#endif
#if defined(VEMATRIX_HAS_SANITIZER)
#include <sanitizer/common_interface_defs.h>
#endif

namespace fuzz {

/// Standard output and standard error of what runs between begin() and end(), in memory. Reports of a
/// sanitizer go to the real standard error all the same.
class CapturedOutput {
public:
  CapturedOutput()
      : m_saved{::dup(1), ::dup(2)}, m_memory{::memfd_create("out", 0), ::memfd_create("err", 0)} {
    if (m_memory[0] < 0 || m_memory[1] < 0) contradiction("no memory for the output");
#if defined(VEMATRIX_HAS_SANITIZER)
    __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<long>(m_saved[1])));
#endif
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  void begin() {
    flush();
    for (int k = 0; k < 2; ++k) {
      if (::ftruncate(m_memory[k], 0) != 0 || ::lseek(m_memory[k], 0, SEEK_SET) != 0)
        contradiction("no output");
      ::dup2(m_memory[k], k + 1);
    }
  }
  void end(std::string& out, std::string& err) {
    flush();
    for (int k = 0; k < 2; ++k) ::dup2(m_saved[k], k + 1);
    out = contents(m_memory[0]);
    err = contents(m_memory[1]);
  }

private:
  static void flush() {
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
  }
  static std::string contents(int file) {
    std::string text(static_cast<std::size_t>(::lseek(file, 0, SEEK_END)), '\0');
    if (::pread(file, &text[0], text.size(), 0) != static_cast<ssize_t>(text.size()))
      contradiction("no output");
    return text;
  }
  int m_saved[2], m_memory[2];
};

}  // namespace fuzz
