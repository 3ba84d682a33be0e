#include "mutex_state.h"

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

}  // namespace tovkit
