// SPDX-License-Identifier: MIT
// What a child finds: its output, its working directory, its open descriptors.
#include "environment.h"
#include "holds.h"
#include "process_support.h"
#include "seccomp_filter.h"

#include <tovkit/system.h>

#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using tovkit::Process;

TEST_F(ProcessTest, TheDescriptorsForTheChildsOutputAndErrorStayTheCallers) {
  const OutputFiles files;
  {
    Process process;
    EXPECT_TRUE(process.setOutputFds(files.out(), files.err()));
    ASSERT_TRUE(StartShell(process, "echo data; echo trouble >&2"));
    ASSERT_TRUE(process.wait(kPatience));
    process.setOutputFds(-1, -1);
    EXPECT_EQ(write(files.out(), "more\n", 5), 5);
    EXPECT_EQ(write(files.err(), "more\n", 5), 5);
    EXPECT_TRUE(process.setOutputFds(files.out(), files.err()));
  }
  EXPECT_EQ(write(files.out(), "after\n", 6), 6) << "the end of the object closes nothing";
  EXPECT_EQ(write(files.err(), "after\n", 6), 6);
  EXPECT_EQ(files.outText(), "data\nmore\nafter\n");
  EXPECT_EQ(files.errText(), "trouble\nmore\nafter\n");
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

TEST_F(ProcessTest, SetOutputFdsTakesEffectOnlyForAStdoutFdAboveZeroAndThenForBoth) {
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
  Process process;
  process.setOutputFds(files.out(), files.err());
  ASSERT_TRUE(StartShell(process, "echo data; echo trouble >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText() + files.errText(), "data\ntrouble\n");
}

TEST_F(ProcessTest, ChangesTheWorkingDirectoryAndABadOneIsNotTold) {
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

TEST_F(ProcessTest, ChangesTheWorkingDirectoryBeforeThePathIsLookedUp) {
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  process.setWorkingDirectory("/bin");
  const char* arguments[] = {"here"};
  ASSERT_TRUE(process.start("./echo", 1, arguments));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.outText(), "here\n");
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

// What the program has open and how its standard error reads after a start that has to close `many`
// descriptors.
struct Outcome {
  std::set<int> open;
  std::string errors;
  std::uint64_t pid = 0;
};

Outcome StartWithManyOpen(int many) {
  const ManyDescriptors opened(many);
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  Outcome outcome;
  // Between fork and exec the child calls unixCloseFDInheritFromParent().
  outcome.open = DescriptorsOfAChild(process, files);
  outcome.errors = files.errText();
  outcome.pid = process.pid();
  return outcome;
}

const std::set<int> kNothingInherited{0, 1, 2, 3};

TEST_F(ProcessTest, InheritedDescriptorsAreClosedByTheKernelAlone) {
  faults::posixSpawn.Fail(ENOMEM, 1000);  // would be told on standard error
  for (const int count : {1, 7, 100, 700}) {
    const Outcome outcome = StartWithManyOpen(count);
    EXPECT_EQ(outcome.open, kNothingInherited) << count;
    EXPECT_EQ(outcome.errors, "");
  }
}

TEST_F(ProcessTest, WithoutInheritParentFdsTheChildClosesAllDescriptorsAboveTwo) {
  const ManyDescriptors many(20);
  const OutputFiles files;
  Process process;
  process.addFlags(Process::inheritParentFds | 0x80);
  process.removeFlags(Process::inheritParentFds);
  process.setOutputFds(files.out(), files.err());
  EXPECT_EQ(DescriptorsOfAChild(process, files), kNothingInherited);
}

TEST_F(ProcessTest, WithInheritParentFdsTheChildKeepsEveryDescriptorThatItInherits) {
  const ManyDescriptors many(20);
  const OutputFiles files;
  Process process;
  process.setFlags(Process::inheritParentFds);
  process.setOutputFds(files.out(), files.err());
  const std::set<int> found = DescriptorsOfAChild(process, files);
  for (const int fd : many.fds()) EXPECT_TRUE(found.count(fd)) << fd;
  EXPECT_EQ(files.errText(), "");
}

// What the child does where the kernel cannot close a range.
class ListingTest : public ProcessTest {
 protected:
  void SetUp() override {
    ProcessTest::SetUp();
    faults::closeRange.Fail(ENOSYS, 1000);
  }

  // A program `ls` that is found before any other.
  void PutListing(const std::string& script) {
    const std::string path = folder_.path() + "/ls";
    std::ofstream(path) << "#!/bin/sh\n" << script << "\n";
    ASSERT_EQ(chmod(path.c_str(), 0755), 0);
    search_.emplace("PATH", (folder_.path() + ":/usr/bin:/bin").c_str());
  }

 private:
  ScratchDir folder_;
  std::optional<ScopedVariable> search_;
};

TEST_F(ListingTest, TheShellListsTheDescriptorsWithLsWhereTheKernelCannotCloseARange) {
  for (const int error : {ENOSYS, EPERM}) {
    faults::closeRange.Fail(error, 1000);
    for (const int count : {1, 7, 100, 300, 700}) {  // listings of less and of more than 1,024 bytes
      const Outcome outcome = StartWithManyOpen(count);
      EXPECT_EQ(outcome.open, kNothingInherited) << count;
      EXPECT_EQ(outcome.errors, "");
    }
  }
}

TEST_F(ListingTest, RunsInAShellAndIsAskedForTheChild) {
  PutListing("echo \"$0 $@\" >&2; exec /bin/ls \"$@\"");
  const Outcome outcome = StartWithManyOpen(20);
  EXPECT_EQ(outcome.open, kNothingInherited);
  EXPECT_NE(outcome.errors.find("/ls /proc/" + std::to_string(outcome.pid) + "/fd\n"), std::string::npos)
      << outcome.errors;
}

TEST_F(ListingTest, ToldOnStandardErrorWhenNoShellCanBeStartedAndEveryPossibleDescriptorIsClosed) {
  faults::posixSpawn.Fail(ENOMEM, 1000);
  const Outcome outcome = StartWithManyOpen(20);
  EXPECT_EQ(outcome.open, kNothingInherited);
  EXPECT_EQ(outcome.errors, "ls /proc/" + std::to_string(outcome.pid) + "/fd: Cannot allocate memory\n");
}

TEST_F(ListingTest, ClosesEveryPossibleDescriptorWhenNoneIsLeftForThePipe) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit low{100, before.rlim_max};
  const int high = fcntl(STDERR_FILENO, F_DUPFD, 200);
  const OutputFiles files;
  Process process;
  process.setOutputFds(files.out(), files.err());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  {
    const ManyDescriptors many(100);  // the last of them fail; others may be open above the limit
    ASSERT_EQ(many.fds().back(), -1);
    const char* arguments[] = {"/proc/self/fd"};
    EXPECT_TRUE(process.start("/bin/ls", 1, arguments));
    EXPECT_TRUE(process.wait(kPatience));
  }
  setrlimit(RLIMIT_NOFILE, &before);
  close(high);
  std::istringstream listed(files.outText());
  const std::set<int> found{std::istream_iterator<int>(listed), {}};
  EXPECT_EQ(found, kNothingInherited);
  EXPECT_EQ(files.errText(), "ls /proc/" + std::to_string(process.pid()) + "/fd: Too many open files\n");
}

TEST_F(ListingTest, ClosesEveryPossibleDescriptorWhenLsIsNotFound) {
  const ScopedVariable search("PATH", "/no such directory");
  const Outcome outcome = StartWithManyOpen(20);
  EXPECT_EQ(outcome.open, kNothingInherited);
  EXPECT_NE(outcome.errors.find("ls: not found"), std::string::npos)
      << "the shell's own words: " << outcome.errors;
}

TEST_F(ListingTest, EveryPossibleDescriptorIsClosedWhereTheListingDoesNotWork) {
  for (const char* script : {"exit 0", "echo nonsense", "kill -9 $$", "exec /bin/ls -Q \"$@\"",
                             "echo 0 1 2; exit 1", "/bin/ls \"$@\" | head -n 4; exit 0"}) {
    PutListing(script);
    EXPECT_EQ(StartWithManyOpen(20).open, kNothingInherited) << script;
  }
}

TEST_F(ListingTest, ClosesEveryPossibleDescriptorWhenTheListingFailsHalfway) {
  PutListing("/bin/ls \"$@\" | sed 9,15d; exit 2");  // the pipe is among what is listed
  EXPECT_EQ(StartWithManyOpen(20).open, kNothingInherited);
}

TEST_F(ListingTest, ClosesEveryPossibleDescriptorOfAProcessThatMayNotReadItsOwn) {
  const ScratchDir scratch;
  ASSERT_EQ(chmod(scratch.path().c_str(), 0777), 0);
  const std::string out = scratch.path() + "/out", err = scratch.path() + "/err";
  const pid_t child = fork();
  if (child == 0) {
    if (getuid() == 0) HOLDS(setgid(65534) == 0 && setuid(65534) == 0);
    HOLDS(prctl(PR_SET_DUMPABLE, 0) == 0);
    const ManyDescriptors many(20);
    Process process;
    process.setOutputFds(open(out.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600),
                         open(err.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    const char* arguments[] = {"/proc/self/fd"};
    setenv("LC_ALL", "C", 1);  // for what is told on standard error
    HOLDS(process.start("/bin/ls", 1, arguments) && process.wait(kPatience));
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(Contents(out), "0\n1\n2\n3\n");
  EXPECT_NE(Contents(err).find("Permission denied"), std::string::npos) << Contents(err);
}

TEST_F(ListingTest, ClosesEveryPossibleDescriptorWhereNothingCanBeRead) {
  if (getuid() != 0) GTEST_SKIP() << "only root changes the root";
  const ScratchDir scratch;
  const OutputFiles files;
  const pid_t child = fork();
  if (child == 0) {
    const ManyDescriptors many(20);
    HOLDS(dup2(files.err(), STDERR_FILENO) == STDERR_FILENO && chroot(scratch.path().c_str()) == 0);
    Process process;
    HOLDS(process.unixCloseFDInheritFromParent());
    for (int fd = 3; fd < sysconf(_SC_OPEN_MAX); ++fd) HOLDS(fcntl(fd, F_GETFD) == -1);
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(files.errText(), "ls /proc/" + std::to_string(child) + "/fd: No such file or directory\n");
}

TEST_F(ListingTest, TakesALongListingInPieces) {
  PutListing("head -c 9000 /dev/zero | tr '\\0' ' '; exec /bin/ls \"$@\"");
  const Outcome outcome = StartWithManyOpen(20);
  EXPECT_EQ(outcome.open, kNothingInherited);
  EXPECT_EQ(outcome.errors, "");
}

TEST_F(ListingTest, ToldOnStandardErrorWhenMemoryIsShortAndEveryPossibleDescriptorIsClosed) {
  PutListing("/bin/ls \"$@\" | head -n 5; head -c 100000 /dev/zero | tr '\\0' ' '; exec /bin/ls \"$@\"");
  faults::mremap.Fail(ENOMEM, 1000, 1);
  const Outcome outcome = StartWithManyOpen(20);
  EXPECT_EQ(outcome.open, kNothingInherited);
  EXPECT_EQ(outcome.errors.substr(0, outcome.errors.find('\n') + 1),
            "alloca fail.: Cannot allocate memory\n");
}

TEST_F(ListingTest, MissingStandardDescriptorsStayMissing) {
  for (const int err : {-1, STDERR_FILENO}) {
    const OutputFiles files;
    Process process;
    process.setOutputFds(files.out(), err);
    ASSERT_TRUE(StartShell(process, "test -e /proc/self/fd/2 || echo closed"));
    ASSERT_TRUE(process.wait(kPatience));
    EXPECT_EQ(files.outText(), "closed\n");
  }
  const OutputFiles files;
  Process process;
  process.setOutputFds(STDOUT_FILENO, files.err());
  ASSERT_TRUE(StartShell(process, "test -e /proc/self/fd/1 || echo closed >&2"));
  ASSERT_TRUE(process.wait(kPatience));
  EXPECT_EQ(files.errText(), "closed\n");
}

// Standard output is lent to the shell and comes back as it was.
TEST_F(ListingTest, AStandardOutputThatEndsAtExecStillDoes) {
  for (const int flags : {FD_CLOEXEC, 0}) {
    const OutputFiles files;
    const ManyDescriptors inherited(1);
    const pid_t child = fork();
    if (child == 0) {
      HOLDS(dup2(files.err(), STDERR_FILENO) == STDERR_FILENO && fcntl(STDOUT_FILENO, F_SETFD, flags) == 0);
      Process process;
      HOLDS(StartShell(process, "test -e /proc/self/fd/1 && echo open >&2") && process.wait(kPatience));
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(files.errText(), flags == 0 ? "open\n" : "");
  }
}

TEST_F(ListingTest, IsNotDisturbedWhereChildrenAreIgnored) {
  const auto before = std::signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(StartWithManyOpen(20).open, kNothingInherited);
  std::signal(SIGCHLD, before);
}

TEST_F(ListingTest, AMissingProgramIsToldWithWhatTheParentHasPrintedLeftToTheParent) {
  Process process;
  testing::internal::CaptureStdout();
  std::printf("unwritten text of the parent\n");
  EXPECT_TRUE(process.start("/no such program", 0, nullptr));
  EXPECT_TRUE(process.wait(kPatience));
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "PROC-ERROR: execv fail, errno=2, errmsg=No such file or directory\nunwritten text of the parent\n");
}

TEST_F(ProcessTest, ClosesEveryDescriptorAboveTwoOfTheCallingProcess) {
  for (const int error : {0, ENOSYS}) {
    const pid_t child = fork();
    if (child == 0) {
      if (error != 0) FailCloseRange(error);
      Process process;
      const ManyDescriptors many(50);
      const bool result = process.unixCloseFDInheritFromParent();
      _exit(result && OpenDescriptors() == std::set<int>{0, 1, 2} ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
}

}  // namespace
