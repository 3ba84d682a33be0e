// SPDX-License-Identifier: MIT
// Outputs of the subcommands that make pictures or pages: a file, or standard output for "-".
#pragma once

#include "jobs/output.h"
#include "jobs/output_format.h"

#include <tovmx/stream.h>

#include <string>
#include <utility>

namespace cli {

// An output as a person asks for it.
struct OutputOptions {
  std::string file;    // "-" is standard output
  std::string format;  // may be empty
  int effort = 0;      // 1 to 9, 0 when none is asked for
};

// The format that is asked for by name, else the one that the file's extension names. Throws UsageError when
// no such format can be written, naming those that can; when an effort is asked for and the format has none;
// and when the output is a terminal. Call it before any work is done.
jobs::OutputFormat ChooseFormat(const OutputOptions& output, jobs::OutputKind kind);

// An output while a job makes it.
class JobOutput {
 public:
  explicit JobOutput(std::string file) : file_(std::move(file)) {}
  JobOutput(const JobOutput&) = delete;
  JobOutput& operator=(const JobOutput&) = delete;

  // What the job is given. This object must live until the job is done.
  jobs::Output Target();

  // Passes on what the job made when that is for standard output. main reports failures there.
  void Finish();

 private:
  std::string file_;
  CoreMemoryOutputStream bytes_;
};

}  // namespace cli
