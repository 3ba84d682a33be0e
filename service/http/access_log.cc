// SPDX-License-Identifier: MIT
// A line is written at once, so that lines of several processes do not mix.
#include "access_log.h"

#include "jobs/json_text.h"

#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <ctime>

namespace service {

namespace {

constexpr std::size_t kLongestPath = 200;
constexpr std::size_t kLongestNote = 300;  // a line stays below PIPE_BUF, even where each byte is escaped

std::string TimeNow() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto millis =
      std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm parts = {};
  gmtime_r(&seconds, &parts);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03dZ", static_cast<int>(millis));
  return text;
}

// On one line, without what a terminal would obey.
std::string Visible(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = '?';
  }
  return text;
}

std::string Text(const Request& request, const Response& response, std::uint64_t bytes, double seconds) {
  char numbers[80];
  std::snprintf(numbers, sizeof numbers, " %d %ju %.4f ", response.status, static_cast<std::uintmax_t>(bytes),
                seconds);
  std::string line = TimeNow() + " " + request.client + " \"" + request.method + " " +
                     request.path.substr(0, kLongestPath) + "\"" + numbers + request.id;
  if (response.status >= 500) line += " " + response.note.substr(0, kLongestNote);
  return Visible(std::move(line)) + "\n";
}

std::string Json(const Request& request, const Response& response, std::uint64_t bytes, double seconds) {
  std::string line = "{\"time\":\"" + TimeNow() + "\",\"id\":\"" + request.id + "\",\"client\":\"" +
                     request.client + "\",\"method\":";
  jobs::AppendJsonString(line, request.method);
  line += ",\"path\":";
  jobs::AppendJsonString(line, request.path.substr(0, kLongestPath));
  char numbers[100];
  std::snprintf(numbers, sizeof numbers, ",\"status\":%d,\"bytes\":%ju,\"seconds\":%.6f", response.status,
                static_cast<std::uintmax_t>(bytes), seconds);
  line += numbers;
  if (response.status >= 500) {
    line += ",\"error\":";
    jobs::AppendJsonString(line, response.note.substr(0, kLongestNote));
  }
  return line + "}\n";
}

}  // namespace

void AccessLog::Write(const Request& request, const Response& response, std::uint64_t bytes,
                      double seconds) const {
  if (format_ == LogFormat::kNone) return;
  // Nobody waits for a reader of the log: a line that it has no room for is lost.
  pollfd ready = {STDERR_FILENO, POLLOUT, 0};
  if (poll(&ready, 1, 0) != 1 || (ready.revents & POLLOUT) == 0) return;
  const std::string line = (format_ == LogFormat::kText ? Text : Json)(request, response, bytes, seconds);
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace service
