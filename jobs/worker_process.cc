// SPDX-License-Identifier: MIT
// posix_spawn rather than fork: fork copies the parent's page tables, which takes longer the larger the
// parent is.
#include "worker_process.h"

#include "error.h"
#include "retried.h"
#include "sanitized.h"

#include <tovkit/util.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>

namespace jobs {

namespace {

[[noreturn]] void Fail(const std::string& program, int error) {
  throw Error(ErrorKind::kLimit, program, std::string("cannot start a worker: ") + std::strerror(error));
}

// Moves the descriptor above those that the worker gets.
OpenDescriptor MoveUp(int fd) {
  const OpenDescriptor low(fd);
  return OpenDescriptor(fcntl(fd, F_DUPFD_CLOEXEC, 16));
}

class SpawnActions {
 public:
  SpawnActions(int socket, int status) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawnattr_init(&attributes_);
    posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    // Complaints of libraries about a picture are dropped; a sanitizer's report is not.
    if (!kSanitized) posix_spawn_file_actions_addopen(&actions_, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_adddup2(&actions_, socket, kWorkerSocket);
    posix_spawn_file_actions_adddup2(&actions_, status, kWorkerStatus);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes_, &none);
    sigset_t usual;
    sigfillset(&usual);
    posix_spawnattr_setsigdefault(&attributes_, &usual);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnActions() {
    posix_spawn_file_actions_destroy(&actions_);
    posix_spawnattr_destroy(&attributes_);
  }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;

  int Spawn(const std::string& program, pid_t& pid) const {
    char name[] = "tovkit-job";
    char* arguments[] = {name, nullptr};
    return posix_spawn(&pid, program.c_str(), &actions_, &attributes_, arguments, environ);
  }

 private:
  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
};

}  // namespace

std::string FindWorkerProgram() {
  if (const char* const named = std::getenv("TOVKIT_JOB"); named != nullptr && *named != '\0') return named;
  const std::string library = tovkit::GetModuleDirectory("libtovkit.so").c_str();
  std::string tried;
  for (const char* const way : {TOVKIT_WORKER_BESIDE_LIBRARY, "libexec/tovkit/tovkit-job"}) {
    std::string program = library + way;
    if (access(program.c_str(), X_OK) == 0) return program;
    if (tried.empty()) tried = program;
  }
  throw Error(ErrorKind::kInput, tried,
              std::string("the worker program cannot be found: ") + std::strerror(errno));
}

WorkerProcess::WorkerProcess(const std::string& program, const WorkerSettings& settings) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) Fail(program, errno);
  socket_ = MoveUp(ends[0]);
  const OpenDescriptor theirs = MoveUp(ends[1]);
  const OpenDescriptor page = MoveUp(memfd_create("tovkit-job", MFD_CLOEXEC));
  if (socket_.get() < 0 || theirs.get() < 0 ||
      base::Retried([&] { return ftruncate(page.get(), sizeof(WorkerStatus)); }) != 0) {
    Fail(program, errno);
  }
  fcntl(socket_.get(), F_SETFL, O_NONBLOCK);
  void* const mapped = mmap(nullptr, sizeof(WorkerStatus), PROT_READ | PROT_WRITE, MAP_SHARED, page.get(), 0);
  if (mapped == MAP_FAILED) Fail(program, errno);
  status_ = static_cast<WorkerStatus*>(mapped);
  const int error = SpawnActions(theirs.get(), page.get()).Spawn(program, pid_);
  if (error != 0) {
    pid_ = -1;
    munmap(status_, sizeof *status_);
    Fail(program, error);
  }
  WireWriter message;
  message.Put(settings);
  Send(message.TakeFrame());
}

WorkerProcess::~WorkerProcess() {
  Kill();
  WaitForEnd();
  munmap(status_, sizeof *status_);
}

void WorkerProcess::Send(const std::string& frame) {
  toSend_ += frame;
  SendMore();
}

void WorkerProcess::SendMore() {
  while (HasMoreToSend()) {
    const ssize_t length = base::Retried([this] {
      return send(socket_.get(), toSend_.data() + sent_, toSend_.size() - sent_, MSG_NOSIGNAL | MSG_DONTWAIT);
    });
    // A dead worker is noticed when its socket is read.
    if (length < 0) return;
    sent_ += static_cast<std::size_t>(length);
  }
  toSend_.clear();
  sent_ = 0;
}

bool WorkerProcess::Receive() {
  char piece[65536];
  for (;;) {
    const ssize_t length =
        base::Retried([&] { return recv(socket_.get(), piece, sizeof piece, MSG_DONTWAIT); });
    if (length < 0) return errno == EAGAIN || errno == EWOULDBLOCK;
    if (length == 0) return false;
    frames_.Append(piece, static_cast<std::size_t>(length));
    if (static_cast<std::size_t>(length) < sizeof piece) return true;
  }
}

std::uint64_t WorkerProcess::Running(Clock::time_point& since) const {
  const std::uint64_t sequence = std::atomic_ref(status_->sequence).load(std::memory_order_acquire);
  const std::int64_t nanos = std::atomic_ref(status_->startedNanos).load(std::memory_order_relaxed);
  since = Clock::time_point(std::chrono::duration_cast<Clock::duration>(std::chrono::nanoseconds(nanos)));
  return sequence;
}

std::string WorkerProcess::HashOf(std::uint64_t sequence) const {
  for (const HashedJob& job : status_->hashed) {
    if (sequence != 0 && job.sequence == sequence) return {job.hash, sizeof job.hash};
  }
  return "";
}

void WorkerProcess::Kill() {
  if (pid_ > 0) kill(pid_, SIGKILL);
}

void WorkerProcess::Finish() {
  shutdown(socket_.get(), SHUT_WR);
  pollfd end = {socket_.get(), POLLIN, 0};
  constexpr int kMoment = 2000;  // milliseconds
  poll(&end, 1, kMoment);
}

std::string WorkerProcess::WaitForEnd() {
  if (pid_ <= 0) return "";
  int status = 0;
  base::Retried([&] { return waitpid(pid_, &status, 0); });
  pid_ = -1;
  if (WIFSIGNALED(status)) {
    return "ended by signal " + std::to_string(WTERMSIG(status)) + " (" + strsignal(WTERMSIG(status)) + ")";
  }
  return "ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace jobs
