// SPDX-License-Identifier: MIT
// The time left follows from the bytes of the job file, since the number of jobs is known only at its end.
// Nothing is printed between two pauses, however fast jobs end.
#include "batch_progress.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace cli {

namespace {

constexpr std::chrono::milliseconds kBarPause{100};
constexpr std::chrono::seconds kLinePause{10};
constexpr std::size_t kWidth = 24;

bool HasColor() {
  const char* const noColor = std::getenv("NO_COLOR");
  return noColor == nullptr || *noColor == '\0';
}

std::string TimeText(double seconds) {
  const auto whole = static_cast<long long>(std::min(seconds, 1e9));
  char text[40];
  if (whole >= 3600) {
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
  } else {
    std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
  }
  return text;
}

// Columns of the terminal on standard error, 0 when they are not known.
std::size_t Columns() {
  winsize size = {};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

// Whether standard error takes a line without waiting for its reader.
bool HasRoom() {
  pollfd err = {STDERR_FILENO, POLLOUT, 0};
  return poll(&err, 1, 0) == 1;
}

}  // namespace

std::string BatchFigures(const BatchCounts& counts, double seconds) {
  char text[120];
  std::snprintf(text, sizeof text, "%ju jobs, %.1f/s, %ju failed", static_cast<std::uintmax_t>(counts.ended),
                static_cast<double>(counts.ended) / std::max(seconds, 1e-3),
                static_cast<std::uintmax_t>(counts.failed));
  if (counts.skipped == 0) return text;
  return text + (", " + std::to_string(counts.skipped)) + " skipped";
}

std::string TimeLeft(double seconds, double share) {
  return share > 0 ? ", " + TimeText(seconds / share - seconds) + " left" : "";
}

std::string BatchBar(double share, bool color) {
  const auto filled = static_cast<std::size_t>(share * kWidth);
  return (color ? "[\033[32m" : "[") + std::string(filled, '#') + (color ? "\033[0m" : "") +
         std::string(kWidth - filled, '.') + "] ";
}

BatchProgress::BatchProgress(bool wanted, std::uint64_t size, std::function<std::uint64_t()> offset,
                             std::function<Clock::time_point()> now)
    : wanted_(wanted),
      terminal_(isatty(STDERR_FILENO) == 1),
      color_(HasColor()),
      size_(size),
      offset_(std::move(offset)),
      now_(std::move(now)),
      start_(now_()) {
  next_ = start_ + (terminal_ ? Clock::duration(kBarPause) : Clock::duration(kLinePause));
}

BatchProgress::~BatchProgress() {
  if (shown_) std::fputs("\r\033[K", stderr);
}

void BatchProgress::Count(bool failed) {
  ++counts_.ended;
  counts_.failed += failed ? 1 : 0;
}

void BatchProgress::CountSkipped() {
  ++counts_.ended;
  ++counts_.skipped;
}

void BatchProgress::Show() {
  const Clock::time_point now = now_();
  if (!wanted_ || now < next_ || !HasRoom()) return;
  next_ = now + (terminal_ ? Clock::duration(kBarPause) : Clock::duration(kLinePause));
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double share =
      size_ == 0 ? 0 : std::min(1.0, static_cast<double>(offset_()) / static_cast<double>(size_));
  const std::string text = BatchFigures(counts_, seconds) + TimeLeft(seconds, share);
  terminal_ ? ShowBar(share, text) : static_cast<void>(std::fprintf(stderr, "tovkit: %s\n", text.c_str()));
}

// The last column stays free: a terminal would go on to the next line.
void BatchProgress::ShowBar(double share, const std::string& text) {
  constexpr std::size_t kAround = 3;  // brackets and a space
  const std::size_t columns = Columns();
  const std::size_t room = columns == 0 ? std::string::npos : columns - 1;
  const std::string bar =
      size_ != 0 && text.size() + kWidth + kAround <= room ? BatchBar(share, color_) : std::string();
  std::fprintf(stderr, "\r\033[K%s%s", bar.c_str(), text.substr(0, room).c_str());
  std::fflush(stderr);
  shown_ = true;
}

void BatchProgress::End() {
  if (!wanted_) return;
  const double seconds = std::chrono::duration<double>(now_() - start_).count();
  std::fprintf(stderr, "%stovkit: %s\n", shown_ ? "\r\033[K" : "", BatchFigures(counts_, seconds).c_str());
  shown_ = false;
}

}  // namespace cli
