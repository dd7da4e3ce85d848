#pragma once
#include <iostream>

namespace Vessa {
namespace Matrix {

/// Writes "DEBUG - -->name\n" to std::cout when made and "DEBUG - <--name\n" when it goes out of scope,
/// by an exception too. `name` is a string literal; nothing is allocated and nothing thrown.
class TraceScope {
public:
  explicit TraceScope(const char* name) noexcept : m_name(name) {
    std::cout << "DEBUG - -->" << m_name << '\n';
  }
  ~TraceScope() { std::cout << "DEBUG - <--" << m_name << '\n'; }
  TraceScope(const TraceScope&) = delete;
  TraceScope& operator=(const TraceScope&) = delete;

private:
  const char* m_name;
};

}  // namespace Matrix
}  // namespace Vessa
