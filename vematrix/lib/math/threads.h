#pragma once
// How many threads the math library and the direct solvers may use. One setting serves the whole process.
#include <cstdint>

namespace Vessa {
namespace Matrix {
namespace math {

/// The present setting, at least 1; before any SetNumThreads what the processor (or OMP_NUM_THREADS) offers.
int GetMaxThreads();

/// Sets the number of threads for the whole process. A number below 1 changes nothing.
void SetNumThreads(int count);

/// With true the math library may take fewer threads than GetMaxThreads where that is faster.
void SetDynamic(bool on);
bool IsDynamic();

/// For its lifetime, the calling thread's calls into the math library use `count` threads; 0 leaves the
/// setting alone.
class LocalThreads {
public:
  explicit LocalThreads(int count);
  ~LocalThreads();
  LocalThreads(const LocalThreads&) = delete;
  LocalThreads& operator=(const LocalThreads&) = delete;

private:
  int m_before;
  bool m_set;
};

/// Address space that the math library may ask for at its next call with `threads` threads (0: as many as
/// there are): its part for this processor unless it is loaded, and the stacks of the threads. Where these
/// cannot be had, MKL and its thread library end the process. 0 for other libraries.
std::int64_t LibraryAddressSpace(int threads);

/// Throws OutOfMemory (memory_limit.h) where the math library could not load its part for this processor.
void RequireLibrary();

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
