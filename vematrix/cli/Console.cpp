#include "Console.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <unistd.h>

#include "Errors.h"
#include "models/io/FileError.h"

namespace vematrix {
namespace cli {
namespace {

int openTrace(const std::string& traceFile) {
  const char* path = traceFile.empty() ? "/dev/null" : traceFile.c_str();
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (descriptor < 0)
    throw UsageError(traceFile + ": cannot be opened for the trace: " + std::strerror(errno));
  return descriptor;
}

/// Whether everything up to now got there.
bool flushStandardOutput() {
  std::cout.flush();
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
}

bool isWritable(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

}  // namespace

void occupyClosedDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) >= 0) continue;
    // The lowest free number is the one that is missing; opened the wrong way round, it serves nobody.
    if (open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) return;
  }
}

Console::Console(const std::string& traceFile, bool json)
    : m_traceFile(traceFile),
      m_out(nullptr),
      m_json(json),
      m_colour(false),
      m_progress(false),
      m_progressShown(false) {
  flushStandardOutput();
  if (!isWritable(STDOUT_FILENO)) throw NoResult("standard output cannot be written: it is closed");
  const int trace = openTrace(traceFile);
  const int saved = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
  m_out = saved < 0 ? nullptr : fdopen(saved, "w");
  if (m_out == nullptr) {
    close(trace);
    throw NoResult(std::string("standard output cannot be used: ") + std::strerror(errno));
  }
  m_colour = isatty(saved) != 0 && std::getenv("NO_COLOR") == nullptr;
  m_progress = isatty(STDERR_FILENO) != 0 && !json;
  dup2(trace, STDOUT_FILENO);
  close(trace);
}

Console::~Console() {
  endProgress();
  flushStandardOutput();
  std::fflush(m_out);
  dup2(fileno(m_out), STDOUT_FILENO);
  std::fclose(m_out);
}

void Console::write(const std::string& text) {
  endProgress();
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), m_out) != text.size() && m_error == 0) m_error = errno;
}

std::string Console::coloured(const char* code, const std::string& text) const {
  return m_colour ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
}

void Console::progress(const std::string& text) {
  if (!m_progress) return;
  std::fprintf(stderr, "\r\033[K%s", text.c_str());
  std::fflush(stderr);
  m_progressShown = true;
}

void Console::endProgress() {
  if (!m_progressShown) return;
  std::fprintf(stderr, "\r\033[K");
  std::fflush(stderr);
  m_progressShown = false;
}

void Console::finishTrace() {
  if (flushStandardOutput() || m_traceFile.empty()) return;
  throw models::FileError(m_traceFile, "the trace cannot be written to its end");
}

void Console::finish() {
  errno = 0;
  if (std::fflush(m_out) == 0 && std::ferror(m_out) == 0) return;
  throw NoResult(std::string("standard output cannot be written: ") +
                 std::strerror(m_error != 0 ? m_error : errno));
}

}  // namespace cli
}  // namespace vematrix
