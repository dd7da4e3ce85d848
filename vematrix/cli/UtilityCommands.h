#pragma once

namespace vematrix {
namespace cli {

class Program;

/// Commands about the program and the machine rather than about one matrix; as in Commands.h.
void addBench(Program& program);
void addManual(Program& program);  ///< completion and manual

}  // namespace cli
}  // namespace vematrix
