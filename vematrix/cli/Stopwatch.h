#pragma once
#include <chrono>

namespace vematrix {
namespace cli {

/// Seconds of wall clock since its construction or the last lap().
class Stopwatch {
public:
  Stopwatch() : m_start(Clock::now()) {}
  double seconds() const { return std::chrono::duration<double>(Clock::now() - m_start).count(); }
  double lap() {
    const double passed = seconds();
    m_start = Clock::now();
    return passed;
  }

private:
  using Clock = std::chrono::steady_clock;
  Clock::time_point m_start;
};

}  // namespace cli
}  // namespace vematrix
