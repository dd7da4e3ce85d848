#pragma once
#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Console.h"
#include "Errors.h"
#include "Json.h"

namespace vematrix {
namespace cli {

/// What a command hands back: the exit code and the document that --json prints. "command" and "exit_code"
/// are added by the program.
struct Outcome {
  ExitCode code = ExitGood;
  Json json = Json::object();
};

/// Prints the verdict as the last line and closes the document with "ok". @param good, bad  the verdict in
/// words
Outcome concluded(Console& console, Json document, bool ok, const std::string& good = "ok",
                  const std::string& bad = "must not be trusted");

/// Writes a file where one was asked for, and says so. @param write  takes the path
template <class Write>
void writeWhereAsked(Console& console, const std::string& path, const Write& write) {
  if (path.empty()) return;
  write(path);
  console.print("  wrote {}\n", path);
}

using Command = std::function<Outcome(Console&)>;

/// The command line, the commands that were added to it, and the one way they all run: options in common,
/// output kept apart from the library's trace, exceptions turned into one line and an exit code.
class Program {
public:
  Program();

  CLI::App& app() { return m_app; }

  /// Adds a command with the options that all commands share; the caller adds its own to what is returned and
  /// passes the function that runs it to `setRun`. `examples` close its help text, one command per line.
  CLI::App* addCommand(const std::string& name, const std::string& description, const std::string& examples);
  void setRun(CLI::App* command, Command run);

  /// The number of threads asked for; 0 leaves it to the math library.
  unsigned threads() const { return m_threads; }

  /// Parses, runs the chosen command and returns the exit code of the process.
  int run(int argc, char** argv);

private:
  int runCommand(const CLI::App& command, const Command& run);
  int report(Console* console, const std::string& command, ExitCode code, const std::string& message) const;

  CLI::App m_app;
  std::vector<std::pair<CLI::App*, Command>> m_commands;
  bool m_json = false;
  std::string m_trace;
  unsigned m_threads = 0;
};

}  // namespace cli
}  // namespace vematrix
