// SPDX-License-Identifier: MIT
#include "executor_options.h"

#include "limit_options.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <thread>

namespace cli {

namespace {

constexpr int kMostWorkers = 1024;
constexpr std::uint64_t kLeastMemory = 64u << 20;

}  // namespace

void AddExecutorOptions(CLI::App& command, jobs::ExecutorOptions& options) {
  options.workers = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
  command.add_option("-j,--jobs", options.workers, "Worker processes (default: one for each processor)")
      ->type_name("N")
      ->check(CLI::Validator(CLI::Range(1, kMostWorkers)));
  AddTimeOption(command, {"--timeout", "How long a job may take"}, options.timeout)
      ->default_str(
          std::to_string(std::chrono::duration_cast<std::chrono::seconds>(options.timeout).count()) + "s");
  AddSizeOption(command, "--memory", {kLeastMemory, UINT64_MAX, true}, options.memory,
                "Address space of a worker, such as 512M; 0 for no limit")
      ->default_str("1G");
  command.add_option("--recycle", options.recycle, "Jobs after which a worker is replaced; 0 for never")
      ->type_name("N")
      ->check([](const std::string& text) {
        const bool isCount = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        return isCount ? std::string() : "'" + text + "' is no number of jobs";
      })
      ->capture_default_str();
}

}  // namespace cli
