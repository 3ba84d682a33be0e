// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <deque>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "build_kind.h"
#include "faults.h"
#include "mutex_state.h"
#include "shared_field.h"
#include "test_access.h"

namespace {

using tovkit::Mutex;
using tovkit::MutexLocker;
using tovkit::MutexState;
using tovkit::TestAccess;
using tovkit::WatchedMutex;

MutexState& StateOf(Mutex& mutex) { return *(mutex.*TestAccess::baseState); }
MutexState& WatchStateOf(WatchedMutex& mutex) { return *(mutex.*TestAccess::watchState); }

bool IsLocked(WatchedMutex& mutex) { return tovkit::LoadShared(WatchStateOf(mutex).locked); }

// True when the POSIX mutex is free.
bool IsFree(pthread_mutex_t* mutex) {
  if (pthread_mutex_trylock(mutex) != 0) return false;
  pthread_mutex_unlock(mutex);
  return true;
}

TEST(MutexTest, RecordsStandInTheirFixedOrder) {
  struct Expected {
    pthread_mutex_t* mutex;
    time_t lockTime, unlockTime;
    int32_t timeout;
    bool locked, valid;
    int64_t id;
    char name[256];
  };
  static_assert(sizeof(MutexState) == sizeof(Expected) &&
                offsetof(MutexState, mutex) == offsetof(Expected, mutex) &&
                offsetof(MutexState, lockTime) == offsetof(Expected, lockTime) &&
                offsetof(MutexState, unlockTime) == offsetof(Expected, unlockTime) &&
                offsetof(MutexState, timeout) == offsetof(Expected, timeout) &&
                offsetof(MutexState, locked) == offsetof(Expected, locked) &&
                offsetof(MutexState, valid) == offsetof(Expected, valid) &&
                offsetof(MutexState, id) == offsetof(Expected, id) &&
                offsetof(MutexState, name) == offsetof(Expected, name));
  static_assert(sizeof(Mutex) == 2 * sizeof(void*) && sizeof(WatchedMutex) == 3 * sizeof(void*) &&
                sizeof(MutexLocker) == sizeof(void*));
  static_assert(std::has_virtual_destructor_v<Mutex> && std::is_base_of_v<Mutex, WatchedMutex>);
}

template <typename... Classes>
constexpr bool kStayInPlace = ((!std::is_copy_constructible_v<Classes> &&
                                !std::is_copy_assignable_v<Classes> &&
                                !std::is_move_constructible_v<Classes> &&
                                !std::is_move_assignable_v<Classes>)&&...);
static_assert(kStayInPlace<tovkit::Thread, tovkit::Runnable, tovkit::ThreadPool, Mutex, WatchedMutex,
                           MutexLocker, tovkit::Process, tovkit::ProcessMonitor, tovkit::SharedMemory>);

TEST(MutexTest, RemembersWhenItWasLockedAndUnlocked) {
  Mutex mutex;
  const MutexState& state = StateOf(mutex);
  EXPECT_TRUE(state.valid);
  EXPECT_TRUE(IsFree(state.mutex));
  const time_t before = time(nullptr);
  mutex.lock();
  EXPECT_TRUE(state.locked);
  EXPECT_FALSE(IsFree(state.mutex));
  EXPECT_GE(state.lockTime, before);
  EXPECT_LE(state.lockTime, time(nullptr));
  mutex.unlock();
  EXPECT_FALSE(state.locked);
  EXPECT_TRUE(IsFree(state.mutex));
  EXPECT_GE(state.unlockTime, state.lockTime);
  EXPECT_LE(state.unlockTime, time(nullptr));
}

template <typename AnyMutex>
void ExpectExclusion(AnyMutex& mutex) {
  constexpr int kRounds = 20000;
  int plain = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kRounds; ++i) {
        const MutexLocker guard(&mutex);
        ++plain;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(plain, 4 * kRounds);
}

TEST(MutexTest, ExcludesOthers) {
  Mutex plain;
  ExpectExclusion(plain);
  WatchedMutex watched("exclusion", 1000);
  ExpectExclusion(watched);
}

// The state of a thread as the kernel has it, 'S' for one that waits.
char StateOfThread(pid_t id) {
  std::ifstream in("/proc/self/task/" + std::to_string(id) + "/stat");
  std::string line;
  std::getline(in, line);
  const std::size_t behindName = line.rfind(')');
  return behindName == std::string::npos ? '?' : line[behindName + 2];
}

// Non-recursive; only another thread's unlock ends the wait.
TEST(MutexTest, LockBlocksForGoodWhenTheCallingThreadHoldsItAlready) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "ThreadSanitizer ends a program that does so";
#endif
  Mutex mutex;
  std::atomic<pid_t> waiting{0};
  std::atomic<bool> through{false};
  std::thread twice([&] {
    mutex.lock();
    waiting = static_cast<pid_t>(syscall(SYS_gettid));
    mutex.lock();
    through = true;
    mutex.unlock();
  });
  while (waiting == 0) std::this_thread::yield();
  // There is nothing that it could wait for but the mutex.
  while (StateOfThread(waiting) != 'S') std::this_thread::yield();
  EXPECT_FALSE(through);
  mutex.unlock();
  twice.join();
  EXPECT_TRUE(through);
}

