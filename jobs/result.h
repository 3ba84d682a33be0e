// SPDX-License-Identifier: MIT
// JobResult: what became of a job, and the line of JSON that tells it.
#pragma once

#include "error.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace jobs {

enum class JobState : std::uint8_t {
  kDone,
  kFailed,
  kQuarantined,  // it ended its worker, or was late, twice
  kSkipped,      // not run: a result from before holds, or the batch was given up
};

enum class FailureKind : std::uint8_t { kNone, kInput, kLimit, kOutput, kDeadline, kCrash };

struct JobResult {
  std::string id;
  JobState state = JobState::kDone;
  std::string output;  // its name, empty without one
  std::uint64_t bytes = 0;
  std::string jobHash;  // SHA-256 of the job, compact and with its places filled; empty when it was not read
  std::string outputHash;              // SHA-256 of the output's bytes
  std::optional<std::string> content;  // what the job makes, where no file has it
  double seconds = 0;
  int attempts = 1;
  int worker = 0;  // counted from 1; 0 when no worker saw the job
  FailureKind kind = FailureKind::kNone;
  std::string message;             // of a failure, with its place
  std::optional<Excerpt> excerpt;  // the line of JSON that a failure is in; no part of the result's line
  std::uint64_t line = 0;          // of the job in its source; 0 when not known; no part of the line
  std::vector<std::string> warnings;
  std::optional<std::vector<bool>> hits;
  // Of jobs that name no files, and no part of the line.
  std::string mediaType = {};                     // of the content
  std::optional<JsonPlace> place = std::nullopt;  // of a failure, in the input
};

// What is known of a job that was done before.
struct EarlierResult {
  std::string jobHash;      // may be cut to 32 digits or more
  std::uint64_t bytes = 0;  // of its output
  // Of the output, cut as well. The executor alone knows it.
  std::string outputHash = {};
};

// The result of a job that failed with this error.
[[nodiscard]] JobResult FailedResult(const Error& error);

const char* NameOf(JobState state);
const char* NameOf(FailureKind kind);

// The result as an object on one line, with a line feed. Members that say nothing are left out.
[[nodiscard]] std::string ToJsonLine(const JobResult& result);

// A line that ToJsonLine wrote, back. Nothing for any other text.
[[nodiscard]] std::optional<JobResult> ParseResultLine(std::string_view line);

}  // namespace jobs
