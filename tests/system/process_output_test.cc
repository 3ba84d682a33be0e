// What a child finds: its output, its working directory, its open descriptors.
#include "build_kind.h"
#include "process_support.h"

#include <tovkit/system.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

using tovkit::Process;

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

}  // namespace
