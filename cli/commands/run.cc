// SPDX-License-Identifier: MIT
// tovkit run: starts a program, waits for it with a limit, and ends with its exit code.
#include "command.h"
#include "limit_options.h"
#include "program.h"
#include "supervisor.h"

#include <tovkit/system.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

// The exit statuses of shells and of timeout(1).
constexpr int kTimedOut = 124;
constexpr int kRunFailed = 125;
constexpr int kSignalled = 128;

struct RunOptions {
  Limits limits;
  std::string out;
  std::string err;
  std::string directory;
  bool inheritFds = false;
  std::string program;
  std::vector<std::string> arguments;
};

// A descriptor above 2, closed at the end and not left to the child.
class Descriptor {
 public:
  // A file made empty; or, without a name, a copy of `standard`.
  Descriptor(const std::string& file, int standard)
      : fd_(file.empty() ? fcntl(standard, F_DUPFD_CLOEXEC, 3) : Open(file)) {
    if (fd_ < 0)
      throw CommandError((file.empty() ? "standard output" : file) + ": " + std::strerror(errno), kRunFailed);
  }
  ~Descriptor() { close(fd_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int fd() const { return fd_; }

  bool IsSameFileAs(const Descriptor& other) const {
    struct stat mine {
    }, theirs{};
    return fstat(fd_, &mine) == 0 && fstat(other.fd_, &theirs) == 0 && mine.st_dev == theirs.st_dev &&
           mine.st_ino == theirs.st_ino;
  }

 private:
  static int Open(const std::string& file) {
    const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (opened < 0 || opened > STDERR_FILENO) return opened;
    const int moved = fcntl(opened, F_DUPFD_CLOEXEC, 3);
    close(opened);
    return moved;
  }

  int fd_;
};

void Start(tovkit::Process& process, const RunOptions& options) {
  const std::string file = FindProgram(options.program, options.directory);
  std::vector<const char*> arguments;
  for (const std::string& argument : options.arguments) {
    if (argument.empty())
      throw CommandError(options.program + ": an empty argument cannot be passed on", kRunFailed);
    arguments.push_back(argument.c_str());
  }
  if (options.inheritFds) process.setFlags(tovkit::Process::inheritParentFds);
  process.setWorkingDirectory(options.directory.c_str());
  if (!process.start(file.c_str(), static_cast<int>(arguments.size()), arguments.data())) {
    throw CommandError(options.program + ": cannot start a process", kRunFailed);
  }
}

// Starts the program with outputs of its own. They are closed here as soon as it has them.
void StartRedirected(tovkit::Process& process, const RunOptions& options) {
  std::unique_ptr<Descriptor> out, err;
  if (!options.out.empty() || !options.err.empty()) {
    out = std::make_unique<Descriptor>(options.out, STDOUT_FILENO);
    err = std::make_unique<Descriptor>(options.err, STDERR_FILENO);
    // One file for both is written through one descriptor, so that neither overwrites the other.
    const bool shared = !options.out.empty() && !options.err.empty() && err->IsSameFileAs(*out);
    process.setOutputFds(out->fd(), shared ? out->fd() : err->fd());
  }
  Start(process, options);
}

[[noreturn]] void EndAs(const Ending& ending, const tovkit::Process& process, const std::string& program) {
  if (ending.alive != 0) {
    const std::string many = std::to_string(ending.alive);
    throw CommandError(program + ": " + many + " of its processes cannot be ended",
                       ending.timedOut ? kTimedOut : kRunFailed);
  }
  if (ending.timedOut) throw ExitStatus{kTimedOut};
  if (ending.interruption != 0) Interruptions::EndBy(ending.interruption);
  if (!ending.executed) throw CommandError(program + ": cannot be executed", kCannotExecute);
  if (ending.signal != 0) {
    const std::string number = std::to_string(ending.signal);
    throw CommandError(program + ": ended by signal " + number + ", " + strsignal(ending.signal),
                       kSignalled + ending.signal);
  }
  throw ExitStatus{static_cast<int>(process.exitCode())};
}

void Run(const RunOptions& options) {
  if (!options.directory.empty() && access(options.directory.c_str(), X_OK) != 0) {
    throw CommandError(options.directory + ": " + std::strerror(errno), kRunFailed);
  }
  tovkit::Process process;
  const ProcessTree tree;
  Interruptions interruptions;
  StartRedirected(process, options);
  interruptions.Hold();
  EndAs(Supervise(process, tree, interruptions, options.limits), process, options.program);
}

}  // namespace

void AddRunCommand(CLI::App& app) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const command = app.add_subcommand(
      "run",
      "Run a program with a time-out, its output in files\n"
      "Ends with the program's exit code, or with 124 when the time was up, 125 when run itself failed, 126 "
      "when the program cannot be executed, 127 when it is not found, 128 + N when signal N ended it.");
  command->footer(
      "A TIME is a number with a unit: 500ms, 2s, 1.5m, 1h. INT, TERM, HUP and QUIT that are sent to run "
      "itself "
      "are passed on to the program. Children that outlive a program that ended in time are left alone.");
  const char* const timeout = "End the program and all that it has started after this time";
  AddTimeOption(*command, {"--timeout", timeout, true, kMilliseconds}, options->limits.timeout);
  const char* const killAfter = "How long after TERM whoever still runs is killed";
  AddTimeOption(*command, {"--kill-after", killAfter, true}, options->limits.killAfter)->default_str("5s");
  command->add_option("--stdout", options->out, "Write the program's standard output to this file")
      ->type_name("FILE");
  command->add_option("--stderr", options->err, "Write the program's standard error to this file")
      ->type_name("FILE");
  command->add_option("--cwd", options->directory, "Start in this directory")->type_name("DIR");
  command->add_flag("--inherit-fds", options->inheritFds, "Leave descriptors above 2 open; starts faster");
  command
      ->add_option("PROGRAM", options->program, "The program, searched in PATH, and after it its arguments")
      ->required()
      ->type_name("");
  // Words behind the program are passed on as they are; as a list option, "[a,b]" would be split.
  command->prefix_command();
  command->callback([options, command] {
    options->arguments = command->remaining();
    if (!options->arguments.empty()) {
      if (options->arguments.front() != "--") throw CLI::ExtrasError("run", options->arguments);
      options->arguments.erase(options->arguments.begin());
    }
    Run(*options);
  });
}

}  // namespace cli
