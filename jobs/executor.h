// SPDX-License-Identifier: MIT
// The executor: runs jobs in worker processes, so that a crash, an endless loop or a gigabyte costs one job.
//
// A worker is started once and fed through a socket. When it dies, or its job takes too long, it is killed
// and replaced. That job is tried once more in the fresh worker, unless one attempt is all it has, and then
// quarantined; other jobs that the worker had are run elsewhere. The executor holds a bounded number of jobs
// at a time and no pixels.
//
//   Executor executor(options);
//   StopRequest stop;
//   const bool finished = executor.Run(source, sink, stop);
#pragma once

#include "job_source.h"
#include "result.h"
#include "stop_request.h"
#include "wire.h"

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace jobs {

struct ExecutorOptions {
  int workers = 1;
  RunnerOptions runner = {};
  std::string program = {};                  // the worker program; FindWorkerProgram() when empty
  std::uint64_t memory = 1u << 30;           // bytes of address space of a worker, 0 for no limit
  std::chrono::milliseconds timeout{60000};  // of a job, by the wall clock
  std::uint64_t recycle = 10000;             // jobs after which a worker is replaced, 0 for never
  bool ordered = false;                      // results in the order of the jobs
  int attempts = 2;                          // after which a job that ends its worker is quarantined
  bool ahead = true;                         // a worker gets its next jobs while one runs
};

// Who takes the results.
class ResultSink {
 public:
  ResultSink() = default;
  virtual ~ResultSink() = default;
  ResultSink(const ResultSink&) = delete;
  ResultSink& operator=(const ResultSink&) = delete;

  // A result that has come, in any order, before it is taken. What it throws ends the run.
  virtual void Notice(const JobResult&) {}
  // One result for each job. What it throws ends the run.
  virtual void Take(const JobResult& result) = 0;
  // A worker is ready for jobs.
  virtual void WorkerBegan() {}
  // A worker has ended and another one takes its place.
  virtual void WorkerReplaced() {}
  // No further results have come for the moment: the time to write those taken. Called at least a few times a
  // second.
  virtual void Pause() {}
};

class Executor {
 public:
  explicit Executor(ExecutorOptions options);

  // Runs the jobs of the source. True when every job has a result, false when the run was stopped before.
  // Throws Error when there is no folder for outputs or inputs, the source cannot be read any more, workers
  // cannot be started, or one refuses its settings. No process is left behind in any case. A forked worker
  // dies with the calling thread.
  [[nodiscard]] bool Run(JobSource& source, ResultSink& sink, const StopRequest& stop);

 private:
  ExecutorOptions options_;
};

}  // namespace jobs
