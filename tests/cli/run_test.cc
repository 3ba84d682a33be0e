// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
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

// A binary that looks well and that the kernel refuses all the same.
void WriteProgramWithoutLoader(const std::string& file) {
  std::string program = Contents("/bin/true");
  const std::size_t loader = program.find("/ld-linux");
  ASSERT_NE(loader, std::string::npos);
  program.replace(loader, 9, "/no-linux");
  Write(file, program, 0755);
}

TEST(RunCommandTest, WhatCannotBeRunIsOneLineAndAStatusOfItsOwn) {
  const ScratchDir scratch;
  const std::string at = scratch.path() + "/";
  Write(at + "plain", "echo hello\n", 0755);
  Write(at + "empty", "", 0755);
  Write(at + "locked", "#!/bin/sh\n", 0644);
  Write(at + "lost", "#! /no/such/interpreter -x\n", 0755);
  Write(at + "next line", "#!\n/bin/sh\n", 0755);
  Write(at + "one byte", "#", 0755);
  ASSERT_EQ(mkfifo((at + "pipe").c_str(), 0755), 0);
  WriteProgramWithoutLoader(at + "no loader");
  struct Case {
    const char* condition;
    std::vector<std::string> options;
    std::vector<std::string> program;
    int status;
    std::string error;
  };
  const Case cases[] = {
      {"not in PATH", {}, {"no-such-program-here"}, 127, "no-such-program-here: not found in PATH"},
      {"missing file", {}, {at + "none"}, 127, at + "none: No such file or directory"},
      {"empty name", {}, {""}, 127, "the program's name is empty"},
      {"directory", {}, {"/usr/bin/"}, 126, "/usr/bin/: Is a directory"},
      {"file for a directory", {}, {at + "plain/x"}, 126, at + "plain/x: Not a directory"},
      {"not executable", {}, {at + "locked"}, 126, at + "locked: Permission denied"},
      {"script without #!",
       {},
       {at + "plain"},
       126,
       at + "plain: neither a binary nor a script that begins with #!"},
      {"empty file", {}, {at + "empty"}, 126, at + "empty: an empty file is no program"},
      {"lost interpreter",
       {},
       {at + "lost"},
       126,
       at + "lost: interpreter /no/such/interpreter: No such file or directory"},
      {"interpreter on the next line",
       {},
       {at + "next line"},
       126,
       at + "next line: interpreter : No such file or directory"},
      {"one byte",
       {},
       {at + "one byte"},
       126,
       at + "one byte: neither a binary nor a script that begins with #!"},
      {"pipe", {}, {at + "pipe"}, 126, at + "pipe: Permission denied"},
      {"empty argument", {}, {"echo", "a", ""}, 125, "echo: an empty argument cannot be passed on"},
      {"directory of --cwd", {"--cwd", at + "none"}, {"true"}, 125, at + "none: No such file or directory"},
      {"file for --stdout",
       {"--stdout", at + "none/out"},
       {"true"},
       125,
       at + "none/out: No such file or directory"},
      {"killed", {}, {"sh", "-c", "kill -9 $$"}, 137, "sh: ended by signal 9, Killed"},
      {"terminated", {}, {"sh", "-c", "kill -TERM $$"}, 143, "sh: ended by signal 15, Terminated"},
  };
  for (const Case& c : cases) {
    const CommandResult result = RunProgram(c.options, c.program);
    EXPECT_EQ(result.status, c.status) << c.condition;
    EXPECT_EQ(result.out, "") << c.condition;
    EXPECT_EQ(result.err, "tovkit: " + c.error + "\n") << c.condition;
  }
  // The child tells of it on its standard output, as the library has it.
  const CommandResult result = RunProgram({}, {at + "no loader"});
  EXPECT_EQ(result.status, 126);
  EXPECT_EQ(result.err, "tovkit: " + at + "no loader: cannot be executed\n");
}

TEST(RunCommandTest, WhatMayNotBeExecutedInPathIsToldFromWhatIsNotThere) {
  const ScratchDir scratch;
  Write(scratch.path() + "/locked", "#!/bin/sh\n", 0644);
  const CommandResult locked = RunCommand({"run", "--", "locked"}, "", {{"PATH", scratch.path()}});
  EXPECT_EQ(locked.status, 126);
  EXPECT_EQ(locked.err, "tovkit: locked: Permission denied\n");
  EXPECT_EQ(RunCommand({"run", "--", "other"}, "", {{"PATH", scratch.path()}}).status, 127);
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
                                            {"run", "--timeout", "1d", "--", "true"},
                                            {"run", "--timeout", "", "--", "true"},
                                            {"run", "--timeout", "600h", "--", "true"},
                                            {"run", "--kill-after", "soon", "--", "true"},
                                            {"run", "echo", "without", "dashes"}};
  for (const std::vector<std::string>& arguments : cases) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << testing::PrintToString(arguments);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err, "");
  }
}

}  // namespace
