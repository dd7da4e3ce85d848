#pragma once
#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <vector>
#include "../sparse/analysis/LdltAnalysis.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

/// Runs the tasks of an elimination tree on a few threads, and loops inside a task on whoever is idle.
///
/// Which thread runs what depends on timing; the tasks and the pieces of a loop do not, so results that
/// depend only on them are the same for any number of threads. The calling thread works too; the others are
/// those that the process keeps (math::RunInTeam).
class TaskCrew {
public:
  /// Tasks run(task, worker): worker is 0 … threads−1, no two run at the same time with the same one. False
  /// stops: tasks with higher numbers are no longer started, those with lower ones are, so the lowest failing
  /// task is always found. An exception stops everything and is thrown again by the call.
  using Run = std::function<bool(int task, int worker)>;
  using Piece = std::function<void(int piece, int worker)>;

  TaskCrew(const std::vector<TreeTask>& tasks, int threads);

  int Threads() const { return m_threads; }

  /// Children before parents / parents before children.
  void RunUpwards(const Run& run) { RunAll(run, true); }
  void RunDownwards(const Run& run) { RunAll(run, false); }

  /// Called from within a task: piece(0 … count−1, worker), in any order, perhaps at the same time; returns
  /// when all are done.
  void ForPieces(int count, int worker, const Piece& piece);

private:
  struct Loop;

  void RunAll(const Run& run, bool upwards);
  void RunSerially(const Run& run, bool upwards);
  void Work(int worker);
  void RunTask(int task, int worker, std::unique_lock<std::mutex>& lock);
  void MakeReady(int task);
  void Finish(int task);
  bool HelpALoop(int worker, std::unique_lock<std::mutex>& lock);
  int NextTask() const;
  static void WorkOnLoop(Loop& loop, int worker);

  const std::vector<TreeTask>& m_tasks;
  const int m_threads;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  const Run* m_run = nullptr;
  bool m_upwards = true;
  std::vector<int> m_ready;                  ///< tasks that may start: a heap, the lowest on top; never grows
  std::vector<int> m_waiting;                ///< upwards: children not finished yet
  std::vector<std::vector<int>> m_children;  ///< downwards
  std::vector<Loop*> m_loops;
  int m_running = 0;
  int m_failed = 0;  ///< lowest task that returned false; the number of tasks when there is none
  std::exception_ptr m_error;
};

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
