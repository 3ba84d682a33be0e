// SPDX-License-Identifier: MIT
// Mutex, MutexLocker and WatchedMutex: faces of fixed layout over a MutexState each.
//
//     Mutex         state ---------> MutexState ---> pthread_mutex_t
//     WatchedMutex  state ---------> MutexState ---> pthread_mutex_t   of the base, which nobody uses
//                   watchState ----> MutexState ---> pthread_mutex_t   what is locked; also in WatchRegistry
//
// The registry shares the watched record and may free it after the object is gone.
#include <tovkit/system.h>

#include <cstring>

#include "mutex_state.h"
#include "watch_registry.h"

namespace tovkit {

OwnedMutexState NewMutexState() {
  auto mutex = std::make_unique<pthread_mutex_t>();
  OwnedMutexState state(new MutexState());
  state->mutex = mutex.release();
  pthread_mutex_init(state->mutex, nullptr);
  state->valid = true;
  return state;
}

void RetireMutexState(MutexState& state) {
  pthread_mutex_destroy(state.mutex);
  delete state.mutex;
  state.mutex = nullptr;
  StoreShared(state.valid, false);
}

Mutex::Mutex() : state(NewMutexState().release()) {}

Mutex::~Mutex() { MutexStateDeleter()(state); }

TOVKIT_IN_ONE_CACHE_LINE void Mutex::lock() { LockState(*state); }

TOVKIT_IN_ONE_CACHE_LINE void Mutex::unlock() { UnlockState(*state); }

MutexLocker::MutexLocker(Mutex* mutexToLock) : mutex(mutexToLock) { mutex->lock(); }

MutexLocker::~MutexLocker() { mutex->unlock(); }

WatchedMutex::WatchedMutex(const char* name, int timeout) {
  OwnedMutexState record = NewMutexState();
  watchState = record.get();
  watchState->id = WatchRegistry::NextMutexId();
  watchState->timeout = timeout;
  // The record is zeroed, so a name that is cut is still terminated.
  if (name == nullptr) name = "SWMutex";
  std::memcpy(watchState->name, name, strnlen(name, kMutexNameCapacity - 1));
  if (timeout >= 1) WatchRegistry::Add(this);
  (void)record.release();  // stays behind with the mutex
}

WatchedMutex::~WatchedMutex() { WatchRegistry::Retire(this); }

TOVKIT_IN_ONE_CACHE_LINE void WatchedMutex::lock() {
  // Before the wait, since only the watchdog may be able to end it.
  if (WatchRegistry::LacksWatchdog()) [[unlikely]]
    WatchRegistry::Resume(*this);
  LockState(*watchState);
}

TOVKIT_IN_ONE_CACHE_LINE void WatchedMutex::unlock() { UnlockState(*watchState); }

}  // namespace tovkit
