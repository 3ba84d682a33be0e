// SPDX-License-Identifier: MIT
// A submission: the jobs of a file, sent to a queue, and what their results tell.
#pragma once

#include "queue/submission.h"

#include <string>

namespace cli {

struct SubmitCommand {
  queue::SubmitOptions options;
  std::string file;       // of jobs; "-" is standard input
  std::string directory;  // for outputs that are part of results; empty to leave them there
  std::string results;    // a file to append to; empty: standard output
  bool resume = false;
  bool progress = false;
};

// Returns when every job is done. Throws CommandError with kInterrupted, or when jobs have failed;
// UsageError; queue::BrokerError; jobs::Error.
void RunSubmit(const SubmitCommand& command);

}  // namespace cli
