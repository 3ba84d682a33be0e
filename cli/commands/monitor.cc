// SPDX-License-Identifier: MIT
// tovkit monitor: watches the memory of processes until it is interrupted.
#include "command.h"
#include "duration.h"
#include "process_table.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace cli {

namespace {

struct MonitorOptions {
  std::vector<std::string> targets;
  long maxMem = 0;
  int interval = 1;
  std::string key = "VmRSS";
};

constexpr std::size_t kLongestKey = 255;

bool IsNumber(const std::string& text) { return text.find_first_not_of("0123456789") == std::string::npos; }

// The processes that a person means by a process id or a name.
ProcessTable Targets(const ProcessTable& table, const std::string& target) {
  if (!IsNumber(target)) return Named(table, target);
  for (const tovkit::PROC_INFO_DATA& process : table) {
    if (std::to_string(process.pid) == target) return {process};
  }
  throw CommandError(target + ": no such process");
}

void Watch(tovkit::ProcessMonitor& monitor, tovkit::PROC_INFO_DATA process, const MonitorOptions& options) {
  process.monitored = true;
  process.interval = options.interval;
  process.maxMem = options.maxMem;
  for (const int bit : {tovkit::kUpdateMonitored, tovkit::kUpdateInterval, tovkit::kUpdateMaxMem}) {
    monitor.updateById(process, bit);
  }
}

// Empty, or what is wrong with the text: the library counts in whole seconds.
std::string ReadInterval(const std::string& text, int& seconds) {
  int milliseconds = 0;
  std::string error = ReadDuration(text, kSeconds, milliseconds);
  if (error.empty() && milliseconds % kSeconds != 0)
    error = "'" + text + "' is not a number of whole seconds";
  if (error.empty()) seconds = milliseconds / kSeconds;
  return error;
}

void Monitor(const MonitorOptions& options) {
  tovkit::ProcessMonitor monitor;
  const ProcessTable table = ReadTable(monitor);
  for (const std::string& target : options.targets) {
    for (const tovkit::PROC_INFO_DATA& process : Targets(table, target)) Watch(monitor, process, options);
  }
  monitor.setStatusKey(options.key.c_str());
  // Lines go out as they are printed: the loop ends by a signal, which flushes nothing.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  monitor.monitorLoop();
}

}  // namespace

void AddMonitorCommand(CLI::App& app) {
  const auto options = std::make_shared<MonitorOptions>();
  CLI::App* const command = app.add_subcommand("monitor", "Watch the memory of processes until interrupted");
  command->add_option("PROCESS", options->targets, "Process ids or names")->required();
  command->add_option("--max-mem", options->maxMem, "Print a line whenever memory is above this many kB")
      ->check(CLI::NonNegativeNumber);
  command
      ->add_option(
          "--interval",
          [options](const CLI::results_t& texts) {
            const std::string error = ReadInterval(texts.front(), options->interval);
            if (!error.empty()) throw CLI::ValidationError("--interval", error);
            return true;
          },
          "1s prints growth every second, 0 never; a longer one, 5s or 2m, prints the first second's only; a "
          "bare number is seconds")
      ->type_name("TIME")
      ->default_str("1s");
  command
      ->add_option(
          "--key", options->key,
          "Which line of /proc/PID/status to sample; the first growth counts from VmRSS all the same")
      ->check([](const std::string& key) {
        return key.empty() || key.size() > kLongestKey ? std::string("the key has 1 to 255 bytes")
                                                       : std::string();
      })
      ->capture_default_str();
  command->callback([options] { Monitor(*options); });
}

}  // namespace cli
