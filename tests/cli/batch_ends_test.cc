// SPDX-License-Identifier: MIT
// How a batch ends before its jobs do, and goes on: signals, kills, failures, full disks, results files.
#include "batch_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
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
  std::mt19937 random(11);
  std::error_code error;
  for (int kill = 0; kill < 50; ++kill) {
    const std::uintmax_t size = fs::exists(Path("r.jsonl")) ? fs::file_size(Path("r.jsonl"), error) : 0;
    const pid_t child = Start(Path("jobs"), {"--results", Path("r.jsonl"), "--resume", "-j2"});
    // Somewhere in the next few results; every seventh time as soon as possible.
    if (kill % 7 != 0) AwaitSize(Path("r.jsonl"), size + 1 + random() % 4000, child);
    ::kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
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

// What is printed must not go into a file that took the place of a closed stream.
TEST_F(Batch, ClosedStreamsAreNoResults) {
  std::ofstream(Path("jobs")) << Jobs(3);
  const std::string command = std::string(TOVKIT_COMMAND) + " batch " + Path("jobs") + " --directory " +
                              Out() + " --progress --results " + Path("r") + " <&- >&- 2>&-";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(LinesOf(ContentsOfPath(Path("r"))).size(), 3u);
  EXPECT_EQ(StatesOf(ContentsOfPath(Path("r"))).size(), 3u);
  EXPECT_EQ(RunCommand({"batch", "--merge", Path("r")}).status, 0);
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

TEST_F(Batch, OutputsThatCannotBeWritten) {
  const CommandResult full = RunCommand({"batch", "--directory", Out(), "--results", "/dev/full"}, Jobs(1));
  EXPECT_EQ(full.status, 1);
  EXPECT_EQ(full.err, "tovkit: /dev/full: no regular file\n");
  const int device = open("/dev/full", O_WRONLY | O_CLOEXEC);
  std::FILE* const err = std::tmpfile();
  std::ofstream(Path("jobs")) << Jobs(3);
  const pid_t child = StartCommand({"batch", Path("jobs"), "--directory", Out()}, 0, device, fileno(err));
  close(device);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(ContentsOf(err), "tovkit: cannot write standard output: No space left on device\n");
  std::fclose(err);
}

TEST_F(Batch, AClosedStandardOutput) {
  std::ofstream(Path("jobs")) << Jobs(3);
  const std::string line = "exec >&-; exec '" TOVKIT_COMMAND "' batch '" + Path("jobs") + "' --directory '" +
                           Out() + "' 2>'" + Path("err") + "'";
  const int status = std::system(line.c_str());
  EXPECT_EQ(WEXITSTATUS(status), 1);
  EXPECT_EQ(ContentsOfPath(Path("err")), "tovkit: cannot write standard output\n");
  EXPECT_TRUE(FilesBelow(Out()).empty());
  EXPECT_EQ(ContentsOfPath(Path("jobs")), Jobs(3));
}

TEST_F(Batch, AReadOnlyFolder) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "no mounts here";
  std::ofstream(Path("jobs")) << Jobs(40);
  std::ofstream(Out() + "/kept") << "kept";
  std::ofstream(Path("script")) << "mount --bind '" << Out() << "' '" << Out()
                                << "' && mount -o remount,bind,ro '" << Out()
                                << "' || exit 9\nexec '" TOVKIT_COMMAND "' batch '" << Path("jobs")
                                << "' --directory '" << Out() << "' --results '" << Path("r.jsonl") << "' 2>'"
                                << Path("err") << "'\n";
  EXPECT_EQ(WEXITSTATUS(std::system(("unshare -m sh '" + Path("script") + "'").c_str())), 1);
  EXPECT_EQ(ContentsOfPath(Path("err")), "tovkit: 40 of 40 jobs failed\n");
  const std::string results = ContentsOfPath(Path("r.jsonl"));
  EXPECT_EQ(StatesOf(results).size(), 40u) << "one result for each";
  for (const std::string& line : LinesOf(results)) {
    EXPECT_EQ(Member(line, "state"), "failed");
    EXPECT_EQ(Member(line, "kind"), "output");
    EXPECT_NE(line.find("Read-only file system"), std::string::npos) << line;
  }
  EXPECT_EQ(FilesBelow(Out()), (std::map<std::string, std::string>{{"kept", "kept"}}));
  // When it can be written again, the batch goes on.
  EXPECT_EQ(
      RunCommand({"batch", Path("jobs"), "--directory", Out(), "--results", Path("r.jsonl"), "--resume"})
          .status,
      0);
  EXPECT_EQ(FilesBelow(Out()).size(), 41u);
}

TEST_F(Batch, AFullDisk) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "no mounts here";
  std::ofstream(Path("jobs")) << Jobs(200);
  std::ofstream(Path("script")) << "mount -t tmpfs -o size=128k none '" << Out()
                                << "' || exit 9\n'" TOVKIT_COMMAND "' batch '" << Path("jobs")
                                << "' --directory '" << Out() << "' --results '" << Path("r.jsonl") << "' 2>'"
                                << Path("err") << "'\ncode=$?\ncp -r '" << Out() << "' '" << Path("kept")
                                << "'\nexit $code\n";
  fs::create_directory(Path("once"));
  ASSERT_EQ(RunCommand({"batch", Path("jobs"), "--directory", Path("once")}).status, 0);
  EXPECT_EQ(WEXITSTATUS(std::system(("unshare -m sh '" + Path("script") + "'").c_str())), 1);
  int done = 0;
  const std::map<std::string, std::string> whole = FilesBelow(Path("once"));
  std::map<std::string, std::string> kept = FilesBelow(Path("kept"));
  const std::vector<std::string> lines = LinesOf(ContentsOfPath(Path("r.jsonl")));
  EXPECT_EQ(lines.size(), 200u);
  for (const std::string& line : lines) {
    if (Member(line, "state") == "failed") {
      EXPECT_EQ(Member(line, "kind"), "output") << line;
      continue;
    }
    ++done;
    const std::string name = Member(line, "output");
    EXPECT_EQ(kept[name], whole.at(name));
  }
  EXPECT_GT(done, 0);
  EXPECT_LT(done, 200);
  EXPECT_EQ(kept.size(), static_cast<std::size_t>(done)) << "nothing else lies there";
}

}  // namespace
