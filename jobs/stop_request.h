// SPDX-License-Identifier: MIT
// StopRequest: asks an executor to stop, from a signal handler or another thread.
#pragma once

#include "folder.h"

#include <atomic>

namespace jobs {

class StopRequest {
 public:
  enum Level { kNone, kFinish, kNow };

  StopRequest();

  // The first call lets what runs finish, the second stops at once. Safe in a signal handler.
  void Raise();
  // Lets what runs finish, without being the first call: somebody else than the user wishes it.
  void GiveUp();
  Level level() const;
  // Whether the user wished it.
  bool raised() const { return raised_.load() != 0; }
  // Readable once there was a call.
  int descriptor() const { return event_.get(); }

 private:
  void Signal();

  OpenDescriptor event_;
  std::atomic<int> raised_ = 0;  // calls, of which two count
  std::atomic<bool> givenUp_ = false;
};

}  // namespace jobs
