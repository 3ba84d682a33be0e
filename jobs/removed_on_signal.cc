// SPDX-License-Identifier: MIT
// The handler may run at any instruction, so it touches no heap and takes no lock. Paths lie in a fixed table
// of places, each published by one atomic flag:
//
//     free --taken--> being filled --filled--> removed by the handler
//
// A file is removed only if device and inode are still those that were noted.
#include "removed_on_signal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>

namespace jobs {

namespace {

// What the handler reads: plain memory, since a signal may come in the middle of any allocation.
struct Place {
  std::atomic<bool> taken = false;
  std::atomic<bool> filled = false;
  char path[PATH_MAX];
  dev_t device;
  ino_t inode;
};
static_assert(std::atomic<bool>::is_always_lock_free);

constexpr std::size_t kPlaces = 8;
Place places[kPlaces];

constexpr int kFatalSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGABRT, SIGPIPE,   SIGALRM, SIGTERM,
                                 SIGUSR1, SIGUSR2, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF};

// Threads that create a file at this moment.
std::atomic<int> creating = 0;
static_assert(std::atomic<int>::is_always_lock_free);

// A thread that creates a file takes no signals, so this never waits for its own thread. Creating takes much
// less than a second, but a folder may hang, so the wait is bounded.
void WaitForCreations() {
  constexpr timespec kPause = {0, 1'000'000};
  for (int pause = 0; creating.load() > 0 && pause < 2000; ++pause) nanosleep(&kPause, nullptr);
}

// The signal is blocked while its handler runs; it ends the process on return.
void RemoveAndEnd(int signal) {
  WaitForCreations();
  for (Place& place : places) {
    if (!place.filled.load(std::memory_order_acquire)) continue;
    struct stat info {};
    if (lstat(place.path, &info) == 0 && info.st_dev == place.device && info.st_ino == place.inode) {
      unlink(place.path);
    }
  }
  std::signal(signal, SIG_DFL);
  raise(signal);
}

bool HandleSignals() {
  struct sigaction removing {};
  removing.sa_handler = RemoveAndEnd;
  for (const int signal : kFatalSignals) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if ((before.sa_flags & SA_SIGINFO) == 0 && before.sa_handler == SIG_DFL) {
      sigaction(signal, &removing, nullptr);
    }
  }
  return true;
}

void HandleSignalsOnce() { [[maybe_unused]] static const bool handled = HandleSignals(); }

std::size_t TakePlace() {
  std::size_t place = 0;
  while (place < kPlaces && places[place].taken.exchange(true)) ++place;
  return place;
}

}  // namespace

RemovedOnSignal::RemovedOnSignal(const std::string& path, int fd) : place_(TakePlace()) {
  HandleSignalsOnce();
  if (place_ == kPlaces) return;
  Place& place = places[place_];
  struct stat info {};
  if (path.size() >= sizeof place.path || fstat(fd, &info) != 0) return;
  std::memcpy(place.path, path.c_str(), path.size() + 1);
  place.device = info.st_dev;
  place.inode = info.st_ino;
  place.filled.store(true, std::memory_order_release);
}

RemovedOnSignal::~RemovedOnSignal() {
  if (place_ == kPlaces) return;
  places[place_].filled.store(false);
  places[place_].taken.store(false);
}

EndHeldBack::EndHeldBack() {
  HandleSignalsOnce();
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before_);
  ++creating;
}

EndHeldBack::~EndHeldBack() {
  --creating;
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

}  // namespace jobs
