// tovkit run: starts a program, waits for it with a limit, and ends with its exit code.
#include "command.h"
#include "program.h"

#include <tovkit/system.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

constexpr int kTimedOut = 124;
constexpr int kSliceMilliseconds = 100;
constexpr int kReapMilliseconds = 10000;
constexpr int kNoLimit = -1;

struct RunOptions {
  int timeout = kNoLimit;  // milliseconds
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
    if (fd_ < 0) throw JobError((file.empty() ? "standard output" : file) + ": " + std::strerror(errno));
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

volatile std::sig_atomic_t interruption = 0;

void NoteInterruption(int signal) { interruption = signal; }

// A signal that the caller had ignored (nohup) stays ignored, for the program too.
void NoteInterruptions() {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) std::signal(signal, NoteInterruption);
  }
}

// Waits in slices, since a wait without limit announces itself on standard output, where only the child's
// data belongs. False when the time is up or somebody interrupts.
bool WaitForEnd(tovkit::Process& process, int timeout) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + std::chrono::milliseconds(timeout);
  while (interruption == 0) {
    int slice = kSliceMilliseconds;
    if (timeout != kNoLimit) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
      slice = static_cast<int>(std::clamp<long>(left, 0, kSliceMilliseconds));
    }
    if (process.wait(slice)) return true;
    if (timeout != kNoLimit && Clock::now() >= deadline) return false;
  }
  return false;
}

void Start(tovkit::Process& process, const RunOptions& options) {
  const std::string file = FindProgram(options.program, options.directory);
  std::vector<const char*> arguments;
  for (const std::string& argument : options.arguments) {
    if (argument.empty()) throw JobError(options.program + ": an empty argument cannot be passed on");
    arguments.push_back(argument.c_str());
  }
  if (options.inheritFds) process.setFlags(tovkit::Process::inheritParentFds);
  process.setWorkingDirectory(options.directory.c_str());
  if (!process.start(file.c_str(), static_cast<int>(arguments.size()), arguments.data())) {
    throw JobError(options.program + ": cannot start a process");
  }
}

void Run(const RunOptions& options) {
  if (!options.directory.empty() && access(options.directory.c_str(), X_OK) != 0) {
    throw JobError(options.directory + ": " + std::strerror(errno));
  }
  tovkit::Process process;
  {
    const bool redirected = !options.out.empty() || !options.err.empty();
    std::unique_ptr<Descriptor> out, err;
    if (redirected) {
      out = std::make_unique<Descriptor>(options.out, STDOUT_FILENO);
      err = std::make_unique<Descriptor>(options.err, STDERR_FILENO);
      // One file for both is written through one descriptor, so that neither overwrites the other.
      const bool shared = !options.out.empty() && !options.err.empty() && err->IsSameFileAs(*out);
      process.setOutputFds(out->fd(), shared ? out->fd() : err->fd());
    }
    NoteInterruptions();
    // Where the caller ignored it, the kernel would throw the program's exit code away.
    std::signal(SIGCHLD, SIG_DFL);
    Start(process, options);
  }
  const bool ended = WaitForEnd(process, options.timeout);
  if (!ended) {
    process.terminate();
    process.wait(kReapMilliseconds);
  }
  if (interruption != 0) {
    const int signal = interruption;
    std::signal(signal, SIG_DFL);
    raise(signal);
  }
  if (!ended) throw ExitStatus{kTimedOut};
  // A signal leaves the value that no exit code can have.
  if (process.exitCode() == tovkit::Process().exitCode()) {
    throw JobError(options.program + ": ended by a signal");
  }
  throw ExitStatus{static_cast<int>(process.exitCode())};
}

}  // namespace

void AddRunCommand(CLI::App& app) {
  const auto options = std::make_shared<RunOptions>();
  CLI::App* const command = app.add_subcommand(
      "run",
      "Run a program: tovkit run [OPTIONS] -- PROGRAM ARGS...\n"
      "Ends with the program's exit code; 124 when the time was up and it was killed; 1 when "
      "it could not be run or a signal ended it.");
  command->add_option("--timeout", options->timeout, "Kill the program after this many milliseconds")
      ->check(CLI::Range(0, std::numeric_limits<int>::max()))
      ->type_name("MS");
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
  // What follows the program is its own, word for word: a list option would take "[a,b]" apart.
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
