// SPDX-License-Identifier: MIT
// Progress: a bar on standard error while long work runs. Nothing appears where standard error is no
// terminal, nor for work that is done within a moment. NO_COLOR is honored.
//
//   Progress progress("map", rows);
//   for (int row = 0; row < rows; ++row) {
//     Draw(row);
//     progress.Advance();
//   }
#pragma once

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace cli {

class Progress {
 public:
  Progress(std::string label, std::int64_t total)
      : label_(std::move(label)), total_(total), next_(std::chrono::steady_clock::now() + kPatience) {
    const char* noColor = std::getenv("NO_COLOR");
    terminal_ = isatty(STDERR_FILENO) == 1;
    color_ = noColor == nullptr || *noColor == '\0';
  }
  ~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Advance(std::int64_t steps = 1) {
    done_ += steps;
    if (!terminal_) return;
    const auto now = std::chrono::steady_clock::now();
    if (now < next_) return;
    next_ = now + kPause;
    Show();
  }

 private:
  static constexpr std::chrono::milliseconds kPatience{300};
  static constexpr std::chrono::milliseconds kPause{100};
  static constexpr int kWidth = 40;

  void Show() {
    const auto filled = static_cast<std::size_t>(done_ * kWidth / total_);
    std::fprintf(stderr, "\r%s [%s%s%s%s] %3d%%", label_.c_str(), color_ ? "\033[32m" : "",
                 std::string(filled, '#').c_str(), color_ ? "\033[0m" : "",
                 std::string(kWidth - filled, '.').c_str(), static_cast<int>(done_ * 100 / total_));
    std::fflush(stderr);
    shown_ = true;
  }

  std::string label_;
  std::int64_t total_;
  std::int64_t done_ = 0;
  std::chrono::steady_clock::time_point next_;
  bool terminal_ = false;
  bool color_ = true;
  bool shown_ = false;
};

}  // namespace cli
