#pragma once
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "support/TempFolder.h"

namespace test_support {

/// What a run of the program left behind.
struct ProgramRun {
  int exitCode = -1;  ///< -1: ended by a signal
  std::string out, err;

  /// Standard output as JSON; an empty document when it is none.
  nlohmann::json json() const { return nlohmann::json::parse(out, nullptr, false); }
};

inline std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

/// Runs the program through a shell with its output in files, as a pipe would see it.
/// @param before  shell commands in front of it, such as "ulimit -v 100000 && "
inline ProgramRun runProgram(const std::string& arguments, const std::string& before = "") {
  const TempFolder folder;
  const std::string command = before + "'" VEMATRIX_PROGRAM "' " + arguments + " >'" + folder.Path("out") +
                              "' 2>'" + folder.Path("err") + "'";
  const int status = std::system(command.c_str());
  ProgramRun run;
  run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  run.out = slurp(folder.Path("out"));
  run.err = slurp(folder.Path("err"));
  return run;
}

}  // namespace test_support
