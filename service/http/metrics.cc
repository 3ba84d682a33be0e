// SPDX-License-Identifier: MIT
#include "metrics.h"

#include <tovkit/util.h>

#include <dirent.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>

namespace service {

namespace {

std::string Text(double number) {
  char text[40];
  std::snprintf(text, sizeof text, "%.9g", number);
  return text;
}

void Head(std::string& text, const char* name, const char* type, const char* help) {
  text.append("# HELP ").append(name).append(" ").append(help).append("\n# TYPE ").append(name).append(" ");
  text.append(type).append("\n");
}

void Plain(std::string& text, const char* name, const char* type, const char* help, double value) {
  Head(text, name, type, help);
  text.append(name).append(" ").append(Text(value)).append("\n");
}

void Whole(std::string& text, const char* name, const char* type, const char* help, std::uint64_t value) {
  Head(text, name, type, help);
  text.append(name).append(" ").append(std::to_string(value)).append("\n");
}

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::uint64_t ResidentBytes() {
  std::ifstream in("/proc/self/statm");
  std::uint64_t size = 0, resident = 0;
  in >> size >> resident;
  return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::uint64_t OpenDescriptors() {
  DIR* const folder = opendir("/proc/self/fd");
  if (folder == nullptr) return 0;
  std::uint64_t count = 0;
  while (readdir(folder) != nullptr) ++count;
  closedir(folder);
  return count < 3 ? 0 : count - 3;  // "." and "..", and the folder itself
}

// Seconds since 1970. The process's start is known in clock ticks since the system's, which is as long ago as
// CLOCK_BOOTTIME tells.
double StartTime() {
  std::ifstream in("/proc/self/stat");
  std::string line;
  std::getline(in, line);
  unsigned long long ticks = 0;
  const std::size_t behindName = line.rfind(')');
  if (behindName == std::string::npos) return 0;
  std::sscanf(line.c_str() + behindName + 2,
              "%*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %*u %*u %*d %*d %*d %*d %*d %*d %llu", &ticks);
  const auto secondsOf = [](clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
  };
  return secondsOf(CLOCK_REALTIME) - secondsOf(CLOCK_BOOTTIME) +
         static_cast<double>(ticks) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

void AppendProcess(std::string& text) {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  rlimit limit = {};
  getrlimit(RLIMIT_NOFILE, &limit);
  Plain(text, "process_cpu_seconds_total", "counter", "Processor time of the server, without its workers.",
        Seconds(usage.ru_utime) + Seconds(usage.ru_stime));
  Whole(text, "process_resident_memory_bytes", "gauge", "Memory of the server, without its workers.",
        ResidentBytes());
  Whole(text, "process_open_fds", "gauge", "Open descriptors.", OpenDescriptors());
  Whole(text, "process_max_fds", "gauge", "The most descriptors that can be open.", limit.rlim_cur);
  Head(text, "process_start_time_seconds", "gauge", "When the server was started, seconds since 1970.");
  char start[40];
  std::snprintf(start, sizeof start, "%.2f", StartTime());
  text.append("process_start_time_seconds ").append(start).append("\n");
}

}  // namespace

void Metrics::CountJob(const std::string& kind, const std::string& state, double seconds) {
  ++jobs_[{kind, state}];
  if (state == "canceled") return;
  Histogram& histogram = seconds_[kind];
  for (std::size_t i = 0; i < kBounds.size(); ++i) {
    if (seconds <= kBounds[i]) ++histogram.counts[i];
  }
  ++histogram.count;
  histogram.sum += seconds;
}

void Metrics::AppendJobs(std::string& text) const {
  Head(text, "tovkit_jobs_total", "counter", "Jobs that have ended.");
  for (const auto& [key, count] : jobs_) {
    text += "tovkit_jobs_total{kind=\"" + key.first + "\",state=\"" + key.second + "\"} " +
            std::to_string(count) + "\n";
  }
  Head(text, "tovkit_job_seconds", "histogram", "What jobs took in their workers.");
  for (const auto& [kind, histogram] : seconds_) {
    const std::string label = "{kind=\"" + kind + "\"";
    for (std::size_t i = 0; i < kBounds.size(); ++i) {
      text += "tovkit_job_seconds_bucket" + label + ",le=\"" + service::Text(kBounds[i]) + "\"} " +
              std::to_string(histogram.counts[i]) + "\n";
    }
    text += "tovkit_job_seconds_bucket" + label + ",le=\"+Inf\"} " + std::to_string(histogram.count) + "\n";
    text += "tovkit_job_seconds_sum" + label + "} " + service::Text(histogram.sum) + "\n";
    text += "tovkit_job_seconds_count" + label + "} " + std::to_string(histogram.count) + "\n";
  }
}

std::string Metrics::Text(const Gauges& gauges) const {
  std::string text;
  Head(text, "tovkit_build_info", "gauge", "The version of the library.");
  text += std::string("tovkit_build_info{version=\"") + tovkit::GetLibraryVersion() + "\"} 1\n";
  Head(text, "tovkit_http_requests_total", "counter", "Requests that were answered.");
  for (const auto& [key, count] : requests_) {
    text += "tovkit_http_requests_total{endpoint=\"" + key.first + "\",code=\"" + std::to_string(key.second) +
            "\"} " + std::to_string(count) + "\n";
  }
  AppendJobs(text);
  Whole(text, "tovkit_queue_jobs", "gauge", "Jobs that wait for a worker.", gauges.queued);
  Whole(text, "tovkit_queue_limit", "gauge", "The most jobs that may wait.", gauges.queueLimit);
  Whole(text, "tovkit_running_jobs", "gauge", "Jobs that workers have.", gauges.running);
  Whole(text, "tovkit_workers", "gauge", "Worker processes.", gauges.workers);
  Whole(text, "tovkit_worker_restarts_total", "counter", "Workers that ended and were replaced.",
        workerRestarts);
  Whole(text, "tovkit_connections", "gauge", "Open connections.", gauges.connections);
  Whole(text, "tovkit_connections_total", "counter", "Connections that were accepted.", connections);
  Whole(text, "tovkit_connections_refused_total", "counter", "Connections beyond the limit.",
        connectionsRefused);
  Whole(text, "tovkit_cache_hits_total", "counter", "Answers that were there already.", cacheHits);
  Whole(text, "tovkit_cache_misses_total", "counter", "Answers that were not.", cacheMisses);
  Whole(text, "tovkit_cache_entries", "gauge", "Answers that are kept.", gauges.cacheEntries);
  Whole(text, "tovkit_cache_bytes", "gauge", "What they take.", gauges.cacheBytes);
  AppendProcess(text);
  return text;
}

}  // namespace service
