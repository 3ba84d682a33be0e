// SPDX-License-Identifier: MIT
// Waiting for a child and ending it.
#include <tovkit/system.h>
#include "build_kind.h"
#include "process_support.h"
#include "stopwatch.h"
#include "test_access.h"

#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <limits>
#include <set>
#include <string>

namespace {

using tovkit::Process;
using tovkit::Stopwatch;

TEST_F(ProcessTest, WaitZeroPollsOnce) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exec sleep 1000"));
  EXPECT_FALSE(process.wait(0));
  EXPECT_EQ(faults::waitpid.calls(), 1);
  EXPECT_EQ(process.state(), Process::Running);
  process.terminate();
  EXPECT_TRUE(process.wait(kPatience));
}

TEST_F(ProcessTest, ALimitedWaitEndsAtItsLimit) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exec sleep 1000"));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_FALSE(process.wait(60));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(55));
  EXPECT_GT(faults::waitpid.calls(), 1);
  EXPECT_EQ(faults::lastSleep, 5000U) << "polls every 5 ms";
  process.terminate();
  EXPECT_TRUE(process.wait(kPatience));
}

TEST_F(ProcessTest, ANegativeWaitIsToldAndBlocks) {
  Process process;
  ASSERT_TRUE(StartShell(process, "sleep 0.05; exit 4"));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(process.wait(-1));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "PROC: will wait proc " + std::to_string(process.pid()) + " unitl dead\n");
  EXPECT_EQ(faults::waitpid.calls(), 1) << "one blocking call";
  EXPECT_EQ(process.exitCode(), 4);
}

TEST_F(ProcessTest, TheLongestWaitDoesNotOverflow) {
  Process process;
  ASSERT_TRUE(StartShell(process, "sleep 0.05"));
  EXPECT_TRUE(process.wait(INT_MAX));
  ASSERT_TRUE(StartShell(process, "sleep 0.05"));
  testing::internal::CaptureStdout();
  EXPECT_TRUE(process.wait(INT_MIN));
  testing::internal::GetCapturedStdout();
}

TEST_F(ProcessTest, AnInterruptedWaitIsToldAndGoesOn) {
  const std::string line = "waitpid fail. errno=4, errmsg=Interrupted system call\n";
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 6"));
  testing::internal::CaptureStdout();
  faults::waitpid.Fail(EINTR, 2);
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), line + line);
  EXPECT_EQ(process.exitCode(), 6);
}

TEST_F(ProcessTest, AnInterruptedWaitAtItsLimitIsATimeOut) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 6"));
  testing::internal::CaptureStdout();
  faults::waitpid.Fail(EINTR);
  EXPECT_FALSE(process.wait(0));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "waitpid fail. errno=4, errmsg=Interrupted system call\n");
  EXPECT_EQ(process.state(), Process::Running);
  EXPECT_TRUE(process.wait(kPatience));
}

TEST_F(ProcessTest, AnotherWaitErrorIsToldAndFails) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 6"));
  testing::internal::CaptureStdout();
  faults::waitpid.Fail(EINVAL);
  EXPECT_FALSE(process.wait(kPatience));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "waitpid fail. errno=22, errmsg=Invalid argument\n");
  EXPECT_EQ(process.state(), Process::Running);
  EXPECT_TRUE(process.wait(kPatience));
}

TEST_F(ProcessTest, AChildThatSomebodyElseReapedHasStopped) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 6"));
  waitpid(static_cast<pid_t>(process.pid()), nullptr, 0);
  EXPECT_TRUE(process.wait(0));
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.exitCode(), kNoExitCode);
}

TEST_F(ProcessTest, AChildOfAProgramThatIgnoresSigchldLeavesTheExitCodeAsItWas) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  Process process;
  EXPECT_TRUE(StartShell(process, "exit 6"));
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.exitCode(), kNoExitCode);
  std::signal(SIGCHLD, before);
}

