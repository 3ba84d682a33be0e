// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "build_kind.h"
#include "thread_pool_support.h"

namespace {

TEST_F(ThreadPoolTest, FieldsStandInTheirFixedOrder) {
  struct Expected {
    pthread_mutex_t lock;
    pthread_cond_t workAvailable;
    pthread_t* threadIds;
    PoolTask* queueHead;
    int32_t shutdown, threadCount, queueSize;
  };
  static_assert(sizeof(ThreadPool) == sizeof(Expected));
  ThreadPool pool;
  const auto at = [&pool](const auto& field) {
    return static_cast<size_t>(reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&pool));
  };
  EXPECT_EQ(at(pool.*TestAccess::poolLock), offsetof(Expected, lock));
  EXPECT_EQ(at(pool.*TestAccess::poolCondition), offsetof(Expected, workAvailable));
  EXPECT_EQ(at(pool.*TestAccess::poolThreadIds), offsetof(Expected, threadIds));
  EXPECT_EQ(at(pool.*TestAccess::poolQueueHead), offsetof(Expected, queueHead));
  EXPECT_EQ(at(pool.*TestAccess::poolShutdown), offsetof(Expected, shutdown));
  EXPECT_EQ(at(pool.*TestAccess::poolThreadCount), offsetof(Expected, threadCount));
  EXPECT_EQ(at(pool.*TestAccess::poolQueueSize), offsetof(Expected, queueSize));
  static_assert(offsetof(PoolTask, function) == 0 && offsetof(PoolTask, argument) == 8 &&
                offsetof(PoolTask, runnable) == 16 && offsetof(PoolTask, kind) == 24 &&
                offsetof(PoolTask, next) == 32 && sizeof(PoolTask) == 40);
}

TEST_F(ThreadPoolTest, FreshPoolIsEmpty) {
  ThreadPool pool;
  EXPECT_EQ(pool.*TestAccess::poolThreadIds, nullptr);
  EXPECT_EQ(pool.*TestAccess::poolQueueHead, nullptr);
  EXPECT_EQ(pool.*TestAccess::poolShutdown, 0);
  EXPECT_EQ(pool.*TestAccess::poolThreadCount, 0);
  EXPECT_EQ(pool.*TestAccess::poolQueueSize, 0);
}

TEST_F(ThreadPoolTest, APoolThatWasNeverStartedIsDestroyedOnce) {
  ThreadPool pool;
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
  EXPECT_EQ(pool.destroy(), -1);
  EXPECT_EQ(faults::broadcasts, 0);
  EXPECT_EQ(pool.addTask(CountOne, nullptr), -1);
  EXPECT_EQ(pool.init(10), 0) << "and can still be started";
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
}

TEST_F(ThreadPoolTest, StartsAsManyWorkersAsAskedAndAtLeastTen) {
  const std::pair<int, int> cases[] = {{0, 10}, {-5, 10}, {9, 10}, {10, 10}, {11, 11}, {16, 16}};
  for (const auto& [asked, expected] : cases) {
    const int workers = expected;
    faults::Reset();
    ThreadPool pool;
    EXPECT_EQ(pool.init(asked), 0);
    EXPECT_EQ(faults::pthreadCreate.calls(), workers) << asked;
    EXPECT_EQ(pool.*TestAccess::poolThreadCount, workers) << asked;
    Gate gate;
    for (int i = 0; i <= workers; ++i) pool.addTask(&gate);
    WaitUntil([&] { return gate.waiting == workers; });
    EXPECT_EQ(QueueSize(pool), 1) << "one task more than workers";
    gate.open = true;
    EXPECT_EQ(pool.destroy(), 0);
  }
}

TEST_F(ThreadPoolTest, ANullRunnableIsRefused) {
  ThreadPool pool;
  ASSERT_EQ(pool.init(0), 0);
  EXPECT_EQ(pool.addTask(nullptr), -1);
  EXPECT_EQ(QueueSize(pool), 0);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(Output(), "");
}

