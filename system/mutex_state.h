// What a mutex object owns.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

#include "shared_field.h"

namespace tovkit {

constexpr int kMutexNameCapacity = 256;

// locked, lockTime, unlockTime and valid are written by owners without the registry's lock while the watchdog
// reads them: they go through LoadShared and StoreShared.
struct MutexState {
  pthread_mutex_t* mutex;
  time_t lockTime;
  time_t unlockTime;
  int32_t timeout;  // seconds; below 1 the mutex is not watched
  bool locked;
  bool valid;  // from construction until destruction begins
  int64_t id;
  char name[kMutexNameCapacity];
};

// A zeroed record with a mutex of default attributes, valid.
MutexState* NewMutexState();

// Destroys and frees the POSIX mutex and takes the record's validity away, in this order: nobody but the
// registry may touch the record afterwards.
void RetireMutexState(MutexState& state);

inline void LockState(MutexState& state) {
  pthread_mutex_lock(state.mutex);
  StoreShared(state.locked, true);
  StoreShared(state.lockTime, time(nullptr));
}

inline void UnlockState(MutexState& state) {
  pthread_mutex_unlock(state.mutex);
  StoreShared(state.locked, false);
  StoreShared(state.unlockTime, time(nullptr));
}

}  // namespace tovkit
