// SPDX-License-Identifier: MIT
// An executor with workers that fail when they are asked to, in a folder of its own.
#pragma once

#include "jobs/executor.h"

#include "jobs/error.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

using jobs::Executor;
using jobs::ExecutorOptions;
using jobs::FailureKind;
using jobs::JobResult;
using jobs::JobState;
using jobs::QueuedJob;
using jobs::StopRequest;

namespace fs = std::filesystem;

// As a source reads it from the job.
inline std::string OutOf(const std::string& text) {
  const std::string begin = R"("out": ")";
  const std::size_t at = text.find(begin);
  if (at == std::string::npos) return "";
  const std::size_t from = at + begin.size();
  return text.substr(from, text.find('"', from) - from);
}

class ListSource final : public jobs::JobSource {
 public:
  explicit ListSource(std::vector<std::string> texts) : texts_(std::move(texts)) {}

  std::optional<QueuedJob> Next() override {
    if (at_ == texts_.size()) return std::nullopt;
    ++at_;
    if (texts_[at_ - 1] == "broken") throw jobs::Error(jobs::ErrorKind::kInput, "list", "broken");
    QueuedJob job{at_, std::to_string(at_), texts_[at_ - 1]};
    job.out = OutOf(job.text);
    if (job.text == "refused") job.refused = jobs::FailedResult({jobs::ErrorKind::kInput, "list", "refused"});
    return job;
  }

 private:
  std::vector<std::string> texts_;
  std::size_t at_ = 0;
};

class Results final : public jobs::ResultSink {
 public:
  void Take(const JobResult& result) override {
    order.push_back(result.id);
    EXPECT_TRUE(byId.emplace(result.id, result).second) << "a second result of " << result.id;
    if (seen) seen(result);
  }

  void WorkerReplaced() override { ++replaced; }
  void Pause() override {
    if (paused) paused();
  }

  std::string StateOf(const std::string& id) const {
    const auto found = byId.find(id);
    return found == byId.end() ? "none" : NameOf(found->second.state);
  }

  std::map<std::string, JobResult> byId;
  std::vector<std::string> order;
  int replaced = 0;
  std::function<void(const JobResult&)> seen;
  std::function<void()> paused;
};

inline std::string Label(int number) {
  const std::string text = std::to_string(number);
  return R"({"draw": {"Content": "Label )" + text + R"("}, "size": "120x40", "out": ")" + text + R"(.png"})";
}

inline std::vector<std::string> Labels(int count) {
  std::vector<std::string> texts;
  for (int i = 1; i <= count; ++i) texts.push_back(Label(i));
  return texts;
}

inline std::string Fault(const std::string& what, const std::string& file = "") {
  return R"({"fault": ")" + what + (file.empty() ? "" : R"(", "file": ")" + file) + "\"}";
}

inline std::map<std::string, std::string> FilesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    files[fs::relative(entry.path(), folder).string()] = std::string(std::istreambuf_iterator<char>(in), {});
  }
  return files;
}

inline std::vector<pid_t> Children() {
  std::ifstream in("/proc/self/task/" + std::to_string(getpid()) + "/children");
  return {std::istream_iterator<pid_t>(in), {}};
}

class ExecutorTest : public testing::Test {
 protected:
  ExecutorOptions Options(int workers) const {
    ExecutorOptions options;
    options.workers = workers;
    options.program = TOVKIT_FAULTY_WORKER;
    options.runner.directory = scratch_.path();
    return options;
  }

  bool Run(const ExecutorOptions& options, std::vector<std::string> texts) {
    ListSource source(std::move(texts));
    return RunFrom(options, source);
  }

  bool RunFrom(const ExecutorOptions& options, jobs::JobSource& source) {
    const bool finished = Executor(options).Run(source, results_, stop_);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD) << "a process is left";
    return finished;
  }

  // What an undisturbed run makes of the labels.
  static std::map<std::string, std::string> Undisturbed(int count) {
    const ScratchDir folder;
    ExecutorOptions options;
    options.program = TOVKIT_FAULTY_WORKER;
    options.runner.directory = folder.path();
    ListSource source(Labels(count));
    Results results;
    const StopRequest stop;
    EXPECT_TRUE(Executor(options).Run(source, results, stop));
    return FilesBelow(folder.path());
  }

  // All labels are there as an undisturbed run makes them, but for the jobs that were something else, and
  // nothing else lies there.
  void ExpectLabelsBut(int count, const std::vector<std::string>& others) const {
    std::map<std::string, std::string> labels = Undisturbed(count);
    for (const std::string& id : others) labels.erase(id + ".png");
    EXPECT_TRUE(FilesBelow(scratch_.path()) == labels);
  }

  ScratchDir scratch_;
  Results results_;
  StopRequest stop_;
};
