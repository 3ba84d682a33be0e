// SPDX-License-Identifier: MIT
// Starting a process: its fields, what is refused, what the child gets, what fails.
#include "build_kind.h"
#include "process_support.h"
#include "test_access.h"

#include <tovkit/system.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using tovkit::Process;
using tovkit::TestAccess;

template <typename Class, typename Member>
Member MemberType(Member Class::*);
using Fields = decltype(MemberType(TestAccess::processFields));

Fields& FieldsOf(Process& process) { return process.*TestAccess::processFields; }

TEST_F(ProcessTest, FieldsStandInTheirFixedOrder) {
  struct Expected {
    uint64_t pid;
    int64_t exitCode;
    uint32_t flags;
    int32_t state;
    char* path;
    int32_t argCount;
    char** argv;
    char* workDir;
    int32_t stdoutFd, stderrFd;
  };
  static_assert(sizeof(Process) == sizeof(Expected) && offsetof(Fields, pid) == offsetof(Expected, pid) &&
                offsetof(Fields, exitCode) == offsetof(Expected, exitCode) &&
                offsetof(Fields, flags) == offsetof(Expected, flags) &&
                offsetof(Fields, state) == offsetof(Expected, state) &&
                offsetof(Fields, path) == offsetof(Expected, path) &&
                offsetof(Fields, argCount) == offsetof(Expected, argCount) &&
                offsetof(Fields, argv) == offsetof(Expected, argv) &&
                offsetof(Fields, workDir) == offsetof(Expected, workDir) &&
                offsetof(Fields, stdoutFd) == offsetof(Expected, stdoutFd) &&
                offsetof(Fields, stderrFd) == offsetof(Expected, stderrFd));
  static_assert(!std::is_polymorphic_v<Process>);
  static_assert(Process::Starting == 0 && Process::Running == 1 && Process::Stopped == 2 &&
                Process::inheritParentFds == 1);
}

TEST_F(ProcessTest, NoChildYetPidIsZeroAndStateStopped) {
  Process process;
  EXPECT_EQ(process.pid(), 0U);
  EXPECT_EQ(process.exitCode(), kNoExitCode);
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(FieldsOf(process).flags, 0U);
  EXPECT_EQ(FieldsOf(process).stdoutFd, -1);
  EXPECT_EQ(FieldsOf(process).stderrFd, -1);
  EXPECT_EQ(FieldsOf(process).workDir, nullptr);
  EXPECT_TRUE(process.wait(0));
  EXPECT_TRUE(process.wait(-1));
  process.terminate();
  EXPECT_FALSE(process.unixStart()) << "nothing to execute";
  EXPECT_EQ(faults::clone.calls() + faults::fork.calls(), 0);
  EXPECT_EQ(faults::waitpid.calls(), 0);
}

TEST_F(ProcessTest, TheChildOfAFreshObjectInheritsStandardOutputAndError) {
  Process process;
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  ASSERT_TRUE(StartShell(process, "echo data; echo trouble >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "data\n");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "trouble\n");
}

TEST_F(ProcessTest, UnixStartForksAndExecutesWhatStartStored) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  ASSERT_TRUE(StartShell(process, "echo again; exit 7"));
  ASSERT_TRUE(process.wait(kPatience));
  const auto first = process.pid();
  ASSERT_TRUE(process.unixStart());
  EXPECT_NE(process.pid(), first);
  int status = 0;
  ASSERT_EQ(waitpid(static_cast<pid_t>(process.pid()), &status, 0), static_cast<pid_t>(process.pid()));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7);
  EXPECT_EQ(files.outText(), "again\nagain\n");
}

TEST_F(ProcessTest, FlagsAreSetAddedAndRemovedAndDescriptorsKept) {
  Process process;
  process.setFlags(6);
  process.addFlags(9);
  EXPECT_EQ(FieldsOf(process).flags, 15U);
  process.removeFlags(5);
  EXPECT_EQ(FieldsOf(process).flags, 10U);
  EXPECT_TRUE(process.setOutputFds(7, -3));
  EXPECT_EQ(FieldsOf(process).stdoutFd, 7);
  EXPECT_EQ(FieldsOf(process).stderrFd, -3);
}

