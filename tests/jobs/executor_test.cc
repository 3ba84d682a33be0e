// SPDX-License-Identifier: MIT
// The executor and its workers: every job has one result, whatever happens to them.
#include "jobs/executor.h"
#include "jobs/error.h"
#include "jobs/picture_reader.h"
#include "jobs/sanitized.h"
#include "jobs/sha256.h"

#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using jobs::Executor;
using jobs::ExecutorOptions;
using jobs::FailureKind;
using jobs::JobResult;
using jobs::JobState;
using jobs::QueuedJob;
using jobs::StopRequest;

namespace fs = std::filesystem;

// As a source reads it from the job.
std::string OutOf(const std::string& text) {
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

std::string Label(int number) {
  const std::string text = std::to_string(number);
  return R"({"draw": {"Content": "Label )" + text + R"("}, "size": "120x40", "out": ")" + text + R"(.png"})";
}

std::vector<std::string> Labels(int count) {
  std::vector<std::string> texts;
  for (int i = 1; i <= count; ++i) texts.push_back(Label(i));
  return texts;
}

std::string Fault(const std::string& what, const std::string& file = "") {
  return R"({"fault": ")" + what + (file.empty() ? "" : R"(", "file": ")" + file) + "\"}";
}

std::map<std::string, std::string> FilesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_directory()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    files[fs::relative(entry.path(), folder).string()] = std::string(std::istreambuf_iterator<char>(in), {});
  }
  return files;
}

std::vector<pid_t> Children() {
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

TEST_F(ExecutorTest, EveryJobHasOneResult) {
  EXPECT_TRUE(Run(Options(3), Labels(300)));
  EXPECT_EQ(results_.byId.size(), 300u);
  for (const auto& [id, result] : results_.byId) {
    EXPECT_EQ(result.state, JobState::kDone) << result.message;
    EXPECT_EQ(result.attempts, 1);
    EXPECT_TRUE(result.worker >= 1 && result.worker <= 3);
    EXPECT_EQ(result.output, id + ".png");
  }
  EXPECT_EQ(FilesBelow(scratch_.path()), Undisturbed(300));
}

TEST_F(ExecutorTest, NoJobsAtAll) {
  EXPECT_TRUE(Run(Options(2), {}));
  EXPECT_TRUE(results_.order.empty());
}

TEST_F(ExecutorTest, InOrderWhenAskedFor) {
  ExecutorOptions options = Options(3);
  options.ordered = true;
  std::vector<std::string> texts = Labels(200);
  texts[5] = "refused";
  texts[6] = Fault("crash");
  EXPECT_TRUE(Run(options, texts));
  ASSERT_EQ(results_.order.size(), 200u);
  for (int i = 0; i < 200; ++i) EXPECT_EQ(results_.order[static_cast<std::size_t>(i)], std::to_string(i + 1));
  EXPECT_EQ(results_.StateOf("6"), "failed");
  EXPECT_EQ(results_.StateOf("7"), "quarantined");
}

TEST_F(ExecutorTest, ACrashCostsOneJob) {
  std::vector<std::string> texts = Labels(60);
  texts[9] = Fault("crash");
  texts[19] = Fault("exit");
  texts[29] =
      Fault("once", scratch_.path() + "/../" + fs::path(scratch_.path()).filename().string() + ".once");
  EXPECT_TRUE(Run(Options(2), texts));
  fs::remove(scratch_.path() + ".once");
  EXPECT_EQ(results_.byId.size(), 60u);
  for (const auto& [id, result] : results_.byId) {
    const bool fatal = id == "10" || id == "20";
    EXPECT_STREQ(NameOf(result.state), fatal ? "quarantined" : "done") << id;
    EXPECT_EQ(result.attempts, fatal || id == "30" ? 2 : 1) << id;
  }
  EXPECT_EQ(results_.byId["10"].kind, FailureKind::kCrash);
  EXPECT_EQ(results_.byId["10"].message, "job: the worker ended by signal 11 (Segmentation fault)");
  EXPECT_EQ(results_.byId["20"].message, "job: the worker ended with status 3");
  EXPECT_EQ(results_.byId["10"].jobHash, jobs::Sha256(R"({"fault":"crash"})"));
  EXPECT_EQ(results_.byId["20"].jobHash, jobs::Sha256(R"({"fault":"exit"})"));
  ExpectLabelsBut(60, {"10", "20", "30"});
}

TEST_F(ExecutorTest, OneAttemptWhereNoMoreAreWanted) {
  ExecutorOptions options = Options(2);
  options.attempts = 1;
  std::vector<std::string> texts = Labels(20);
  texts[9] = Fault("crash");
  EXPECT_TRUE(Run(options, texts));
  EXPECT_EQ(results_.byId.size(), 20u);
  EXPECT_EQ(results_.byId["10"].state, JobState::kQuarantined);
  EXPECT_EQ(results_.byId["10"].attempts, 1);
  EXPECT_EQ(results_.replaced, 1);
  ExpectLabelsBut(20, {"10"});
}

// The second job lets the first one end. It runs in the other worker, or never.
TEST_F(ExecutorTest, NoJobWaitsBehindAnotherWhereNoneIsSentAhead) {
  ExecutorOptions options = Options(2);
  options.ahead = false;
  const std::string flag = scratch_.path() + "/flag.png";
  EXPECT_TRUE(Run(options, {Fault("await", flag), Label(2), Label(3),
                            R"({"draw": {"Content": "x"}, "size": "9x9", "out": "flag.png"})"}));
  for (const char* const id : {"1", "2", "3", "4"}) EXPECT_EQ(results_.StateOf(id), "done") << id;
}

// The output was renamed, the worker died before it told so, and the second attempt failed.
TEST_F(ExecutorTest, NoOutputStandsThatNoResultTellsOf) {
  const ScratchDir marks;
  std::vector<std::string> texts = Labels(30);
  texts[9] = R"({"untold": ")" + marks.path() + R"(/new", "out": "new"})";
  // This one never gets to its output, so what stands there is somebody else's.
  std::ofstream(marks.path() + "/old") << "mark";
  std::ofstream(scratch_.path() + "/old") << "old";
  texts[19] = R"({"untold": ")" + marks.path() + R"(/old", "out": "old"})";
  EXPECT_TRUE(Run(Options(2), texts));
  EXPECT_EQ(results_.byId.size(), 30u);
  EXPECT_EQ(results_.StateOf("10"), "quarantined");
  EXPECT_EQ(results_.StateOf("20"), "quarantined");
  EXPECT_TRUE(fs::exists(marks.path() + "/new")) << "it was written once";
  std::ifstream old(scratch_.path() + "/old");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(old), {}), "old");
  fs::remove(scratch_.path() + "/old");
  ExpectLabelsBut(30, {"10", "20"});
}

