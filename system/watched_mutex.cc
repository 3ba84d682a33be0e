// WatchedMutex: a mutex with a name and a longest hold time.
#include <tovkit/system.h>

#include <cstring>

#include "mutex_state.h"
#include "watch_registry.h"

namespace tovkit {

// The base part keeps a record and a POSIX mutex of its own that nobody uses: lock and unlock work on
// watchState, which the registry may free later than the object.
WatchedMutex::WatchedMutex(const char* name, int timeout) {
  OwnedMutexState record = NewMutexState();
  watchState = record.get();
  watchState->id = WatchRegistry::NextMutexId();
  watchState->timeout = timeout;
  // The record is zeroed: a name that is cut still ends.
  if (name == nullptr) name = "SWMutex";
  std::memcpy(watchState->name, name, strnlen(name, kMutexNameCapacity - 1));
  if (timeout >= 1) WatchRegistry::Add(this);
  (void)record.release();  // stays behind with the mutex
}

WatchedMutex::~WatchedMutex() { WatchRegistry::Retire(this); }

TOVKIT_IN_ONE_CACHE_LINE void WatchedMutex::lock() {
  // Before the wait: the lock may be one that only the watchdog breaks.
  if (WatchRegistry::LacksWatchdog()) [[unlikely]]
    WatchRegistry::Resume(*this);
  LockState(*watchState);
}

TOVKIT_IN_ONE_CACHE_LINE void WatchedMutex::unlock() { UnlockState(*watchState); }

}  // namespace tovkit
