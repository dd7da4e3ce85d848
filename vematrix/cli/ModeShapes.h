#pragma once
#include <string>

#include "EigenPairs.h"

namespace vematrix {
namespace cli {

/// Hz, of lambda = (2 pi f)^2.
double frequencyOf(double eigenvalue);

/// Writes the mode shapes on the mesh of their dofs.
/// @param output   "" for "model-modes.vtu" beside "model.vtu"
/// @param picture  "" for none
/// @return the names of the files written
/// @throws models::FileError
std::string writeModeShapes(const std::string& mesh, const std::string& output, const std::string& picture,
                            const EigenPairs& pairs);

}  // namespace cli
}  // namespace vematrix
