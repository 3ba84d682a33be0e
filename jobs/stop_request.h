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
  Level level() const { return static_cast<Level>(level_.load()); }
  // Readable once there was a call.
  int descriptor() const { return event_.get(); }

 private:
  OpenDescriptor event_;
  std::atomic<int> level_ = kNone;
};

}  // namespace jobs
