// SPDX-License-Identifier: MIT
// WatchRegistry: the process-wide list of watched mutexes and the thread that looks after them.
//
// Thread-safety: every function may be called from any thread, during process exit too.
#pragma once

#include <tovkit/system.h>

#include <atomic>
#include <cstdint>

namespace tovkit {

class WatchRegistry {
 public:
  // 1 for the first call.
  static int64_t NextMutexId();

  // Adds the mutex, and starts the watchdog unless it runs. When the start fails the registry stays locked.
  static void Add(WatchedMutex* mutex);

  // Takes the POSIX mutex from a mutex that is being destroyed, then drops its entry and frees its record.
  // The record of a mutex that is not watched is left behind. What it costs does not depend on how many there
  // are.
  static void Retire(WatchedMutex* mutex);

  // True in a forked child of a process with a watchdog, until the child has one.
  static bool LacksWatchdog() { return lacksWatchdog.load(std::memory_order_relaxed); }

  // Starts the watchdog that a forked child lacks. Does nothing for a mutex that is not watched, nor while
  // the registry is locked. Then the holder starts it, or the holder is a thread that only the parent has,
  // and the child never gets a watchdog.
  static void Resume(const WatchedMutex& mutex);

 private:
  static void MarkForkedChild();
  [[nodiscard]] static bool StartWatchdog();
  static void Remove(const WatchedMutex& mutex);
  static void* WatchdogEntry(void* unused);
  static void Pass();
  static void ReleaseIfOverdue(WatchedMutex& mutex);

  friend struct RegistryOwner;
  static inline std::atomic<bool> lacksWatchdog{false};
};

}  // namespace tovkit
