// SPDX-License-Identifier: MIT
// A process of its own for what touches the watchdog's start and the process's end. The argument names what
// to do; the exit status is 0 when it went as it should.
#include <dlfcn.h>
#include <pthread.h>
#include <sys/wait.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include "mutex_state.h"
#include "test_access.h"

namespace {

std::atomic<bool> failCreation{false};
std::atomic<int> creations{0};
std::atomic<time_t> timeShift{0};

// Not negative: what time() returns instead of the time.
std::atomic<time_t> fixedTime{-1};
// The next time() of this thread takes until the watchdog has looked twice.
thread_local bool slowTime = false;
// How often the watchdog has gone to sleep, and for how long it did last.
std::atomic<int> sleeps{0};
std::atomic<unsigned> lastSleep{0};

// Where the watchdog or another thread is to stop until nobody wants it to stop there any more, and where it
// stands.
enum Place { kNowhere, kBetweenPasses, kInAPass, kInAConstruction, kInADestruction };
std::atomic<Place> stopAt{kNowhere}, standsAt{kNowhere};
thread_local bool isMain = false;

void StopAt(Place here) {
  if (isMain || stopAt != here) return;
  standsAt = here;
  while (stopAt == here) sched_yield();
  standsAt = kNowhere;
}

using tovkit::TestAccess;
using tovkit::WatchedMutex;

// A pass may be under way: the next one sees what was done before the call.
void WaitForTwoPasses() {
  const int seen = sleeps;
  while (sleeps < seen + 2) sched_yield();
}

tovkit::MutexState& StateOf(WatchedMutex& mutex) { return *(mutex.*TestAccess::watchState); }
bool IsLocked(WatchedMutex& mutex) { return tovkit::LoadShared(StateOf(mutex).locked); }

// Never destroyed: they are in the registry to the end.
WatchedMutex* held[20];
WatchedMutex* many[1000];

// The list of the registry finds no memory when it grows.
std::atomic<bool> failListNodes{false};
constexpr std::size_t kListNode = 512;
// From here on nobody may sleep.
std::atomic<bool> ends{false};

// Returns whether `call` is still running after a while.
template <typename Call>
bool Blocks(Call call) {
  static std::atomic<bool> done;
  done = false;
  std::thread([call] {
    call();
    done = true;
  }).detach();
  usleep(300000);
  return !done;
}

// The watchdog never sleeps here, so that it is awake whenever the process ends.
int EndAwake(int spin) {
  for (WatchedMutex*& mutex : held) {
    mutex = new WatchedMutex("held", 1);
    mutex->lock();
  }
  timeShift = 1000;
  for (std::atomic<int> left{spin}; left > 0; --left) {
  }
  return 0;
}

// Threads construct and destroy watched mutexes while the process ends.
int EndBusy() {
  for (int i = 0; i < 3; ++i) {
    std::thread([] {
      for (;;) const WatchedMutex brief("brief", 5);
    }).detach();
  }
  usleep(2000);
  return 0;
}

// The first watched mutex starts the watchdog. When that fails, every later construction or destruction of a
// watched mutex blocks for good.
int FirstWatchedMutexCannotStartTheWatchdog() {
  failCreation = true;
  held[0] = new WatchedMutex("first", 5);
  failCreation = false;
  if (creations != 1) return 1;
  held[0]->lock();
  held[0]->unlock();
  const bool constructionBlocks = Blocks([] { held[1] = new WatchedMutex("second", 5); });
  const bool destructionBlocks = Blocks([] { delete held[0]; });
  std::fflush(stdout);
  return constructionBlocks && destructionBlocks ? 0 : 2;
}

// Below 1 a mutex is not watched: no watchdog is started for it.
int ATimeoutBelowOneIsNotWatched() {
  const WatchedMutex zero("zero", 0), negative("negative", -7);
  return creations == 0 ? 0 : 1;
}

// The timeout is in seconds. A hold is overdue from the second after its time-out on, and a lock time before
// the epoch's first second never is.
int TimeoutIsInSeconds() {
  fixedTime = 1000;
  WatchedMutex mutex("strict", 2);
  mutex.lock();
  fixedTime = 1002;
  WaitForTwoPasses();
  if (!IsLocked(mutex)) return 1;
  fixedTime = 1003;
  WaitForTwoPasses();
  if (IsLocked(mutex) || StateOf(mutex).unlockTime != 1003) return 3;
  WaitForTwoPasses();

  fixedTime = 0;
  mutex.lock();
  fixedTime = 1000000;
  WaitForTwoPasses();
  if (!IsLocked(mutex)) return 4;
  mutex.unlock();
  return lastSleep == 5 ? 0 : 5;
}

// The watchdog looks while a hold begins whose mutex was last held long ago.
int LooksDuringLock() {
  fixedTime = 1000;
  WatchedMutex mutex("begins", 1);
  mutex.lock();
  mutex.unlock();
  fixedTime = 2000;
  slowTime = true;
  mutex.lock();
  const bool kept = IsLocked(mutex);
  mutex.unlock();
  return kept ? 0 : 1;
}

// Every call has left the registry when the process ends, so that its end waits for nobody: those that
// construct, lock, unlock and destroy, and one that found no memory.
int EndReleased() {
  auto* const mutex = new WatchedMutex("brief", 5);
  mutex->lock();
  mutex->unlock();
  delete mutex;
  bool refused = false;
  failListNodes = true;
  for (WatchedMutex** next = many; !refused && next != std::end(many); ++next) {
    try {
      *next = new WatchedMutex("many", 5);
    } catch (const std::bad_alloc&) {
      refused = true;
    }
  }
  failListNodes = false;
  held[0] = new WatchedMutex("another", 5);
  WaitForTwoPasses();
  stopAt = kBetweenPasses;
  while (standsAt != kBetweenPasses) sched_yield();
  ends = true;
  return refused ? 0 : 1;
}

// Ids count from 1 over watched and unwatched ones.
int FirstIds() {
  WatchedMutex unwatched("a", 0), watched("b", 5);
  return StateOf(unwatched).id == 1 && StateOf(watched).id == 2 ? 0 : 1;
}

// Forks while the watchdog stands at `place`, runs `body` in the child and returns its exit status. The child
// has no watchdog, and counts from 0 how many it creates.
template <typename Body>
int InForkedChild(Place place, Body body) {
  stopAt = place;
  while (place != kNowhere && standsAt != place) sched_yield();
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    creations = 0;
    stopAt = standsAt = kNowhere;
    const int result = body();
    std::fflush(stdout);
    _exit(result);
  }
  // Until the watchdog has left: it must not stand there still when it is to stop the next time.
  stopAt = kNowhere;
  while (standsAt != kNowhere) sched_yield();
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

// A forked child starts a watchdog of its own, at the first lock of a watched mutex.
int ForkedChildLocks() {
  fixedTime = 1000;
  static WatchedMutex mutex("forked", 2), unwatched("unwatched", 0);
  const int result = InForkedChild(kBetweenPasses, [] {
    unwatched.lock();
    unwatched.unlock();
    if (creations != 0) return 1;
    mutex.lock();
    if (creations != 1) return 2;
    fixedTime = 1003;
    WaitForTwoPasses();
    if (IsLocked(mutex)) return 3;
    mutex.lock();
    mutex.unlock();
    const WatchedMutex another("another", 5);
    return creations == 1 ? 0 : 4;
  });
  // The parent has kept its own.
  mutex.lock();
  fixedTime = 2000;
  WaitForTwoPasses();
  return creations == 1 && !IsLocked(mutex) ? result : 10;
}

// What the parent held at the fork is the child's to release, by the watchdog that a construction or a
// destruction starts.
int ForkedChildConstructs() {
  fixedTime = 1000;
  static WatchedMutex mutex("inherited", 2);
  static auto* const brief = new WatchedMutex("brief", 2);
  mutex.lock();
  const auto isReleased = [] {
    fixedTime = 1003;
    WaitForTwoPasses();
    return creations == 1 && !IsLocked(mutex);
  };
  const int constructed = InForkedChild(kBetweenPasses, [&] {
    static const WatchedMutex late("late", 5);
    return isReleased() ? 0 : 1;
  });
  const int destroyed = InForkedChild(kBetweenPasses, [&] {
    delete brief;
    return isReleased() ? 0 : 2;
  });
  const int childOfAChild = InForkedChild(kBetweenPasses, [&] {
    static WatchedMutex late("late", 5);
    return InForkedChild(kBetweenPasses, [&] {
      late.lock();
      return isReleased() ? 0 : 3;
    });
  });
  mutex.unlock();
  return constructed + destroyed + childOfAChild;
}

// What a child does whose registry was locked at the fork by a thread that it does not have: its mutexes stay
// unwatched, its own constructions and destructions of watched mutexes block.
int StaysUnwatchedAndBlocks(WatchedMutex& inherited) {
  inherited.unlock();
  inherited.lock();
  inherited.unlock();
  if (creations != 0) return 1;
  if (!Blocks([] { held[0] = new WatchedMutex("never", 5); })) return 2;
  return Blocks([&inherited] { inherited.~WatchedMutex(); }) ? 0 : 3;
}

// The fork falls into a look of the parent's watchdog.
int ForkedDuringALookStaysUnwatchedAndBlocks() {
  fixedTime = 1000;
  static auto& mutex = *new WatchedMutex("held", 100);
  mutex.lock();
  const int result = InForkedChild(kInAPass, [] { return StaysUnwatchedAndBlocks(mutex); });
  mutex.unlock();
  return result;
}

// The fork falls into a construction or a destruction of a watched mutex by another thread.
int ForkedDuringACallStaysUnwatchedAndBlocks(Place place) {
  static auto& mutex = *new WatchedMutex("held", 100);
  static auto* const brief = new WatchedMutex("brief", 100);
  mutex.lock();
  stopAt = place;
  std::thread other([place] {
    if (place == kInADestruction) delete brief;
    // Enough for the list of the registry to grow, which happens under its lock.
    for (int i = 0; i < 100 && place == kInAConstruction; ++i) many[i] = new WatchedMutex("many", 100);
  });
  const int result = InForkedChild(place, [] { return StaysUnwatchedAndBlocks(mutex); });
  mutex.unlock();
  other.join();
  return result;
}

// A registry that stands still does so in the child too, and is no obstacle to the fork.
int ForkedFrozen() {
  failCreation = true;
  held[0] = new WatchedMutex("first", 5);
  failCreation = false;
  return InForkedChild(kNowhere, [] {
    held[0]->lock();
    held[0]->unlock();
    if (creations != 0) return 1;
    return Blocks([] { held[1] = new WatchedMutex("second", 5); }) ? 0 : 2;
  });
}

// A child that cannot be watched stands still as a parent would.
int ForkedChildCannotCreate() {
  static WatchedMutex mutex("watched", 5);
  return InForkedChild(kBetweenPasses, [] {
    failCreation = true;
    for (int i = 0; i < 3; ++i) {
      mutex.lock();
      mutex.unlock();
    }
    if (creations != 1) return 1;
    failCreation = false;
    return Blocks([] { held[0] = new WatchedMutex("second", 5); }) ? 0 : 2;
  });
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*),
                   void* argument) {
  static const auto next = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  ++creations;
  return failCreation ? EAGAIN : next(thread, attributes, entry, argument);
}

