#pragma once
#include <fstream>
#include <string>

namespace test_support {

/// A line of /proc/self/status in bytes, such as "VmRSS" (what is resident) or "VmHWM" (its peak since the
/// last reset); 0 where there is none.
inline double StatusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;)
    if (word == key + ":") {
      double kibibytes = 0.0;
      status >> kibibytes;
      return kibibytes * 1024.0;
    }
  return 0.0;
}

/// Lets the peak begin at what is resident now; false where the system does not allow it.
inline bool ResetPeak() {
  std::ofstream refs("/proc/self/clear_refs");
  refs << "5" << std::flush;
  return static_cast<bool>(refs);
}

}  // namespace test_support
