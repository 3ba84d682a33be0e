// SPDX-License-Identifier: MIT
// The child has a stack, descriptors and signal handlers of its own, and all else is the parent's:
//
//     parent   no signals, no cancellation | clone: stands still ......................... | signals again
//     child                                  prepare | handlers off | signals again | execv |
//
// A handler of the parent's must not run in the child, where it would see the parent's memory. The child
// sends no signal when it ends without having executed a program, so that nobody but the caller hears of it;
// execution makes it an ordinary child.
#include "shared_start.h"

#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>

namespace tovkit {
namespace {

#ifndef __has_feature
#define __has_feature(feature) 0
#endif

// The sanitizers keep books of each thread's stack, which a second one in the same thread would confuse.
constexpr bool kMayShareMemory =
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
    false;
#else
    true;
#endif

class ChildStack {
 public:
  ChildStack()
      : base_(mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0)) {
    if (IsThere()) mprotect(base_, kGuard, PROT_NONE);
  }
  ~ChildStack() {
    if (IsThere()) munmap(base_, kSize);
  }
  ChildStack(const ChildStack&) = delete;
  ChildStack& operator=(const ChildStack&) = delete;

  bool IsThere() const { return base_ != MAP_FAILED; }
  void* Top() const { return static_cast<char*>(base_) + kSize; }

 private:
  static constexpr std::size_t kGuard = 4096;
  static constexpr std::size_t kSize = kGuard + (std::size_t{64} << 10);

  void* base_;
};

// Neither signals nor a cancellation reach the thread as long as this lives.
class Undisturbed {
 public:
  Undisturbed() {
    sigset_t every;
    sigfillset(&every);
    pthread_sigmask(SIG_BLOCK, &every, &signals_);
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancellation_);
  }
  ~Undisturbed() {
    pthread_setcancelstate(cancellation_, nullptr);
    pthread_sigmask(SIG_SETMASK, &signals_, nullptr);
  }
  Undisturbed(const Undisturbed&) = delete;
  Undisturbed& operator=(const Undisturbed&) = delete;

  const sigset_t& Signals() const { return signals_; }

 private:
  sigset_t signals_{};
  int cancellation_ = 0;
};

struct Start {
  const char* path;
  char* const* argv;
  bool (*prepare)(const void*);
  const void* context;
  const sigset_t* signals;  // of the thread before the start
  volatile bool failed;     // written by the child
};

// Execution does this too, but too late.
void ResetHandlers() {
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action;
    if (sigaction(number, nullptr, &action) != 0) continue;
    const bool isHandled =
        (action.sa_flags & SA_SIGINFO) != 0 || (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
    if (!isHandled) continue;
    action = {};
    action.sa_handler = SIG_DFL;
    sigaction(number, &action, nullptr);
  }
}

int RunChild(void* argument) {
  Start& start = *static_cast<Start*>(argument);
  if (start.prepare(start.context)) {
    ResetHandlers();
    sigprocmask(SIG_SETMASK, start.signals, nullptr);
    while (execv(start.path, start.argv) == -1 && errno == EINTR) {
    }
  }
  start.failed = true;
  _exit(127);
}

}  // namespace

pid_t StartSharingMemory(const char* path, char* const* argv, bool (*prepare)(const void*),
                         const void* context) {
  if (!kMayShareMemory) return -1;
  const ChildStack stack;
  if (!stack.IsThere()) return -1;
  const int error = errno;
  const Undisturbed undisturbed;
  Start start = {path, argv, prepare, context, &undisturbed.Signals(), false};
  pid_t child = clone(RunChild, stack.Top(), CLONE_VM | CLONE_VFORK, &start);
  if (child != -1 && start.failed) {
    while (waitpid(child, nullptr, __WCLONE) == -1 && errno == EINTR) {
    }
    child = -1;
  }
  errno = error;
  return child;
}

}  // namespace tovkit
