#include <csignal>

#include <unistd.h>

#include "Commands.h"
#include "Console.h"
#include "Program.h"
#include "models/io/OutputFile.h"

namespace {

/// Ctrl-C and termination: take away the files that are not complete yet, then end as the shell expects.
extern "C" void endBySignal(int signal) {
  vematrix::models::OutputFile::removeUnfinished();
  _exit(128 + signal);
}

}  // namespace

int main(int argc, char** argv) {
  vematrix::cli::occupyClosedDescriptors();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, endBySignal);
  vematrix::cli::Program program;
  vematrix::cli::addCommands(program);
  return program.run(argc, argv);
}
