// What the subcommands share: how they register, and how a job that fails says so.
//
// Each subcommand is one file with one Add...Command function. It declares its options on `app` and sets a
// callback that does the job; the callback returns on success and throws one of the two types below
// otherwise.
#pragma once

#include <CLI/CLI.hpp>

#include <stdexcept>
#include <string>

namespace cli {

// The job failed: main prints "tovkit: " and the text as one line on standard error and exits with 1.
struct JobError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The job is done and the exit status carries its answer.
struct ExitStatus {
  int code;
};

}  // namespace cli