TEST(MutexTest, TheGuardUsesTheVirtualCalls) {
  class Counting : public Mutex {
   public:
    void lock() override { ++locks; }
    void unlock() override { ++unlocks; }
    int locks = 0, unlocks = 0;
  } mutex;
  {
    const MutexLocker guard(&mutex);
    EXPECT_EQ(mutex.locks, 1);
    EXPECT_EQ(mutex.unlocks, 0);
  }
  EXPECT_EQ(mutex.unlocks, 1);
}

TEST(WatchedMutexTest, ARecordAsConstructed) {
  WatchedMutex mutex("page cache", 10);
  const MutexState& state = WatchStateOf(mutex);
  EXPECT_STREQ(state.name, "page cache");
  EXPECT_EQ(state.timeout, 10);
  EXPECT_EQ(state.lockTime, 0);
  EXPECT_FALSE(state.locked);
  EXPECT_TRUE(state.valid);
  EXPECT_TRUE(IsFree(state.mutex));
  EXPECT_GE(state.id, 1);
}

TEST(WatchedMutexTest, OnlyAnUnwatchedOneLeavesItsRecordBehind) {
  SKIP_WITHOUT_OWN_MALLOC();
  faults::Reset();
  faults::blockSize = sizeof(MutexState);
  { const WatchedMutex watched("watched", 1000); }
  { const Mutex plain; }
  EXPECT_EQ(faults::BlocksInUse(), 0);
  for (const int timeout : {0, -1}) const WatchedMutex unwatched("unwatched", timeout);
  EXPECT_EQ(faults::BlocksInUse(), 2);
  faults::Reset();
}

TEST(WatchedMutexTest, ANullNameCountsAsSWMutexAndOnly255CharactersAreKept) {
  const std::string text(300, 'n');
  for (const size_t length : {size_t{0}, size_t{1}, size_t{254}, size_t{255}, size_t{256}, size_t{300}}) {
    WatchedMutex mutex(text.substr(0, length).c_str(), 10);
    EXPECT_EQ(std::string(WatchStateOf(mutex).name), text.substr(0, std::min(length, size_t{255})));
    for (size_t i = std::min(length, size_t{255}); i < 256; ++i) EXPECT_EQ(WatchStateOf(mutex).name[i], 0);
  }
  WatchedMutex unnamed(nullptr, 10);
  EXPECT_STREQ(WatchStateOf(unnamed).name, "SWMutex");
}

TEST(WatchedMutexTest, IdsCountUp) {
  WatchedMutex first("a", 10), second("b", 10);
  EXPECT_EQ(WatchStateOf(second).id, WatchStateOf(first).id + 1);
}

TEST(WatchedMutexTest, LocksItsOwnRecordAndNotTheBase) {
  WatchedMutex mutex("own", 10);
  pthread_mutex_t* base = StateOf(mutex).mutex;
  const time_t before = time(nullptr);
  mutex.lock();
  EXPECT_TRUE(IsLocked(mutex));
  EXPECT_FALSE(IsFree(WatchStateOf(mutex).mutex));
  EXPECT_GE(WatchStateOf(mutex).lockTime, before);
  EXPECT_TRUE(IsFree(base));
  EXPECT_FALSE(StateOf(mutex).locked);
  mutex.unlock();
  EXPECT_FALSE(IsLocked(mutex));
  EXPECT_TRUE(IsFree(WatchStateOf(mutex).mutex));
  EXPECT_GE(WatchStateOf(mutex).unlockTime, before);
}

// Two passes of the watchdog and a machine that is very busy.
constexpr auto kPatience = std::chrono::seconds(120);

