// SPDX-License-Identifier: MIT
// How a batch ends before its jobs do, and goes on: signals, kills, failures, results files.
#include "batch_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using batch::Batch;
using batch::ContentsOfPath;
using batch::FilesBelow;
using batch::Jobs;
using batch::LinesOf;
using batch::Member;
using batch::StatesOf;

namespace fs = std::filesystem;

TEST_F(Batch, ResumeDoesWhatIsMissing) {
  const std::vector<std::string> arguments = {"--results", Path("r.jsonl"), "--resume"};
  EXPECT_EQ(Run(arguments, Jobs(20)).status, 0);
  const std::string first = ContentsOfPath(Path("r.jsonl"));
  EXPECT_EQ(LinesOf(first).size(), 20u);
  EXPECT_EQ(Run(arguments, Jobs(20)).status, 0);
  EXPECT_EQ(ContentsOfPath(Path("r.jsonl")), first) << "nothing to do";
  std::vector<std::string> told = arguments;
  told.emplace_back("--progress");
  EXPECT_NE(Run(told, Jobs(20)).err.find("/s, 0 failed, 20 skipped\n"), std::string::npos);
  EXPECT_EQ(ContentsOfPath(Path("r.jsonl")), first) << "a job that is skipped has its line";

  fs::remove(Out() + "/3/3.png");
  fs::resize_file(Out() + "/4/4.png", 10);
  std::string jobs = Jobs(21);
  jobs.replace(jobs.find("No. 7"), 5, "New 7");
  std::ofstream(Path("r.jsonl"), std::ios::app) << "{\"id\":\"5\",\"sta";
  EXPECT_EQ(Run(arguments, jobs).status, 0);
  std::vector<std::string> again;
  for (const std::string& line : LinesOf(ContentsOfPath(Path("r.jsonl")).substr(first.size()))) {
    again.push_back(Member(line, "id") + " " + Member(line, "state"));
  }
  std::sort(again.begin(), again.end());
  EXPECT_EQ(again, (std::vector<std::string>{"20 done", "3 done", "4 done", "7 done"}));
}

TEST_F(Batch, TwoOnOneResultsFile) {
  ASSERT_EQ(mkfifo(Path("jobs").c_str(), 0600), 0);
  const pid_t first = Start(Path("jobs"), {"--results", Path("r.jsonl")});
  std::ofstream jobs(Path("jobs"));  // waits until the first one reads
  jobs << Jobs(1) << std::flush;
  AwaitSize(Path("r.jsonl"), 10, first);
  const CommandResult second = Run({"--results", Path("r.jsonl")}, Jobs(1));
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.err, "tovkit: " + Path("r.jsonl") + ": another batch is writing its results there\n");
  jobs.close();
  int status = 0;
  waitpid(first, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(Batch, KilledAtAnyMomentAndResumed) {
  constexpr int kJobs = 1000;
  std::ofstream(Path("jobs")) << Jobs(kJobs);
  fs::create_directory(Path("once"));
  ASSERT_EQ(RunCommand({"batch", Path("jobs"), "--directory", Path("once"), "--results", Path("once.jsonl")})
                .status,
            0);
  const batch::Orphanage orphanage;
  std::mt19937 random(11);
  std::error_code error;
  for (int kill = 0; kill < 50; ++kill) {
    const std::uintmax_t size = fs::exists(Path("r.jsonl")) ? fs::file_size(Path("r.jsonl"), error) : 0;
    const pid_t child = Start(Path("jobs"), {"--results", Path("r.jsonl"), "--resume", "-j2"});
    // Somewhere in the next few results; every seventh time as soon as possible.
    if (kill % 7 != 0) AwaitSize(Path("r.jsonl"), size + 1 + random() % 4000, child);
    // Half of the times the workers are killed first.
    if (kill % 2 == 0) {
      std::ifstream workers("/proc/" + std::to_string(child) + "/task/" + std::to_string(child) +
                            "/children");
      for (pid_t worker = 0; workers >> worker;) ::kill(worker, SIGKILL);
    }
    ::kill(child, SIGKILL);
    EXPECT_TRUE(batch::Orphanage::AwaitEmpty()) << "a process is left";
  }
  int status = 0;
  waitpid(Start(Path("jobs"), {"--results", Path("r.jsonl"), "--resume", "-j2"}), &status, 0);
  EXPECT_EQ(status, 0);
  const std::map<std::string, int> states = StatesOf(ContentsOfPath(Path("r.jsonl")));
  EXPECT_EQ(states.size(), static_cast<std::size_t>(kJobs));
  for (const auto& [state, count] : states) {
    EXPECT_NE(state.find(" done"), std::string::npos);
    EXPECT_EQ(count, 1) << state;
  }
  EXPECT_EQ(FilesBelow(Out()), FilesBelow(Path("once")));
}

TEST_F(Batch, TermLetsWhatRunsFinish) {
  ASSERT_EQ(mkfifo(Path("jobs").c_str(), 0600), 0);
  const pid_t child = Start(Path("jobs"), {"--results", Path("r.jsonl")});
  std::ofstream jobs(Path("jobs"));
  jobs << Jobs(2000) << std::flush;
  AwaitSize(Path("r.jsonl"), 1000, child);
  kill(child, SIGTERM);
  // More lines may come, so it is interrupted, whatever it has done.
  int status = 0;
  waitpid(child, &status, 0);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 75);
  EXPECT_EQ(LinesOf(ContentsOfPath(Path("r.jsonl"))).size(), FilesBelow(Out()).size());
}

