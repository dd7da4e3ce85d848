#pragma once

namespace Vessa {
namespace Matrix {
namespace skyline {

/// A multiplier above this in the Sturm mode means that too many digits are lost to count signs.
const double kLargestMultiplier = 1e7;
/// Takes the place of an exactly zero pivot, so that it counts as negative.
const double kZeroPivot = -1e-16;

}  // namespace skyline
}  // namespace Matrix
}  // namespace Vessa
