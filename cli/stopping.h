// SPDX-License-Identifier: MIT
// Stopping: for as long as the object lives, signals that ask for the end (INT, TERM, HUP) are passed on as a
// request to stop. Signals that the caller had ignored stay ignored, and a pipe that nobody reads is an error
// and not the end.
#pragma once

#include "jobs/stop_request.h"

namespace cli {

class Stopping {
 public:
  // What a second signal does: it is passed on too, or it ends the process with kInterrupted, whatever that
  // is waiting for.
  enum Second { kPassOn, kEnd };

  // One at a time in a process. The request stays the caller's.
  explicit Stopping(jobs::StopRequest& stop, Second second = kPassOn);
  // The signals are ignored from now on.
  ~Stopping();
  Stopping(const Stopping&) = delete;
  Stopping& operator=(const Stopping&) = delete;
};

}  // namespace cli
