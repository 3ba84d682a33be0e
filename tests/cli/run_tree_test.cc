// SPDX-License-Identifier: MIT
// What `tovkit run` does to the program and to what the program has started: time-outs and signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
using Words = std::vector<std::string>;

std::string Contents(const std::string& file) {
  std::ifstream in(file);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<pid_t> Ids(const std::string& file) {
  std::istringstream in(Contents(file));
  return {std::istream_iterator<pid_t>(in), {}};
}

bool IsThere(pid_t pid) { return kill(pid, 0) == 0; }

// Waits for what another process does; false when that takes a minute.
template <typename Condition>
bool Eventually(Condition condition) {
  const auto limit = Clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    if (Clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

Words RunShell(const Words& options, const std::string& script) {
  Words arguments = {"run"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  for (const std::string& word : {std::string("--"), std::string("sh"), std::string("-c"), script}) {
    arguments.push_back(word);
  }
  return arguments;
}

// Runs the script with ever longer time-outs until it has written `count` ids to the file before the end: a
// busy machine may not bring it there at once.
CommandResult RunUntilReady(Words options, const std::string& script, const std::string& file,
                            std::size_t count) {
  options.insert(options.begin(), {"--timeout", ""});
  CommandResult result;
  for (int limit = 300; limit < 100000; limit *= 3) {
    std::filesystem::remove(file);
    options[1] = std::to_string(limit) + "ms";
    result = RunCommand(RunShell(options, script));
    if (Ids(file).size() == count) break;
  }
  EXPECT_EQ(Ids(file).size(), count);
  return result;
}

void ExpectGone(const std::string& file) {
  for (const pid_t pid : Ids(file)) {
    EXPECT_FALSE(IsThere(pid)) << pid;
    kill(pid, SIGKILL);
  }
}

void WriteScript(const std::string& file, const std::string& text) {
  std::ofstream(file) << "#!/bin/sh\n" << text;
  chmod(file.c_str(), 0755);
}

TEST(RunTree, ATimeOutEndsEverybody) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids", here = "cd " + scratch.path() + "; ";
  // Each tells its id once it is what its name says.
  WriteScript(scratch.path() + "/sleeper", "echo $$ >>ids; exec sleep 1000\n");
  WriteScript(scratch.path() + "/deaf", "trap '' TERM; echo $$ >>ids; exec sleep 1000\n");
  WriteScript(scratch.path() + "/stopped", "echo $$ >>ids; kill -STOP $$; exec sleep 1000\n");
  WriteScript(scratch.path() + "/parent",
              "trap '' TERM; ./sleeper & ./deaf & echo $$ >>ids; wait; sleep 1000\n");
  const struct {
    const char* condition;
    std::string others;
    std::size_t count;
  } rows[] = {{"alone", "", 1},
              {"a child", "./sleeper &", 2},
              {"a session of its own", "setsid ./sleeper &", 2},
              {"an orphan", "(./sleeper &);", 2},
              {"an orphan in a session of its own", "(setsid ./sleeper &);", 2},
              {"one that ignores TERM", "(setsid ./deaf &);", 2},
              {"a stopped one", "./stopped &", 2},
              {"a family that ignores TERM", "./parent &", 4},
              {"a family in a session of its own", "(setsid ./parent &);", 4},
              {"many", "./sleeper & (setsid ./deaf &); (./stopped &); setsid ./sleeper &", 5}};
  for (const auto& row : rows) {
    const CommandResult result =
        RunUntilReady({"--kill-after", "200ms"}, here + row.others + " exec ./sleeper", file, row.count);
    EXPECT_EQ(result.status, 124) << row.condition;
    EXPECT_EQ(result.out + result.err, "") << row.condition;
    ExpectGone(file);
  }
}

TEST(RunTree, WhoIgnoresTermIsKilledAfterTheTimeForIt) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const std::string script = "trap '' TERM; echo $$ >" + file + "; while :; do sleep 1000; done";
  for (const char* time : {"1", "1s", "1000ms"}) {
    const auto start = Clock::now();
    EXPECT_EQ(RunUntilReady({"--kill-after", time}, script, file, 1).status, 124);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(1300)) << time;
    ExpectGone(file);
  }
  EXPECT_EQ(RunUntilReady({"--kill-after", "0"}, script, file, 1).status, 124);
  ExpectGone(file);
}

TEST(RunTree, WhoEndsOnTermIsWaitedFor) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const CommandResult result = RunUntilReady(
      {"--kill-after", "1h"},
      "trap 'echo cleaned; exit 3' TERM; echo $$ >" + file + "; while :; do sleep 0.01; done", file, 1);
  EXPECT_EQ(result.status, 124);
  EXPECT_EQ(result.out, "cleaned\n");
  ExpectGone(file);
}

