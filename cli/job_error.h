// How a job of a subcommand ends when it is not simply done. main tells what was thrown.
#pragma once

#include <stdexcept>

namespace cli {

// The job failed: main prints "tovkit: " and the text as one line on standard error and exits with 1.
struct JobError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What was asked for makes no sense: main prints the text, where help is found, and exits with 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The job is done and the exit status carries its answer.
struct ExitStatus {
  int code;
};

}  // namespace cli
