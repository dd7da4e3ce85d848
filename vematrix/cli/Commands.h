#pragma once

namespace vematrix {
namespace cli {

class Program;

/// Adds every command of the program.
void addCommands(Program& program);

/// Each adds one command with its options; defined in the source file of the command.
void addSolve(Program& program);
void addModel(Program& program);
void addConvert(Program& program);
void addModes(Program& program);
void addEig(Program& program);
void addCond(Program& program);
void addDoctor(Program& program);
void addInfo(Program& program);

}  // namespace cli
}  // namespace vematrix
