// SPDX-License-Identifier: MIT
// Signals are blocked and taken as values with sigtimedwait, so that no handler runs in the middle of
// anything.
#include "interruptions.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace cli {

namespace {

constexpr int kRequests[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

constexpr std::sig_atomic_t kSent = 1;
constexpr std::sig_atomic_t kFromTerminal = 2;
volatile std::sig_atomic_t noted[NSIG];
volatile pid_t supervisor;

bool IsFromTerminal(const siginfo_t& info) { return info.si_code == SI_KERNEL; }

void Note(int signal, siginfo_t* info, void*) {
  if (getpid() == supervisor) {
    noted[signal] = IsFromTerminal(*info) ? kFromTerminal : kSent;
    return;
  }
  // A child that has not yet become its program ends as the program would.
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

Interruptions::Interruptions() {
  supervisor = getpid();
  // If the caller ignored it, the kernel would discard the exit codes of children.
  std::signal(SIGCHLD, SIG_DFL);
  sigemptyset(&taken_);
  sigaddset(&taken_, SIGCHLD);
  struct sigaction noting {};
  noting.sa_sigaction = Note;
  noting.sa_flags = SA_SIGINFO | SA_RESTART;
  for (const int signal : kRequests) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler == SIG_IGN) continue;
    sigaddset(&taken_, signal);
    sigaction(signal, &noting, nullptr);
  }
}

void Interruptions::Hold() { sigprocmask(SIG_BLOCK, &taken_, nullptr); }

Interruption Interruptions::Take(std::optional<Clock::time_point> until) {
  for (const int signal : kRequests) {
    if (const std::sig_atomic_t how = noted[signal]; how != 0) {
      noted[signal] = 0;
      return {signal, how == kFromTerminal};
    }
  }
  siginfo_t info = {};
  int signal = 0;
  if (until) {
    const auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(
        std::max(*until - Clock::now(), Clock::duration::zero()));
    const timespec limit = {left.count() / 1'000'000'000, left.count() % 1'000'000'000};
    signal = sigtimedwait(&taken_, &info, &limit);
  } else {
    signal = sigwaitinfo(&taken_, &info);
  }
  if (signal <= 0 || signal == SIGCHLD) return {};
  return {signal, IsFromTerminal(info)};
}

void Interruptions::EndBy(int signal) {
  // A core of the program is of interest; one of this process would only hide it.
  const rlimit none = {};
  setrlimit(RLIMIT_CORE, &none);
  std::signal(signal, SIG_DFL);
  sigset_t only;
  sigemptyset(&only);
  sigaddset(&only, signal);
  raise(signal);
  sigprocmask(SIG_UNBLOCK, &only, nullptr);
  std::abort();
}

}  // namespace cli
