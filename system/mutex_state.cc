#include "mutex_state.h"

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

}  // namespace tovkit
