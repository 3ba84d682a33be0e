// SPDX-License-Identifier: MIT
// How workers and runs end: killed, replaced, asked to stop, without a result, or before they begin.
#include "executor_support.h"

#include "jobs/live_source.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <random>

namespace {

TEST_F(ExecutorTest, WorkersAreReplacedAfterAWhile) {
  ExecutorOptions options = Options(1);
  options.recycle = 3;
  options.runner.report = true;
  EXPECT_TRUE(Run(options, std::vector<std::string>(10, Fault("pid"))));
  std::map<std::string, int> jobs;
  for (const auto& [id, result] : results_.byId) ++jobs[result.warnings.at(0)];
  EXPECT_EQ(jobs.size(), 4u) << "3, 3, 3 and 1";
  for (const auto& [pid, count] : jobs) EXPECT_LE(count, 3);
}

// The time that a worker is given to begin counts from the job, not from what was heard of it before.
TEST_F(ExecutorTest, AWorkerThatWaitedLongForAJobIsNotLate) {
  ExecutorOptions options = Options(1);
  options.timeout = std::chrono::seconds(2);
  jobs::LiveSource source(1);
  const auto add = [&source](const std::string& id) {
    EXPECT_EQ(source.Add({0, id, Fault("none")}), jobs::LiveSource::Added::kQueued);
  };
  add("early");
  std::chrono::steady_clock::time_point since = {};
  results_.seen = [&](const JobResult& result) {
    since = std::chrono::steady_clock::now();
    if (result.id == "late") source.Close();
  };
  // Longer than a job may take, and than a worker may be silent between two jobs.
  const auto isOver = [&] {
    return std::chrono::steady_clock::now() - since > std::chrono::milliseconds(3200);
  };
  results_.paused = [&] {
    if (results_.byId.size() != 1 || source.size() != 0 || !isOver()) return;
    add("late");
    results_.paused = nullptr;
  };
  EXPECT_TRUE(RunFrom(options, source));
  EXPECT_EQ(results_.StateOf("late"), "done");
  EXPECT_EQ(results_.byId["late"].attempts, 1);
  EXPECT_EQ(results_.replaced, 0);
}

class Killer {
 public:
  explicit Killer(int kills) : left_(kills) {}

  int left() const { return left_; }

  void Saw(const JobResult& result) {
    FindNewcomer();
    // What the dead had sent before tells nothing of its successor.
    if (result.worker != vacant_) delivered_[result.worker] = true;
    if (left_ == 0 || vacant_ != 0 || --untilNext_ > 0 || pids_.count(result.worker) == 0) return;
    vacant_ = delivered_[3 - result.worker] && random_() % 2 == 0 ? 3 - result.worker : result.worker;
    kill(pids_[vacant_], SIGKILL);
    delivered_[vacant_] = false;
    untilNext_ = 1 + static_cast<int>(random_() % 4);
    --left_;
  }

 private:
  // The two workers that are there at first were started in order; later the new one has the place of the
  // dead.
  void FindNewcomer() {
    const std::vector<pid_t> children = Children();
    if (pids_.empty() && children.size() == 2) pids_ = {{1, children[0]}, {2, children[1]}};
    for (const pid_t child : children) {
      if (vacant_ == 0 || child == pids_[1] || child == pids_[2]) continue;
      pids_[vacant_] = child;
      vacant_ = 0;
    }
  }

  int left_;
  int untilNext_ = 1;
  int vacant_ = 0;  // the place whose worker was killed, until there is another one
  std::map<int, pid_t> pids_;
  std::map<int, bool> delivered_;
  std::mt19937 random_{7};
};

class LabelsForKiller final : public jobs::JobSource {
 public:
  explicit LabelsForKiller(const Killer& killer) : killer_(killer) {}

  int count() const { return count_; }

  std::optional<QueuedJob> Next() override {
    constexpr int kMost = 50000;
    if (killer_.left() == 0 || count_ == kMost) return std::nullopt;
    ++count_;
    return QueuedJob{static_cast<std::uint64_t>(count_), std::to_string(count_), Label(count_)};
  }

