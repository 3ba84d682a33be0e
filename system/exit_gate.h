// SPDX-License-Identifier: MIT
// ExitGate: counts the threads that use something which process exit destroys, and tells the exit when all
// have left.
//
// Its destructor does nothing, so it can be used until the very end of the process.
//
//   if (!gate.Enter()) return;   // taken down, or about to be, and nobody uses it
//   Use();
//   gate.Leave();
#pragma once

#include <unistd.h>

#include <atomic>
#include <cassert>
#include <cstdint>

namespace tovkit {

class ExitGate {
 public:
  constexpr ExitGate() = default;

  // False, for good, once the gate is closed and nobody is inside. Until then threads may enter even after
  // Close, because what the gate guards is still there.
  [[nodiscard]] bool Enter() {
    int64_t seen = inside_.load(std::memory_order_acquire);
    do {
      if (seen == kClosed) return false;
    } while (!inside_.compare_exchange_weak(seen, seen + 1, std::memory_order_acquire));
    return true;
  }

  void Leave() {
    [[maybe_unused]] const int64_t before = inside_.fetch_sub(1, std::memory_order_release);
    assert((before & ~kClosed) > 0);
  }

  // Waits up to `milliseconds` until nobody is inside, and lets nobody in from then on. False when somebody
  // is still inside, perhaps for good: what the gate guards must then be left alone.
  [[nodiscard]] bool Close(int milliseconds) {
    inside_.fetch_or(kClosed, std::memory_order_acq_rel);
    for (int waited = 0; inside_.load(std::memory_order_acquire) != kClosed; ++waited) {
      if (waited == milliseconds) return false;
      usleep(1000);
    }
    return true;
  }

 private:
  static constexpr int64_t kClosed = int64_t{1} << 62;
  std::atomic<int64_t> inside_{0};
};

}  // namespace tovkit
