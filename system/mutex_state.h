// What a mutex object owns.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>

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

void LockState(MutexState& state);
void UnlockState(MutexState& state);

}  // namespace tovkit