TEST_F(ThreadPoolTest, WorkersPrintTheirLineOncePerTaskOnStandardOutput) {
  class Page : public Runnable {
    int run() override { return -1; }
  } pages[3];
  std::atomic<int> calls{0};
  ThreadPool pool;
  ASSERT_EQ(pool.init(0), 0);
  for (Page& page : pages) EXPECT_EQ(pool.addTask(&page), 0);
  EXPECT_EQ(pool.addTask(CountOne, &calls), 0);
  WaitUntil([&] { return calls == 1; });
  for (Page& page : pages) WaitUntil([&] { return page.isFinished(); });
  EXPECT_EQ(pool.destroy(), 0);
  std::string four;
  for (int i = 0; i < 4; ++i) four += kWorkLine;
  EXPECT_EQ(Output(), four);
}

TEST_F(ThreadPoolTest, TheQueueIsFirstInFirstOut) {
  struct Item {
    std::vector<int>* order;
    int number;
  };
  std::vector<int> order;
  std::vector<Item> items;
  for (int i = 0; i < 200; ++i) items.push_back({&order, i});
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  Gate rest, one;
  for (int i = 0; i < 9; ++i) pool.addTask(&rest);
  pool.addTask(&one);
  WaitUntil([&] { return rest.waiting == 9 && one.waiting == 1; });
  for (Item& next : items) {
    pool.addTask(
        [](void* argument) -> void* {
          const auto* item = static_cast<Item*>(argument);
          item->order->push_back(item->number);
          return nullptr;
        },
        &next);
  }
  EXPECT_EQ(QueueSize(pool), 200);
  one.open = true;  // a single worker works the queue off
  std::atomic<int> last{0};
  pool.addTask(CountOne, &last);
  WaitUntil([&] { return last == 1; });
  rest.open = true;
  EXPECT_EQ(pool.destroy(), 0);
  ASSERT_EQ(order.size(), 200U);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST_F(ThreadPoolTest, ItemsStillQueuedAreFreedUnrun) {
  std::atomic<int> calls{0};
  class Untouched : public Runnable {
    int run() override { return 0; }
  } untouched;
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  Gate gate;
  for (int i = 0; i < 10; ++i) pool.addTask(&gate);
  WaitUntil([&] { return gate.waiting == 10; });
  for (int i = 0; i < 50; ++i) pool.addTask(CountOne, &calls);
  pool.addTask(&untouched);
  std::thread opener([&] {
    WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*TestAccess::poolShutdown).load() != 0; });
    EXPECT_EQ(pool.addTask(CountOne, &calls), 0) << "shutting down, but not yet shut down";
    gate.open = true;
  });
  EXPECT_EQ(pool.destroy(), 0);
  opener.join();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(untouched.isFinished());
}

// Of a pool that shut down with work queued, and of one that never was whole.
TEST_F(ThreadPoolTest, APoolThatStartsAgainHasNothingOfTheQueueBefore) {
  std::atomic<int> before{0}, after{0};
  ThreadPool pool;
  for (const bool whole : {true, false}) {
    if (!whole) faults::pthreadCreate.Fail(EAGAIN);
    ASSERT_EQ(pool.init(10), whole ? 0 : -1);
    Gate gate;
    for (int i = 0; i < 10; ++i) pool.addTask(&gate);
    WaitUntil([&] { return gate.waiting == (whole ? 10 : 0); });
    for (int i = 0; i < 5; ++i) EXPECT_EQ(pool.addTask(CountOne, &before), 0);
    std::thread opener([&] {
      WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*TestAccess::poolShutdown).load() != 0; });
      gate.open = true;
    });
    EXPECT_EQ(pool.destroy(), 0);
    opener.join();
    EXPECT_EQ(pool.*TestAccess::poolQueueHead, nullptr);
    EXPECT_EQ(pool.*TestAccess::poolQueueSize, 0);
    EXPECT_EQ(pool.*TestAccess::poolThreadCount, 0);
    EXPECT_EQ(pool.*TestAccess::poolThreadIds, nullptr);

    ASSERT_EQ(pool.init(10), 0);
    EXPECT_EQ(QueueSize(pool), 0);
    after = 0;
    EXPECT_EQ(pool.addTask(CountOne, &after), 0);
    WaitUntil([&] { return after == 1; });
    EXPECT_EQ(pool.destroy(), 0);
    EXPECT_EQ(before, 0);
  }
}

