// vematrix completion, vematrix manual: both made from the options themselves, so that they are never out of
// date.
#include <fmt/core.h>

#include <memory>

#include "Program.h"
#include "UtilityCommands.h"

namespace vematrix {
namespace cli {
namespace {

std::vector<const CLI::App*> commandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string optionNames(const CLI::App& command) {
  std::string names;
  for (const CLI::Option* option : command.get_options())
    for (const std::string& name : option->get_lnames()) names += " --" + name;
  return names;
}

/// Commands first, then the options of the command, else file names.
std::string bashCompletion(const CLI::App& app) {
  std::string names, cases;
  for (const CLI::App* command : commandsOf(app)) {
    names += " " + command->get_name();
    cases += fmt::format("    {}) options=\"{}\" ;;\n", command->get_name(), optionNames(*command).substr(1));
  }
  return "# Completion of vematrix for bash: source this, or put it where bash-completion looks.\n"
         "_vematrix() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} options=\"\"\n"
         "  COMPREPLY=()\n"
         "  if [ \"$COMP_CWORD\" -eq 1 ]; then\n"
         "    COMPREPLY=($(compgen -W \"" +
         names.substr(1) +
         " --help --version\" -- \"$word\"))\n"
         "    return\n"
         "  fi\n"
         "  case ${COMP_WORDS[1]} in\n" +
         cases +
         "  esac\n"
         "  case $word in\n"
         "    -*) COMPREPLY=($(compgen -W \"$options\" -- \"$word\")) ;;\n"
         "    *) COMPREPLY=($(compgen -f -- \"$word\")) ;;\n"
         "  esac\n"
         "}\n"
         "complete -o filenames -F _vematrix vematrix\n";
}

std::string escaped(const std::string& text) {
  std::string result;
  for (std::size_t k = 0; k < text.size(); ++k) {
    const bool lineStart = k == 0 || text[k - 1] == '\n';
    if (lineStart && (text[k] == '.' || text[k] == '\'')) result += "\\&";
    if (text[k] == '\\')
      result += "\\e";
    else if (text[k] == '-')
      result += "\\-";
    else
      result += text[k];
  }
  return result;
}

std::string manualOf(const CLI::App& command) {
  std::string text =
      fmt::format(".SS {}\n{}.\n", escaped(command.get_name()), escaped(command.get_description()));
  for (const CLI::Option* option : command.get_options()) {
    const std::string type = option->get_type_size() == 0 ? "" : " " + option->get_type_name();
    text += fmt::format(".TP\n.B {}\n{}\n",
                        escaped(option->get_name(false, true) + (option->get_positional() ? "" : type)),
                        escaped(option->get_description()));
  }
  return text + fmt::format(".PP\n.nf\n{}\n.fi\n", escaped(command.get_footer()));
}

std::string manualPage(const CLI::App& app) {
  std::string text =
      ".TH VEMATRIX 1\n.SH NAME\nvematrix \\- " + escaped(app.get_description()) +
      "\n"
      ".SH SYNOPSIS\n.B vematrix\n.I command\n[options]\n"
      ".SH DESCRIPTION\nSolves, examines and generates symmetric sparse matrices of structural analysis. "
      "Matrices are read from\n"
      "Matrix Market, Harwell\\-Boeing and Rutherford\\-Boeing files, plain or gzip.\n"
      ".SH EXIT STATUS\n.TP\n.B 0\ngood\n.TP\n.B 1\nno result, or one that must not be trusted\n.TP\n.B 2\n"
      "misuse or unreadable input\n.SH COMMANDS\n";
  for (const CLI::App* command : commandsOf(app)) text += manualOf(*command);
  return text;
}

}  // namespace

void addManual(Program& program) {
  CLI::App* completion =
      program.addCommand("completion", "Print the completion of commands and options for bash",
                         "  vematrix completion > /etc/bash_completion.d/vematrix");
  program.setRun(completion, [&program](Console& console) {
    Outcome outcome;
    outcome.json["text"] = bashCompletion(program.app());
    console.print("{}", outcome.json["text"].get<std::string>());
    return outcome;
  });
  CLI::App* manual = program.addCommand("manual", "Print the manual page", "  vematrix manual | man -l -");
  program.setRun(manual, [&program](Console& console) {
    Outcome outcome;
    outcome.json["text"] = manualPage(program.app());
    console.print("{}", outcome.json["text"].get<std::string>());
    return outcome;
  });
}

}  // namespace cli
}  // namespace vematrix
