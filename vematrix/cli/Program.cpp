#include "Program.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>

#include "models/io/FileError.h"

namespace vematrix {
namespace cli {

Outcome concluded(Console& console, Json document, bool ok, const std::string& good, const std::string& bad) {
  console.print("  verdict: {}\n", ok ? console.good(good) : console.bad(bad));
  document["ok"] = ok;
  return {ok ? ExitGood : ExitNotTrusted, std::move(document)};
}

namespace {

/// One line of error output; that nobody can read it changes nothing.
void say(const std::string& line) {
  std::fputs((line + "\n").c_str(), stderr);
}

}  // namespace

Program::Program() : m_app("Linear-algebra solvers for finite-element structural analysis", "vematrix") {
  m_app.require_subcommand(1);
  m_app.set_version_flag("--version", "vematrix " VEMATRIX_VERSION);
  m_app.footer(
      "Exit codes: 0 good; 1 no result, or one that must not be trusted; 2 misuse or unreadable input.\n"
      "vematrix COMMAND --help shows the options and examples of a command.");
}

CLI::App* Program::addCommand(const std::string& name, const std::string& description,
                              const std::string& examples) {
  CLI::App* command = m_app.add_subcommand(name, description);
  command->add_flag("--json", m_json, "Print one JSON document instead of text");
  command->add_option("--trace", m_trace, "Write the library's trace lines to FILE (default: dropped)")
      ->type_name("FILE");
  command->add_option("--threads", m_threads, "Threads of the math library (default: all)")
      ->check(CLI::Range(1, 4096));
  command->footer("Examples:\n" + examples);
  return command;
}

void Program::setRun(CLI::App* command, Command run) {
  m_commands.emplace_back(command, std::move(run));
}

int Program::run(int argc, char** argv) {
  try {
    m_app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (m_app.exit(error) != 0) return ExitMisuse;
    errno = 0;
    if (std::cout.flush()) return ExitGood;
    say(std::string("vematrix: standard output cannot be written: ") + std::strerror(errno));
    return ExitNotTrusted;
  }
  for (const auto& [command, run] : m_commands)
    if (command->parsed()) return runCommand(*command, run);
  return ExitMisuse;
}

namespace {

/// The library's own refusals name the figures, a plain failed allocation has nothing to say.
std::string shortageText(const std::bad_alloc& error) {
  const std::string text = error.what();
  return text.find(" needs ") == std::string::npos ? "not enough memory" : "not enough memory: " + text;
}

}  // namespace

int Program::report(Console* console, const std::string& command, ExitCode code,
                    const std::string& message) const {
  say("vematrix " + command + ": " + message);
  if (console != nullptr && m_json) {
    const Json document = {{"command", command}, {"exit_code", int(code)}, {"error", message}};
    console->write(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
  }
  return code;
}

int Program::runCommand(const CLI::App& command, const Command& run) {
  const std::string name = command.get_name();
  std::unique_ptr<Console> console;
  try {
    console = std::make_unique<Console>(m_trace, m_json);
    const Outcome outcome = run(*console);
    console->finishTrace();
    if (m_json) {
      Json document = {{"command", name}, {"exit_code", int(outcome.code)}};
      document.update(outcome.json);
      console->write(document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    }
    console->finish();
    return outcome.code;
  } catch (const UsageError& error) {
    return report(console.get(), name, ExitMisuse, error.what());
  } catch (const models::FileError& error) {
    return report(console.get(), name, ExitMisuse, error.what());
  } catch (const std::bad_alloc& error) {
    return report(console.get(), name, ExitNotTrusted, shortageText(error));
  } catch (const std::exception& error) {
    return report(console.get(), name, ExitNotTrusted, error.what());
  }
}

}  // namespace cli
}  // namespace vematrix
