#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <tovkit/system.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "build_kind.h"
#include "faults.h"
#include "private_access.h"
#include "scratch_dir.h"
#include "stopwatch.h"

struct ProcessFields {
  friend auto Get(ProcessFields);
};
template struct Expose<ProcessFields, &tovkit::Process::fields>;

namespace {

using tovkit::Process;
using tovkit::Stopwatch;

constexpr int64_t kNoExitCode = 523124044;
constexpr int kPatience = 120000;

template <typename Class, typename Member>
Member MemberType(Member Class::*);
using Fields = decltype(MemberType(Get(ProcessFields{})));

Fields& FieldsOf(Process& process) { return process.*Get(ProcessFields{}); }

bool StartShell(Process& process, const std::string& script) {
  const char* arguments[] = {"-c", script.c_str()};
  return process.start("/bin/sh", 2, arguments);
}

std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

// Descriptors of a child for its output, in files.
class OutputFiles {
 public:
  OutputFiles()
      : out_(open(outPath().c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600)),
        err_(open(errPath().c_str(), O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0600)) {}
  ~OutputFiles() {
    close(out_);
    close(err_);
  }
  int out() const { return out_; }
  int err() const { return err_; }
  std::string outPath() const { return scratch_.path() + "/out"; }
  std::string errPath() const { return scratch_.path() + "/err"; }
  std::string outText() const { return Contents(outPath()); }
  std::string errText() const { return Contents(errPath()); }

 private:
  ScratchDir scratch_;
  int out_;
  int err_;
};

std::set<int> OpenDescriptors() {
  std::set<int> found;
  DIR* directory = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(directory)) {
    const int fd = std::atoi(entry->d_name);
    if (fd != dirfd(directory)) found.insert(fd);
  }
  closedir(directory);
  return found;
}

class ProcessTest : public testing::Test {
 protected:
  void SetUp() override { faults::Reset(); }
  void TearDown() override { faults::Reset(); }
};