bool BecomesReleased(WatchedMutex& mutex) {
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  while (IsLocked(mutex)) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

// The output with "N" for every number after "is ": the times differ from run to run.
std::string ReleaseLines(const std::string& output) {
  std::string lines;
  for (size_t i = 0; i < output.size(); ++i) {
    lines += output[i];
    if (lines.size() < 3 || lines.compare(lines.size() - 3, 3, "is ") != 0) continue;
    const size_t end = output.find_first_not_of("0123456789", i + 1);
    if (end != i + 1) lines += 'N';
    i = std::min(end, output.size()) - 1;
  }
  return lines;
}

TEST(WatchdogTest, ReleasesAMutexHeldTooLongOnceForEachLock) {
  testing::internal::CaptureStdout();
  {
    WatchedMutex mutex("slow page", 2);
    mutex.lock();
    const MutexState& state = WatchStateOf(mutex);
    const time_t lockTime = state.lockTime;
    EXPECT_TRUE(BecomesReleased(mutex));
    EXPECT_TRUE(IsFree(state.mutex));
    EXPECT_GT(time(nullptr) - lockTime, 2) << "strictly later than the time-out";
    mutex.unlock();  // the owner does not know

    // Another pass at least, in which nothing is printed.
    std::this_thread::sleep_for(std::chrono::seconds(6));
    mutex.lock();
    EXPECT_TRUE(BecomesReleased(mutex));
  }
  const std::string pair =
      "timeout 2 Mutex slow page start is N \n"
      "now is N compel release1\n";
  EXPECT_EQ(ReleaseLines(testing::internal::GetCapturedStdout()), pair + pair);
}

// What the watchdog prints about a handful of mutexes that are locked in another order than they were made.
std::string ReleaseSeveral() {
  testing::internal::CaptureStdout();
  {
    WatchedMutex first("first", 1);
    auto gone = std::make_unique<WatchedMutex>("gone", 1);
    WatchedMutex third("third", 1), patient("patient", 100000), unwatched("unwatched", 0), last("last", 1);
    gone.reset();
    for (WatchedMutex* mutex : {&last, &third, &patient, &unwatched, &first}) mutex->lock();
    for (WatchedMutex* mutex : {&first, &third, &last}) EXPECT_TRUE(BecomesReleased(*mutex));
    for (WatchedMutex* mutex : {&patient, &unwatched}) {
      EXPECT_TRUE(IsLocked(*mutex));
      mutex->unlock();
    }
  }
  return testing::internal::GetCapturedStdout();
}

TEST(WatchdogTest, WalksInOrderOfConstructionAndForgetsTheDestroyed) {
  std::string expected;
  for (const char* name : {"first", "third", "last"}) {
    expected += std::string("timeout 1 Mutex ") + name + " start is N \nnow is N compel release1\n";
  }
  // A pass may fall between two of the locks; such a round says nothing about the order.
  std::string lines;
  for (int round = 0; round < 5 && lines != expected; ++round) {
    lines = ReleaseLines(ReleaseSeveral());
    ASSERT_EQ(lines.size(), expected.size()) << lines;
  }
  EXPECT_EQ(lines, expected);
}

// Many come and go in no order, and holes in the list are closed up again and again.
TEST(WatchdogTest, ThoseThatStayAreWalkedInOrderHoweverManyWent) {
  std::mt19937 random(7);
  std::vector<std::unique_ptr<WatchedMutex>> mutexes;
  for (int i = 0; i < 3000; ++i) {
    mutexes.push_back(std::make_unique<WatchedMutex>(std::to_string(i).c_str(), 1));
    if (random() % 3 == 0) mutexes[random() % mutexes.size()].reset();
  }
  // No more stay than a thread may hold at once under ThreadSanitizer.
  std::ptrdiff_t gone = std::count(mutexes.begin(), mutexes.end(), nullptr);
  while (gone < 2950) {
    auto& mutex = mutexes[random() % mutexes.size()];
    gone += mutex != nullptr ? 1 : 0;
    mutex.reset();
  }
  std::string expected;
  testing::internal::CaptureStdout();
  WatchedMutex* last = nullptr;
  for (const auto& mutex : mutexes) {
    if (mutex == nullptr) continue;
    last = mutex.get();
    mutex->lock();
    expected += std::string("timeout 1 Mutex ") + WatchStateOf(*mutex).name +
                " start is N \nnow is N compel release1\n";
  }
  ASSERT_NE(last, nullptr);
  EXPECT_TRUE(BecomesReleased(*last));
  mutexes.clear();
  EXPECT_EQ(ReleaseLines(testing::internal::GetCapturedStdout()), expected);
}

TEST(WatchdogTest, MutexesComeAndGoWhileItLooks) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([] {
      for (int i = 0; i < (kSanitized ? 500 : 5000); ++i) {
        std::deque<WatchedMutex> several;
        for (int k = 0; k < 4; ++k) several.emplace_back("brief", 1);
        for (WatchedMutex& mutex : several) {
          const MutexLocker guard(&mutex);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

}  // namespace