// Kills whose command line holds the text, and tells how many there were.
int KillMarked(const std::string& mark) {
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const pid_t pid = std::atoi(entry.path().filename().c_str());
    if (pid == 0 || Contents(entry.path().string() + "/cmdline").find(mark) == std::string::npos) continue;
    kill(pid, SIGKILL);
    ++count;
  }
  return count;
}

TEST(RunTree, WhoForksWithoutEndIsEnded) {
  const std::string mark = "tovkit-forks-" + std::to_string(getpid());
  const std::string chain = TOVKIT_FORK_CHAIN;
  const CommandResult result =
      RunCommand(RunShell({"--timeout", "300ms", "--kill-after", "100ms"},
                          chain + " same " + mark + " & " + chain + " groups " + mark + " & sleep 1000"));
  EXPECT_EQ(result.status, 124);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(KillMarked(mark), 0);
  while (KillMarked(mark) != 0) {
  }
}

TEST(RunTree, ChildrenThatOutliveTheProgramAreLeftAlone) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const CommandResult result =
      RunCommand(RunShell({"--timeout", "1h"}, "sleep 1000 & echo $! >" + file + "; exit 4"));
  EXPECT_EQ(result.status, 4);
  ASSERT_EQ(Ids(file).size(), 1U);
  EXPECT_TRUE(IsThere(Ids(file)[0]));
  kill(Ids(file)[0], SIGKILL);
}

// As a shell's `exec tovkit run` and `> >(tee log)` leave them behind.
void ExpectOwnChildToStay(const char* killAfter) {
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t command = fork();
  if (command == 0) {
    const pid_t other = fork();
    if (other == 0) {
      for (;;) pause();
    }
    if (write(ready[1], &other, sizeof other) != sizeof other) _exit(1);
    execl(TOVKIT_COMMAND, TOVKIT_COMMAND, "run", "--timeout", "200ms", "--kill-after", killAfter, "--",
          "sleep", "1000", nullptr);
    _exit(1);
  }
  pid_t other = 0;
  ASSERT_EQ(read(ready[0], &other, sizeof other), static_cast<ssize_t>(sizeof other));
  close(ready[0]);
  close(ready[1]);
  int status = 0;
  waitpid(command, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 124);
  EXPECT_TRUE(IsThere(other));
  kill(other, SIGKILL);
}

TEST(RunTree, ChildrenOfTheProcessThatBecameTheCommandAreLeftAlone) { ExpectOwnChildToStay("0"); }

// Whoever waited for them too would wait for an hour.
TEST(RunTree, ChildrenOfTheProcessThatBecameTheCommandAreNotWaitedFor) { ExpectOwnChildToStay("1h"); }

TEST(RunTree, ABareNumberIsMilliseconds) {
  const auto start = Clock::now();
  EXPECT_EQ(RunCommand({"run", "--timeout", "100", "--", "sleep", "60"}).status, 124);
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(50));
  EXPECT_EQ(RunCommand({"run", "--timeout", "1m", "--", "sh", "-c", "sleep 0.2; exit 3"}).status, 3);
}

// A script that is told of its own readiness: the command, once its program has written its ids to `file`.
pid_t StartScript(const Words& options, const std::string& script, const std::string& file,
                  std::size_t count = 1) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t command = StartCommand(RunShell(options, script), null, null, null);
  close(null);
  EXPECT_TRUE(Eventually([&] { return Ids(file).size() == count; }));
  return command;
}

// The shell is not the program yet when it has written its id, and answers an interrupt in its own way.
void AwaitSleep(const std::string& file) {
  const std::string name = "/proc/" + std::to_string(Ids(file).at(0)) + "/comm";
  EXPECT_TRUE(Eventually([&] { return Contents(name) == "sleep\n"; }));
}

int StatusOf(pid_t command) {
  int status = 0;
  waitpid(command, &status, 0);
  return status;
}

TEST(RunSignals, ASignalIsPassedOnAndTheCommandEndsAsTheProgramDoes) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    std::filesystem::remove(file);
    pid_t command = StartScript({}, "ulimit -c 0; echo $$ >" + file + "; exec sleep 1000", file);
    AwaitSleep(file);
    kill(command, signal);
    int status = StatusOf(command);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << status;
    ExpectGone(file);

    std::filesystem::remove(file);
    command = StartScript(
        {}, "trap 'exit 7' INT TERM HUP QUIT; echo $$ >" + file + "; while :; do sleep 0.01; done", file);
    kill(command, signal);
    status = StatusOf(command);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << status;
  }
}

TEST(RunSignals, ChildrenInTheGroupGetItTooAndDaemonsDoNot) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const pid_t command = StartScript(
      {}, "sleep 1000 & echo $! >" + file + "; setsid sh -c 'echo $$ >>" + file + "; exec sleep 1000' & wait",
      file, 2);
  kill(command, SIGTERM);
  StatusOf(command);
  const std::vector<pid_t> ids = Ids(file);
  EXPECT_TRUE(Eventually([&] { return !IsThere(ids[0]); }));
  EXPECT_TRUE(IsThere(ids[1]));
  kill(ids[1], SIGKILL);
}

