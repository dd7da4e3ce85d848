#pragma once
#include <cstdio>

namespace Vessa {
namespace Matrix {

/// Writes "DEBUG - -->name\n" to standard output when made and "DEBUG - <--name\n" when it goes out of scope,
/// by an exception too. `name` is a string literal; nothing is allocated and nothing thrown.
class TraceScope {
public:
  explicit TraceScope(const char* name) noexcept : m_name(name) { std::printf("DEBUG - -->%s\n", m_name); }
  ~TraceScope() { std::printf("DEBUG - <--%s\n", m_name); }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

private:
  const char* m_name;
};

}  // namespace Matrix
}  // namespace Vessa
