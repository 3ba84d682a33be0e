// SPDX-License-Identifier: MIT
#include "executor_options.h"

#include "byte_count.h"
#include "duration.h"

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
  command
      .add_option(
          "--timeout",
          [&options](const CLI::results_t& texts) {
            int milliseconds = 0;
            std::string error = ReadDuration(texts.front(), kSeconds, milliseconds);
            if (error.empty() && milliseconds == 0) error = "a job needs some time";
            if (!error.empty()) throw CLI::ValidationError("--timeout", error);
            options.timeout = std::chrono::milliseconds(milliseconds);
            return true;
          },
          "How long a job may take; a bare number is seconds")
      ->type_name("TIME")
      ->default_str("60s");
  command
      .add_option(
          "--memory",
          [&options](const CLI::results_t& texts) {
            const auto bytes = ParseByteCount(texts.front());
            if (!bytes || (*bytes != 0 && *bytes < kLeastMemory)) {
              throw CLI::ValidationError("--memory",
                                         "'" + texts.front() + "' is no size from 64M on, and not 0");
            }
            options.memory = *bytes;
            return true;
          },
          "Address space of a worker, such as 512M; 0 for no limit")
      ->type_name("SIZE")
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
