// SPDX-License-Identifier: MIT
// tovkit worker: runs the jobs that come from a queue of a broker.
#include "command.h"

#include "broker_options.h"
#include "executor_options.h"
#include "failure.h"
#include "limit_options.h"
#include "stopping.h"

#include "queue/worker.h"

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>

namespace cli {

namespace {

constexpr std::uint64_t kLeastMessage = 1024;
constexpr std::uint64_t kMostMessage = 256u << 20;
constexpr std::uint64_t kMostInline = 128u << 20;  // results are read back in lines of twice that
constexpr int kMostPrefetch = 65535;

struct WorkerCommand {
  BrokerOptions broker;
  queue::WorkerOptions options;
  std::uint64_t inlineLimit = 8u << 20;
  bool isInline = false;
  int prefetch = 0;  // 0 for twice the workers
};

void AddJobOptions(CLI::App& worker, WorkerCommand& command) {
  jobs::RunnerOptions& runner = command.options.executor.runner;
  CLI::Option* const directory =
      worker.add_option("-C,--directory", runner.directory, "Outputs go below this folder")
          ->type_name("DIR")
          ->capture_default_str();
  worker.add_flag("--inline", command.isInline, "Outputs are part of the results, as Base64, and no files")
      ->excludes(directory);
  AddSizeOption(worker, "--max-inline", {1, kMostInline}, command.inlineLimit,
                "With --inline, the largest output; a job with a larger one fails")
      ->default_str("8M");
  AddSizeOption(worker, "--max-message", {kLeastMessage, kMostMessage}, command.broker.settings.longest,
                "The largest message that is a job")
      ->default_str("16M");
  worker.add_option("--input", runner.input, "Input files are below this folder; without it there are none")
      ->type_name("DIR");
  worker.add_option("--font", runner.fonts, "A font file to draw with, beside the installed ones")
      ->allow_extra_args(false)
      ->type_name("FILE");
  worker.add_flag("--report", runner.report, "Results carry warnings, such as missing fonts");
}

void AddQueueOptions(CLI::App& worker, WorkerCommand& command) {
  AddBrokerOptions(worker, command.broker);
  worker.get_option("--result-queue")->required();
  worker
      .add_option(
          "--prefetch", command.prefetch,
          "Messages that the broker hands out before they are acknowledged (default: twice the workers)")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, kMostPrefetch)));
  AddTimeOption(worker, {"--idle-exit", "End when no job has come for so long"},
                command.options.courier.idle);
}

void RunWorkerCommand(WorkerCommand& command) {
  ReadBrokerAddress(command.broker);
  queue::CourierOptions& courier = command.options.courier;
  courier.broker = command.broker.settings;
  courier.jobQueue = command.broker.jobQueue;
  courier.resultQueue = command.broker.resultQueue;
  courier.declare = command.broker.declare;
  courier.workers = command.options.executor.workers;
  courier.prefetch = command.prefetch != 0 ? command.prefetch : 2 * courier.workers;
  if (courier.jobQueue == courier.resultQueue) throw UsageError("jobs and results need a queue each");
  if (command.isInline) {
    command.options.executor.runner.inlineLimit = command.inlineLimit;
  } else {
    std::error_code ignored;
    std::filesystem::create_directories(command.options.executor.runner.directory, ignored);
  }
  jobs::StopRequest stop;
  const Stopping stopping(stop, Stopping::kEnd);
  const auto counts =
      queue::RunWorker(command.options, stop, [](const std::string& text) { PrintMessage(text); });
  PrintMessage(std::to_string(counts.done) + " jobs done, " + std::to_string(counts.failed) + " failed, " +
               std::to_string(counts.dead) + " of them to the dead letters");
}

}  // namespace

void AddWorkerCommand(CLI::App& app) {
  const auto command = std::make_shared<WorkerCommand>();
  CLI::App* const worker = app.add_subcommand("worker", "Run the jobs that come from a queue of RabbitMQ");
  worker->footer(
      "A message is a job as of tovkit batch, its result is a message to the queue of results. A job is\n"
      "acknowledged when the broker has its result, so that whatever ends, none is lost. Exit status: 0 "
      "after\n"
      "INT or TERM, which let what runs finish; 1 when the broker refuses the worker; 75 at once by a "
      "second\n"
      "signal.");
  AddQueueOptions(*worker, *command);
  AddJobOptions(*worker, *command);
  AddExecutorOptions(*worker, command->options.executor);
  worker->callback([command] { RunWorkerCommand(*command); });
}

}  // namespace cli