 private:
  const Killer& killer_;
  int count_ = 0;
};

TEST_F(ExecutorTest, WorkersKilledAtRandomLoseNothing) {
  Killer killer(200);
  results_.seen = [&killer](const JobResult& result) { killer.Saw(result); };
  LabelsForKiller source(killer);
  EXPECT_TRUE(RunFrom(Options(2), source));
  EXPECT_EQ(killer.left(), 0);
  const int count = source.count();
  EXPECT_EQ(results_.byId.size(), static_cast<std::size_t>(count));
  int twice = 0;
  for (const auto& [id, result] : results_.byId) {
    EXPECT_EQ(result.state, JobState::kDone) << id << ": " << result.message;
    twice += result.attempts == 2 ? 1 : 0;
  }
  EXPECT_GT(twice, 0) << "no kill met a job";
  EXPECT_TRUE(FilesBelow(scratch_.path()) == Undisturbed(count));
}

TEST_F(ExecutorTest, ARequestLetsWhatRunsFinishAndASecondDoesNot) {
  const std::string file = scratch_.path() + "/go";
  results_.paused = [&] {
    if (stop_.level() != StopRequest::kNone) return;
    stop_.Raise();
    std::ofstream(file) << "go";
  };
  std::vector<std::string> texts = Labels(2000);
  texts[0] = Fault("await", file);
  EXPECT_FALSE(Run(Options(1), texts));
  EXPECT_EQ(results_.StateOf("1"), "done") << "it was running";
  EXPECT_LT(results_.byId.size(), 100u);
  // The file beside the outputs, and the first job, which has none.
  EXPECT_EQ(FilesBelow(scratch_.path()).size() - 1, results_.byId.size() - 1) << "no output without a result";

  results_.paused = nullptr;
  results_.byId.clear();
  StopRequest fresh;
  ListSource source({Label(1), Fault("loop"), Label(3)});
  results_.seen = [&](const JobResult&) {
    fresh.Raise();
    fresh.Raise();
  };
  EXPECT_FALSE(Executor(Options(1)).Run(source, results_, fresh));
  EXPECT_EQ(results_.byId.size(), 1u);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST_F(ExecutorTest, ABrokenSourceIsToldOfWhenItsJobsAreDone) {
  std::vector<std::string> texts = Labels(10);
  texts.emplace_back("broken");
  EXPECT_THROW(Run(Options(2), texts), jobs::Error);
  EXPECT_EQ(results_.byId.size(), 10u);
}

TEST_F(ExecutorTest, WorkersWhoseResultsGetNowhereAreNoEndlessLoop) {
  try {
    Run(Options(2), std::vector<std::string>(9, R"({"fault": "dumb"})"));
    ADD_FAILURE() << "ended as if all were well";
  } catch (const jobs::Error& e) {
    EXPECT_STREQ(e.what(), TOVKIT_FAULTY_WORKER ": workers end without a result: ended with status 0");
  }
}

TEST_F(ExecutorTest, WorkersThatCannotBeginAreNoEndlessLoop) {
  const auto failure = [this](const ExecutorOptions& options) {
    try {
      Run(options, Labels(3));
      return std::string("none");
    } catch (const jobs::Error& e) {
      return std::string(e.what());
    }
  };
  ExecutorOptions options = Options(2);
  options.program = "/bin/false";
  EXPECT_EQ(failure(options), "/bin/false: workers end before they begin: ended with status 1");
  options.program = "/no/such/program";
  EXPECT_EQ(failure(options), "/no/such/program: cannot start a worker: No such file or directory");
  options = Options(1);
  options.runner.directory = "/no/such/folder";
  EXPECT_EQ(failure(options), "/no/such/folder: cannot open the folder: No such file or directory");
  options = Options(1);
  options.runner.fonts = {TOVKIT_SOURCE_DIR "/README.md"};
  EXPECT_EQ(failure(options), "worker: " TOVKIT_SOURCE_DIR "/README.md: holds no font");
}

}  // namespace
