// SPDX-License-Identifier: MIT
// One list of watched mutexes, one lock, one thread that walks it every five seconds. Owners lock and unlock
// without the registry's lock, which would make all watched mutexes one. They write plain fields that the
// watchdog reads atomically, so it may misjudge for an instant (docs/behaviors.md).
//
// A mutex that goes leaves a hole, so that nobody has to look for its entry: entries have numbers that count
// on, and the record of the base, which a watched mutex does not use, has its entry's as id.
//
//     watchRegistry   | mutex 7 | hole | mutex 9 | mutex 10 |     front = 7, holes = 1
//
// When half of the list is holes it is closed up: a few steps for each mutex that went.
#include "watch_registry.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <deque>
#include <new>

#include "exit_gate.h"
#include "mutex_state.h"
#include "shared_field.h"

namespace tovkit {
namespace {

constexpr unsigned kPassIntervalSeconds = 5;

// How long process exit waits for a pass or a registration under way before it leaves the registry alone. In
// a forked child the thread that was inside does not exist and never leaves.
constexpr int kExitPatienceMilliseconds = 100;

// Built when the library is loaded; at exit the mutex goes first, then the list.
struct Registry {
  std::deque<WatchedMutex*> watchRegistry;  // in the order of registration; null for a hole
  Mutex registryMutex;
  int64_t front = 1;                         // the number of the first entry
  std::size_t holes = 0;                     // never at either end
  std::atomic<bool> watchdogStarted{false};  // written under the mutex, and by a forked child
};

ExitGate gate;
int64_t nextMutexId = 0;
alignas(Registry) unsigned char registryStorage[sizeof(Registry)];
Registry* registry = nullptr;

}  // namespace

// The storage outlives the owner: when somebody is still inside, the registry is not taken down at all.
struct RegistryOwner {
  RegistryOwner() {
    registry = new (registryStorage) Registry;
    pthread_atfork(nullptr, nullptr, &WatchRegistry::MarkForkedChild);
  }
  ~RegistryOwner() {
    if (gate.Close(kExitPatienceMilliseconds)) registry->~Registry();
  }
};
static const RegistryOwner registryOwner;

// Runs in every child, those that only execute a program among them, and takes no lock: one that a thread of
// the parent held stays locked here.
void WatchRegistry::MarkForkedChild() {
  if (!registry->watchdogStarted) return;
  registry->watchdogStarted = false;
  lacksWatchdog = true;
}

int64_t WatchRegistry::NextMutexId() { return std::atomic_ref<int64_t>(nextMutexId).fetch_add(1) + 1; }

void WatchRegistry::Add(WatchedMutex* mutex) {
  if (!gate.Enter()) return;
  registry->registryMutex.lock();
  try {
    registry->watchRegistry.push_back(mutex);
    mutex->state->id = registry->front + static_cast<int64_t>(registry->watchRegistry.size()) - 1;
  } catch (...) {
    registry->registryMutex.unlock();
    gate.Leave();
    throw;
  }
  // Compatibility: without a watchdog the registry stays locked and the gate occupied. A process whose
  // mutexes cannot be watched is to stand still rather than go on unwatched.
  if (!StartWatchdog()) return;
  registry->registryMutex.unlock();
  gate.Leave();
}

// Under the registry's lock. Nothing when it runs; false when it cannot be started.
bool WatchRegistry::StartWatchdog() {
  if (registry->watchdogStarted) return true;
  pthread_t watchdog = 0;
  if (pthread_create(&watchdog, nullptr, &WatchRegistry::WatchdogEntry, nullptr) != 0) {
    std::printf("pthread_create error\n");
    return false;
  }
  registry->watchdogStarted = true;
  lacksWatchdog = false;
  return true;
}

void WatchRegistry::Resume(const WatchedMutex& mutex) {
  if (mutex.watchState->timeout < 1 || !gate.Enter()) return;
  if (TryLockState(*registry->registryMutex.state)) {
    if (!StartWatchdog()) return;  // as in Add
    registry->registryMutex.unlock();
  }
  gate.Leave();
}

// Under the registry's lock, as Add and Pass are.
void WatchRegistry::Remove(const WatchedMutex& mutex) {
  const int64_t number = mutex.state->id;
  if (number == 0) return;  // never added
  std::deque<WatchedMutex*>& entries = registry->watchRegistry;
  assert(entries[static_cast<std::size_t>(number - registry->front)] == &mutex);
  entries[static_cast<std::size_t>(number - registry->front)] = nullptr;
  ++registry->holes;
  for (; !entries.empty() && entries.back() == nullptr; --registry->holes) entries.pop_back();
  for (; !entries.empty() && entries.front() == nullptr; --registry->holes) {
    entries.pop_front();
    ++registry->front;
  }
  if (registry->holes * 2 <= entries.size()) return;
  entries.erase(std::remove(entries.begin(), entries.end(), nullptr), entries.end());
  registry->holes = 0;
  int64_t next = registry->front;
  for (WatchedMutex* entry : entries) entry->state->id = next++;
}

// Both steps happen under the registry's lock, so that the watchdog never unlocks a mutex that is being
// freed.
void WatchRegistry::Retire(WatchedMutex* mutex) {
  if (!gate.Enter()) {
    // The process ends and nobody looks at the record any more.
    RetireMutexState(*mutex->watchState);
    if (mutex->watchState->timeout >= 1) delete mutex->watchState;
    return;
  }
  registry->registryMutex.lock();
  RetireMutexState(*mutex->watchState);
  Remove(*mutex);
  if (mutex->watchState->timeout >= 1) delete mutex->watchState;
  // A lock elsewhere may have found the registry taken.
  if (lacksWatchdog && !registry->watchRegistry.empty() && !StartWatchdog()) return;
  registry->registryMutex.unlock();
  gate.Leave();
}

void* WatchRegistry::WatchdogEntry(void* /*unused*/) {
  // Signals are the application's business; they also would cut the sleep short.
  sigset_t every;
  sigfillset(&every);
  pthread_sigmask(SIG_BLOCK, &every, nullptr);
  for (;;) {
    if (gate.Enter()) {
      Pass();
      gate.Leave();
    }
    sleep(kPassIntervalSeconds);
  }
  return nullptr;
}

void WatchRegistry::Pass() {
  registry->registryMutex.lock();
  for (WatchedMutex* entry : registry->watchRegistry) {
    if (entry != nullptr) ReleaseIfOverdue(*entry);
  }
  registry->registryMutex.unlock();
}

void WatchRegistry::ReleaseIfOverdue(WatchedMutex& mutex) {
  MutexState& state = *mutex.watchState;
  if (!LoadShared(state.locked)) return;
  const time_t now = time(nullptr);
  const time_t lockTime = LoadShared(state.lockTime);
  if (now - lockTime <= state.timeout || lockTime < 1 || state.timeout < 1) return;
  std::printf("timeout %d Mutex %s start is %ld \n", state.timeout, state.name, lockTime);
  std::printf("now is %ld compel release1\n", now);
  // Through the virtual call, from a thread that does not own the mutex.
  mutex.unlock();
  StoreShared(state.locked, false);
}

}  // namespace tovkit