TEST_F(ProcessTest, TheWorkingDirectoryIsCopiedAndNullOrEmptyIsTheCallers) {
  Process process;
  process.setWorkingDirectory("/tmp");
  EXPECT_STREQ(FieldsOf(process).workDir, "/tmp");
  process.setWorkingDirectory(FieldsOf(process).workDir);
  EXPECT_STREQ(FieldsOf(process).workDir, "/tmp") << "its own text";
  char changing[] = "/usr";
  process.setWorkingDirectory(changing);
  changing[1] = 'X';
  EXPECT_STREQ(FieldsOf(process).workDir, "/usr") << "a copy";
  process.setWorkingDirectory("");
  EXPECT_EQ(FieldsOf(process).workDir, nullptr);
  process.setWorkingDirectory("/");
  process.setWorkingDirectory(nullptr);
  EXPECT_EQ(FieldsOf(process).workDir, nullptr);
}

TEST_F(ProcessTest, RefusedStartsDoNotFork) {
  const char* withEmpty[] = {"a", ""};
  const char* withNull[] = {nullptr, "b"};
  const char* fine[] = {"a"};
  struct Case {
    const char* condition;
    const char* path;
    int argc;
    const char* const* argv;
  };
  const Case cases[] = {
      {"null path", nullptr, 0, nullptr},
      {"empty path", "", 1, fine},
      {"null argv", "/bin/true", 1, nullptr},
      {"empty second argument", "/bin/true", 2, withEmpty},
      {"null first argument", "/bin/true", 2, withNull},
      {"too many", "/bin/true", INT_MAX, fine},
      {"too many by one", "/bin/true", INT_MAX - 1, fine},
  };
  Process process;
  for (const Case& c : cases) {
    EXPECT_FALSE(process.start(c.path, c.argc, c.argv)) << c.condition;
    EXPECT_EQ(process.state(), Process::Stopped) << c.condition;
  }
  EXPECT_EQ(faults::clone.calls() + faults::fork.calls(), 0);
}

TEST_F(ProcessTest, CopiesMadeBeforeARefusedArgumentStayOwned) {
  const char* arguments[] = {"first", "", "third"};
  Process process;
  EXPECT_FALSE(process.start("/bin/true", 3, arguments));
  EXPECT_EQ(FieldsOf(process).argCount, 5);
  EXPECT_STREQ(FieldsOf(process).argv[0], "/bin/true");
  EXPECT_EQ(FieldsOf(process).path, FieldsOf(process).argv[0]);
  EXPECT_STREQ(FieldsOf(process).argv[1], "first");
  EXPECT_EQ(FieldsOf(process).argv[2], nullptr);
}

// The array of arguments and the copies of path and arguments are each allocated; the sizes are ones that
// nothing else here asks for.
TEST_F(ProcessTest, ASecondStartWhoseAllocationFailsLeavesNothingOfTheFirst) {
  SKIP_WITHOUT_OWN_MALLOC();
  const std::string path = "/bin/" + std::string(700, '/') + "true";
  const std::string long1(900, 'a');
  const std::vector<const char*> arguments(99, long1.c_str());
  struct Case {
    const char* what;
    size_t block;
    int slots;
  };
  const Case cases[] = {
      {"the array", 101 * sizeof(char*), 0}, {"the path", path.size() + 1, 101}, {"an argument", 901, 101}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Process process;
    ASSERT_TRUE(StartShell(process, "exit 3"));
    ASSERT_TRUE(process.wait(kPatience));
    const int forks = faults::clone.calls() + faults::fork.calls();
    faults::blockSize = c.block;
    faults::malloc.Fail(ENOMEM, 1);
    EXPECT_THROW(process.start(path.c_str(), 99, arguments.data()), std::bad_alloc);
    faults::blockSize = 0;
    EXPECT_EQ(faults::clone.calls() + faults::fork.calls(), forks) << "no child";
    EXPECT_EQ(process.state(), Process::Stopped);
    EXPECT_EQ(process.exitCode(), 3);
    EXPECT_EQ(FieldsOf(process).argCount, c.slots);
    EXPECT_EQ(FieldsOf(process).argv == nullptr, c.slots == 0);
    if (c.slots == 0) {
      EXPECT_EQ(FieldsOf(process).path, nullptr);
      EXPECT_FALSE(process.unixStart()) << "nothing to execute";
    } else {
      EXPECT_EQ(FieldsOf(process).path, FieldsOf(process).argv[0]) << "never that of the first start";
      EXPECT_EQ(FieldsOf(process).argv[1], nullptr);
    }
    ASSERT_TRUE(StartShell(process, "exit 4")) << "and the object can be used again";
    EXPECT_TRUE(process.wait(kPatience));
    EXPECT_EQ(process.exitCode(), 4);
  }
}

