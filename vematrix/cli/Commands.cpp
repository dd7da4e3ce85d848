#include "Commands.h"

#include "UtilityCommands.h"

namespace vematrix {
namespace cli {

void addCommands(Program& program) {
  addSolve(program);
  addModes(program);
  addEig(program);
  addCond(program);
  addDoctor(program);
  addInfo(program);
  addBench(program);
  addManual(program);
  addModel(program);
  addConvert(program);
}

}  // namespace cli
}  // namespace vematrix