TEST_F(ProcessTest, AChildEndedByASignalLeavesTheExitCodeAsItWas) {
  Process process;
  for (const int signal : {SIGKILL, SIGTERM, SIGSEGV}) {
    ASSERT_TRUE(StartShell(process, "ulimit -c 0; kill -" + std::to_string(signal) + " $$"));
    ASSERT_TRUE(process.wait(kPatience));
    EXPECT_EQ(process.exitCode(), kNoExitCode) << signal;
  }
  ASSERT_TRUE(StartShell(process, "exit 3"));
  ASSERT_TRUE(process.wait(kPatience));
  ASSERT_TRUE(StartShell(process, "kill -15 $$"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.exitCode(), 3);
}

// Another process bears the number by now.
TEST_F(ProcessTest, AChildThatIsKnownToHaveEndedIsNotKilled) {
  const pid_t bystander = fork();
  if (bystander == 0) {
    for (;;) pause();
  }
  {
    Process process;
    ASSERT_TRUE(StartShell(process, "exit 3"));
    ASSERT_TRUE(process.wait(kPatience));
    (process.*tovkit::TestAccess::processFields).pid = static_cast<uint64_t>(bystander);
    process.terminate();
  }
  kill(bystander, SIGTERM);
  int status = 0;
  ASSERT_EQ(waitpid(bystander, &status, 0), bystander);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
}

TEST_F(ProcessTest, TerminateSendsSigkillAndTheStateStaysUntilWaitSeesTheEnd) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 3"));
  ASSERT_TRUE(process.wait(kPatience));
  ASSERT_TRUE(StartShell(process, "trap '' TERM INT HUP; exec sleep 1000"));
  process.terminate();
  EXPECT_EQ(process.state(), Process::Running) << "until wait sees the end";
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.exitCode(), 3) << "a signal leaves it";
}

TEST_F(ProcessTest, TheDestructorKillsWithoutReaping) {
  pid_t child = 0;
  {
    Process process;
    ASSERT_TRUE(StartShell(process, "exec sleep 1000"));
    child = static_cast<pid_t>(process.pid());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
}

void IgnoreSignal(int) {}

TEST_F(ProcessTest, AStormOfProcessesLeavesNothingBehind) {
  constexpr int kProcesses = kSanitized ? 150 : 1000;
  const std::set<int> before = OpenDescriptors();
  const int out = open("/dev/null", O_WRONLY | O_CLOEXEC);
  // Signals throughout, caught without SA_RESTART.
  struct sigaction action {
  }, old{};
  action.sa_handler = IgnoreSignal;
  sigaction(SIGALRM, &action, &old);
  const itimerval often{{0, 20000}, {0, 20000}}, never{};
  setitimer(ITIMER_REAL, &often, nullptr);
  for (int i = 0; i < kProcesses; ++i) {
    Process process;
    // The listing starts two more programs for each: one in ten has it.
    if (i % 10 != 0) process.setFlags(Process::inheritParentFds);
    process.setOutputFds(out, out);
    const bool missing = i % 7 == 3, killed = i % 3 == 1;
    ASSERT_TRUE(missing ? process.start("/no such program", 0, nullptr)
                        : StartShell(process, killed ? "exec sleep 1000" : "exit 5"));
    if (killed) process.terminate();
    ASSERT_TRUE(process.wait(kPatience)) << i;
    if (!killed) {
      ASSERT_EQ(process.exitCode(), missing ? 0 : 5) << i;
    }
  }
  setitimer(ITIMER_REAL, &never, nullptr);
  sigaction(SIGALRM, &old, nullptr);
  close(out);
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a zombie";
  EXPECT_EQ(errno, ECHILD);
}

TEST(StopwatchTest, CountsWallClockMicroseconds) {
  Stopwatch stopwatch;
  EXPECT_FALSE(stopwatch.active);
  EXPECT_EQ(stopwatch.startMicros, -1);
  EXPECT_EQ(stopwatch.elapsedMicros(), 0U);
  faults::fixedTime = {1000, 999999};
  stopwatch.start();
  EXPECT_TRUE(stopwatch.active);
  EXPECT_EQ(stopwatch.startMicros, 1000999999);
  faults::fixedTime = {1002, 3};
  EXPECT_EQ(stopwatch.elapsedMicros(), 1000004U);
  faults::fixedTime = {1000, 999998};
  EXPECT_EQ(stopwatch.elapsedMicros(), std::numeric_limits<uint64_t>::max()) << "the clock was set back";
  stopwatch.reset();
  EXPECT_FALSE(stopwatch.active);
  EXPECT_EQ(stopwatch.startMicros, -1);
  EXPECT_EQ(stopwatch.elapsedMicros(), 0U);
  faults::Reset();
}
}  // namespace