TEST_F(ThreadPoolTest, NoTaskStaysInMemory) {
  SKIP_WITHOUT_OWN_MALLOC();
  std::atomic<int> calls{0};
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  faults::blockSize = sizeof(PoolTask);
  for (int i = 0; i < 20; ++i) pool.addTask(CountOne, &calls);
  WaitUntil([&] { return calls == 20; });
  WaitUntil([] { return faults::BlocksInUse() == 0; });  // what ran is freed by its worker

  Gate gate;
  for (int i = 0; i < 10; ++i) pool.addTask(&gate);
  WaitUntil([&] { return gate.waiting == 10; });
  for (int i = 0; i < 50; ++i) pool.addTask(CountOne, &calls);
  EXPECT_EQ(faults::BlocksInUse(), 60);
  std::thread opener([&] {
    WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*TestAccess::poolShutdown).load() != 0; });
    gate.open = true;
  });
  EXPECT_EQ(pool.destroy(), 0);
  opener.join();
  EXPECT_EQ(calls, 20);
  EXPECT_EQ(faults::BlocksInUse(), 0) << "what was queued is freed by destroy";
  EXPECT_EQ(pool.addTask(CountOne, &calls), -1);
  EXPECT_EQ(faults::BlocksInUse(), 0) << "and what is refused at once";
}

// 1, 2, 4 ... and at most 50 ms between two broadcasts, the waits counted from one moment to the next.
TEST_F(ThreadPoolTest, WorkersThatTakeLongAreWokenMoreAndMoreSeldom) {
  constexpr int64_t kMilli = 1'000'000;
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  faults::joinsToTimeOut = 12;
  timespec start{};
  clock_gettime(CLOCK_REALTIME, &start);
  int64_t before = int64_t{start.tv_sec} * 1'000'000'000 + start.tv_nsec;
  EXPECT_EQ(pool.destroy(), 0);
  ASSERT_EQ(faults::timedJoins.size(), 12U);
  int64_t slice = kMilli;
  for (const faults::TimedJoin& join : faults::timedJoins) {
    EXPECT_LE(join.deadline - join.called, slice);
    EXPECT_GE(join.deadline - before, slice);
    before = join.called;
    slice = std::min(2 * slice, 50 * kMilli);
  }
  // A worker that is slow to end may take another slice.
  EXPECT_GE(faults::broadcasts, 13) << "one at first, and one after each slice";
}

TEST_F(ThreadPoolTest, ASecondDestroyIsRefused) {
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
  EXPECT_EQ(pool.destroy(), -1);
}

TEST_F(ThreadPoolTest, OfManyDestroysAtOnceOneDoesTheWork) {
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  std::atomic<int> done{0}, refused{0};
  std::vector<std::thread> callers;
  for (int i = 0; i < 8; ++i) callers.emplace_back([&] { ++(pool.destroy() == 0 ? done : refused); });
  for (std::thread& caller : callers) caller.join();
  EXPECT_EQ(done, 1);
  EXPECT_EQ(refused, 7);
}

TEST_F(ThreadPoolTest, APoolWithoutWorkersTakesNoTasks) {
  std::atomic<int> calls{0};
  ThreadPool pool;
  EXPECT_EQ(pool.addTask(CountOne, &calls), -1);
  ASSERT_EQ(pool.init(10), 0);
  EXPECT_EQ(pool.init(10), -1) << "it has workers";
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.addTask(CountOne, &calls), -1);
  ASSERT_EQ(pool.init(12), 0) << "a shut down pool starts again";
  EXPECT_EQ(pool.addTask(CountOne, &calls), 0);
  WaitUntil([&] { return calls == 1; });
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
}

TEST_F(ThreadPoolTest, InitOfAPoolThatHasWorkersAlreadyIsRefusedWithoutALineAndWithoutEffect) {
  ThreadPool pool;
  ASSERT_EQ(pool.init(12), 0);
  pthread_t* const ids = pool.*TestAccess::poolThreadIds;
  for (const int count : {0, 12, 50}) EXPECT_EQ(pool.init(count), -1);
  EXPECT_EQ(faults::pthreadCreate.calls(), 12);
  EXPECT_EQ(pool.*TestAccess::poolThreadIds, ids);
  EXPECT_EQ(pool.*TestAccess::poolThreadCount, 12);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(Output(), "");
}

