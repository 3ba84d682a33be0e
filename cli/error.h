// SPDX-License-Identifier: MIT
// How a subcommand ends when it does not succeed. main prints what was thrown; a jobs::Error is a failure
// too.
#pragma once

#include "jobs/error.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace cli {

// The subcommand failed: main prints "tovkit: " and the text as one line on standard error and exits with the
// status.
struct CommandError : std::runtime_error {
  explicit CommandError(const std::string& text, int exitStatus = 1)
      : std::runtime_error(text), status(exitStatus) {}

  int status;
};

// Several things are wrong, each with its place: main prints a line for each, and how many more there are.
struct FindingsError : std::runtime_error {
  FindingsError(std::vector<jobs::Error> errors, std::int64_t othersCount)
      : std::runtime_error(errors.front().what()), told(std::move(errors)), others(othersCount) {}

  std::vector<jobs::Error> told;  // not empty
  std::int64_t others;
};

// What was asked for makes no sense: main prints the text, where help is found, and exits with 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The subcommand is done, and its answer is the exit status.
struct ExitStatus {
  int code;
};

}  // namespace cli
