#pragma once
#include <cstdint>
#include "../containers/types.h"

namespace Vessa {
namespace Matrix {

/// Throws when this process may not take `bytes` more: a std::bad_alloc whose text is like "the mesh needs
/// 120 MB, this process may take 80 MB more".
///
/// The machine's available memory, its memory control groups and the limit of the process's address space
/// count. Systems that overcommit grant more than they have and kill the process when it writes there; the
/// library asks in this way before every large request of its own, and a host may do the same before its own.
/// Requests below 4 MB are let through. Cost: some 50 µs, reading a few small files.
/// @param what  begins the text: "the mesh"
VEMATRIX_API void RequireMemory(const char* what, std::int64_t bytes);

}  // namespace Matrix
}  // namespace Vessa
