// ExitGate: lets threads into something that process exit takes down, and tells the exit when all are out.
//
// Has no destructor that does anything, so it can be asked until the very end of the process.
//
//   if (!gate.Enter()) return;   // taken down, or about to be
//   Use();
//   gate.Leave();
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace tovkit {

class ExitGate {
 public:
  constexpr ExitGate() = default;

  bool Enter() {
    if ((inside_.fetch_add(1, std::memory_order_acquire) & kClosed) == 0) return true;
    Leave();
    return false;
  }

  void Leave() { inside_.fetch_sub(1, std::memory_order_release); }

  // Lets nobody in any more and waits up to `milliseconds` for those inside. True when all have left; false
  // means that one may stay for good, so that what the gate guards must be left alone.
  bool Close(int milliseconds) {
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
