// SPDX-License-Identifier: MIT
// Stopwatch: wall-clock time in microseconds since start().
#pragma once

#include <sys/time.h>

#include <cstdint>

namespace tovkit {

struct Stopwatch {
  bool active = false;
  int64_t startMicros = -1;

  void reset() {
    active = false;
    startMicros = -1;
  }

  void start() {
    active = true;
    startMicros = nowMicros();
  }

  // 0 when not active. A clock set back below the start gives a huge value, which ends every limited wait.
  uint64_t elapsedMicros() const { return active ? static_cast<uint64_t>(nowMicros() - startMicros) : 0; }

 private:
  static int64_t nowMicros() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<int64_t>(now.tv_sec) * 1'000'000 + now.tv_usec;
  }
};

}  // namespace tovkit
