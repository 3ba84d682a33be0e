// SPDX-License-Identifier: MIT
// Starts beside threads that keep the C library's locks busy. The program defines no system calls itself:
// what runs between fork and exec is the library alone.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "build_kind.h"
#include "seccomp_filter.h"

namespace {

using tovkit::Process;

// A start takes milliseconds: a child that has not ended by then hangs, and so does a program that runs
// longer.
constexpr int kChildPatience = 60000;
constexpr unsigned kProgramPatienceSeconds = 280;

// Repeats each action in a thread of its own while it lives.
class BusyThreads {
 public:
  explicit BusyThreads(const std::vector<std::function<void()>>& actions) {
    for (const auto& action : actions) {
      threads_.emplace_back([this, action] {
        while (!stop_) action();
      });
    }
  }
  ~BusyThreads() {
    stop_ = true;
    for (std::thread& thread : threads_) thread.join();
  }

 private:
  std::atomic<bool> stop_{false};
  std::vector<std::thread> threads_;
};

void RunOtherProgram() {
  if (FILE* stream = popen("exit 0", "r")) pclose(stream);
}

// All that a service does: memory, printing, files, libraries.
void DoEverything() {
  RunOtherProgram();
  std::free(std::malloc(200000));
  std::printf("line\n");
  if (FILE* file = std::fopen("/dev/null", "re")) std::fclose(file);
  if (void* library = dlopen("libm.so.6", RTLD_LAZY)) dlclose(library);
}

// Standard output of this process goes nowhere meanwhile.
class NoOutput {
 public:
  NoOutput() {
    std::fflush(stdout);
    saved_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(null, STDOUT_FILENO);
    close(null);
  }
  ~NoOutput() {
    std::fflush(stdout);
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
  }

 private:
  int saved_;
};

// Returns how many of the starts succeeded, one after the other. Every third program is missing: its child
// tells so and ends.
int StartMany(int starts) {
  alarm(kProgramPatienceSeconds);
  const NoOutput quiet;
  const BusyThreads busy({DoEverything, DoEverything, DoEverything, DoEverything});
  int good = 0;
  while (good < starts) {
    Process process;
    const char* const program = good % 3 == 2 ? "/no such program" : "/bin/true";
    if (!process.start(program, 0, nullptr) || !process.wait(kChildPatience) || process.exitCode() != 0)
      break;
    ++good;
  }
  alarm(0);
  return good;
}

constexpr int kStarts = kSanitized ? 100 : 500;

TEST(ProcessStormTest, AStartMayBeMadeWhileOtherThreadsDoWhateverTheyLike) {
  EXPECT_EQ(StartMany(kStarts), kStarts);
}

TEST(ProcessStormTest, AStartWhereTheKernelClosesNoRangesMayBeMadeWhileOtherThreadsDoWhateverTheyLike) {
  const pid_t child = fork();
  if (child == 0) {
    FailCloseRange(ENOSYS);
    _exit(StartMany(kStarts) == kStarts ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
