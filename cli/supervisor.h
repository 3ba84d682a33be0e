// SPDX-License-Identifier: MIT
// Supervise: stays with a program until it has ended, or ends it.
//
// A time-out ends everything that the program has started: TERM to all, then KILL to whoever is left. A
// signal to this process alone is passed on to the program and to its children in the same process group; it
// starts the time until KILL as well. Signals from the terminal reach the program by themselves and are not
// passed on: the program decides. Children that outlive a program that ended in time are left alone.
#pragma once

#include "interruptions.h"
#include "process_tree.h"

#include <tovkit/system.h>

#include <chrono>
#include <cstddef>

namespace cli {

constexpr std::chrono::milliseconds kNoLimit{-1};

struct Limits {
  std::chrono::milliseconds timeout = kNoLimit;
  std::chrono::milliseconds killAfter{5000};  // between TERM and KILL
};

struct Ending {
  bool timedOut = false;
  bool executed = true;   // false when the child never became the program
  int signal = 0;         // signal that ended the program, 0 for none
  int interruption = 0;   // that reached this process and ended the program, 0 for none
  std::size_t alive = 0;  // processes that KILL has not ended
};

// Precondition: `process` has been started, and nothing has waited for it. Waits for it, unless even KILL
// does not end it.
[[nodiscard]] Ending Supervise(tovkit::Process& process, const ProcessTree& tree,
                               Interruptions& interruptions, const Limits& limits);

}  // namespace cli
