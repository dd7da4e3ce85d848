#pragma once
#include "containers/types.h"

namespace Vessa {
namespace Matrix {

/// The version of the library that is running, "major.minor.patch".
///
/// A host that is linked with one version and runs with another can tell the two apart with it.
/// The string has static storage duration. Cost: none.
VEMATRIX_API const char* Version() noexcept;

}  // namespace Matrix
}  // namespace Vessa
