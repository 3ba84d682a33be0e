// SPDX-License-Identifier: MIT
// tovkit batch: runs many jobs in worker processes.
#include "command.h"

#include "batch.h"
#include "executor_options.h"
#include "input_file.h"
#include "schemas.h"

#include <cstdio>
#include <memory>
#include <string>

namespace cli {

namespace {

// An empty value, as of a variable that is not set, is none.
std::string CheckNotEmpty(const std::string& text) { return text.empty() ? "the value is empty" : ""; }

void AddJobOptions(CLI::App& batch, BatchOptions& options) {
  CLI::Option* const jobTemplate =
      batch
          .add_option("--template", options.templateFile,
                      "A job with {{name}} places, filled for each record of --data")
          ->type_name("FILE");
  batch
      .add_option("--data", options.dataFile,
                  "What fills the template: JSON Lines, or CSV with names by its extension")
      ->type_name("FILE")
      ->needs(jobTemplate);
  batch.add_option("--directory", options.executor.runner.directory, "Outputs go below this folder")
      ->type_name("DIR")
      ->capture_default_str();
  batch
      .add_option("--input", options.executor.runner.input,
                  "Input files are below this folder; without it there are none")
      ->type_name("DIR");
  batch
      .add_option("--font", options.executor.runner.fonts,
                  "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
  batch
      .add_option("--shard", options.shard,
                  "Only the jobs whose ids belong to task I of N, from 0; auto asks the scheduler's "
                  "environment, auto/N "
                  "or auto/FIRST-LAST:STEP tells what that does not")
      ->type_name("I/N");
}

void AddResultOptions(CLI::App& batch, BatchOptions& options) {
  CLI::Option* const results = batch
                                   .add_option("--results", options.results,
                                               "Append the results to this file, {shard} in it for the "
                                               "shard's number (default: standard output)")
                                   ->type_name("FILE");
  batch.add_flag("--resume", options.resume, "Do only what --results does not tell is done")->needs(results);
  batch.add_flag("--ordered", options.executor.ordered, "Results in the order of the jobs");
  batch.add_flag("--report", options.executor.runner.report, "Results carry warnings, such as missing fonts");
  batch.add_flag("--fail-fast", options.failFast, "Stop at the first job that fails");
  batch.add_flag("--progress", options.progress,
                 "Show how far it is; a line every 10 s where there is no terminal");
  batch.add_flag_callback(
      "--schema",
      [] {
        std::fputs(kJobSchema, stdout);
        throw CLI::Success();
      },
      "Print the JSON Schema of jobs and end");
  batch.add_flag("--merge", options.merge, "Print the last result of each job of several files of results");
}

// Merging runs nothing.
void CheckMergeOptions(const CLI::App& batch) {
  for (const CLI::Option* const option : batch.parse_order()) {
    const std::string name = option->get_name();
    if (name != "--merge" && name != "--results" && name != "JOBS") {
      throw UsageError("--merge only puts results together, without " + name);
    }
  }
}

void Check(BatchOptions& options) {
  if (options.merge) {
    if (options.files.empty()) throw UsageError("--merge needs files of results");
    return;
  }
  if (!options.templateFile.empty()) {
    if (options.dataFile.empty()) throw UsageError("--template needs --data");
    if (!options.files.empty()) throw UsageError("jobs come from --template and --data, or from a file");
    return;
  }
  if (options.files.size() > 1) throw UsageError("one file of jobs is expected; several are for --merge");
  options.files = {ChosenInput(options.files.empty() ? "" : options.files.front())};
}

}  // namespace

void AddBatchCommand(CLI::App& app) {
  const auto options = std::make_shared<BatchOptions>();
  CLI::App* const batch =
      app.add_subcommand("batch", "Run many jobs, each an object of JSON on a line, in worker processes");
  batch->footer(
      "Exit status: 0 all jobs are done, 1 some failed, 75 interrupted with jobs left. INT and TERM let "
      "what\n"
      "runs finish; a second one stops at once. What was done is never lost: --resume goes on.");
  batch->add_option("JOBS", options->files,
                    "Jobs, a line each; standard input when missing or -; results for --merge");
  AddJobOptions(*batch, *options);
  AddResultOptions(*batch, *options);
  AddExecutorOptions(*batch, options->executor);
  for (const char* const name :
       {"--template", "--data", "--directory", "--input", "--font", "--shard", "--results"}) {
    batch->get_option(name)->check(CLI::Validator(CheckNotEmpty, ""));
  }
  batch->callback([options, batch] {
    if (options->merge) CheckMergeOptions(*batch);
    Check(*options);
    options->merge ? MergeBatches(*options) : RunBatch(*options);
  });
}

}  // namespace cli
