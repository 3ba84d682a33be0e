// SPDX-License-Identifier: MIT
// Pools under load: tasks from many threads at once, signals meanwhile, and the end in the middle of it.
#include <gtest/gtest.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <thread>
#include <vector>

#include "build_kind.h"
#include "thread_pool_support.h"

namespace {

void IgnoreSignal(int) {}

// Interrupts the whole process every now and then while it lives.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = IgnoreSignal;  // and no SA_RESTART
    sigaction(SIGUSR1, &action, &before_);
    sender_ = std::thread([this] {
      sigset_t mine;
      sigemptyset(&mine);
      sigaddset(&mine, SIGUSR1);
      pthread_sigmask(SIG_BLOCK, &mine, nullptr);
      while (!stop_) {
        kill(getpid(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(300));
      }
    });
  }
  ~SignalStorm() {
    stop_ = true;
    sender_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }

 private:
  std::atomic<bool> stop_{false};
  struct sigaction before_ {};
  std::thread sender_;
};

// 8 threads add 10,000 tasks, `destroyAfter` of which are added before destroy is called.
void Storm(int destroyAfter) {
  constexpr int kTasks = 10000;
  constexpr int kAdders = 8;
  std::vector<std::atomic<int>> runs(kTasks);
  std::vector<int> results(kTasks, 1);
  std::atomic<int> added{0};
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  std::vector<std::thread> adders;
  for (int a = 0; a < kAdders; ++a) {
    adders.emplace_back([&, a] {
      for (int i = a; i < kTasks; i += kAdders) {
        results[static_cast<size_t>(i)] = pool.addTask(CountOne, &runs[static_cast<size_t>(i)]);
        ++added;
      }
    });
  }
  WaitUntil([&] { return added >= destroyAfter; });
  EXPECT_EQ(pool.destroy(), 0);
  std::vector<int> runsAtEnd;
  for (const auto& count : runs) runsAtEnd.push_back(count);
  for (std::thread& adder : adders) adder.join();
  EXPECT_EQ(QueueSize(pool), 0);
  for (int i = 0; i < kTasks; ++i) {
    const auto at = static_cast<size_t>(i);
    ASSERT_TRUE(results[at] == 0 || results[at] == -1);
    ASSERT_LE(runs[at], results[at] == 0 ? 1 : 0) << "task " << i;
    ASSERT_EQ(runs[at], runsAtEnd[at]) << "task " << i << " ran after destroy";
  }
}

TEST_F(ThreadPoolTest, DestroyInTheMiddleOfAStormLosesNothing) {
  for (const int destroyAfter : {0, 1, 100, 5000, 9999, 10000}) Storm(destroyAfter);
}

TEST_F(ThreadPoolTest, SignalsThroughoutAStormHarmNothing) {
  const SignalStorm signals;
  for (const int destroyAfter : {10, 5000, 10000}) Storm(destroyAfter);
}

TEST_F(ThreadPoolTest, AWorkerThatMissesTheFirstBroadcastIsWokenByAnother) {
  ThreadPool pool;
  // The first worker tests `shutdown`, and waits only after destroy has set it and told everybody.
  faults::flagBeforeCondWait = &(pool.*TestAccess::poolShutdown);
  ASSERT_EQ(pool.init(10), 0);
  WaitUntil([] { return faults::flagBeforeCondWait == nullptr; });
  EXPECT_EQ(pool.destroy(), 0);
}

// A worker that has just seen `shutdown` clear misses destroy's first broadcast now and then.
TEST_F(ThreadPoolTest, DestroyAlwaysEndsUnderLoad) {
  constexpr int kRounds = kSanitized ? 1000 : 20000;
  std::atomic<bool> stop{false};
  std::atomic<int> spin{0};
  std::thread load([&] {
    while (!stop) {
      for (int i = 0; i < 50000; ++i) spin.fetch_add(1, std::memory_order_relaxed);
      std::this_thread::yield();
    }
  });
  std::atomic<int> calls{0};
  for (int round = 0; round < kRounds; ++round) {
    ThreadPool pool;
    ASSERT_EQ(pool.init(10), 0);
    if (round % 3 == 0) pool.addTask(CountOne, &calls);
    if (round % 7 == 0) std::this_thread::yield();
    ASSERT_EQ(pool.destroy(), 0);
  }
  stop = true;
  load.join();
}

}  // namespace