// The memory is gone the moment that the caller sees the end of the work.
TEST_F(ThreadPoolTest, ThePoolDoesNotTouchARunnableOnceItIsFinished) {
  class Nothing : public Runnable {
    int run() override { return 0; }
  };
  const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  for (int i = 0; i < 300; ++i) {
    void* const page = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    auto* const work = new (page) Nothing;
    ASSERT_EQ(pool.addTask(work), 0);
    while (!work->isFinished()) std::this_thread::yield();
    ASSERT_EQ(munmap(page, size), 0);
  }
  EXPECT_EQ(pool.destroy(), 0);
}

TEST_F(ThreadPoolTest, InitPrintsALineWhenMemoryIsShort) {
  SKIP_WITHOUT_OWN_MALLOC();
  ThreadPool pool;
  faults::blockSize = 123 * sizeof(pthread_t);
  faults::malloc.Fail(ENOMEM);
  EXPECT_EQ(pool.init(123), -1);
  EXPECT_EQ(faults::pthreadCreate.calls(), 0);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.init(123), 0) << "and again with memory";
  EXPECT_EQ(Output(), "m_pThreadId malloc error\n");
}

TEST_F(ThreadPoolTest, NoMemoryForATask) {
  SKIP_WITHOUT_OWN_MALLOC();
  std::atomic<int> calls{0};
  Gate gate;
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  faults::blockSize = sizeof(PoolTask);
  faults::malloc.Fail(ENOMEM, 2);
  EXPECT_EQ(pool.addTask(CountOne, &calls), -1);
  EXPECT_EQ(pool.addTask(&gate), -1);
  faults::blockSize = 0;
  EXPECT_EQ(QueueSize(pool), 0);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(Output(), "THREAD_WORKER malloc error!\nTHREAD_WORKER malloc error!\n");
}

TEST_F(ThreadPoolTest, TheFirstWorkerCannotBeCreated) {
  std::atomic<int> calls{0};
  ThreadPool pool;
  faults::pthreadCreate.Fail(EAGAIN);
  EXPECT_EQ(pool.init(10), -1);
  EXPECT_EQ(pool.*TestAccess::poolThreadCount, 0);
  EXPECT_EQ(pool.addTask(CountOne, &calls), 0) << "queued, with nobody to run it";
  EXPECT_EQ(pool.init(10), -1) << "destroy it first";
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(Output(), "pthread_create error\n");
}

TEST_F(ThreadPoolTest, WorkersCreatedBeforeOneThatCannotBeStayAndTakeTasks) {
  std::atomic<int> calls{0};
  auto pool = std::make_unique<ThreadPool>();
  faults::pthreadCreate.Fail(EAGAIN, 1, 4);
  EXPECT_EQ(pool->init(10), -1);
  EXPECT_EQ(faults::pthreadCreate.calls(), 5);
  EXPECT_EQ((*pool).*TestAccess::poolThreadCount, 0) << "the remaining fields are not set";
  Gate gate;
  for (int i = 0; i < 5; ++i) EXPECT_EQ(pool->addTask(&gate), 0);
  WaitUntil([&] { return gate.waiting == 4; });
  EXPECT_EQ(QueueSize(*pool), 1);
  gate.open = true;
  EXPECT_EQ(pool->addTask(CountOne, &calls), 0);
  WaitUntil([&] { return calls == 1; });
  pool.reset();  // joins the four
  std::string lines = "pthread_create error\n";
  for (int i = 0; i < 6; ++i) lines += kWorkLine;
  EXPECT_EQ(Output(), lines);
}

TEST_F(ThreadPoolTest, ARestartThatFailsLeavesAPoolThatCanBeDestroyed) {
  ThreadPool pool;
  ASSERT_EQ(pool.init(10), 0);
  ASSERT_EQ(pool.destroy(), 0);
  faults::pthreadCreate.Fail(EAGAIN, 1, 3);
  EXPECT_EQ(pool.init(10), -1);
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
}

TEST_F(ThreadPoolTest, TasksMayAddTasks) {
  struct Chain {
    ThreadPool pool;
    std::atomic<int> left{500};
    static void* Step(void* argument) {
      auto* chain = static_cast<Chain*>(argument);
      if (--chain->left > 0) chain->pool.addTask(Step, chain);
      return nullptr;
    }
  } chain;
  ASSERT_EQ(chain.pool.init(10), 0);
  chain.pool.addTask(Chain::Step, &chain);
  WaitUntil([&] { return chain.left == 0; });
  EXPECT_EQ(chain.pool.destroy(), 0);
}

}  // namespace
