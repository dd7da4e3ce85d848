#pragma once
#include <cstddef>
#include <functional>

namespace Vessa {
namespace Matrix {
namespace math {

/// Doubles per task below which handing a task to another thread costs more than it saves.
constexpr std::size_t kParallelPays = 1 << 16;

/// Runs two independent tasks and returns when both are done: side by side when each handles at least
/// kParallelPays doubles and more than one thread is allowed, else one after the other on the calling thread.
/// An exception of either is passed on.
/// @param doublesPerTask how many doubles one task reads
void invokeBoth(std::size_t doublesPerTask, const std::function<void()>& first,
                const std::function<void()>& second);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
