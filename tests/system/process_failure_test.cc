// SPDX-License-Identifier: MIT
// Starts that fail: no child, or no program to execute.
#include "holds.h"
#include "process_support.h"

#include <tovkit/system.h>

#include <fcntl.h>
#include <libintl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

using tovkit::Process;

TEST_F(ProcessTest, AFailedForkIsToldAndStops) {
  Process process;
  faults::clone.Fail(EAGAIN);
  faults::fork.Fail(EAGAIN);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process.start("/bin/true", 0, nullptr));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "vfork fail, errno=11, errmsg=Resource temporarily unavailable\n");
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.pid(), 0U);
}

TEST_F(ProcessTest, AFailedForkForgetsTheChildOfAnEarlierStart) {
  Process process;
  const char* const arguments[] = {"-c", "read line"};
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const int input = dup(STDIN_FILENO);
  dup2(ends[0], STDIN_FILENO);
  ASSERT_TRUE(process.start("/bin/sh", 2, arguments));
  dup2(input, STDIN_FILENO);
  close(input);
  close(ends[0]);
  const auto child = static_cast<pid_t>(process.pid());
  faults::clone.Fail(EAGAIN);
  faults::fork.Fail(EAGAIN);
  testing::internal::CaptureStdout();
  EXPECT_FALSE(process.start("/bin/true", 0, nullptr));
  EXPECT_NE(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(process.state(), Process::Stopped);
  EXPECT_EQ(process.pid(), static_cast<std::uint64_t>(child));
  EXPECT_TRUE(process.wait(0)) << "it waits for nobody";
  process.terminate();
  close(ends[1]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "nobody ended it before its input did";
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

// A catalog of messages, as gettext reads it, with this one translation.
void WriteCatalog(const std::string& path, const std::string& message, const std::string& translation) {
  constexpr std::uint32_t kHeader = 28, kTable = 8;
  const auto length = [](const std::string& text) { return static_cast<std::uint32_t>(text.size()); };
  const std::uint32_t messageAt = kHeader + 2 * kTable, translationAt = messageAt + length(message) + 1;
  const std::uint32_t words[] = {
      0x950412de,   0, 1, kHeader, kHeader + kTable, 0, 0, length(message), messageAt, length(translation),
      translationAt};
  std::ofstream out(path, std::ios::binary);
  out.write(reinterpret_cast<const char*>(words), sizeof words);
  out << message << '\0' << translation << '\0';
}

TEST_F(ProcessTest, AProgramThatCannotBeExecutedIsToldInEnglishWhateverTheLocale) {
  const ScratchDir scratch;
  const OutputFiles files;
  std::filesystem::create_directories(scratch.path() + "/de/LC_MESSAGES");
  WriteCatalog(scratch.path() + "/de/LC_MESSAGES/libc.mo", "No such file or directory", "Nicht da");
  const pid_t child = fork();
  if (child == 0) {
    setenv("LOCPATH", TOVKIT_TEST_LOCALES, 1);
    setenv("LC_ALL", "de_DE.ISO-8859-1", 1);
    unsetenv("LANGUAGE");
    HOLDS(std::setlocale(LC_ALL, "") != nullptr);
    HOLDS(bindtextdomain("libc", scratch.path().c_str()) != nullptr);
    HOLDS(std::string(std::strerror(ENOENT)) == "Nicht da");
    Process process;
    process.setOutputFds(files.out(), files.err());
    HOLDS(process.start("/no such program", 0, nullptr) && process.wait(kPatience) &&
          process.exitCode() == 0);
    _exit(0);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(files.outText(), "PROC-ERROR: execv fail, errno=2, errmsg=No such file or directory\n");
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

}  // namespace