TEST_F(ProcessTest, AWorkingDirectoryThatCannotBeCopiedLeavesTheOneBefore) {
  SKIP_WITHOUT_OWN_MALLOC();
  Process process;
  process.setWorkingDirectory("/usr");
  const std::string directory(800, 'd');
  faults::blockSize = directory.size() + 1;
  faults::malloc.Fail(ENOMEM, 1);
  EXPECT_THROW(process.setWorkingDirectory(directory.c_str()), std::bad_alloc);
  EXPECT_STREQ(FieldsOf(process).workDir, "/usr");
}

TEST_F(ProcessTest, PathAndArgumentsAreCopied) {
  char path[] = "/bin/true";
  char argument[] = "one";
  const char* arguments[] = {argument};
  Process process;
  ASSERT_TRUE(process.start(path, 1, arguments));
  path[1] = argument[0] = 'X';
  EXPECT_STREQ(FieldsOf(process).path, "/bin/true");
  EXPECT_STREQ(FieldsOf(process).argv[1], "one");
  EXPECT_TRUE(process.wait(kPatience));
}

TEST_F(ProcessTest, OnlyACallFromWithinStartIsRefused) {
  Process process;
  FieldsOf(process).state = Process::Starting;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process.start("/bin/true", 0, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "this process is already runing.\n");
  FieldsOf(process).state = Process::Stopped;
  EXPECT_EQ(faults::clone.calls() + faults::fork.calls(), 0);

  ASSERT_TRUE(StartShell(process, "exit 1"));
  const auto first = static_cast<pid_t>(process.pid());
  EXPECT_TRUE(StartShell(process, "exit 2")) << "Running is no obstacle";
  EXPECT_NE(static_cast<pid_t>(process.pid()), first);
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.exitCode(), 2);
  EXPECT_EQ(waitpid(first, nullptr, 0), first) << "the first one is forgotten, not reaped";
}

TEST_F(ProcessTest, ARunningChildIsForgottenByTheNextStartAndLivesOn) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exec sleep 100"));
  const auto first = static_cast<pid_t>(process.pid());
  ASSERT_TRUE(StartShell(process, "exit 2"));
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(waitpid(first, nullptr, WNOHANG), 0) << "neither ended nor reaped";
  int status = 0;
  kill(first, SIGTERM);
  ASSERT_EQ(waitpid(first, &status, 0), first);
  EXPECT_EQ(WTERMSIG(status), SIGTERM) << "it was this signal that ended it";
}

TEST_F(ProcessTest, WaitIsTrueWhenTheChildHasEndedAndExitCodeIsItsExitStatus) {
  for (const int code : {0, 1, 3, 127, 255}) {
    Process process;
    ASSERT_TRUE(StartShell(process, "exit " + std::to_string(code)));
    EXPECT_EQ(process.state(), Process::Running);
    EXPECT_TRUE(process.wait(kPatience));
    EXPECT_EQ(process.exitCode(), code);
    EXPECT_EQ(process.state(), Process::Stopped);
    EXPECT_TRUE(process.wait(0)) << "again";
  }
}

