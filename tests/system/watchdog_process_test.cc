// SPDX-License-Identifier: MIT
// What the watchdog does at its start and at the process's end, in processes of their own.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "build_kind.h"
#include "scratch_dir.h"

namespace {

// Runs the helper with its output in `file` and returns the wait status, or -1 for a helper that hangs, which
// is killed.
int RunHelper(const char* what, const std::string& argument, const std::string& file) {
  const std::string command =
      std::string("exec ") + TOVKIT_WATCHDOG_HELPER + " " + what + " " + argument + " >" + file + " 2>&1";
  const pid_t pid = fork();
  if (pid == 0) {
    execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    _exit(127);
  }
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(120);
  int status = 0;
  while (waitpid(pid, &status, WNOHANG) == 0) {
    if (std::chrono::steady_clock::now() > limit) {
      kill(pid, SIGKILL);
      waitpid(pid, &status, 0);
      return -1;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(500));
  }
  return status;
}

std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

TEST(WatchdogProcessTest, AThousandProcessesEndWhileItIsAwake) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  constexpr int kProcesses = kSanitized ? 100 : 1000;
  for (int i = 0; i < kProcesses; ++i) {
    ASSERT_EQ(RunHelper("end-awake", std::to_string(i * 97 % 20000), file), 0) << Contents(file);
  }
}

TEST(WatchdogProcessTest, ProcessesEndWhileMutexesComeAndGo) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  for (int i = 0; i < (kSanitized ? 20 : 200); ++i) {
    ASSERT_EQ(RunHelper("end-busy", "", file), 0) << Contents(file);
  }
}

TEST(WatchdogProcessTest, AWatchdogThatCannotBeStartedBlocksEveryLaterConstructionOrDestruction) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("creation-fails", "", file), 0);
  EXPECT_EQ(Contents(file), "pthread_create error\n");
}

TEST(WatchdogProcessTest, MutexesWithATimeoutBelowOneNeverStartIt) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("unwatched", "", file), 0);
  EXPECT_EQ(Contents(file), "");
}

TEST(WatchdogProcessTest, AHoldIsOverdueStrictlyAfterItsTimeOut) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("strictly-overdue", "", file), 0);
  EXPECT_EQ(Contents(file),
            "timeout 2 Mutex strict start is 1000 \n"
            "now is 1003 compel release1\n");
}

TEST(WatchdogProcessTest, AHoldThatJustBeginsIsNotTakenForAnEarlierOne) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("looks-during-lock", "", file), 0);
  EXPECT_EQ(Contents(file), "");
}

TEST(WatchdogProcessTest, TheEndOfAProcessWaitsForNobodyWhenEveryCallHasReturned) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("end-released", "", file), 0) << Contents(file);
}

TEST(WatchdogProcessTest, TheFirstIdIsOne) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper("first-ids", "", file), 0);
}

struct ForkCase {
  const char* what;
  const char* output;
};

class ForkedWatchdogTest : public testing::TestWithParam<ForkCase> {};

TEST_P(ForkedWatchdogTest, WatchesAnewOrStaysUnwatchedAsTheForkLeftIt) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "ThreadSanitizer has no threads in a forked child of a process with threads";
#endif
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/output";
  EXPECT_EQ(RunHelper(GetParam().what, "", file), 0) << Contents(file);
  EXPECT_EQ(Contents(file), GetParam().output);
}

constexpr char kInheritedReleased[] =
    "timeout 2 Mutex inherited start is 1000 \nnow is 1003 compel release1\n"
    "timeout 2 Mutex inherited start is 1000 \nnow is 1003 compel release1\n"
    "timeout 2 Mutex inherited start is 1000 \nnow is 1003 compel release1\n";

INSTANTIATE_TEST_SUITE_P(
    Fork, ForkedWatchdogTest,
    testing::Values(ForkCase{"forked-child-locks",
                             "timeout 2 Mutex forked start is 1000 \nnow is 1003 compel release1\n"
                             "timeout 2 Mutex forked start is 1000 \nnow is 2000 compel release1\n"},
                    ForkCase{"forked-child-constructs", kInheritedReleased},
                    ForkCase{"forked-during-a-pass", ""}, ForkCase{"forked-during-a-construction", ""},
                    ForkCase{"forked-during-a-destruction", ""},
                    ForkCase{"forked-frozen", "pthread_create error\n"},
                    ForkCase{"forked-child-cannot-create", "pthread_create error\n"}),
    [](const testing::TestParamInfo<ForkCase>& instance) {
      std::string name = instance.param.what;
      std::erase(name, '-');
      return name;
    });

}  // namespace
