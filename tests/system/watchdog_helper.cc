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
#include <vector>

namespace {

std::atomic<bool> failCreation{false};
std::atomic<int> creations{0};
std::atomic<time_t> timeShift{0};

using tovkit::WatchedMutex;

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
  if (seconds == 5) sched_yield();
  return 0;
}

time_t time(time_t* out) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const time_t shifted = now.tv_sec + timeShift;
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
  return 2;
}
