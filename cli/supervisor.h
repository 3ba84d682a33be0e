// SPDX-License-Identifier: MIT
// Supervise: stays with a program until it has ended, or ends it.
//
// A time-out ends everything that the program has started: TERM to all, then KILL to whoever is left. What is
// sent to this process alone is passed on to the program and those of its children that are in the same
// process group, and begins the time until KILL as well. What the terminal sends reaches the program by
// itself: nothing is passed on, and the program alone decides. Children that outlive a program that ended in
// time are left alone.
#pragma once

#include "interruptions.h"
#include "process_tree.h"

#include <tovkit/system.h>

#include <cstddef>

namespace cli {

constexpr int kNoLimit = -1;

struct Limits {
  int timeout = kNoLimit;  // milliseconds
  int killAfter = 5000;    // milliseconds between TERM and KILL
};

struct Ending {
  bool timedOut = false;
  bool executed = true;   // false when the child never became the program
  int signal = 0;         // that ended the program, 0 for none
  int interruption = 0;   // that reached this process and ended the program, 0 for none
  std::size_t alive = 0;  // processes that KILL has not ended
};

// `process` has been started, and nothing has waited for it. Afterwards it has been waited for, unless even
// KILL has not ended it.
Ending Supervise(tovkit::Process& process, const ProcessTree& tree, Interruptions& interruptions,
                 const Limits& limits);

}  // namespace cli
