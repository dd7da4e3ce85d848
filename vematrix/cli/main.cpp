#include <csignal>

#include <unistd.h>

#include "Commands.h"
#include "Program.h"
#include "UtilityCommands.h"
#include "models/io/OutputFile.h"

namespace {

/// Ctrl-C and termination: take away the files that are not complete yet, then end as the shell expects.
extern "C" void endBySignal(int signal) {
  vematrix::models::OutputFile::removeUnfinished();
  _exit(128 + signal);
}

}  // namespace

int main(int argc, char** argv) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, endBySignal);
  vematrix::cli::Program program;
  vematrix::cli::addSolve(program);
  vematrix::cli::addModes(program);
  vematrix::cli::addEig(program);
  vematrix::cli::addCond(program);
  vematrix::cli::addDoctor(program);
  vematrix::cli::addInfo(program);
  vematrix::cli::addBench(program);
  vematrix::cli::addManual(program);
  vematrix::cli::addModel(program);
  vematrix::cli::addConvert(program);
  return program.run(argc, argv);
}
