#pragma once
#include <functional>

namespace Vessa {
namespace Matrix {
namespace math {

/// Runs work(0) on the calling thread and, at the same time, work(1 … threads−1) on threads that the process
/// keeps for this purpose; returns when all that began have ended.
///
/// Kept threads sleep between calls. Waking one takes some 25 µs, whereas a new thread may wait on its
/// maker's processor for the scheduler's next tick: 4 ms at 250 ticks a second, as long as many a solve. All
/// objects of the process share them; calls from several threads at once, and from within work, get threads
/// of their own. The threads end with the process or when the library is unloaded; a child made by fork
/// starts anew.
///
/// @param work  called with 0, and with each of 1 … threads−1 at most once: one that has not begun when
///              work(0) returns is left out, and the system may give fewer threads. So every call must be
///              able to do all the work there is. Must not throw.
void RunInTeam(int threads, const std::function<void(int)>& work);

/// Runs piece(0 … count−1, worker), each once, in any order, on at most `threads` threads, the calling one
/// included. No two pieces run at the same time with the same worker, 0 … threads−1. An exception keeps
/// further pieces from starting and is thrown again.
void ForEachPiece(int threads, int count, const std::function<void(int piece, int worker)>& piece);

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
