#pragma once
#include <cstddef>
#include <string>
#include <vector>

#include "Choices.h"

/// Command lines drawn from the vocabulary of the program: real commands and options with arguments of the
/// kind they want, or of another, or random text.
namespace fuzz {

enum class Argument { None, Input, Output, Number, Word, Load };

struct OptionWord {
  const char* name;
  Argument wants;
};

inline std::string drawInput(Choices& choices) {
  static const char* const names[] = {"K.mtx",     "K.mtx",    "M.mtx",     "S.mtx",     "I.mtx",
                                      "P.mtx",     "H.rsa",    "f.mtx",     "model.vtu", "G.mtx.gz",
                                      "one.mtx",   "huge.mtx", "scale.mtx", "empty.mtx", "folder",
                                      "other.vtu", "none"};
  return choices.of(names);
}

inline std::string drawOutput(Choices& choices) {
  static const char* const names[] = {"x.mtx",  "x.vtu", "x.png", "folder/x", "none/x",
                                      "folder", "",      "K.mtx", "."};
  return choices.of(names);
}

inline std::string drawNumber(Choices& choices) {
  static const char* const numbers[] = {
      "1",     "2",    "3",      "7",      "30",    "0",     "-1",         "0.5",
      "-0.25", "1e3",  "-1e3",   "1e-10",  "1e-16", "1e308", "-1e308",     "nan",
      "inf",   "-inf", "1e400",  "1e-320", "0x10",  "",      "2147483648", "99999999999999999999",
      "1,5",   "+3",   "100000", "1 2",    "4096",  "-0"};
  return choices.of(numbers);
}

inline std::string drawLoad(Choices& choices) {
  static const char* const loads[] = {"ones", "1=-1000", "2=1",      "4=1e308", "0=1",   "99=1", "2=nan", "=",
                                      "1=",   "=1",      "1=1e-320", "1=1=1",   "1.5=2", "-1=1", "1=inf"};
  return choices.of(loads);
}

inline std::string drawWord(Choices& choices) {
  static const char* const words[] = {"auto",         "skyline",   "pardiso",    "compcolumn",
                                      "mkl",          "own",       "none",       "aggressive",
                                      "conservative", "explicit",  "implicit",   "implicit-copy",
                                      "ones",         "laplacian", "laplacian+1"};
  return choices.of(words);
}

/// A structure of a few elements, or one that must be refused.
inline std::string drawModel(Choices& choices) {
  static const char* const models[] = {"brick:1",
                                       "brick:2",
                                       "bar:1:2",
                                       "plate:2:2",
                                       "shell:1:2",
                                       "frame:1:1:1",
                                       "truss:2",
                                       "slab:1",
                                       "lplate:1",
                                       "hole:1",
                                       "taper:1",
                                       "thinplate:2",
                                       "cantilever:1",
                                       "column:2",
                                       "plate:1:1",
                                       "shell:1:1",
                                       "brick:1:free",
                                       "truss:2:loose",
                                       "hole:1:free",
                                       "column:1:free",
                                       "plate:1:1:loose",
                                       "frame:1:1:1:mechanism",
                                       "brick:100000",
                                       "bar:100000:100000",
                                       "plate:100000:100000",
                                       "slab:100000",
                                       "hole:100000",
                                       "frame:100000:100000:100000",
                                       "brick:0",
                                       "brick:-1",
                                       "brick:nan",
                                       "brick:",
                                       "brick",
                                       ":",
                                       "brick:1:1",
                                       "brick:99999999999999999999",
                                       "nosuch:1",
                                       "truss:2:",
                                       "brick:1:mechanism",
                                       "thinplate:1:mechanism"};
  return choices.of(models);
}

/// Printable or not, but no way out of the folder, and no number of more than one digit.
inline std::string drawText(Choices& choices) {
  std::string text;
  bool digit = false;
  for (int k = choices.below(12); k > 0; --k) {
    char c = static_cast<char>(choices.byte());
    if (c == '/' || c == '\0') c = '_';
    if (c >= '0' && c <= '9') {
      if (digit) c = 'x';
      digit = true;
    }
    text += c;
  }
  return text == ".." ? "" : text;
}

inline std::string drawArgument(Choices& choices, Argument kind) {
  switch (kind) {
    case Argument::Input:
      return drawInput(choices);
    case Argument::Output:
      return drawOutput(choices);
    case Argument::Number:
      return drawNumber(choices);
    case Argument::Word:
      return drawWord(choices);
    case Argument::Load:
      return drawLoad(choices);
    case Argument::None:
      break;
  }
  return drawText(choices);
}

inline void addOption(Choices& choices, std::vector<std::string>& arguments) {
  static const OptionWord options[] = {
      {"--json", Argument::None},       {"--json", Argument::None},
      {"--trace", Argument::Output},    {"--threads", Argument::Number},
      {"--rhs", Argument::Input},       {"--load", Argument::Load},
      {"-o", Argument::Output},         {"--output", Argument::Output},
      {"--mesh", Argument::Input},      {"--vtu", Argument::Input},
      {"--picture", Argument::Output},  {"--vtu-output", Argument::Output},
      {"--pattern", Argument::Word},    {"--method", Argument::Word},
      {"--engine", Argument::Word},     {"--count", Argument::Number},
      {"--count", Argument::Number},    {"--tol", Argument::Number},
      {"--shift", Argument::Number},    {"--strategy", Argument::Word},
      {"--subspace", Argument::Number}, {"--max-iterations", Argument::Number},
      {"--no-check", Argument::None},   {"--algorithm", Argument::Word},
      {"--history", Argument::Output},  {"--lowest", Argument::None},
      {"--highest", Argument::None},    {"--list", Argument::None},
      {"--lumped", Argument::None},     {"--repeat", Argument::Number},
      {"--spy", Argument::Output},      {"--help", Argument::None},
      {"--", Argument::None},           {"--nosuch", Argument::Number}};
  const OptionWord& option = choices.of(options);
  if (option.wants == Argument::None) {
    arguments.push_back(option.name);
    return;
  }
  const bool right = !choices.oneIn(12);
  std::string value = drawArgument(choices, right ? option.wants : static_cast<Argument>(choices.below(6)));
  const std::string name = option.name;
  // a large number of repetitions is legal, and takes its time
  if ((name == "--repeat" || name == "--max-iterations") && value.size() > 3) value = "30";
  if (choices.oneIn(8)) {
    arguments.push_back(name + "=" + value);
  } else {
    arguments.push_back(name);
    arguments.push_back(value);
  }
}

/// A command line, without the name of the program. The command info is left out: it times a factorisation of
/// fixed size, which takes a minute with sanitizers.
inline std::vector<std::string> drawCommandLine(Choices& choices) {
  static const char* const commands[] = {"solve", "solve", "modes", "eig",        "cond",   "doctor",
                                         "model", "model", "bench", "completion", "manual", "convert"};
  std::vector<std::string> arguments;
  const std::string command = choices.oneIn(32) ? drawText(choices) : choices.of(commands);
  if (!choices.oneIn(64)) arguments.push_back(command);
  const bool wantsModel = command == "model" || (command == "bench" && choices.oneIn(2));
  if (!choices.oneIn(16)) arguments.push_back(wantsModel ? drawModel(choices) : drawInput(choices));
  if (command == "modes" && !choices.oneIn(8))
    arguments.push_back(choices.oneIn(4) ? drawInput(choices) : "M.mtx");
  if (command == "convert") arguments.push_back(drawOutput(choices));
  for (int k = choices.below(7); k > 0; --k) {
    if (choices.oneIn(12))
      arguments.push_back(drawArgument(choices, static_cast<Argument>(choices.below(6))));
    else
      addOption(choices, arguments);
  }
  return arguments;
}

}  // namespace fuzz
