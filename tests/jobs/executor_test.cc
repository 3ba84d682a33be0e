// SPDX-License-Identifier: MIT
// The executor and its workers: every job has one result, whatever a job does.
#include "executor_support.h"

#include "jobs/picture_reader.h"
#include "jobs/sanitized.h"
#include "jobs/sha256.h"

#include <chrono>
#include <cstdlib>
#include <random>

namespace {

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

// The fresh worker has nothing else to be sent with it.
TEST_F(ExecutorTest, ASecondAttemptIsSentWhereNoneIsSentAhead) {
  ExecutorOptions options = Options(1);
  options.ahead = false;
  const ScratchDir marks;
  EXPECT_TRUE(Run(options, {Fault("once", marks.path() + "/mark"), Label(2)}));
  EXPECT_EQ(results_.byId["1"].state, JobState::kDone) << results_.byId["1"].message;
  EXPECT_EQ(results_.byId["1"].attempts, 2);
  EXPECT_EQ(results_.replaced, 1);
  EXPECT_EQ(results_.StateOf("2"), "done");
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
    // By then it runs nothing, and nobody knows how long the job took.
    if (kind == "silent") {
      EXPECT_EQ(lost.seconds, 0);
    }
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

// Kills workers in the middle of a run, knowing which process has which place. One is killed only when it has
// delivered since the last time that it was, as a job that is hit twice is quarantined by right.
// Labels for as long as there is somebody to kill: how many jobs that takes depends on the machine.
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
  bool isGone = false;
  results_.seen = [&](const JobResult&) {
    // While a worker may still be starting. Some hundred jobs are with the workers already.
    if (std::exchange(isGone, true)) return;
    for (std::error_code raced; fs::exists(folder);) fs::remove_all(folder, raced);
  };
  EXPECT_TRUE(Run(options, Labels(1000)));
  EXPECT_EQ(results_.byId.size(), 1000u);
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
    const std::string command = "LC_ALL=C.UTF-8 convert -size 24x18 gradient:red-blue '" + file + "'";
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
