#pragma once
#include <string>

#include "Console.h"
#include "Json.h"

namespace vematrix {
namespace cli {

/// Collects what the doctor finds: text for a reader, JSON for a program.
class Findings {
public:
  explicit Findings(Console& console) : m_console(console) {}

  void note(const std::string& text) { add("note", text, "  " + text); }
  void warn(const std::string& text) { add("warning", text, "  " + m_console.warning("! ") + text); }
  void sick(const std::string& text) {
    m_healthy = false;
    add("error", text, "  " + m_console.bad("x ") + text);
  }
  /// A line below the last finding, for a reader only.
  void detail(const std::string& text) { m_console.print("    {}\n", text); }

  bool healthy() const { return m_healthy; }
  const Json& json() const { return m_json; }

private:
  void add(const char* level, const std::string& text, const std::string& line) {
    m_json.push_back({{"level", level}, {"text", text}});
    m_console.print("{}\n", line);
  }

  Console& m_console;
  Json m_json = Json::array();
  bool m_healthy = true;
};

}  // namespace cli
}  // namespace vematrix