TEST_F(Batch, FailFastStopsAndTellsWhatIsLeft) {
  std::ofstream(Path("jobs")) << "broken\n" << Jobs(2000) << "[]\n";
  const std::vector<std::string> arguments = {"batch",     Path("jobs"),    "--directory", Out(),
                                              "--results", Path("r.jsonl"), "--fail-fast"};
  const CommandResult result = RunCommand(arguments);
  EXPECT_EQ(result.status, 1);
  const std::map<std::string, int> states = StatesOf(ContentsOfPath(Path("r.jsonl")));
  EXPECT_EQ(states.size(), 2002u) << "one result for each";
  std::map<std::string, std::size_t> count;
  for (const auto& [state, times] : states) {
    EXPECT_EQ(times, 1) << state;
    ++count[state.substr(state.rfind(' ') + 1)];
  }
  EXPECT_GT(count["skipped"], 1000u);
  EXPECT_EQ(count["failed"], 2u) << "what is no job is told, too";
  EXPECT_EQ(FilesBelow(Out()).size(), count["done"]);
  EXPECT_EQ(result.err, "tovkit: " + Path("jobs") +
                            ":1:1: a value is expected\n  broken\n  ^\ntovkit: 2 of 2002 jobs failed, " +
                            std::to_string(count["skipped"]) + " were not begun\n");
  // The rest is still to do; what was skipped yields to what became of it.
  std::ofstream(Path("jobs")) << Jobs(2000);
  EXPECT_EQ(
      RunCommand({"batch", Path("jobs"), "--directory", Out(), "--results", Path("r.jsonl"), "--resume"})
          .status,
      0);
  const CommandResult merged = RunCommand({"batch", "--merge", Path("r.jsonl")});
  EXPECT_EQ(LinesOf(merged.out).size(), 2002u);
  EXPECT_EQ(merged.out.find("skipped"), std::string::npos);
  EXPECT_EQ(FilesBelow(Out()).size(), 2000u);
}

// How many lines each id has in the state.
std::map<std::string, int> LinesIn(const std::string& results, const std::string& state) {
  std::map<std::string, int> count;
  for (const std::string& line : LinesOf(results)) {
    if (Member(line, "state") == state) ++count[Member(line, "id")];
  }
  return count;
}

