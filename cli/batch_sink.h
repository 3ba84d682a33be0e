// SPDX-License-Identifier: MIT
// BatchSink: writes the results of a batch, a line each, to a results file or to standard output.
#pragma once

#include "batch_progress.h"
#include "standard_output.h"

#include "jobs/executor.h"
#include "jobs/results_file.h"
#include "jobs/stop_request.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace cli {

// What messages call the file of jobs or data, and that of the template.
struct BatchNames {
  std::string jobs;
  std::string jobTemplate;
};

class BatchSink final : public jobs::ResultSink {
 public:
  // File, progress and the request to stop stay the caller's. Without a file the lines go to standard output.
  // `failing` is called for each job that fails.
  BatchSink(jobs::ResultsFile* file, BatchProgress& progress, const jobs::StopRequest& stop, BatchNames names,
            std::function<void()> failing)
      : file_(file),
        progress_(progress),
        stop_(stop),
        names_(std::move(names)),
        failing_(std::move(failing)) {}

  void Notice(const jobs::JobResult& result) override;
  // A job that was skipped for an earlier result is not written: the file has its line already.
  void Take(const jobs::JobResult& result) override;
  // A job that will not be run, as one before it failed.
  void TakeLeft(const jobs::QueuedJob& job);
  void Pause() override;
  // Waits until all lines are written. Throws CommandError when the user will not wait.
  void Finish();

  std::uint64_t total() const { return total_; }
  std::uint64_t failed() const { return failed_; }
  std::uint64_t left() const { return left_; }
  // The first job that failed for what stands in the JSON, with its excerpt.
  const std::optional<jobs::JobResult>& firstMisread() const { return firstMisread_; }

 private:
  void Write();
  [[nodiscard]] std::string MessageOf(const jobs::JobResult& result) const;

  jobs::ResultsFile* file_;
  StandardOutput standardOutput_;  // without a file
  BatchProgress& progress_;
  const jobs::StopRequest& stop_;
  BatchNames names_;
  std::function<void()> failing_;
  std::string lines_;
  std::optional<jobs::JobResult> firstMisread_;
  std::uint64_t total_ = 0;
  std::uint64_t failed_ = 0;
  std::uint64_t left_ = 0;
};

}  // namespace cli
