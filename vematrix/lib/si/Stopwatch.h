#pragma once
#include <chrono>

namespace si {

/// Adds the seconds of its own lifetime to an account.
class Stopwatch {
public:
  explicit Stopwatch(double& account) : m_account(account), m_start(Clock::now()) {}
  ~Stopwatch() { m_account += std::chrono::duration<double>(Clock::now() - m_start).count(); }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

private:
  using Clock = std::chrono::steady_clock;
  double& m_account;
  Clock::time_point m_start;
};

}  // namespace si
