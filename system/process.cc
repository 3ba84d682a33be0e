// SPDX-License-Identifier: MIT
// Process: what the parent does. The child's part is in process_child.cc.
#include <sys/wait.h>
#include <tovkit/system.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "stopwatch.h"
#include "text_copy.h"

namespace tovkit {
namespace {

constexpr int64_t kNoExitCode = 0x1F2E3D4C;
constexpr unsigned kPollMilliseconds = 5;

bool IsEmpty(const char* text) { return text == nullptr || *text == '\0'; }

}  // namespace

Process::Process()
    : fields{.pid = 0,
             .exitCode = kNoExitCode,
             .flags = 0,
             .state = Stopped,
             .path = nullptr,
             .argCount = 0,
             .argv = nullptr,
             .workDir = nullptr,
             .stdoutFd = -1,
             .stderrFd = -1} {}

Process::~Process() {
  terminate();
  freeArguments();
  delete[] fields.workDir;
}

void Process::freeArguments() {
  for (int i = 0; i < fields.argCount; ++i) delete[] fields.argv[i];
  delete[] fields.argv;
  fields.argv = nullptr;
  fields.path = nullptr;
  fields.argCount = 0;
}

void Process::setFlags(uint32_t value) { fields.flags = value; }

void Process::addFlags(uint32_t value) { fields.flags |= value; }

void Process::removeFlags(uint32_t value) { fields.flags &= ~value; }

bool Process::setOutputFds(int stdoutFd, int stderrFd) {
  fields.stdoutFd = stdoutFd;
  fields.stderrFd = stderrFd;
  return true;
}

void Process::setWorkingDirectory(const char* directory) {
  char* copy = IsEmpty(directory) ? nullptr : CopyText(directory).release();
  delete[] fields.workDir;
  fields.workDir = copy;
}

bool Process::start(const char* path, int argc, const char* const* argv) {
  if (IsEmpty(path) || (argc >= 1 && argv == nullptr)) return false;
  // Compatibility: refused while another start() runs, but not while a child does.
  if (fields.state == Starting) {
    std::printf("this process is already runing.\n");
    return false;
  }
  if (argc < 0) argc = 0;
  if (argc > INT_MAX - 2) return false;

  freeArguments();
  fields.argv = new char*[static_cast<size_t>(argc) + 2]();
  fields.argCount = argc + 2;
  fields.argv[0] = CopyText(path).release();
  fields.path = fields.argv[0];
  for (int i = 0; i < argc; ++i) {
    if (IsEmpty(argv[i])) return false;
    fields.argv[i + 1] = CopyText(argv[i]).release();
  }

  fields.state = Starting;
  const bool started = unixStart();
  fields.state = started ? Running : Stopped;
  return started;
}

bool Process::wait(int milliseconds) {
  if (fields.state == Stopped) return true;
  if (milliseconds < 0) std::printf("PROC: will wait proc %lu unitl dead\n", fields.pid);
  // A negative limit is a huge one.
  const auto limit = static_cast<uint64_t>(static_cast<int64_t>(milliseconds) * 1000);
  Stopwatch stopwatch;
  stopwatch.reset();
  stopwatch.start();
  int status = 0;
  for (;;) {
    const pid_t ended = waitpid(static_cast<pid_t>(fields.pid), &status, milliseconds < 0 ? 0 : WNOHANG);
    if (ended > 0) break;
    if (ended == 0) {
      if (limit < stopwatch.elapsedMicros()) return false;
      Thread::msleep(kPollMilliseconds);
    } else {
      const int error = errno;
      if (error == ECHILD) {
        fields.state = Stopped;
        return true;
      }
      std::printf("waitpid fail. errno=%d, errmsg=%s\n", error, std::strerror(error));
      if (error != EINTR) return false;
    }
    if (limit <= stopwatch.elapsedMicros()) return false;
  }
  if (WIFEXITED(status)) fields.exitCode = WEXITSTATUS(status);
  fields.state = Stopped;
  return true;
}

void Process::terminate() {
  // Without an id there is no child, and kill would signal the caller's whole group for a 0.
  if (fields.state != Stopped && fields.pid != 0) kill(static_cast<pid_t>(fields.pid), SIGKILL);
}

uint64_t Process::pid() const { return fields.pid; }

int64_t Process::exitCode() const { return fields.exitCode; }

Process::State Process::state() const { return static_cast<State>(fields.state); }

}  // namespace tovkit
