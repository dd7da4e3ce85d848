#pragma once
#include <cstdio>
#include <iostream>
#include <stdexcept>
#include <string>
#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

namespace test_support {

/// Catches everything that is written to standard output while it lives, by printf, std::cout or any other
/// way to the file descriptor. Captures may be nested.
class CaptureStdout {
public:
  CaptureStdout() : m_file(std::tmpfile()), m_saved(-1) {
    if (m_file == nullptr) throw std::runtime_error("CaptureStdout: no temporary file");
    Flush();
    m_saved = Duplicate(1);
    Redirect(Descriptor(m_file), 1);
  }
  CaptureStdout(const CaptureStdout&) = delete;
  CaptureStdout& operator=(const CaptureStdout&) = delete;
  ~CaptureStdout() {
    Stop();
    std::fclose(m_file);
  }

  /// Ends the capture and returns what was written since it began.
  std::string Stop() {
    if (m_saved >= 0) {
      Flush();
      Redirect(m_saved, 1);
      CloseDescriptor(m_saved);
      m_saved = -1;
      std::rewind(m_file);
      char block[4096];
      for (std::size_t got; (got = std::fread(block, 1, sizeof block, m_file)) > 0;)
        m_text.append(block, got);
    }
    return m_text;
  }

private:
  static void Flush() {
    std::cout.flush();
    std::fflush(stdout);
  }
#if defined(_WIN32)
  static int Descriptor(std::FILE* f) {
    return _fileno(f);
  }
  static int Duplicate(int d) {
    return _dup(d);
  }
  static void Redirect(int from, int to) {
    _dup2(from, to);
  }
  static void CloseDescriptor(int d) {
    _close(d);
  }
#else
  static int Descriptor(std::FILE* f) {
    return fileno(f);
  }
  static int Duplicate(int d) {
    return dup(d);
  }
  static void Redirect(int from, int to) {
    if (dup2(from, to) < 0) throw std::runtime_error("CaptureStdout: cannot redirect");
  }
  static void CloseDescriptor(int d) {
    close(d);
  }
#endif

  std::FILE* m_file;
  int m_saved;
  std::string m_text;
};

/// What the call of `action` writes to standard output.
template <class Action>
std::string StdoutOf(Action action) {
  CaptureStdout capture;
  action();
  return capture.Stop();
}

}  // namespace test_support
