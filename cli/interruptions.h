// SPDX-License-Identifier: MIT
// Interruptions: the signals that ask a supervisor to end (INT, QUIT, TERM, HUP), and the news of children.
//
// Between construction and Hold() signals are noted, so that children start with the signal mask that the
// supervisor was given. From Hold() on they wait until they are taken. A signal that the caller had ignored
// (nohup) stays ignored, in children too.
//
//   Interruptions interruptions;
//   Start();
//   interruptions.Hold();
//   while (Runs()) Handle(interruptions.Take(deadline));
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace cli {

using Clock = std::chrono::steady_clock;

struct Interruption {
  int signal = 0;             // 0 for news of a child or the end of the time
  bool fromTerminal = false;  // sent to everybody in the foreground, not to this process alone
};

class Interruptions {
 public:
  // One at a time in a process.
  Interruptions();
  Interruptions(const Interruptions&) = delete;
  Interruptions& operator=(const Interruptions&) = delete;

  void Hold();

  // The next interruption: waits for a signal, for a child to end or stop, or for the time.
  Interruption Take(std::optional<Clock::time_point> until);

  // Ends this process by the signal.
  [[noreturn]] static void EndBy(int signal);

 private:
  sigset_t taken_;
};

}  // namespace cli
