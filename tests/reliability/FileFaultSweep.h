#pragma once
#include <exception>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

#include "FailingFiles.h"
#include "support/TempFolder.h"

namespace reliability {

enum class Ending { Done, Refused, Threw };

struct Counts {
  long faults = 0, exceptions = 0, codes = 0, done = 0;
};

/// One try of a step on files of a folder of its own, with a fault armed.
class Attempt {
public:
  Attempt(failing_files::Fault fault, long n, Counts& counts) : m_fault(fault), m_n(n), m_counts(counts) {}

  /// Runs the step, which returns whether it succeeded, with the fault armed while it runs.
  Ending Run(const std::function<bool()>& step) {
    Ending ending = Ending::Threw;
    failing_files::Arm(m_fault, m_n, m_folder.Path());
    try {
      ending = step() ? Ending::Done : Ending::Refused;
    } catch (const std::exception& error) {
      m_message = error.what();
    }
    failing_files::Disarm();
    m_delivered = failing_files::Delivered();
    m_where = failing_files::Where();
    if (m_delivered) Count(ending);
    EXPECT_TRUE(m_delivered || ending == Ending::Done) << "without a fault: " << m_message;
    return ending;
  }

  bool Delivered() const { return m_delivered; }
  /// The system call that met the fault.
  const std::string& Where() const { return m_where; }
  const std::string& Message() const { return m_message; }
  const test_support::TempFolder& Folder() const { return m_folder; }
  std::string Path(const std::string& name) const { return m_folder.Path(name); }

  long FilesInFolder() const {
    long count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.Path()))
      count += entry.path().empty() ? 0 : 1;
    return count;
  }

private:
  void Count(Ending ending) {
    ++m_counts.faults;
    ++(ending == Ending::Threw     ? m_counts.exceptions
       : ending == Ending::Refused ? m_counts.codes
                                   : m_counts.done);
  }

  test_support::TempFolder m_folder;
  failing_files::Fault m_fault;
  long m_n;
  Counts& m_counts;
  bool m_delivered = false;
  std::string m_where, m_message;
};

/// The descriptors that this process holds open.
inline long OpenDescriptors() {
  long count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
    count += entry.path().empty() ? 0 : 1;
  return count;
}

inline const char* NameOf(failing_files::Fault fault) {
  switch (fault) {
    case failing_files::Fault::Error:
      return "error";
    case failing_files::Fault::Short:
      return "one byte";
    case failing_files::Fault::Interrupted:
      return "interrupted";
    case failing_files::Fault::Shrunk:
      return "file cut";
    case failing_files::Fault::Full:
      return "disk full";
  }
  return "";
}

/// Calls `scenario` with the fault at the first, second, ... place until it gets through without meeting it.
/// A scenario makes its own objects, calls Run once, and judges what is left. Bytes until the disk is full
/// are taken in steps.
inline void SweepOne(failing_files::Fault fault, long step, Counts& counts,
                     const std::function<void(Attempt&)>& scenario) {
  const bool bytes = fault == failing_files::Fault::Full;
  bool delivered = true;
  for (long n = bytes ? 0 : 1; delivered; n += bytes ? step : 1) {
    ASSERT_LT(n, 1000000) << "no end";
    SCOPED_TRACE(std::string(NameOf(fault)) + ", place " + std::to_string(n));
    const long before = OpenDescriptors();
    {
      Attempt attempt(fault, n, counts);
      scenario(attempt);
      delivered = attempt.Delivered();
      ASSERT_FALSE(::testing::Test::HasFailure())
          << "fault met in " << attempt.Where() << ": " << attempt.Message();
    }
    ASSERT_EQ(OpenDescriptors(), before) << "descriptors left open";
  }
}

/// All kinds of faults that a step can meet, and one printed line of what became of them.
inline void Sweep(const std::string& what, std::initializer_list<failing_files::Fault> faults, long step,
                  const std::function<void(Attempt&)>& scenario) {
  Counts counts;
  for (const failing_files::Fault fault : faults) {
    SweepOne(fault, step, counts, scenario);
    if (::testing::Test::HasFatalFailure()) return;
  }
  std::cerr << what << ": " << counts.faults << " faults: " << counts.exceptions << " exceptions, "
            << counts.codes << " codes, " << counts.done << " done all the same, 0 wrong\n";
  EXPECT_GT(counts.faults, 0);
}

inline constexpr auto Writing = {failing_files::Fault::Error, failing_files::Fault::Short,
                                 failing_files::Fault::Interrupted, failing_files::Fault::Full};
inline constexpr auto Reading = {failing_files::Fault::Error, failing_files::Fault::Short,
                                 failing_files::Fault::Interrupted, failing_files::Fault::Shrunk};

}  // namespace reliability
