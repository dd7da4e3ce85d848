#pragma once
#include <stdexcept>
#include <string>

namespace vematrix {
namespace models {

/// @throws std::invalid_argument naming the structure and the parameter unless value >= least
inline void requireAtLeast(int value, int least, const char* structure, const char* parameter) {
  if (value < least)
    throw std::invalid_argument(std::string(structure) + ": " + parameter + " is " + std::to_string(value) +
                                ", expected at least " + std::to_string(least));
}

/// Weight of grid line i of 0..n when a load is spread evenly over a row of n equal elements: half at both
/// ends.
inline double endWeight(int i, int n) {
  return (i == 0 || i == n ? 0.5 : 1.0) / n;
}

}  // namespace models
}  // namespace vematrix