TEST(RunSignals, WhoIgnoresASignalIsKilledAfterTheTimeForIt) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const pid_t command = StartScript(
      {"--kill-after", "200ms"},
      "trap '' TERM; (setsid sleep 1000 & echo $! >" + file + "); echo $$ >>" + file + "; exec sleep 1000",
      file, 2);
  kill(command, SIGTERM);
  const int status = StatusOf(command);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
  ExpectGone(file);
}

// Whoever has left the group too, which gets no other signal.
TEST(RunSignals, BehindTheTimeOutASignalReachesEverybody) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids", term = scratch.path() + "/term";
  const std::string hup = scratch.path() + "/hup", loop = "; while :; do sleep 0.01; done";
  const std::string script = "trap 'echo >>" + term + "' TERM; trap 'exit 0' HUP; " +
                             "setsid sh -c 'trap \"\" TERM; trap \"echo >" + hup +
                             "; exit 0\" HUP; echo $$ >>" + file + loop + "' & echo $$ >>" + file + loop;
  bool isReady = false;
  // A busy machine may not bring them so far before the time is over.
  for (int limit = 500; limit < 100000 && !isReady; limit *= 3) {
    for (const std::string& old : {file, term, hup}) std::filesystem::remove(old);
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const Words options = {"--timeout", std::to_string(limit) + "ms", "--kill-after", "60s"};
    const pid_t command = StartCommand(RunShell(options, script), null, null, null);
    close(null);
    bool isOver = false;
    EXPECT_TRUE(Eventually([&] {
      isOver = waitpid(command, nullptr, WNOHANG) == command;
      return isOver || std::filesystem::exists(term);
    }));
    isReady = !isOver && Ids(file).size() == 2;
    if (!isOver) kill(command, SIGHUP);
    if (isReady) {
      const int status = StatusOf(command);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 124) << status;
      EXPECT_TRUE(std::filesystem::exists(hup));
    } else if (!isOver) {
      StatusOf(command);
    }
    ExpectGone(file);
  }
  EXPECT_TRUE(isReady);
}

TEST(RunSignals, ASignalThatTheCallerIgnoresStaysIgnored) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const auto before = std::signal(SIGHUP, SIG_IGN);
  const pid_t command = StartScript({}, "echo $$ >" + file + "; exec sleep 1000", file);
  std::signal(SIGHUP, before);
  kill(command, SIGHUP);
  kill(Ids(file)[0], SIGHUP);
  kill(command, SIGTERM);
  const int status = StatusOf(command);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << "not by SIGHUP";
  ExpectGone(file);
}

// The command as the foreground job of a terminal.
class OnTerminal {
 public:
  explicit OnTerminal(const Words& arguments) {
    int terminal = -1;
    command_ = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (command_ == 0) {
      std::vector<char*> pointers = {const_cast<char*>(TOVKIT_COMMAND)};
      for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
      pointers.push_back(nullptr);
      execv(pointers[0], pointers.data());
      _exit(1);
    }
    terminal_ = terminal;
  }
  ~OnTerminal() { close(terminal_); }
  OnTerminal(const OnTerminal&) = delete;
  OnTerminal& operator=(const OnTerminal&) = delete;

  pid_t command() const { return command_; }
  void Type(char c) const { EXPECT_EQ(write(terminal_, &c, 1), 1); }

 private:
  pid_t command_;
  int terminal_;
};

constexpr char kControlC = '\x03';

TEST(RunSignals, ControlCReachesTheProgramOnce) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids", log = scratch.path() + "/log";
  const OnTerminal terminal(RunShell({"--kill-after", "0"}, "trap 'echo int >>" + log +
                                                                "' INT; trap 'exit 5' TERM; echo $$ >" +
                                                                file + "; while :; do sleep 0.01; done"));
  ASSERT_TRUE(Eventually([&] { return Ids(file).size() == 1; }));
  for (const char* lines : {"int\n", "int\nint\n"}) {
    terminal.Type(kControlC);
    EXPECT_TRUE(Eventually([&] { return Contents(log) == lines; })) << Contents(log);
  }
  // Passed on after whatever came before; the program alone has decided so far.
  kill(Ids(file)[0], SIGTERM);
  const int status = StatusOf(terminal.command());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 5) << status;
  EXPECT_EQ(Contents(log), "int\nint\n");
}

TEST(RunSignals, ControlCEndsTheCommandWithTheProgram) {
  const ScratchDir scratch;
  const std::string file = scratch.path() + "/ids";
  const OnTerminal terminal(RunShell({}, "echo $$ >" + file + "; exec sleep 1000"));
  ASSERT_TRUE(Eventually([&] { return Ids(file).size() == 1; }));
  AwaitSleep(file);
  terminal.Type(kControlC);
  const int status = StatusOf(terminal.command());
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
}

}  // namespace
