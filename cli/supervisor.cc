// SPDX-License-Identifier: MIT
// Waits for four things at once: the program's end, its time-out, signals to this process, and the end of the
// time between TERM and KILL.
//
//     running --time-out--> TERM to the tree --kill time--> KILL until nobody is left
//     running --signal----> passed on        --kill time--> KILL
#include "supervisor.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

namespace cli {

namespace {

constexpr std::chrono::milliseconds kKillPause{10};
constexpr std::chrono::seconds kKillLimit{10};
constexpr unsigned kForkedWithoutExec = 0x40;  // PF_FORKNOEXEC among the flags of /proc/PID/stat

using Deadline = std::optional<Clock::time_point>;

Deadline Earlier(const Deadline& a, const Deadline& b) { return a && b ? std::min(*a, *b) : (a ? a : b); }

bool IsOver(const Deadline& deadline) { return deadline && Clock::now() >= *deadline; }

class Supervision {
 public:
  Supervision(tovkit::Process& process, const ProcessTree& tree, Interruptions& interruptions,
              const Limits& limits)
      : process_(process), tree_(tree), interruptions_(interruptions), limits_(limits) {}

  Ending Run() {
    if (limits_.timeout != kNoLimit) timeUp_ = Clock::now() + limits_.timeout;
    for (Reap(); !ended_; Reap()) {
      if (IsOver(timeUp_)) {
        ending_.timedOut = true;
        EndTree();
        break;
      }
      if (IsOver(kill_)) {
        killed_ = true;
        Kill();
        break;
      }
      HearOut(interruptions_.Take(Earlier(timeUp_, kill_)));
    }
    if (interruption_ != 0 && (killed_ || ending_.signal == interruption_)) {
      ending_.interruption = interruption_;
    }
    return ending_;
  }

 private:
  // Takes note of the program's end and clears away orphans that have ended.
  void Reap() {
    for (;;) {
      siginfo_t info = {};
      if (waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == 0) return;
      if (!ended_ && static_cast<uint64_t>(info.si_pid) == process_.pid()) {
        NoteEnd(info);
      } else {
        waitpid(info.si_pid, nullptr, WNOHANG);
      }
    }
  }

  void NoteEnd(const siginfo_t& info) {
    ended_ = true;
    if (info.si_code != CLD_EXITED) ending_.signal = info.si_status;
    ProcessStat stat;
    ending_.executed = !ReadProcessStat(info.si_pid, stat) || (stat.flags & kForkedWithoutExec) == 0;
    process_.wait(0);
  }

  void BeginKillTime() {
    if (!kill_) kill_ = Clock::now() + limits_.killAfter;
  }

  void HearOut(const Interruption& interruption) {
    if (interruption.signal == 0) return;
    interruption_ = interruption.signal;
    const bool reached =
        interruption.fromTerminal && getpgid(static_cast<pid_t>(process_.pid())) == getpgrp();
    if (reached) return;
    PassOn(interruption.signal);
    BeginKillTime();
  }

  void PassOn(int signal) {
    // The program itself, whatever group it has moved to.
    if (getpgid(static_cast<pid_t>(process_.pid())) != getpgrp()) {
      kill(static_cast<pid_t>(process_.pid()), signal);
    }
    tree_.Signal(signal, true);
  }

  // True when nothing is left, not even unreaped.
  bool IsEmpty() {
    Reap();
    return tree_.IsEmpty();
  }

  void EndTree() {
    tree_.Signal(SIGTERM, false);
    kill_.reset();
    BeginKillTime();
    while (!IsEmpty()) {
      if (IsOver(kill_)) {
        Kill();
        return;
      }
      const Interruption interruption = interruptions_.Take(kill_);
      if (interruption.signal != 0 && !interruption.fromTerminal) tree_.Signal(interruption.signal, false);
    }
  }

  // Orphans come to this process, so processes forked meanwhile are met in the next round.
  void Kill() {
    const auto giveUp = Clock::now() + kKillLimit;
    while (!IsEmpty()) {
      if (!tree_.Kill() || Clock::now() >= giveUp) {
        ending_.alive = tree_.Members().size();
        return;
      }
      interruptions_.Take(Clock::now() + kKillPause);
    }
  }

  tovkit::Process& process_;
  const ProcessTree& tree_;
  Interruptions& interruptions_;
  const Limits limits_;
  Deadline timeUp_, kill_;
  bool ended_ = false;
  bool killed_ = false;
  int interruption_ = 0;
  Ending ending_;
};

}  // namespace

Ending Supervise(tovkit::Process& process, const ProcessTree& tree, Interruptions& interruptions,
                 const Limits& limits) {
  return Supervision(process, tree, interruptions, limits).Run();
}

}  // namespace cli
