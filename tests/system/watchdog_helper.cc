// A process of its own for what touches the watchdog's start and the process's end. The argument names what
// to do; the exit status is 0 when it went as it should.
#include <dlfcn.h>
#include <pthread.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "mutex_state.h"
#include "private_access.h"

struct WatchState {
  friend auto Get(WatchState);
};
template struct Expose<WatchState, &tovkit::WatchedMutex::watchState>;

namespace {

std::atomic<bool> failCreation{false};
std::atomic<int> creations{0};
std::atomic<time_t> timeShift{0};

// Not negative: what time() gives instead of the time.
std::atomic<time_t> fixedTime{-1};
// The next time() of this thread takes until the watchdog has looked twice.
thread_local bool slowTime = false;
// How often the watchdog has gone to sleep, and for how long it did last.
std::atomic<int> sleeps{0};
std::atomic<unsigned> lastSleep{0};

using tovkit::WatchedMutex;

// A pass may be under way: the next one sees what was done before the call.
void WaitForTwoPasses() {
  const int seen = sleeps;
  while (sleeps < seen + 2) sched_yield();
}

tovkit::MutexState& StateOf(WatchedMutex& mutex) { return *(mutex.*Get(WatchState{})); }
bool IsLocked(WatchedMutex& mutex) { return tovkit::LoadShared(StateOf(mutex).locked); }

// Never destroyed: they are in the registry to the end.
WatchedMutex* held[20];

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

int CreationFails() {
  failCreation = true;
  held[0] = new WatchedMutex("first", 5);
  failCreation = false;
  held[0]->lock();
  held[0]->unlock();
  WatchedMutex unwatched("unwatched", 0);
  std::atomic<bool> second{false};
  std::thread([&second] {
    held[1] = new WatchedMutex("second", 5);
    second = true;
  }).detach();
  usleep(300000);
  std::fflush(stdout);
  // Destroying `unwatched` would block as well: leave by exit.
  std::exit(second || creations != 2 ? 1 : 0);
}

int Unwatched() {
  const WatchedMutex zero("zero", 0), negative("negative", -7);
  return creations == 0 ? 0 : 1;
}

// A hold is overdue from the second after its time-out on, and a lock time before the epoch's first second
// never is.
int StrictlyOverdue() {
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

// Ids count from 1 over watched and unwatched ones.
int FirstIds() {
  WatchedMutex unwatched("a", 0), watched("b", 5);
  return StateOf(unwatched).id == 1 && StateOf(watched).id == 2 ? 0 : 1;
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
  sched_yield();
  return 0;
}

time_t time(time_t* out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (std::exchange(slowTime, false)) WaitForTwoPasses();
  const time_t shifted = fixedTime >= 0 ? fixedTime.load() : now.tv_sec + timeShift;
  if (out != nullptr) *out = shifted;
  return shifted;
}

}  // extern "C"
#pragma GCC visibility pop

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  if (what == "end-awake") return EndAwake(argc > 2 ? std::atoi(argv[2]) : 0);
  if (what == "end-busy") return EndBusy();
  if (what == "creation-fails") return CreationFails();
  if (what == "unwatched") return Unwatched();
  if (what == "strictly-overdue") return StrictlyOverdue();
  if (what == "looks-during-lock") return LooksDuringLock();
  if (what == "first-ids") return FirstIds();
  return 2;
}
