// SPDX-License-Identifier: MIT
// A source that other threads feed: bounded, and every job that it took is handed out once or was taken back.
#include "jobs/live_source.h"

#include "jobs/executor.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using jobs::LiveSource;
using jobs::QueuedJob;

QueuedJob JobOf(const std::string& id) {
  return {0, id, R"({"hit": {"path": "M0 0H9", "points": [[1, 0]]}})"};
}

LiveSource::Added Add(LiveSource& source, const std::string& id) { return source.Add(JobOf(id)); }

bool IsReadable(const LiveSource& source) {
  pollfd polled = {source.descriptor(), POLLIN, 0};
  return poll(&polled, 1, 0) == 1;
}

TEST(LiveSourceTest, HandsJobsOutInTheirOrder) {
  LiveSource source(3);
  EXPECT_FALSE(source.IsReady());
  EXPECT_FALSE(IsReadable(source));
  for (const char* const id : {"a", "b"}) EXPECT_EQ(Add(source, id), LiveSource::Added::kQueued);
  EXPECT_TRUE(source.IsReady());
  EXPECT_TRUE(IsReadable(source));
  EXPECT_EQ(source.Next()->id, "a");
  EXPECT_TRUE(IsReadable(source));
  EXPECT_EQ(source.Next()->id, "b");
  EXPECT_FALSE(source.IsReady());
  EXPECT_FALSE(IsReadable(source));
}

TEST(LiveSourceTest, AFullQueueTakesNothingAndLeavesTheJob) {
  LiveSource source(2);
  EXPECT_EQ(Add(source, "a"), LiveSource::Added::kQueued);
  EXPECT_EQ(Add(source, "b"), LiveSource::Added::kQueued);
  QueuedJob third = JobOf("c");
  EXPECT_EQ(source.Add(std::move(third)), LiveSource::Added::kFull);
  EXPECT_EQ(third.id, "c");  // NOLINT(bugprone-use-after-move): that is what the test is about
  EXPECT_EQ(source.size(), 2u);
  EXPECT_EQ(source.Next()->id, "a");
  EXPECT_EQ(source.Add(std::move(third)), LiveSource::Added::kQueued);
}

TEST(LiveSourceTest, WhatWaitsWhenItIsClosedIsStillHandedOut) {
  LiveSource source(2);
  EXPECT_EQ(Add(source, "a"), LiveSource::Added::kQueued);
  source.Close();
  source.Close();
  EXPECT_EQ(Add(source, "b"), LiveSource::Added::kClosed);
  EXPECT_EQ(source.Next()->id, "a");
  EXPECT_TRUE(source.IsReady());
  EXPECT_TRUE(IsReadable(source));
  EXPECT_FALSE(source.Next());
}

TEST(LiveSourceTest, ClosingAnEmptyOneWakesWhoWaits) {
  LiveSource source(1);
  source.Close();
  EXPECT_TRUE(IsReadable(source));
  EXPECT_FALSE(source.Next());
}

TEST(LiveSourceTest, AJobThatIsTakenBackFreesItsPlace) {
  LiveSource source(2);
  EXPECT_EQ(Add(source, "a"), LiveSource::Added::kQueued);
  EXPECT_EQ(Add(source, "b"), LiveSource::Added::kQueued);
  EXPECT_TRUE(source.Cancel("a"));
  EXPECT_FALSE(source.Cancel("a"));
  EXPECT_EQ(source.size(), 1u);
  EXPECT_EQ(Add(source, "c"), LiveSource::Added::kQueued);
  EXPECT_EQ(source.Next()->id, "b");
  EXPECT_EQ(source.Next()->id, "c");
}

TEST(LiveSourceTest, TheOnlyJobStaysAsOneThatIsRefused) {
  LiveSource source(1);
  EXPECT_EQ(Add(source, "a"), LiveSource::Added::kQueued);
  ASSERT_TRUE(source.IsReady());
  EXPECT_TRUE(source.Cancel("a"));
  EXPECT_FALSE(source.Cancel("a"));
  EXPECT_EQ(source.size(), 0u);
  EXPECT_EQ(Add(source, "b"), LiveSource::Added::kQueued);
  EXPECT_EQ(Add(source, "c"), LiveSource::Added::kFull);
  EXPECT_TRUE(source.Cancel("b"));
  EXPECT_EQ(Add(source, "d"), LiveSource::Added::kQueued);
  const auto first = source.Next();
  ASSERT_TRUE(first && first->refused);
  EXPECT_EQ(first->refused->state, jobs::JobState::kSkipped);
  EXPECT_EQ(source.size(), 1u);
  EXPECT_EQ(Add(source, "e"), LiveSource::Added::kFull);
  EXPECT_EQ(source.Next()->id, "d");
  EXPECT_EQ(source.size(), 0u);
}

class Counts final : public jobs::ResultSink {
 public:
  void Take(const jobs::JobResult& result) override {
    if (result.state == jobs::JobState::kSkipped) return;
    EXPECT_EQ(result.state, jobs::JobState::kDone) << result.message;
    EXPECT_TRUE(ids.insert(result.id).second) << "a second result of " << result.id;
  }

  std::set<std::string> ids;
};

// Four threads add jobs as fast as there is room and take every fifth back; an executor runs the others.
TEST(LiveSourceTest, ThreadsFeedAnExecutor) {
  constexpr int kThreads = 4, kJobs = 300;
  const ScratchDir scratch;
  jobs::ExecutorOptions options;
  options.workers = 2;
  options.runner.directory = scratch.path();
  LiveSource source(16);
  Counts results;
  const jobs::StopRequest stop;
  bool finished = false;
  std::thread crew([&] { finished = jobs::Executor(options).Run(source, results, stop); });
  std::atomic<int> takenBack = 0;
  std::vector<std::thread> feeders;
  for (int thread = 0; thread < kThreads; ++thread) {
    feeders.emplace_back([&, thread] {
      for (int i = 0; i < kJobs; ++i) {
        const std::string id = std::to_string(thread) + "." + std::to_string(i);
        while (Add(source, id) == LiveSource::Added::kFull) std::this_thread::yield();
        if (i % 5 == 0 && source.Cancel(id)) ++takenBack;
        EXPECT_LE(source.size(), 16u);
      }
    });
  }
  for (std::thread& feeder : feeders) feeder.join();
  source.Close();
  crew.join();
  EXPECT_TRUE(finished);
  EXPECT_EQ(results.ids.size() + static_cast<std::size_t>(takenBack), std::size_t{kThreads} * kJobs);
}

}  // namespace
