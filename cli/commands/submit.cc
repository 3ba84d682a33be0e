// SPDX-License-Identifier: MIT
// tovkit submit: sends jobs to a queue of a broker and collects their results.
#include "command.h"

#include "broker_options.h"
#include "input_file.h"
#include "limit_options.h"
#include "submit.h"

#include <cstdint>
#include <memory>
#include <string>

namespace cli {

namespace {

constexpr std::uint64_t kLongestResult = 512u << 20;

struct SubmitArguments {
  BrokerOptions broker;
  SubmitCommand command;
};

void AddResultOptions(CLI::App& submit, SubmitCommand& command) {
  CLI::Option* const collects = submit.get_option("--result-queue");
  CLI::Option* const results = submit
                                   .add_option("--results", command.results,
                                               "Append the results to this file (default: standard output)")
                                   ->type_name("FILE")
                                   ->needs(collects);
  submit.add_flag("--resume", command.resume, "Send only what --results does not tell is done")
      ->needs(results);
  submit
      .add_option("-C,--directory", command.directory,
                  "Outputs that are part of results go below this folder, and no longer into --results")
      ->type_name("DIR")
      ->needs(collects);
  AddTimeOption(submit, {"--patience", "Give up when no result has come for so long, 0 for never", true},
                command.options.patience)
      ->default_str("0")
      ->needs(collects);
  submit.add_flag("--progress", command.progress,
                  "Show how far it is; a line every 10 s where there is no terminal");
}

}  // namespace

void AddSubmitCommand(CLI::App& app) {
  const auto arguments = std::make_shared<SubmitArguments>();
  CLI::App* const submit =
      app.add_subcommand("submit", "Send jobs to a queue of RabbitMQ and collect their results");
  submit->footer(
      "With --result-queue it waits until each job has its result; without it, until the broker has the "
      "jobs.\n"
      "Exit status: 0 all jobs are done, 1 some failed or the broker refuses, 75 interrupted with jobs "
      "left,\n"
      "which are still in the queue: --resume takes their results and sends only what the queue never had.");
  submit->add_option("JOBS", arguments->command.file, "Jobs, a line each; standard input when missing or -");
  AddBrokerOptions(*submit, arguments->broker);
  AddResultOptions(*submit, arguments->command);
  submit->callback([arguments] {
    BrokerOptions& broker = arguments->broker;
    SubmitCommand& command = arguments->command;
    command.file = ChosenInput(command.file);
    ReadBrokerAddress(broker);
    if (broker.jobQueue == broker.resultQueue) throw UsageError("jobs and results need a queue each");
    broker.settings.longest = kLongestResult;
    command.options.broker = broker.settings;
    command.options.jobQueue = broker.jobQueue;
    command.options.resultQueue = broker.resultQueue;
    command.options.declare = broker.declare;
    RunSubmit(command);
  });
}

}  // namespace cli
