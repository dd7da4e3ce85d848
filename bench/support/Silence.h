#pragma once
#include <cstdio>
#include <iostream>
#if defined(_WIN32)
#include <io.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

namespace bench {

/// Throws standard output away at the descriptor while it lives, so that the library's trace lines stay out
/// of the benchmark's table.
class Silence {
public:
  Silence() {
    Flush();
#if !defined(_WIN32)
    m_saved = dup(1);
    const int nowhere = open("/dev/null", O_WRONLY);
    if (nowhere >= 0) {
      dup2(nowhere, 1);
      close(nowhere);
    }
#endif
  }
  ~Silence() {
    Flush();
#if !defined(_WIN32)
    if (m_saved >= 0) {
      dup2(m_saved, 1);
      close(m_saved);
    }
#endif
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

private:
  static void Flush() {
    std::cout.flush();
    std::fflush(stdout);
  }
  int m_saved = -1;
};

}  // namespace bench
