#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"

namespace {

CommandResult RunProgram(std::vector<std::string> options, const std::vector<std::string>& program,
                         const std::string& input = "") {
  options.insert(options.begin(), "run");
  options.push_back("--");
  options.insert(options.end(), program.begin(), program.end());
  return RunCommand(options, input);
}

std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

void Write(const std::string& file, const std::string& text, mode_t mode) {
  std::ofstream(file) << text;
  chmod(file.c_str(), mode);
}

// The process is gone, or will be as soon as its parent has reaped it.
bool Ends(pid_t pid) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (kill(pid, 0) == 0 || errno != ESRCH) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

TEST(RunCommandTest, EndsWithTheExitCodeOfTheProgram) {
  for (const int code : {0, 1, 2, 77, 255}) {
    const CommandResult result = RunProgram({}, {"sh", "-c", "exit " + std::to_string(code)});
    EXPECT_EQ(result.status, code);
    EXPECT_EQ(result.out + result.err, "");
  }
}

TEST(RunCommandTest, TheExitCodeArrivesWhereTheCallerIgnoresItsChildren) {
  const pid_t caller = fork();
  if (caller == 0) {
    std::signal(SIGCHLD, SIG_IGN);
    execl(TOVKIT_COMMAND, TOVKIT_COMMAND, "run", "--", "sh", "-c", "exit 3", nullptr);
    _exit(127);
  }
  int status = 0;
  waitpid(caller, &status, 0);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST(RunCommandTest, PassesArgumentsInputAndOutputUntouched) {
  const CommandResult result = RunProgram({},
                                          {"sh", "-c", "printf '%s|' \"$@\"; cat; echo oops >&2", "sh",
                                           "[a,b]", "--", "--timeout", "{}", "%%", "a b", "-h", "ps"},
                                          "from standard input\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "[a,b]|--|--timeout|{}|%%|a b|-h|ps|from standard input\n");
  EXPECT_EQ(result.err, "oops\n");
}

TEST(RunCommandTest, WaitsWithoutALimitAndWithoutAWordOfItsOwn) {
  const CommandResult result = RunProgram({}, {"sh", "-c", "sleep 0.3; echo done"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "done\n");
}

TEST(RunCommandTest, ATimeOutKillsTheProgramAndGives124) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/pid";
  // A busy machine may not bring the program to its first line in time: then it gets longer.
  pid_t pid = 0;
  for (int limit = 500; pid == 0 && limit < 100000; limit *= 3) {
    const CommandResult result = RunProgram({"--timeout", std::to_string(limit)},
                                            {"sh", "-c", "echo $$ >" + file + "; exec sleep 1000"});
    EXPECT_EQ(result.status, 124);
    EXPECT_EQ(result.out + result.err, "");
    pid = std::atoi(Contents(file).c_str());
  }
  ASSERT_GT(pid, 0);
  EXPECT_TRUE(Ends(pid));
}

TEST(RunCommandTest, AProgramThatIsDoneInTimeGivesItsExitCode) {
  EXPECT_EQ(RunProgram({"--timeout", "2147483647"}, {"sh", "-c", "exit 5"}).status, 5);
}

TEST(RunCommandTest, WritesOutputAndErrorToFiles) {
  const ScratchDir scratch;
  const std::string out = scratch.path() + "/out", err = scratch.path() + "/err";
  const std::vector<std::string> program = {"sh", "-c", "echo data; echo trouble >&2"};
  CommandResult result = RunProgram({"--stdout", out, "--stderr", err}, program);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(Contents(out), "data\n");
  EXPECT_EQ(Contents(err), "trouble\n");

  result = RunProgram({"--stdout", out}, program);
  EXPECT_EQ(result.err, "trouble\n");
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(Contents(out), "data\n");

  result = RunProgram({"--stderr", err}, program);
  EXPECT_EQ(result.out, "data\n");
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Contents(err), "trouble\n");

  result = RunProgram({"--stdout", out, "--stderr", scratch.path() + "/./out"}, program);
  EXPECT_EQ(result.out + result.err, "");
  EXPECT_EQ(Contents(out), "data\ntrouble\n") << "one file for both";
}

TEST(RunCommandTest, StartsInADirectory) {
  const ScratchDir scratch;
  Write(scratch.path() + "/here", "#!/bin/sh\npwd -P\n", 0755);
  EXPECT_EQ(RunProgram({"--cwd", "/usr"}, {"pwd"}).out, "/usr\n");
  const CommandResult result = RunProgram({"--cwd", scratch.path()}, {"./here"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out, "");
}

TEST(RunCommandTest, DescriptorsAreClosedUnlessInherited) {
  const int fd = open("/dev/null", O_RDONLY);
  const int high = fcntl(fd, F_DUPFD, 50);
  close(fd);
  const std::vector<std::string> program = {"sh", "-c", "test -e /proc/self/fd/" + std::to_string(high)};
  EXPECT_EQ(RunProgram({}, program).status, 1);
  EXPECT_EQ(RunProgram({"--inherit-fds"}, program).status, 0);
  close(high);
}

TEST(RunCommandTest, WhatCannotBeRunIsOneLine) {
  const ScratchDir scratch;
  const std::string at = scratch.path() + "/";
  Write(at + "plain", "echo hello\n", 0755);
  Write(at + "empty", "", 0755);
  Write(at + "locked", "#!/bin/sh\n", 0644);
  Write(at + "lost", "#! /no/such/interpreter -x\n", 0755);
  Write(at + "next line", "#!\n/bin/sh\n", 0755);
  Write(at + "one byte", "#", 0755);
  ASSERT_EQ(mkfifo((at + "pipe").c_str(), 0755), 0);
  struct Case {
    const char* condition;
    std::vector<std::string> options;
    std::vector<std::string> program;
    std::string error;
  };
  const Case cases[] = {
      {"not in PATH", {}, {"no-such-program-here"}, "no-such-program-here: not found in PATH"},
      {"missing file", {}, {at + "none"}, at + "none: No such file or directory"},
      {"directory", {}, {"/usr/bin/"}, "/usr/bin/: Is a directory"},
      {"not executable", {}, {at + "locked"}, at + "locked: Permission denied"},
      {"script without #!",
       {},
       {at + "plain"},
       at + "plain: neither a binary nor a script that begins with #!"},
      {"empty file", {}, {at + "empty"}, at + "empty: an empty file is no program"},
      {"lost interpreter",
       {},
       {at + "lost"},
       at + "lost: interpreter /no/such/interpreter: No such file or directory"},
      {"interpreter on the next line",
       {},
       {at + "next line"},
       at + "next line: interpreter : No such file or directory"},
      {"one byte", {}, {at + "one byte"}, at + "one byte: neither a binary nor a script that begins with #!"},
      {"pipe", {}, {at + "pipe"}, at + "pipe: Permission denied"},
      {"empty name", {}, {""}, "the program's name is empty"},
      {"empty argument", {}, {"echo", "a", ""}, "echo: an empty argument cannot be passed on"},
      {"directory of --cwd", {"--cwd", at + "none"}, {"true"}, at + "none: No such file or directory"},
      {"file for --stdout",
       {"--stdout", at + "none/out"},
       {"true"},
       at + "none/out: No such file or directory"},
      {"ended by a signal", {}, {"sh", "-c", "kill -9 $$"}, "sh: ended by a signal"},
  };
  for (const Case& c : cases) {
    const CommandResult result = RunProgram(c.options, c.program);
    EXPECT_EQ(result.status, 1) << c.condition;
    EXPECT_EQ(result.out, "") << c.condition;
    EXPECT_EQ(result.err, "tovkit: " + c.error + "\n") << c.condition;
  }
}

TEST(RunCommandTest, AnEmptyPlaceInPathIsTheWorkingDirectory) {
  const ScratchDir scratch;
  Write(scratch.path() + "/here", "#!/bin/sh\necho here\n", 0755);
  const std::string before = std::filesystem::current_path();
  std::filesystem::current_path(scratch.path());
  for (const char* path : {"/no/such/place:", ":/no/such/place", "/no/such/place::/nor/here", ""}) {
    EXPECT_EQ(RunCommand({"run", "--", "here"}, "", {{"PATH", path}}).out, "here\n") << path;
  }
  const CommandResult none = RunCommand({"run", "--", "here"}, "", {{"PATH", "/no/such/place"}});
  std::filesystem::current_path(before);
  EXPECT_EQ(none.err, "tovkit: here: not found in PATH\n");
}

TEST(RunCommandTest, UsageErrors) {
  const std::vector<std::string> cases[] = {{"run"},
                                            {"run", "--"},
                                            {"run", "--bogus", "--", "true"},
                                            {"run", "--timeout", "x", "--", "true"},
                                            {"run", "--timeout", "-1", "--", "true"},
                                            {"run", "--timeout", "2147483648", "--", "true"},
                                            {"run", "echo", "without", "dashes"}};
  for (const std::vector<std::string>& arguments : cases) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
}

// Runs a program that sleeps, and gives the command once the program has written its id to `file`.
pid_t StartSleeping(const std::string& file) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t command =
      StartCommand({"run", "--", "sh", "-c", "echo $$ >" + file + "; exec sleep 1000"}, null, null, null);
  while (Contents(file).find('\n') == std::string::npos) {
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  close(null);
  return command;
}

TEST(RunCommandTest, AnInterruptionKillsTheProgram) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const ScratchDir scratch;
    const std::string file = scratch.path() + "/pid";
    const pid_t command = StartSleeping(file);
    kill(command, signal);
    int status = 0;
    waitpid(command, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal);
    EXPECT_TRUE(Ends(std::atoi(Contents(file).c_str())));
  }
}

TEST(RunCommandTest, ASignalThatTheCallerIgnoresStaysIgnored) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/pid";
  const auto before = std::signal(SIGHUP, SIG_IGN);
  const pid_t command = StartSleeping(file);
  std::signal(SIGHUP, before);
  kill(command, SIGHUP);
  kill(std::atoi(Contents(file).c_str()), SIGHUP);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));  // two looks of the command
  EXPECT_EQ(waitpid(command, nullptr, WNOHANG), 0);
  kill(command, SIGTERM);
  int status = 0;
  waitpid(command, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  EXPECT_TRUE(Ends(std::atoi(Contents(file).c_str())));
}

}  // namespace
