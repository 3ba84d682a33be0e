// SPDX-License-Identifier: MIT
// CrewMember: one place of an executor's crew: the worker that fills it at the moment, and the jobs it has.
#pragma once

#include "executor.h"
#include "worker_process.h"

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace jobs {

struct RunningJob {
  std::uint64_t sequence = 0;  // from 1
  QueuedJob job;
  int attempts = 1;
};

class CrewMember {
 public:
  using Deliver = std::function<void(const RunningJob& job, JobResult&& result)>;

  // Why a worker ended while it ran this job.
  struct Blame {
    RunningJob job;
    bool late = false;
    double seconds = 0;
    std::string text;
    std::string jobHash;  // empty when the worker did not get so far
  };

  // Number and options stay the caller's. Throws Error when the worker cannot be started.
  CrewMember(const ExecutorOptions& options, int number);

  int number() const { return number_; }
  bool IsIdle() const { return jobs_.empty(); }
  // Whether its worker has begun.
  bool IsReady() const { return ready_; }

  // Whether it is time to send jobs, a handful at once, and whether there is room for one more.
  bool WantsJobs() const;
  bool HasRoom() const;
  void Add(RunningJob&& job);
  // Sends what was added.
  void SendJobs();

  pollfd Polled() const;
  // The time until the running job is late, or a worker that has jobs and runs none.
  std::chrono::milliseconds TimeLeft() const;
  void KillWhenLate();

  // Delivers the results that have come. False when the worker has ended or sent what is no result. Throws
  // Error when it refuses its settings.
  [[nodiscard]] bool Collect(const Deliver& deliver);

  // Replaces a worker that has ended, and ends one that has not. The job that it was running, if any, is to
  // blame and returned; of a worker that fell silent or sent what is no result, the one that was due. The
  // others go to the front of `again`. Throws Error when workers keep ending without a result.
  [[nodiscard]] std::optional<Blame> Replace(std::deque<RunningJob>& again);

  // Lets the worker go.
  void Dismiss();

 private:
  // How many jobs it has at a time.
  std::size_t Ahead() const;
  void Start();
  void Handle(WireReader message, const Deliver& deliver);
  std::chrono::nanoseconds Lateness() const;
  void MarkWritten();
  std::string WhyLate() const;

  const ExecutorOptions& options_;
  const int number_;
  std::unique_ptr<WorkerProcess> worker_;
  std::deque<RunningJob> jobs_;  // in the order in which they run
  WireWriter added_;
  std::size_t bytes_ = 0;    // of the jobs
  std::uint64_t given_ = 0;  // jobs, to this worker
  bool ready_ = false;       // it has begun
  bool killedLate_ = false;
  bool confused_ = false;                        // it sent what is no result
  std::chrono::steady_clock::time_point heard_;  // of it, or told it something
  bool retired_ = false;                         // gets no more jobs
  int vainStarts_ = 0;                           // one after the other
  double secondsPerJob_ = 0.01;                  // of late
};

}  // namespace jobs
