#include "TaskCrew.h"

#include <algorithm>
#include <atomic>
#include <functional>

#include "../math/thread_team.h"

namespace Vessa {
namespace Matrix {
namespace sparse {

struct TaskCrew::Loop {
  Loop(int n, const Piece& f) : count(n), piece(f) {}
  const int count;
  const Piece& piece;
  std::atomic<int> next{0};
  int helpers = 0;  // guarded by the crew's mutex, like error
  std::exception_ptr error;
};

TaskCrew::TaskCrew(const std::vector<TreeTask>& tasks, int threads)
    : m_tasks(tasks),
      m_threads(std::max(1, std::min(threads, 256))),
      m_failed(static_cast<int>(tasks.size())) {}

void TaskCrew::WorkOnLoop(Loop& loop, int worker) {
  for (int piece = loop.next.fetch_add(1); piece < loop.count; piece = loop.next.fetch_add(1)) {
    loop.piece(piece, worker);
  }
}

void TaskCrew::ForPieces(int count, int worker, const Piece& piece) {
  if (m_threads == 1 || count <= 1) {
    for (int p = 0; p < count; ++p) piece(p, worker);
    return;
  }
  Loop loop(count, piece);
  {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_loops.push_back(&loop);
  }
  m_changed.notify_all();
  std::exception_ptr error;
  try {
    WorkOnLoop(loop, worker);
  } catch (...) {
    loop.next = loop.count;
    error = std::current_exception();
  }
  std::unique_lock<std::mutex> lock(m_mutex);
  m_loops.erase(std::find(m_loops.begin(), m_loops.end(), &loop));
  while (loop.helpers > 0) m_changed.wait(lock);
  if (!error) error = loop.error;
  lock.unlock();
  if (error) std::rethrow_exception(error);
}

bool TaskCrew::HelpALoop(int worker, std::unique_lock<std::mutex>& lock) {
  for (Loop* loop : m_loops) {
    if (loop->next.load() >= loop->count) continue;
    ++loop->helpers;
    lock.unlock();
    std::exception_ptr error;
    try {
      WorkOnLoop(*loop, worker);
    } catch (...) {
      loop->next = loop->count;
      error = std::current_exception();
    }
    lock.lock();
    if (error) loop->error = error;
    if (--loop->helpers == 0) m_changed.notify_all();
    return true;
  }
  return false;
}

int TaskCrew::NextTask() const {
  if (m_ready.empty() || m_error) return -1;
  const int task = m_ready.front();
  return task < m_failed ? task : -1;
}

void TaskCrew::MakeReady(int task) {
  m_ready.push_back(task);
  std::push_heap(m_ready.begin(), m_ready.end(), std::greater<int>());
}

void TaskCrew::Finish(int task) {
  if (m_upwards) {
    const int parent = m_tasks[task].parent;
    if (parent >= 0 && --m_waiting[parent] == 0) MakeReady(parent);
  } else {
    for (int child : m_children[task]) MakeReady(child);
  }
}

void TaskCrew::RunTask(int task, int worker, std::unique_lock<std::mutex>& lock) {
  std::pop_heap(m_ready.begin(), m_ready.end(), std::greater<int>());
  m_ready.pop_back();
  ++m_running;
  lock.unlock();
  bool ok = false;
  std::exception_ptr error;
  try {
    ok = (*m_run)(task, worker);
  } catch (...) {
    error = std::current_exception();
  }
  lock.lock();
  --m_running;
  if (error) {
    if (!m_error) m_error = error;
  } else if (ok) {
    Finish(task);
  } else {
    m_failed = std::min(m_failed, task);
  }
  m_changed.notify_all();
}

void TaskCrew::Work(int worker) {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    const int task = NextTask();
    if (task >= 0) {
      RunTask(task, worker, lock);
    } else if (!HelpALoop(worker, lock)) {
      if (m_running == 0) return;
      m_changed.wait(lock);
    }
  }
}

void TaskCrew::RunSerially(const Run& run, bool upwards) {
  const int count = static_cast<int>(m_tasks.size());
  for (int t = 0; t < count; ++t) {
    if (!run(upwards ? t : count - 1 - t, 0)) return;
  }
}

void TaskCrew::RunAll(const Run& run, bool upwards) {
  if (m_threads == 1 || m_tasks.size() <= 1) {
    RunSerially(run, upwards);
    return;
  }
  const int count = static_cast<int>(m_tasks.size());
  m_run = &run;
  m_upwards = upwards;
  m_failed = count;
  m_error = nullptr;
  m_ready.clear();
  m_ready.reserve(m_tasks.size());
  m_waiting.assign(count, 0);
  m_children.assign(upwards ? 0 : count, {});
  for (int t = 0; t < count; ++t) {
    m_waiting[t] = m_tasks[t].numChildren;
    const int parent = m_tasks[t].parent;
    if (upwards ? m_waiting[t] == 0 : parent < 0) MakeReady(t);
    if (!upwards && parent >= 0) m_children[parent].push_back(t);
  }
  math::RunInTeam(m_threads, [this](int worker) { Work(worker); });
  if (m_error) std::rethrow_exception(m_error);
}

}  // namespace sparse
}  // namespace Matrix
}  // namespace Vessa
