#include <gtest/gtest.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "build_kind.h"
#include "faults.h"
#include "pool_task.h"
#include "private_access.h"

#define EXPOSE_POOL(Tag, member) \
  struct Tag {                   \
    friend auto Get(Tag);        \
  };                             \
  template struct Expose<Tag, &tovkit::ThreadPool::member>
EXPOSE_POOL(PoolLock, lock);
EXPOSE_POOL(PoolCondition, workAvailable);
EXPOSE_POOL(PoolThreadIds, threadIds);
EXPOSE_POOL(PoolQueueHead, queueHead);
EXPOSE_POOL(PoolShutdown, shutdown);
EXPOSE_POOL(PoolThreadCount, threadCount);
EXPOSE_POOL(PoolQueueSize, queueSize);

namespace {

using tovkit::PoolTask;
using tovkit::Runnable;
using tovkit::ThreadPool;

constexpr char kWorkLine[] = "----------------------thread start working\n";

int QueueSize(ThreadPool& pool) {
  pthread_mutex_lock(&(pool.*Get(PoolLock{})));
  const int size = pool.*Get(PoolQueueSize{});
  pthread_mutex_unlock(&(pool.*Get(PoolLock{})));
  return size;
}

void WaitUntil(const auto& condition) {
  while (!condition()) std::this_thread::sleep_for(std::chrono::microseconds(200));
}

void* CountOne(void* counter) {
  ++*static_cast<std::atomic<int>*>(counter);
  return nullptr;
}

// Holds the workers that take it until it is opened.
class Gate : public Runnable {
 public:
  int run() override {
    ++waiting;
    while (!open) usleep(200);
    return 0;
  }
  std::atomic<int> waiting{0};
  std::atomic<bool> open{false};
};

// Every worker line goes to a captured stream, so that the report stays readable.
class ThreadPoolTest : public testing::Test {
 protected:
  void SetUp() override {
    faults::Reset();
    testing::internal::CaptureStdout();
  }
  void TearDown() override {
    faults::Reset();
    if (!taken) testing::internal::GetCapturedStdout();
  }
  std::string Output() {
    taken = true;
    return testing::internal::GetCapturedStdout();
  }
  bool taken = false;
};

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
  EXPECT_EQ(at(pool.*Get(PoolLock{})), offsetof(Expected, lock));
  EXPECT_EQ(at(pool.*Get(PoolCondition{})), offsetof(Expected, workAvailable));
  EXPECT_EQ(at(pool.*Get(PoolThreadIds{})), offsetof(Expected, threadIds));
  EXPECT_EQ(at(pool.*Get(PoolQueueHead{})), offsetof(Expected, queueHead));
  EXPECT_EQ(at(pool.*Get(PoolShutdown{})), offsetof(Expected, shutdown));
  EXPECT_EQ(at(pool.*Get(PoolThreadCount{})), offsetof(Expected, threadCount));
  EXPECT_EQ(at(pool.*Get(PoolQueueSize{})), offsetof(Expected, queueSize));
  static_assert(offsetof(PoolTask, function) == 0 && offsetof(PoolTask, argument) == 8 &&
                offsetof(PoolTask, runnable) == 16 && offsetof(PoolTask, kind) == 24 &&
                offsetof(PoolTask, next) == 32 && sizeof(PoolTask) == 40);
}

TEST_F(ThreadPoolTest, FreshPoolIsEmpty) {
  ThreadPool pool;
  EXPECT_EQ(pool.*Get(PoolThreadIds{}), nullptr);
  EXPECT_EQ(pool.*Get(PoolQueueHead{}), nullptr);
  EXPECT_EQ(pool.*Get(PoolShutdown{}), 0);
  EXPECT_EQ(pool.*Get(PoolThreadCount{}), 0);
  EXPECT_EQ(pool.*Get(PoolQueueSize{}), 0);
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

TEST_F(ThreadPoolTest, APoolHasAtLeastTenWorkers) {
  const std::pair<int, int> cases[] = {{0, 10}, {-5, 10}, {9, 10}, {10, 10}, {11, 11}, {16, 16}};
  for (const auto& [asked, expected] : cases) {
    const int workers = expected;
    faults::Reset();
    ThreadPool pool;
    EXPECT_EQ(pool.init(asked), 0);
    EXPECT_EQ(faults::pthreadCreate.calls(), workers) << asked;
    EXPECT_EQ(pool.*Get(PoolThreadCount{}), workers) << asked;
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

TEST_F(ThreadPoolTest, RunsRunnablesAndFunctionsWithOneLineEach) {
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

TEST_F(ThreadPoolTest, QueuedItemsRunInInsertionOrder) {
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
    WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*Get(PoolShutdown{})).load() != 0; });
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
      WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*Get(PoolShutdown{})).load() != 0; });
      gate.open = true;
    });
    EXPECT_EQ(pool.destroy(), 0);
    opener.join();
    EXPECT_EQ(pool.*Get(PoolQueueHead{}), nullptr);
    EXPECT_EQ(pool.*Get(PoolQueueSize{}), 0);
    EXPECT_EQ(pool.*Get(PoolThreadCount{}), 0);
    EXPECT_EQ(pool.*Get(PoolThreadIds{}), nullptr);

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
    WaitUntil([&] { return std::atomic_ref<int32_t>(pool.*Get(PoolShutdown{})).load() != 0; });
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

TEST_F(ThreadPoolTest, NoMemoryForTheThreadIds) {
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
  EXPECT_EQ(pool.*Get(PoolThreadCount{}), 0);
  EXPECT_EQ(pool.addTask(CountOne, &calls), 0) << "queued, with nobody to run it";
  EXPECT_EQ(pool.init(10), -1) << "destroy it first";
  EXPECT_EQ(pool.destroy(), 0);
  EXPECT_EQ(pool.destroy(), -1);
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(Output(), "pthread_create error\n");
}

TEST_F(ThreadPoolTest, WorkersBeforeOneThatCannotBeCreatedKeepRunning) {
  std::atomic<int> calls{0};
  auto pool = std::make_unique<ThreadPool>();
  faults::pthreadCreate.Fail(EAGAIN, 1, 4);
  EXPECT_EQ(pool->init(10), -1);
  EXPECT_EQ(faults::pthreadCreate.calls(), 5);
  EXPECT_EQ((*pool).*Get(PoolThreadCount{}), 0) << "the remaining fields are not set";
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
  faults::flagBeforeCondWait = &(pool.*Get(PoolShutdown{}));
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