unsigned sleep(unsigned seconds) {
  lastSleep = seconds;
  ++sleeps;
  StopAt(kBetweenPasses);
  sched_yield();
  return 0;
}

int usleep(useconds_t micros) {
  static const auto next = reinterpret_cast<decltype(&usleep)>(dlsym(RTLD_NEXT, "usleep"));
  if (ends) _exit(3);
  return next(micros);
}

time_t time(time_t* out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (std::exchange(slowTime, false)) WaitForTwoPasses();
  StopAt(kInAPass);
  const time_t shifted = fixedTime >= 0 ? fixedTime.load() : now.tv_sec + timeShift;
  if (out != nullptr) *out = shifted;
  return shifted;
}

}  // extern "C"

[[gnu::noinline]] void* operator new(std::size_t size) {
  if (size == kListNode) StopAt(kInAConstruction);
  void* const block = failListNodes && size == kListNode ? nullptr : std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void operator delete(void* block) noexcept {
  StopAt(kInADestruction);
  std::free(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
#pragma GCC visibility pop

int main(int argc, char** argv) {
  isMain = true;
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "end-awake") return EndAwake(argc > 2 ? std::atoi(argv[2]) : 0);
  if (what == "end-busy") return EndBusy();
  if (what == "creation-fails") return FirstWatchedMutexCannotStartTheWatchdog();
  if (what == "unwatched") return ATimeoutBelowOneIsNotWatched();
  if (what == "strictly-overdue") return TimeoutIsInSeconds();
  if (what == "looks-during-lock") return LooksDuringLock();
  if (what == "end-released") return EndReleased();
  if (what == "first-ids") return FirstIds();
  if (what == "forked-child-locks") return ForkedChildLocks();
  if (what == "forked-child-constructs") return ForkedChildConstructs();
  if (what == "forked-during-a-pass") return ForkedDuringALookStaysUnwatchedAndBlocks();
  if (what == "forked-during-a-construction")
    return ForkedDuringACallStaysUnwatchedAndBlocks(kInAConstruction);
  if (what == "forked-during-a-destruction") return ForkedDuringACallStaysUnwatchedAndBlocks(kInADestruction);
  if (what == "forked-frozen") return ForkedFrozen();
  if (what == "forked-child-cannot-create") return ForkedChildCannotCreate();
  return 2;
}
