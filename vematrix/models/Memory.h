#pragma once

namespace vematrix {
namespace models {

/// Bytes of memory that this machine has; a number beyond any request where the system does not tell.
double physicalMemory();

}  // namespace models
}  // namespace vematrix