// A worker whose memory is in ruins may send anything.
TEST_F(ExecutorTest, NonsenseCostsTheJobThatSentIt) {
  for (const std::string kind : {"cut", "stranger", "huge", "silent"}) {
    results_.byId.clear();
    ExecutorOptions options = Options(1);
    options.timeout = std::chrono::milliseconds(300);
    std::vector<std::string> texts = Labels(6);
    texts[2] = Fault("nonsense", kind);
    EXPECT_TRUE(Run(options, texts)) << kind;
    ASSERT_EQ(results_.byId.size(), 6u) << kind;
    for (const auto& [id, result] : results_.byId) {
      EXPECT_EQ(result.state, id == "3" ? JobState::kQuarantined : JobState::kDone) << kind << ' ' << id;
    }
    const JobResult& lost = results_.byId["3"];
    EXPECT_EQ(lost.message,
              kind == "silent" ? "job: not done within 0.3 s" : "job: the worker sent what is no result");
    EXPECT_EQ(lost.attempts, 2);
    EXPECT_EQ(lost.jobHash, jobs::Sha256(R"({"fault":"nonsense","file":")" + kind + "\"}"));
  }
}

TEST_F(ExecutorTest, ALoopEndsAtItsDeadline) {
  ExecutorOptions options = Options(2);
  options.timeout = std::chrono::milliseconds(jobs::kSanitized ? 20000 : 3000);
  std::vector<std::string> texts = Labels(20);
  texts[3] = Fault("loop");
  EXPECT_TRUE(Run(options, texts));
  EXPECT_EQ(results_.byId.size(), 20u);
  const JobResult& late = results_.byId["4"];
  EXPECT_EQ(late.state, JobState::kQuarantined);
  EXPECT_EQ(late.kind, FailureKind::kDeadline);
  EXPECT_EQ(late.message, jobs::kSanitized ? "job: not done within 20 s" : "job: not done within 3 s");
  EXPECT_GE(late.seconds, 3);
  EXPECT_EQ(late.jobHash, jobs::Sha256(R"({"fault":"loop"})"));
  ExpectLabelsBut(20, {"4"});
}

TEST_F(ExecutorTest, MemoryIsLimited) {
  if (jobs::kSanitized) GTEST_SKIP() << "a sanitizer needs all the address space";
  ExecutorOptions options = Options(2);
  options.memory = 512u << 20;
  std::vector<std::string> texts = Labels(20);
  texts[3] = Fault("memory");
  EXPECT_TRUE(Run(options, texts));
  EXPECT_EQ(results_.byId["4"].kind, FailureKind::kLimit);
  EXPECT_EQ(results_.byId["4"].message, "job: not enough memory");
  EXPECT_EQ(results_.byId.size(), 20u);
  ExpectLabelsBut(20, {"4"});
}

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

