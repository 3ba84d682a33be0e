// SPDX-License-Identifier: MIT
// tovkit monitor: watches the memory of processes until it is interrupted.
#include "command.h"
#include "duration.h"
#include "jobs/chart.h"
#include "jobs/page.h"
#include "memory_history.h"
#include "output.h"
#include "process_table.h"

#include <tovkit/util.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace cli {

namespace {

struct MonitorOptions {
  std::vector<std::string> targets;
  long maxMem = 0;
  int interval = 1;
  std::string plot;  // empty for none
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

// A process and what was seen of it.
struct Watched {
  tovkit::PROC_INFO_DATA process;
  MemoryHistory history;
};

// Samples once a second until a signal of `endings` comes or no process is left.
void Sample(tovkit::ProcessMonitor& monitor, const std::string& key, const sigset_t& endings,
            std::vector<Watched>& watched) {
  const auto start = std::chrono::steady_clock::now();
  for (bool left = true; left;) {
    left = false;
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    for (Watched& one : watched) {
      char text[256] = "";
      if (monitor.readStatusValue(one.process.pid, key.c_str(), text) != 1 || text[0] == '\0') continue;
      one.history.Add(seconds.count(), std::strtod(text, nullptr));
      left = true;
    }
    constexpr timespec kSecond = {1, 0};
    if (left && sigtimedwait(&endings, nullptr, &kSecond) > 0) return;
  }
}

void WritePlot(const MonitorOptions& options, const jobs::OutputFormat& format,
               const std::vector<Watched>& watched) {
  jobs::Chart chart{options.key + " of " + (watched.size() == 1 ? "one process" : "several processes"), {}};
  for (const Watched& one : watched) {
    const std::string name = tovkit::LocalToUtf8(one.process.name, -1);
    chart.series.push_back({name + " (" + std::to_string(one.process.pid) + ")", one.history.Points()});
  }
  if (options.maxMem > 0) chart.limit = static_cast<double>(options.maxMem);
  constexpr CoreSizeF kSize = {960, 480};
  jobs::WritePage(jobs::Output::File(options.plot), format, {kSize, 96, 0xFFFFFFFF},
                  [&chart, kSize](CoreDevice& device) { jobs::DrawChart(chart, kSize, device); });
}

// The signals that end the command, but for those that its caller ignores.
sigset_t Endings() {
  sigset_t endings;
  sigemptyset(&endings);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&endings, signal);
  }
  return endings;
}

// The loop prints in a thread of its own while this one takes samples. They are drawn when a signal ends the
// watch.
void MonitorAndPlot(std::unique_ptr<tovkit::ProcessMonitor> owner, const MonitorOptions& options,
                    std::vector<Watched>& watched) {
  if (options.plot == "-") throw UsageError("--plot - would go where the lines go");
  const jobs::OutputFormat format = ChooseFormat({options.plot, ""}, jobs::OutputKind::kPage);
  // An output that cannot be created is reported now, not after hours of watching.
  { const jobs::OutputWriter probe(jobs::Output::File(options.plot)); }
  const sigset_t endings = Endings();
  sigprocmask(SIG_BLOCK, &endings, nullptr);  // for the loop's thread, too
  // Never destroyed, since the loop may still run when the command ends.
  tovkit::ProcessMonitor& monitor = *owner.release();
  std::thread([&monitor] { monitor.monitorLoop(); }).detach();
  Sample(monitor, options.key, endings, watched);
  WritePlot(options, format, watched);
}

void Monitor(const MonitorOptions& options) {
  auto monitor = std::make_unique<tovkit::ProcessMonitor>();
  const ProcessTable table = ReadTable(*monitor);
  std::vector<Watched> watched;
  for (const std::string& target : options.targets) {
    for (const tovkit::PROC_INFO_DATA& process : Targets(table, target)) {
      Watch(*monitor, process, options);
      watched.push_back({process, {}});
    }
  }
  monitor->setStatusKey(options.key.c_str());
  // Lines go out as they are printed: the loop ends by a signal, which flushes nothing.
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  if (options.plot.empty()) monitor->monitorLoop();
  MonitorAndPlot(std::move(monitor), options, watched);
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
  command
      ->add_option(
          "--plot", options->plot,
          "When a signal such as Ctrl-C ends the watch, or no process is left, draw what was seen; the "
          "extension is the format. The exit status is then 0")
      ->type_name("FILE");
  command->callback([options] { Monitor(*options); });
}

}  // namespace cli
