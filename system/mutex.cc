// Mutex and MutexLocker.
#include <tovkit/system.h>

#include "mutex_state.h"

namespace tovkit {

Mutex::Mutex() : state(NewMutexState().release()) {}

Mutex::~Mutex() { MutexStateDeleter()(state); }

TOVKIT_IN_ONE_CACHE_LINE void Mutex::lock() { LockState(*state); }

TOVKIT_IN_ONE_CACHE_LINE void Mutex::unlock() { UnlockState(*state); }

MutexLocker::MutexLocker(Mutex* mutexToLock) : mutex(mutexToLock) { mutex->lock(); }

MutexLocker::~MutexLocker() { mutex->unlock(); }

}  // namespace tovkit