TEST_F(ProcessTest, FieldsStandInTheGivenOrder) {
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

TEST_F(ProcessTest, Fresh) {
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
  EXPECT_EQ(faults::fork.calls(), 0);
  EXPECT_EQ(faults::waitpid.calls(), 0);
}

TEST_F(ProcessTest, FlagsAndSettings) {
  Process process;
  process.setFlags(6);
  process.addFlags(9);
  EXPECT_EQ(FieldsOf(process).flags, 15U);
  process.removeFlags(5);
  EXPECT_EQ(FieldsOf(process).flags, 10U);
  EXPECT_TRUE(process.setOutputFds(7, -3));
  EXPECT_EQ(FieldsOf(process).stdoutFd, 7);
  EXPECT_EQ(FieldsOf(process).stderrFd, -3);
  process.setWorkingDirectory("/tmp");
  EXPECT_STREQ(FieldsOf(process).workDir, "/tmp");
  process.setWorkingDirectory(FieldsOf(process).workDir);
  EXPECT_STREQ(FieldsOf(process).workDir, "/tmp") << "its own text";
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
  EXPECT_EQ(faults::fork.calls(), 0);
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

TEST_F(ProcessTest, OnlyTheStateStartingIsRefused) {
  Process process;
  FieldsOf(process).state = Process::Starting;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process.start("/bin/true", 0, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "this process is already runing.\n");
  FieldsOf(process).state = Process::Stopped;
  EXPECT_EQ(faults::fork.calls(), 0);

  ASSERT_TRUE(StartShell(process, "exit 1"));
  const auto first = static_cast<pid_t>(process.pid());
  EXPECT_TRUE(StartShell(process, "exit 2")) << "Running is no obstacle";
  EXPECT_NE(static_cast<pid_t>(process.pid()), first);
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.exitCode(), 2);
  EXPECT_EQ(waitpid(first, nullptr, 0), first) << "the first one is forgotten, not reaped";
}

TEST_F(ProcessTest, ExitCodes) {
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

TEST_F(ProcessTest, RedirectsOutputAndError) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  faults::dup2.Fail(EINTR, 2);  // in the child, which repeats
  ASSERT_TRUE(StartShell(process, "echo data; echo trouble >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText(), "data\n");
  EXPECT_EQ(files.errText(), "trouble\n");
}

TEST_F(ProcessTest, AnErrorDescriptorOfMinusOneOrTwoClosesStandardError) {
  for (const int err : {-1, STDERR_FILENO, 1000000}) {
    const OutputFiles files;
    Process process;
    process.setOutputFds(files.out(), err);
    ASSERT_TRUE(StartShell(process, "test -e /proc/self/fd/2 || echo closed"));
    ASSERT_TRUE(process.wait(kPatience));
    EXPECT_EQ(files.outText(), "closed\n") << err;
  }
}

TEST_F(ProcessTest, AnErrorDescriptorOfOneFollowsStandardOutput) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), STDOUT_FILENO);
  ASSERT_TRUE(StartShell(process, "echo data; echo trouble >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText(), "data\ntrouble\n");
}

TEST_F(ProcessTest, AnOutputDescriptorOfOneClosesStandardOutput) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(STDOUT_FILENO, files.err());
  ASSERT_TRUE(StartShell(process, "test -e /proc/self/fd/1 || echo closed >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.errText(), "closed\n");
}

TEST_F(ProcessTest, AnErrorDescriptorAloneChangesNothing) {
  const OutputFiles files;
  for (const int out : {-1, 0}) {
    Process process;
    process.setOutputFds(out, files.err());
    testing::internal::CaptureStderr();
    ASSERT_TRUE(StartShell(process, "echo trouble >&2"));
    ASSERT_TRUE(process.wait(kPatience));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "trouble\n");
    EXPECT_EQ(files.errText(), "");
  }
}

TEST_F(ProcessTest, ChangesTheWorkingDirectory) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  process.setWorkingDirectory("/usr");
  ASSERT_TRUE(StartShell(process, "pwd -P"));
  ASSERT_TRUE(process.wait(kPatience));
  process.setWorkingDirectory("/no such directory");
  ASSERT_TRUE(StartShell(process, "pwd -P"));
  ASSERT_TRUE(process.wait(kPatience));
  char here[PATH_MAX];
  ASSERT_NE(getcwd(here, sizeof here), nullptr);
  EXPECT_EQ(files.outText(), std::string("/usr\n") + here + "\n") << "a bad directory is not told";
  EXPECT_EQ(files.errText(), "");
}

// What the program finds open, as /bin/ls tells it; its own directory stream is one of them.
std::set<int> DescriptorsOfAChild(Process& process, const OutputFiles& files) {
  const char* arguments[] = {"/proc/self/fd"};
  EXPECT_TRUE(process.start("/bin/ls", 1, arguments));
  EXPECT_TRUE(process.wait(kPatience));
  std::istringstream listed(files.outText());
  return {std::istream_iterator<int>(listed), {}};
}

// Opens some without close-on-exec.
class ManyDescriptors {
 public:
  explicit ManyDescriptors(int count) {
    for (int i = 0; i < count; ++i) fds_.push_back(open("/dev/null", O_RDONLY));
  }
  ~ManyDescriptors() {
    for (const int fd : fds_) close(fd);
  }
  const std::vector<int>& fds() const { return fds_; }

 private:
  std::vector<int> fds_;
};

TEST_F(ProcessTest, InheritedDescriptorsAreClosed) {
  for (const int count : {1, 7, 100, 300, 700}) {  // listings of less and of more than 1,024 bytes
    const ManyDescriptors many(count);
    const OutputFiles files;
    Process process;
    process.setOutputFds(files.out(), files.err());
    EXPECT_EQ(DescriptorsOfAChild(process, files), (std::set<int>{0, 1, 2, 3})) << count;
    EXPECT_EQ(files.errText(), "");
  }
}

TEST_F(ProcessTest, InheritParentFdsKeepsThem) {
  const ManyDescriptors many(20);
  const OutputFiles files;
  Process process;
  process.setFlags(Process::inheritParentFds);
  process.setOutputFds(files.out(), files.err());
  faults::popen.Fail(ENOMEM);  // would be told on standard error
  const std::set<int> found = DescriptorsOfAChild(process, files);
  for (const int fd : many.fds()) EXPECT_TRUE(found.count(fd)) << fd;
  EXPECT_EQ(files.errText(), "");
}

TEST_F(ProcessTest, WithoutAListingEveryPossibleDescriptorIsClosed) {
  const ManyDescriptors many(20);
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  faults::popen.Fail(ENOMEM);
  EXPECT_EQ(DescriptorsOfAChild(process, files), (std::set<int>{0, 1, 2, 3}));
  EXPECT_EQ(files.errText(), "ls /proc/" + std::to_string(process.pid()) + "/fd: Cannot allocate memory\n");
}

TEST_F(ProcessTest, AListingCutByLackOfMemoryClosesWhatWasRead) {
  SKIP_WITHOUT_OWN_MALLOC();
  const ManyDescriptors many(700);
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  faults::blockSize = 2048;
  faults::realloc.Fail(ENOMEM);
  const std::set<int> found = DescriptorsOfAChild(process, files);
  EXPECT_EQ(files.errText(), "alloca fail.: Cannot allocate memory\n");
  EXPECT_GT(found.size(), 300U);
  EXPECT_LT(found.size(), 600U);
}

TEST_F(ProcessTest, ClosesTheDescriptorsOfTheCallingProcess) {
  const pid_t child = fork();
  if (child == 0) {
    Process process;
    const ManyDescriptors many(50);
    const bool result = process.unixCloseFDInheritFromParent();
    _exit(result && OpenDescriptors() == std::set<int>{0, 1, 2} ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(ProcessTest, AFailedForkIsToldAndStops) {
  Process process;
  faults::fork.Fail(EAGAIN);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process.start("/bin/true", 0, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "vfork fail, errno=11, errmsg=Resource temporarily unavailable\n");
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.pid(), 0U);
}

TEST_F(ProcessTest, AProgramThatCannotBeExecutedExitsWithZero) {
  struct Case {
    const char* path;
    const char* line;
  };
  const Case cases[] = {
      {"/no such program", "PROC-ERROR: execv fail, errno=2, errmsg=No such file or directory\n"},
      {"/usr", "PROC-ERROR: execv fail, errno=13, errmsg=Permission denied\n"},
      {"sh", "PROC-ERROR: execv fail, errno=2, errmsg=No such file or directory\n"},  // PATH is not searched
  };
  for (const Case& c : cases) {
    Process process;
    testing::internal::CaptureStdout();
    std::printf("unwritten text of the parent\n");
    EXPECT_TRUE(process.start(c.path, 0, nullptr));
    EXPECT_TRUE(process.wait(kPatience));
    EXPECT_EQ(process.exitCode(), 0);
    const std::string output = testing::internal::GetCapturedStdout();
    EXPECT_EQ(output, std::string(c.line) + "unwritten text of the parent\n") << c.path;
  }
}

TEST_F(ProcessTest, AFailedExecutionLeavesTheParentsStreamsAndExitHandlersAlone) {
  const OutputFiles files;
  const ScratchDir scratch;
  const std::string path = scratch.path() + "/log";
  FILE* log = std::fopen(path.c_str(), "w");
  std::fprintf(log, "once\n");
  Process process;
  process.setOutputFds(files.out(), files.err());
  ASSERT_TRUE(process.start("/no such program", 0, nullptr));
  ASSERT_TRUE(process.wait(kPatience));
  std::fclose(log);
  EXPECT_EQ(Contents(path), "once\n");
  EXPECT_EQ(files.outText(), "PROC-ERROR: execv fail, errno=2, errmsg=No such file or directory\n");
}

TEST_F(ProcessTest, AnInterruptedExecutionIsRepeated) {
  Process process;
  faults::execv.Fail(EINTR, 3);
  ASSERT_TRUE(StartShell(process, "exit 9"));
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.exitCode(), 9);
}

TEST_F(ProcessTest, AnExecutionThatComesBackIsToldAndCountsAsStarted) {
  const pid_t parent = getpid();
  testing::internal::CaptureStdout();
  Process process;
  faults::execvResult = 5;
  const bool started = process.start("/bin/true", 0, nullptr);
  if (getpid() != parent) {
    std::fflush(stdout);
    setpgid(0, 0);
    process.terminate();  // has no child to kill, nor its own group
    _exit(started && process.state() == Process::Running ? 42 : 1);
  }
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.exitCode(), 42);
  const std::string output = testing::internal::GetCapturedStdout();
  EXPECT_EQ(output.find("PROC: execv fail, SHOULD NOT output this log. ret=5, errno="), 0U) << output;
  EXPECT_EQ(output.find('\n'), output.size() - 1);
}

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

TEST_F(ProcessTest, WhereChildrenAreIgnoredTheExitCodeIsLost) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  Process process;
  EXPECT_TRUE(StartShell(process, "exit 6"));
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.exitCode(), kNoExitCode);
  std::signal(SIGCHLD, before);
}

TEST_F(ProcessTest, TerminateKillsAndKeepsTheExitCode) {
  Process process;
  ASSERT_TRUE(StartShell(process, "exit 3"));
  ASSERT_TRUE(process.wait(kPatience));
  ASSERT_TRUE(StartShell(process, "exec sleep 1000"));
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
