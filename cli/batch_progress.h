// SPDX-License-Identifier: MIT
// BatchProgress: how far a batch is, on standard error: a bar with rate, failures and the time that is left
// on a terminal, as wide as that is at the moment, and a line every 10 seconds otherwise. NO_COLOR is
// honored. A reader that is slow misses some of it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace cli {

struct BatchCounts {
  std::uint64_t ended = 0;  // skipped and failed ones among them
  std::uint64_t failed = 0;
  std::uint64_t skipped = 0;
};

// What the bar is made of: "12 jobs, 3.5/s, 1 failed", with ", 2 skipped" where there are any; ", 1:05 left",
// nothing while the share of the work that is done is 0; and the bar itself.
std::string BatchFigures(const BatchCounts& counts, double seconds);
std::string TimeLeft(double seconds, double share);
std::string BatchBar(double share, bool color);

class BatchProgress {
 public:
  using Clock = std::chrono::steady_clock;

  // `offset` tells how many of the `size` bytes of the jobs were read; a size of 0 is not known.
  BatchProgress(bool wanted, std::uint64_t size, std::function<std::uint64_t()> offset,
                std::function<Clock::time_point()> now = Clock::now);
  ~BatchProgress();
  BatchProgress(const BatchProgress&) = delete;
  BatchProgress& operator=(const BatchProgress&) = delete;

  // A job has ended, or needs not be run. Show() prints when it is time to.
  void Count(bool failed);
  void CountSkipped();
  void Show();
  // Prints the final counts.
  void End();

 private:
  void ShowBar(double share, const std::string& text);

  const bool wanted_;
  const bool terminal_;
  const bool color_;
  const std::uint64_t size_;
  const std::function<std::uint64_t()> offset_;
  const std::function<Clock::time_point()> now_;
  const Clock::time_point start_;
  Clock::time_point next_;
  BatchCounts counts_;
  bool shown_ = false;
};

}  // namespace cli
