// SPDX-License-Identifier: MIT
// Metrics: what the service has done, as Prometheus reads it. One thread uses it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace service {

// What is at the moment, beside what was counted.
struct Gauges {
  std::uint64_t queued = 0;
  std::uint64_t queueLimit = 0;
  std::uint64_t running = 0;
  std::uint64_t workers = 0;
  std::uint64_t connections = 0;
  std::uint64_t cacheEntries = 0;
  std::uint64_t cacheBytes = 0;
};

class Metrics {
 public:
  void CountRequest(const std::string& endpoint, int status) { ++requests_[{endpoint, status}]; }
  // A job that has ended: "done", "failed", "late", "crashed" or "canceled"; `seconds` is what it took in its
  // worker.
  void CountJob(const std::string& kind, const std::string& state, double seconds);

  std::uint64_t connections = 0;
  std::uint64_t connectionsRefused = 0;
  std::uint64_t cacheHits = 0;
  std::uint64_t cacheMisses = 0;
  std::uint64_t workerRestarts = 0;

  // Everything, in the text format 0.0.4.
  std::string Text(const Gauges& gauges) const;

 private:
  static constexpr std::array<double, 14> kBounds = {.001, .0025, .005, .01, .025, .05, .1,
                                                     .25,  .5,    1,    2.5, 5,    10,  30};
  struct Histogram {
    std::array<std::uint64_t, kBounds.size()> counts{};  // up to each bound
    std::uint64_t count = 0;
    double sum = 0;
  };

  void AppendJobs(std::string& text) const;

  std::map<std::pair<std::string, int>, std::uint64_t> requests_;
  std::map<std::pair<std::string, std::string>, std::uint64_t> jobs_;
  std::map<std::string, Histogram> seconds_;
};

}  // namespace service