// Kills workers in the middle of a run, knowing which process has which place. One is killed only when it has
// delivered since the last time that it was, as a job that is hit twice is quarantined by right.
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

// Labels for as long as there is somebody to kill: how many jobs that takes depends on the machine.
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

TEST_F(ExecutorTest, LargeJobsGoThrough) {
  std::vector<std::string> texts;
  for (int i = 0; i < 4; ++i) {
    std::string points = "[0,0]";
    for (int k = 0; k < 200000; ++k) points += ",[5,5]";
    texts.push_back(R"({"hit": {"path": "M0 0H10V10H0Z", "fill": true, "points": [)" + points + "]}}");
  }
  EXPECT_TRUE(Run(Options(2), texts));
  for (const auto& [id, result] : results_.byId) {
    ASSERT_TRUE(result.hits) << result.message;
    EXPECT_EQ(result.hits->size(), 200001u);
  }
}

TEST_F(ExecutorTest, AVanishedFolderFailsJobsAndNothingElse) {
  const std::string folder = scratch_.path() + "/out";
  fs::create_directory(folder);
  ExecutorOptions options = Options(2);
  options.runner.directory = folder;
  results_.seen = [&](const JobResult& result) {
    // While a worker may still be starting.
    if (result.id != "1") return;
    for (std::error_code raced; fs::exists(folder);) fs::remove_all(folder, raced);
  };
  EXPECT_TRUE(Run(options, Labels(200)));
  EXPECT_EQ(results_.byId.size(), 200u);
  int failed = 0;
  for (const auto& [id, result] : results_.byId) {
    if (result.state == JobState::kDone) continue;
    ++failed;
    EXPECT_EQ(result.kind, FailureKind::kOutput) << result.message;
  }
  EXPECT_GT(failed, 100);
}

// What a stranger sends: pictures that other programs wrote, with bytes changed, cut off or doubled.
TEST_F(ExecutorTest, MutatedPicturesCostThemselvesOnly) {
  constexpr int kPictures = 10000;
  const ScratchDir input;
  std::vector<std::string> seeds;
  std::vector<std::string> names;
  for (const char* format : {"png", "jpg", "tif", "gif", "webp", "bmp", "jp2"}) {
    const std::string file = input.path() + "/seed." + format;
    const std::string command = "convert -size 24x18 gradient:red-blue '" + file + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    std::ifstream in(file, std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    names.emplace_back(format);
  }
  std::mt19937 random(5);
  std::vector<std::string> texts;
  for (int i = 0; i < kPictures; ++i) {
    const std::size_t seed = static_cast<std::size_t>(i) % seeds.size();
    std::string bytes = seeds[seed];
    for (unsigned change = 1 + random() % 8; change != 0; --change) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    if (random() % 8 == 0) bytes.resize(1 + random() % bytes.size());
    if (random() % 8 == 0) bytes += bytes.substr(random() % bytes.size());
    const std::string name = std::to_string(i) + "." + names[seed];
    std::ofstream(input.path() + "/" + name, std::ios::binary) << bytes;
    texts.push_back(R"({"image": ")" + name + R"(", "out": ")" + std::to_string(i) + ".bmp\"}");
  }
  ExecutorOptions options = Options(2);
  options.runner.input = input.path();
  EXPECT_TRUE(Run(options, texts));
  std::map<std::string, int> states;
  for (const auto& [id, result] : results_.byId) ++states[NameOf(result.state)];
  EXPECT_EQ(results_.byId.size(), static_cast<std::size_t>(kPictures));
  EXPECT_EQ(states["quarantined"], 0);
  EXPECT_GT(states["done"], kPictures / 20);
  EXPECT_GT(states["failed"], kPictures / 20);
  const std::map<std::string, std::string> files = FilesBelow(scratch_.path());
  EXPECT_EQ(files.size(), static_cast<std::size_t>(states["done"]));
  // One worker that is never replaced makes the same of them.
  const ScratchDir alone;
  options.workers = 1;
  options.recycle = 0;
  options.runner.directory = alone.path();
  ListSource source(texts);
  Results again;
  EXPECT_TRUE(Executor(options).Run(source, again, stop_));
  for (const auto& [id, result] : again.byId) EXPECT_EQ(result.message, results_.byId[id].message) << id;
  EXPECT_TRUE(FilesBelow(alone.path()) == files);
  for (const auto& [name, bytes] : files) {
    EXPECT_NO_THROW({
      [[maybe_unused]] const auto frame = jobs::PictureReader(jobs::Input::Memory(bytes, name)).ReadFrame(1);
    }) << name;
  }
}

}  // namespace
