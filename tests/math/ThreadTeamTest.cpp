#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "math/thread_team.h"

namespace {

using namespace Vessa::Matrix::math;

/// Holds everybody until `count` have come, for ten seconds at most; whether they came.
class Meeting {
public:
  explicit Meeting(int count) : m_count(count) {}
  bool Attend() {
    ++m_here;
    const auto late = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (m_here < m_count && std::chrono::steady_clock::now() < late) std::this_thread::yield();
    return m_here >= m_count;
  }

private:
  const int m_count;
  std::atomic<int> m_here{0};
};

TEST(ThreadTeam, WorksAtTheSameTimeWithTheCallerAsNumberZero) {
  Meeting meeting(3);
  std::mutex mutex;
  std::set<int> numbers;
  std::set<std::thread::id> threads;
  std::thread::id zero;

  RunInTeam(3, [&](int number) {
    EXPECT_TRUE(meeting.Attend());
    const std::lock_guard<std::mutex> lock(mutex);
    numbers.insert(number);
    threads.insert(std::this_thread::get_id());
    if (number == 0) zero = std::this_thread::get_id();
  });

  EXPECT_EQ(numbers, (std::set<int>{0, 1, 2}));
  EXPECT_EQ(threads.size(), 3u);
  EXPECT_EQ(zero, std::this_thread::get_id());
}

TEST(ThreadTeam, OneThreadIsTheCaller) {
  for (int threads : {1, 0, -3}) {
    int calls = 0;
    RunInTeam(threads, [&](int number) { calls += number == 0 ? 1 : 100; });
    EXPECT_EQ(calls, 1) << threads;
  }
}

TEST(ThreadTeam, NobodyIsInsideWhenItReturns) {
  for (int round = 0; round < 2000; ++round) {
    std::atomic<int> inside{0}, most{0};
    RunInTeam(4, [&](int) {
      ++inside;
      ++most;
      --inside;
    });
    ASSERT_EQ(inside, 0);
    ASSERT_GE(most, 1);
    ASSERT_LE(most, 4);
  }
}

TEST(ThreadTeam, CallsFromSeveralThreadsGetThreadsOfTheirOwn) {
  Meeting meeting(6);
  std::atomic<int> met{0};
  std::vector<std::thread> callers;
  for (int c = 0; c < 3; ++c) {
    callers.emplace_back([&] {
      RunInTeam(2, [&](int) {
        if (meeting.Attend()) ++met;
      });
    });
  }
  for (std::thread& caller : callers) caller.join();

  EXPECT_EQ(met, 6);
}

TEST(ThreadTeam, WorkMayCallItToo) {
  Meeting outer(2), inner(4);
  std::atomic<int> met{0};

  RunInTeam(2, [&](int) {
    outer.Attend();
    RunInTeam(2, [&](int) {
      if (inner.Attend()) ++met;
    });
  });

  EXPECT_EQ(met, 4);
}

TEST(ThreadTeam, EveryPieceRunsOnce) {
  for (int threads : {1, 2, 5}) {
    std::vector<std::atomic<int>> runs(1000);
    ForEachPiece(threads, 1000, [&](int piece, int) { ++runs[static_cast<std::size_t>(piece)]; });
    for (const std::atomic<int>& count : runs) ASSERT_EQ(count, 1);
  }
}

TEST(ThreadTeam, WorkersOfPiecesDoNotMeet) {
  std::vector<std::atomic<int>> busy(3);
  std::atomic<int> meetings{0};

  ForEachPiece(3, 5000, [&](int, int worker) {
    std::atomic<int>& mine = busy.at(static_cast<std::size_t>(worker));
    if (++mine != 1) ++meetings;
    --mine;
  });

  EXPECT_EQ(meetings, 0);
}

TEST(ThreadTeam, ExceptionOfAPieceReachesTheCaller) {
  for (int threads : {1, 3}) {
    std::atomic<int> runs{0};
    const auto loop = [&] {
      ForEachPiece(threads, 100000, [&](int piece, int) {
        ++runs;
        if (piece == 10) throw std::runtime_error("piece ten");
      });
    };
    EXPECT_THROW(loop(), std::runtime_error) << threads;
    EXPECT_LT(runs, 100000) << threads;
  }
}

TEST(ThreadTeam, SignalsGoToTheHostsThreads) {
  Meeting meeting(2);
  sigset_t blocked;
  sigemptyset(&blocked);

  RunInTeam(2, [&](int number) {
    meeting.Attend();
    if (number == 1) pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  });

  EXPECT_EQ(sigismember(&blocked, SIGINT), 1);
  EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
}

TEST(ThreadTeam, ChildOfForkGetsThreadsOfItsOwn) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer does not follow a process with threads through fork";
#endif
  RunInTeam(2, [](int) {});

  const pid_t child = fork();
  if (child == 0) {
    Meeting meeting(2);
    std::atomic<int> met{0};
    RunInTeam(2, [&](int) {
      if (meeting.Attend()) ++met;
    });
    _exit(met == 2 ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);

  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

}  // namespace
