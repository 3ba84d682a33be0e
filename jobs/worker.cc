// SPDX-License-Identifier: MIT
// Results wait here for a millisecond, to be sent together; when the worker dies, jobs whose results are lost
// are run again. So the messages do not tell which job was running; shared memory, which outlives the
// process, does.
#include "worker.h"

#include "error.h"
#include "job_runner.h"
#include "retried.h"
#include "sanitized.h"
#include "wire.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <exception>

namespace jobs {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kHeldBack{1};  // results, to be sent together

class Worker final : private RunWatcher {
 public:
  explicit Worker(WorkerStatus& status) : status_(status) {}

  int Serve(const std::vector<JobKind>& kinds) {
    std::string_view message;
    if (!Receive(message)) return 0;
    const WorkerSettings settings = WireReader(message).TakeSettings();
    // The executor may have died before this process had asked the kernel to end it with its parent.
    if (getppid() != settings.parent) return 0;
    LimitMemory(settings.memory);
    try {
      JobRunner runner(settings.runner, settings.runner.namesNoFiles ? InlineKinds() : kinds);
      runner.Watch(this);
      results_.Put(true);
      if (!Flush()) return 0;
      while (Receive(message)) {
        if (!RunAll(WireReader(message), runner)) return 0;
      }
      return 0;
    } catch (const Error& error) {
      results_.Put(false);
      results_.Put(FailedResult(error));
      Flush();
      return 1;
    }
  }

 private:
  static void LimitMemory(std::uint64_t bytes) {
    if (kSanitized || bytes == 0) return;
    const rlimit limit = {bytes, bytes};
    setrlimit(RLIMIT_AS, &limit);
  }

  // False at the end.
  bool Receive(std::string_view& message) {
    char piece[65536];
    while (!frames_.Next(message)) {
      const ssize_t length = base::Retried([&] { return read(kWorkerSocket, piece, sizeof piece); });
      if (length <= 0) return false;
      frames_.Append(piece, static_cast<std::size_t>(length));
    }
    return true;
  }

  bool RunAll(WireReader jobs, JobRunner& runner) {
    sent_ = Clock::now();
    while (!jobs.AtEnd()) {
      const auto sequence = jobs.Take<std::uint64_t>();
      std::optional<EarlierResult> earlier;
      if (jobs.Take<bool>()) {
        earlier.emplace();
        earlier->jobHash = jobs.TakeText();
        earlier->bytes = jobs.Take<std::uint64_t>();
      }
      Tell(sequence);
      const std::string_view text = jobs.TakeText();
      const JobResult result = runner.Run(text, earlier, jobs.TakeText());
      Tell(0);
      results_.Put(sequence);
      results_.Put(result);
      if (Clock::now() - sent_ >= kHeldBack && !Flush()) return false;
    }
    return Flush();
  }

  void Hashed(const std::string& jobHash) override {
    HashedJob& job = status_.hashed[status_.hashedCount++ % kMostAhead];
    job.sequence = 0;
    jobHash.copy(job.hash, sizeof job.hash);
    job.sequence = status_.sequence;
  }
  void Writing() override { status_.written = status_.sequence; }

  void Tell(std::uint64_t sequence) {
    if (sequence != 0) {
      std::atomic_ref(status_.startedNanos)
          .store(std::chrono::nanoseconds(Clock::now().time_since_epoch()).count(),
                 std::memory_order_relaxed);
    }
    std::atomic_ref(status_.sequence).store(sequence, std::memory_order_release);
  }

  // False when the executor is gone.
  bool Flush() {
    sent_ = Clock::now();
    if (results_.empty()) return true;
    const std::string frame = results_.TakeFrame();
    for (std::size_t at = 0; at < frame.size();) {
      const ssize_t length = base::Retried(
          [&] { return send(kWorkerSocket, frame.data() + at, frame.size() - at, MSG_NOSIGNAL); });
      if (length < 0) return false;
      at += static_cast<std::size_t>(length);
    }
    return true;
  }

  WorkerStatus& status_;
  FrameBuffer frames_;
  WireWriter results_;
  Clock::time_point sent_;
};

}  // namespace

int ServeJobs(const std::vector<JobKind>& kinds) {
  // The same job makes the same bytes, so a page tells no time unless somebody says which.
  const char* const date = std::getenv("SOURCE_DATE_EPOCH");
  setenv("SOURCE_DATE_EPOCH", "0", date == nullptr || *date == '\0' ? 1 : 0);
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  // A terminal sends these to every process; the executor handles them.
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) std::signal(signal, SIG_IGN);
  const rlimit none = {};
  setrlimit(RLIMIT_CORE, &none);
  void* const page =
      mmap(nullptr, sizeof(WorkerStatus), PROT_READ | PROT_WRITE, MAP_SHARED, kWorkerStatus, 0);
  if (page == MAP_FAILED) return 2;
  return Worker(*static_cast<WorkerStatus*>(page)).Serve(kinds);
}

}  // namespace jobs
