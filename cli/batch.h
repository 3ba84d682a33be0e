// SPDX-License-Identifier: MIT
// A batch: the jobs of a file, run by worker processes, and what is told of them.
#pragma once

#include "jobs/executor.h"
#include "jobs/shard.h"

#include <string>
#include <vector>

namespace cli {

struct BatchOptions {
  std::vector<std::string> files;  // of jobs, or of results to merge; "-" is standard input
  std::string templateFile;        // of the job that data fill; empty for none
  std::string dataFile;
  jobs::ExecutorOptions executor;
  std::string results;  // a file to append to, "{shard}" in it for the shard's number; empty: standard output
  std::string shard;
  bool resume = false;
  bool failFast = false;
  bool progress = false;
  bool merge = false;
};

// Exit status of a batch that was interrupted: more is left to do (EX_TEMPFAIL of sysexits.h).
inline constexpr int kInterrupted = 75;

// Returns when every job is done. Throws CommandError with kInterrupted, or when jobs have failed;
// UsageError; jobs::Error.
void RunBatch(BatchOptions options);

// Merges files of results.
void MergeBatches(const BatchOptions& options);

}  // namespace cli