TEST_F(ProcessTest, TheChildSeesPathAndArguments) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  const char* arguments[] = {"-c", "printf '%s|' \"$0\" \"$@\"", "zero", "a b", "*", "\\n"};
  ASSERT_TRUE(process.start("/bin/sh", 6, arguments));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText(), "zero|a b|*|\\n|");
  const char* cmdline[] = {"/proc/self/cmdline"};
  ASSERT_TRUE(process.start("/bin/cat", 1, cmdline));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText(),
            std::string("zero|a b|*|\\n|") + std::string("/bin/cat\0/proc/self/cmdline\0", 28));
}

TEST_F(ProcessTest, WithoutArgumentsOnlyThePathIsGiven) {
  const char* ignored[] = {"never"};
  for (const int argc : {0, -1, -5, INT_MIN}) {
    Process process;
    ASSERT_TRUE(process.start("/bin/true", argc, argc == 0 ? nullptr : ignored)) << argc;
    EXPECT_EQ(FieldsOf(process).argCount, 2);
    EXPECT_EQ(FieldsOf(process).argv[1], nullptr);
    EXPECT_TRUE(process.wait(kPatience));
    EXPECT_EQ(process.exitCode(), 0);
  }
}

Process* forking = nullptr;
Process::State whileForking = Process::Stopped;

TEST_F(ProcessTest, TheStateIsStartingRunningStopped) {
  static const int registered = pthread_atfork(
      [] {
        if (forking != nullptr) whileForking = forking->state();
      },
      nullptr, nullptr);
  ASSERT_EQ(registered, 0);
  Process process;
  EXPECT_EQ(process.state(), Process::Stopped);
  faults::clone.Fail(ENOSYS);  // a fork it is then, which tells of itself
  forking = &process;
  const bool started = process.start("/bin/true", 0, nullptr);
  forking = nullptr;
  ASSERT_TRUE(started);
  EXPECT_EQ(whileForking, Process::Starting);
  EXPECT_EQ(process.state(), Process::Running);
  EXPECT_TRUE(process.wait(-1));
  EXPECT_EQ(process.state(), Process::Stopped);
}

// What a program is told of its signals and descriptors, and what is left in the parent.
TEST_F(ProcessTest, AChildThatSharesTheParentsMemoryIsLikeAForkedOne) {
  const auto handler = std::signal(SIGUSR1, [](int) {});
  sigset_t blocked, earlier, after;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR2);
  pthread_sigmask(SIG_BLOCK, &blocked, &earlier);
  std::string told[2];
  for (const bool forked : {false, true}) {
    if (forked) faults::clone.Fail(ENOSYS);
    const int before = faults::fork.calls();
    const OutputFiles files;
    Process process;
    process.setOutputFds(files.out(), files.err());
    process.setWorkingDirectory("/usr");
    ASSERT_TRUE(StartShell(process, "pwd; ls /proc/self/fd; grep Sig[PBIC] /proc/self/status"));
    ASSERT_TRUE(process.wait(kPatience));
    told[forked ? 1 : 0] = files.outText();
    const bool forks = forked || kSanitized;
    EXPECT_EQ(faults::fork.calls() - before, forks ? 1 : 0);
  }
  pthread_sigmask(SIG_SETMASK, &earlier, &after);
  std::signal(SIGUSR1, handler);
  EXPECT_EQ(told[0], told[1]);
  EXPECT_EQ(told[0].find("/usr\n0\n1\n2\n"), 0U) << told[0];
  EXPECT_TRUE(sigismember(&after, SIGUSR2) == 1 && sigismember(&after, SIGUSR1) == 0);
}

TEST_F(ProcessTest, OfAChildThatCouldNotExecuteOneIsLeft) {
  static std::atomic<int> heard{0};
  heard = 0;
  const auto handler = std::signal(SIGCHLD, [](int) { ++heard; });
  testing::internal::CaptureStdout();
  Process process;
  ASSERT_TRUE(process.start("/no such program", 0, nullptr));
  ASSERT_TRUE(process.wait(kPatience));
  testing::internal::GetCapturedStdout();
  std::signal(SIGCHLD, handler);
  EXPECT_EQ(heard, 1);
  EXPECT_EQ(waitpid(-1, nullptr, __WALL | WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
