#include "mutex_state.h"

#include "shared_field.h"

namespace tovkit {

MutexState* NewMutexState() {
  auto* state = new MutexState();
  state->mutex = new pthread_mutex_t;
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

void LockState(MutexState& state) {
  pthread_mutex_lock(state.mutex);
  StoreShared(state.locked, true);
  StoreShared(state.lockTime, time(nullptr));
}

void UnlockState(MutexState& state) {
  pthread_mutex_unlock(state.mutex);
  StoreShared(state.locked, false);
  StoreShared(state.unlockTime, time(nullptr));
}

}  // namespace tovkit