TEST_F(Batch, FailFastGoesOnWhereItWasGivenUp) {
  constexpr int kJobs = 1500;
  const std::string bad = R"({"id": "bad", "draw": {"Content": "x"}, "out": "bad.xyz"})"
                          "\n";
  const std::string good = R"({"id": "bad", "draw": {"Content": "x"}, "out": "bad.png"})"
                           "\n";
  const std::vector<std::string> arguments = {"batch",    Path("jobs"),  "--directory",
                                              Out(),      "--results",   Path("r.jsonl"),
                                              "--resume", "--fail-fast", "-j2"};
  std::string all = Jobs(kJobs);
  const std::size_t middle = all.find("{\"id\": \"700\"");
  std::ofstream(Path("jobs")) << all.substr(0, middle) << bad << all.substr(middle);
  for (int turn = 0; turn < 3; ++turn) {
    const std::string before = turn == 0 ? "" : ContentsOfPath(Path("r.jsonl"));
    EXPECT_EQ(RunCommand(arguments).status, 1);
    const std::string results = ContentsOfPath(Path("r.jsonl"));
    EXPECT_EQ(results.substr(0, before.size()), before);
    const std::string more = results.substr(before.size());
    EXPECT_EQ(LinesIn(more, "failed"), (std::map<std::string, int>{{"bad", 1}})) << "it is tried again";
    const std::map<std::string, int> done = LinesIn(results, "done");
    for (const auto& [id, count] : done) EXPECT_EQ(count, 1) << id;
    // What is done is told once, and what is not begun in each run.
    const std::map<std::string, int> skipped = LinesIn(more, "skipped");
    for (const auto& [id, count] : skipped) EXPECT_EQ(done.count(id), 0u) << id;
    EXPECT_EQ(done.size() + skipped.size(), static_cast<std::size_t>(kJobs));
    EXPECT_EQ(FilesBelow(Out()).size(), done.size());
  }
  std::ofstream(Path("jobs")) << all.substr(0, middle) << good << all.substr(middle);
  EXPECT_EQ(RunCommand(arguments).status, 0);
  const std::map<std::string, int> merged = StatesOf(RunCommand({"batch", "--merge", Path("r.jsonl")}).out);
  EXPECT_EQ(merged.size(), kJobs + 1u);
  for (const auto& [state, count] : merged) {
    EXPECT_EQ(count, 1) << state;
    EXPECT_NE(state.find(" done"), std::string::npos) << state;
  }
  EXPECT_EQ(FilesBelow(Out()).size(), kJobs + 1u);
}

TEST_F(Batch, ShardsThatEndedEarlyAreMergedAndGoOn) {
  constexpr int kJobs = 1500;
  const std::string failing = R"({"id": "bad", "draw": {"Content": "x"}, "out": "bad.xyz"})"
                              "\n";
  std::ofstream(Path("jobs")) << Jobs(kJobs) << failing;
  const auto file = [this](int shard) { return Path("r." + std::to_string(shard) + ".jsonl"); };
  const auto options = [](int shard, const std::string& results) {
    return std::vector<std::string>{"--shard", std::to_string(shard) + "/3", "--results", results, "--resume",
                                    "-j1"};
  };
  const auto finish = [&](int shard) {
    int status = 0;
    waitpid(Start(Path("jobs"), options(shard, Path("r.{shard}.jsonl"))), &status, 0);
    return WEXITSTATUS(status);
  };
  const std::vector<std::string> merge = {"batch", "--merge", file(0), file(1), file(2)};
  // One runs to its end. Of the others, which get half of the jobs, one is interrupted and one is killed in
  // the middle of a line.
  const int first = finish(0);
  for (const int shard : {1, 2}) {
    const std::string pipe = Path("pipe" + std::to_string(shard));
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const pid_t child = Start(pipe, options(shard, Path("r.{shard}.jsonl")));
    std::ofstream jobs(pipe);
    jobs << Jobs(kJobs / 2) << std::flush;
    AwaitSize(file(shard), 2000, child);
    kill(child, shard == 1 ? SIGTERM : SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, shard == 1 ? 75 : -1);
  }
  std::ofstream(file(2), std::ios::app) << "{\"id\":\"5\",\"sta";
  const CommandResult early = RunCommand(merge);
  EXPECT_EQ(early.status, 0) << early.err;
  const std::map<std::string, int> states = StatesOf(early.out);
  EXPECT_LT(states.size(), static_cast<std::size_t>(kJobs));
  for (const auto& [state, count] : states) EXPECT_EQ(count, 1) << state;

  const int failures = first + finish(1) + finish(2);
  EXPECT_EQ(failures, 1) << "the shard of the job that fails";
  std::map<std::string, int> merged = StatesOf(RunCommand(merge).out);
  EXPECT_EQ(merged.size(), kJobs + 1u);
  EXPECT_EQ(merged["bad failed"], 1);
  merged.erase("bad failed");
  for (const auto& [state, count] : merged) {
    EXPECT_EQ(count, 1) << state;
    EXPECT_NE(state.find(" done"), std::string::npos) << state;
  }
  EXPECT_EQ(FilesBelow(Out()).size(), static_cast<std::size_t>(kJobs));
}

