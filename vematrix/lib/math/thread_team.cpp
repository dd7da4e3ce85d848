#include "thread_team.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "platform.h"

namespace Vessa {
namespace Matrix {
namespace math {
namespace {

constexpr std::size_t kMostKept = 255;

/// One call of RunInTeam; lives on its caller's stack, in a list of the jobs that threads may join.
struct Job {
  const std::function<void(int)>& work;
  const int threads;
  int next = 1;    ///< number of the next thread that joins
  int inside = 0;  ///< kept threads at work
  Job* below = nullptr;
};

/// The kept threads and the jobs that they may join.
class Keeper {
public:
  Keeper(long process, Keeper* before) : m_process(process), m_before(before) {}

  long Process() const { return m_process; }

  void Run(Job& job) {
    Open(job);
    for (int t = 1; t < job.threads; ++t) m_called.notify_one();
    job.work(0);
    Close(job);
  }

  /// Lets the idle threads end and waits for them. While a job runs they are left alone: whoever ends the
  /// process from within one would wait for himself.
  void End() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_ended = true;
    const bool idle = m_jobs == nullptr;
    lock.unlock();
    m_called.notify_all();
    for (std::thread& thread : m_threads) idle ? thread.join() : thread.detach();
    m_threads.clear();
  }

private:
  void Open(Job& job) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    job.below = m_jobs;
    m_jobs = &job;
    m_wanted += static_cast<std::size_t>(job.threads - 1);
    Hire();
    MakeWayFor(CurrentProcessor());
  }

  /// Has as many threads as are wanted, if the system gives them.
  void Hire() {
    try {
      const SignalsBlocked blocked;
      while (!m_ended && m_threads.size() < std::min(m_wanted, kMostKept)) {
        m_threads.emplace_back([this] { Serve(); });
        m_avoided = -1;
      }
    } catch (const std::exception&) {  // those that are there do the work
    }
  }

  /// Keeps the threads off the caller's processor, which is taken: some schedulers wake a thread where it
  /// last ran or where its waker runs, and look for an idle processor only at their next tick.
  void MakeWayFor(int processor) {
    if (processor == m_avoided) return;
    for (std::thread& thread : m_threads) KeepOff(thread, processor);
    m_avoided = processor;
  }

  void Close(Job& job) {
    std::unique_lock<std::mutex> lock(m_mutex);
    job.next = job.threads;
    m_wanted -= static_cast<std::size_t>(job.threads - 1);
    while (job.inside > 0) m_left.wait(lock);
    Job** link = &m_jobs;
    while (*link != &job) link = &(*link)->below;
    *link = job.below;
  }

  Job* JobToJoin() const {
    Job* job = m_jobs;
    while (job && job->next == job->threads) job = job->below;
    return job;
  }

  void Serve() {
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ended) {
      Job* job = JobToJoin();
      if (!job) {
        m_called.wait(lock);
        continue;
      }
      const int number = job->next++;
      ++job->inside;
      lock.unlock();
      job->work(number);
      lock.lock();
      if (--job->inside == 0) m_left.notify_all();
    }
  }

  const long m_process;
  [[maybe_unused]] Keeper* const m_before;  ///< that of the parent process: still reachable, never used

  std::mutex m_mutex;
  std::condition_variable m_called, m_left;
  std::vector<std::thread> m_threads;
  Job* m_jobs = nullptr;
  std::size_t m_wanted = 0;  ///< threads that the open jobs ask for
  int m_avoided = -1;        ///< processor that the threads keep off
  bool m_ended = false;
};

/// Keepers are never destroyed: a job of another static object's destructor may still come.
std::atomic<Keeper*> current{nullptr};

struct EndWithTheProcess {
  ~EndWithTheProcess() {
    Keeper* keeper = current.load();
    if (keeper && keeper->Process() == ProcessId()) keeper->End();
  }
} endWithTheProcess;

/// The keeper of this process. After a fork the child needs a new one: no thread has followed it, and the
/// locks of the old one may be held for ever.
Keeper& TheKeeper() {
  const long process = ProcessId();
  Keeper* keeper = current.load();
  while (!keeper || keeper->Process() != process) {
    auto fresh = std::make_unique<Keeper>(process, keeper);
    if (current.compare_exchange_strong(keeper, fresh.get())) return *fresh.release();
  }
  return *keeper;
}

}  // namespace

void RunInTeam(int threads, const std::function<void(int)>& work) {
  if (threads <= 1) {
    work(0);
    return;
  }
  Keeper* keeper = nullptr;
  try {
    keeper = &TheKeeper();
  } catch (const std::bad_alloc&) {
    work(0);
    return;
  }
  Job job{work, threads};
  keeper->Run(job);
}

void ForEachPiece(int threads, int count, const std::function<void(int, int)>& piece) {
  std::atomic<int> next{0};
  std::mutex mutex;
  std::exception_ptr error;
  RunInTeam(std::min(threads, count), [&](int worker) {
    try {
      for (int p = next.fetch_add(1); p < count; p = next.fetch_add(1)) piece(p, worker);
    } catch (...) {
      next = count;
      const std::lock_guard<std::mutex> lock(mutex);
      if (!error) error = std::current_exception();
    }
  });
  if (error) std::rethrow_exception(error);
}

}  // namespace math
}  // namespace Matrix
}  // namespace Vessa