// The failure, which no worker has to find, is met long before its turn to be printed comes.
TEST_F(Batch, FailFastStopsInOrderToo) {
  std::string jobs = R"({"id": "slow", "draw": {"Content": "x"}, "size": "6000x6000", "out": "slow.bmp"})";
  jobs += "\nbroken\n" + Jobs(4000);
  // Of a pipe, only what has come is told of.
  std::ofstream(Path("jobs")) << jobs;
  const CommandResult result =
      RunCommand({"batch", Path("jobs"), "--directory", Out(), "-j2", "--fail-fast", "--ordered"});
  EXPECT_EQ(result.status, 1);
  std::size_t skipped = 0;
  const std::vector<std::string> lines = LinesOf(result.out);
  for (const std::string& line : lines) skipped += Member(line, "state") == "skipped" ? 1 : 0;
  ASSERT_EQ(lines.size(), 4002u);
  EXPECT_EQ(Member(lines[0], "id"), "slow");
  EXPECT_EQ(Member(lines[1], "state"), "failed");
  EXPECT_GT(skipped, 2000u);
}

TEST_F(Batch, FilesThatAreReadAreNoResults) {
  const std::string jobs = Jobs(2);
  std::ofstream(Path("jobs")) << jobs;
  const CommandResult result =
      RunCommand({"batch", Path("jobs"), "--directory", Out(), "--results", Path("jobs")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err.rfind("tovkit: --results: " + Path("jobs") + " holds the jobs\n", 0), 0u)
      << result.err;
  EXPECT_EQ(ContentsOfPath(Path("jobs")), jobs);

  EXPECT_EQ(RunCommand({"batch", Path("jobs"), "--directory", Out(), "--results", Path("r")}).status, 0);
  const std::string results = ContentsOfPath(Path("r"));
  const CommandResult merged = RunCommand({"batch", "--merge", Path("r"), "--results", Path("r")});
  EXPECT_EQ(merged.status, 2);
  EXPECT_EQ(merged.err.rfind("tovkit: --results: " + Path("r") + " is one of the files to merge\n", 0), 0u);
  EXPECT_EQ(ContentsOfPath(Path("r")), results);
}

TEST_F(Batch, MergedAFailureComesBeforeAJobThatWasSkipped) {
  const auto line = [](const std::string& id, const std::string& state) {
    return R"({"id":")" + id + R"(","state":")" + state + R"(","seconds":0,"attempts":0,"worker":0})" + "\n";
  };
  std::ofstream(Path("1")) << line("a", "failed") << line("b", "skipped") << line("c", "done");
  std::ofstream(Path("2")) << line("a", "skipped") << line("b", "skipped") << line("c", "skipped");
  EXPECT_EQ(StatesOf(RunCommand({"batch", "--merge", Path("1"), Path("2")}).out),
            (std::map<std::string, int>{{"a failed", 1}, {"b skipped", 1}, {"c done", 1}}));
}

}  // namespace
