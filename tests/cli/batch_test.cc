// SPDX-License-Identifier: MIT
// tovkit batch: what a person and a scheduler see of it.
#include "run_command.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string ContentsOfPath(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

// The text member of a result.
std::string Member(const std::string& line, const std::string& name) {
  const std::string start = "\"" + name + "\":\"";
  const std::size_t at = line.find(start);
  if (at == std::string::npos) return "";
  const std::size_t from = at + start.size();
  return line.substr(from, line.find('"', from) - from);
}

// How often each id has each state.
std::map<std::string, int> StatesOf(const std::string& results) {
  std::map<std::string, int> states;
  for (const std::string& line : LinesOf(results)) ++states[Member(line, "id") + " " + Member(line, "state")];
  return states;
}

std::string Jobs(int count) {
  std::string text;
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    text += R"({"id": ")" + number + R"(", "draw": {"Content": "No. )" + number +
            R"("}, "size": "120x40", "out": ")" + std::to_string(i % 10) + "/" + number + ".png\"}\n";
  }
  return text;
}

std::map<std::string, std::string> FilesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (!entry.is_directory())
      files[fs::relative(entry.path(), folder).string()] = ContentsOfPath(entry.path());
  }
  return files;
}

class Batch : public testing::Test {
 protected:
  Batch() { fs::create_directory(Out()); }

  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  std::string Out() const { return Path("out"); }

  CommandResult Run(std::vector<std::string> arguments, const std::string& jobs,
                    const Environment& environment = {}) const {
    arguments.insert(arguments.begin(), {"batch", "--directory", Out()});
    return RunCommand(arguments, jobs, environment);
  }

  // Starts a batch whose results go to a file; the parent's process.
  pid_t Start(const std::string& jobs, const std::vector<std::string>& more) const {
    std::vector<std::string> arguments = {"batch", jobs, "--directory", Out()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t child = StartCommand(arguments, null, null, null);
    close(null);
    return child;
  }

  // Waits until the file has so many bytes, or the process has ended.
  static void AwaitSize(const std::string& path, std::uintmax_t size, pid_t child) {
    std::error_code error;
    siginfo_t info = {};
    while (fs::file_size(path, error) < size || error) {
      if (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
          info.si_pid != 0)
        return;
      poll(nullptr, 0, 1);
    }
  }

  ScratchDir scratch_;
};

TEST_F(Batch, TheExampleOfTheReadme) {
  const CommandResult result =
      RunCommand({"batch", TOVKIT_SOURCE_DIR "/examples/labels.jsonl", "--directory", Out(), "--ordered"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 12u);
  EXPECT_EQ(Member(lines[0], "id"), "label-01");
  for (const std::string& line : lines) EXPECT_EQ(Member(line, "state"), "done") << line;
  EXPECT_EQ(FilesBelow(Out()).size(), 12u);
}

TEST_F(Batch, AJobDrawsWhatTheDrawCommandDraws) {
  std::ofstream(Path("line.json")) << R"([{"Content": "Same"}])";
  ASSERT_EQ(RunCommand({"draw", Path("line.json"), "-o", Path("one.png"), "--size", "90x50", "--dpi", "120",
                        "--background", "#eeeeff"})
                .status,
            0);
  ASSERT_EQ(
      Run({},
          R"({"draw": [{"Content": "Same"}], "size": "90x50", "dpi": 120, "background": "#eeeeff", "out": "one.png"})")
          .status,
      0);
  EXPECT_EQ(ContentsOfPath(Out() + "/one.png"), ContentsOfPath(Path("one.png")));
}

TEST_F(Batch, TemplateAndData) {
  const std::string source = TOVKIT_SOURCE_DIR "/examples/";
  const CommandResult csv = RunCommand({"batch", "--template", source + "label.template.json", "--data",
                                        source + "label.csv", "--directory", Out()});
  EXPECT_EQ(csv.status, 0) << csv.err << csv.out;
  EXPECT_EQ(FilesBelow(Out()).size(), 12u);
  EXPECT_EQ(FilesBelow(Out()).count("labels/0012.png"), 1u);
  std::ofstream(Path("t.json")) << R"({"id": "{{n}}", "draw": {"Content": "{{n}}"}, "out": "j/{{n}}.svg"})";
  const CommandResult json = Run({"--template", Path("t.json"), "--data", "-"},
                                 "{\"n\": \"x\"}\n{\"m\": 1}\n{\"n\": \"../../x\"}\n");
  EXPECT_EQ(json.status, 1);
  EXPECT_EQ(StatesOf(json.out),
            (std::map<std::string, int>{{"x done", 1}, {"line 2 failed", 1}, {"../../x failed", 1}}));
}

TEST_F(Batch, StrangeLinesCostThemselvesOnly) {
  std::string jobs = Jobs(3);
  jobs += "no json\n[]\n" + std::string(200 << 20, 'x') + "\n";
  jobs += R"({"id": "1", "draw": {"Content": "again"}, "out": "again.png"})"
          "\n";
  jobs += R"({"id": "a/../b\u0001\n\"", "draw": {"Content": "x"}, "out": "odd.png"})"
          "\n";
  jobs += R"({"id": "last", "hit": {"path": "M0 0H9V9H0Z", "points": [[0, 0]]}})";
  const CommandResult result = Run({"--ordered", "-j2"}, jobs);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: 4 of 9 jobs failed\n");
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(Member(lines[3], "message"), "line 4, column 2: a value is expected");
  EXPECT_EQ(Member(lines[4], "message"), "line 5: an object is expected");
  EXPECT_EQ(Member(lines[5], "message"), "line 6: longer than 16 MiB");
  EXPECT_EQ(Member(lines[5], "kind"), "limit");
  EXPECT_EQ(Member(lines[6], "id"), "line 7");
  EXPECT_NE(lines[6].find(R"("message":"line 7: the id \"1\" is that of line 2 as well")"),
            std::string::npos);
  EXPECT_EQ(lines[7].find(R"({"id":"a/../b\u0001\u000a\"","state":"done")"), 0u) << lines[7];
  EXPECT_NE(lines[8].find("\"hits\":[true]"), std::string::npos);
  EXPECT_EQ(FilesBelow(Out()).size(), 4u);
}

std::string Drawing(const std::string& id, const std::string& out) {
  return R"({"id": ")" + id + R"(", "draw": {"Content": ")" + id + R"("}, "out": ")" + out + "\"}\n";
}

TEST_F(Batch, AnOutputBelongsToTheFirstLineThatNamesIt) {
  const std::string jobs = Drawing("a", "x.svg") + Drawing("b", "y.svg") + Drawing("c", "x.svg") +
                           Drawing("a", "z.svg") + Drawing("d", "z.svg") + Drawing("e", "../x.svg") +
                           R"({"id": "f", "draw": {"Content": "f"}, "out": 7})" + "\n";
  const CommandResult result = Run({"--ordered", "-j2"}, jobs);
  EXPECT_EQ(result.status, 1);
  const std::vector<std::string> lines = LinesOf(result.out);
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_NE(lines[2].find(R"("id":"c","state":"failed")"), std::string::npos) << lines[2];
  EXPECT_NE(lines[2].find(R"("message":"line 3: the output \"x.svg\" is that of line 1 as well")"),
            std::string::npos);
  EXPECT_EQ(Member(lines[2], "kind"), "input");
  EXPECT_NE(lines[4].find(R"(the output \"z.svg\" is that of line 4 as well)"), std::string::npos)
      << "whatever becomes of line 4";
  for (const std::size_t failed : {3, 4, 5, 6}) EXPECT_EQ(Member(lines[failed], "kind"), "input");
  EXPECT_EQ(FilesBelow(Out()).size(), 2u);
  EXPECT_NE(ContentsOfPath(Out() + "/x.svg"), "");

  // Whatever shard the lines belong to, and whatever fills their names.
  std::map<std::string, int> states;
  for (int shard = 0; shard < 4; ++shard) {
    for (const auto& [state, count] : StatesOf(Run({"--shard", std::to_string(shard) + "/4"}, jobs).out))
      states[state] += count;
  }
  EXPECT_EQ(states, StatesOf(result.out));
  std::ofstream(Path("t.json")) << R"({"id": "{{n}}", "draw": {"Content": "{{n}}"}, "out": "{{o}}.svg"})";
  const CommandResult filled =
      Run({"--template", Path("t.json"), "--data", "-", "--ordered"},
          "{\"n\": 1, \"o\": \"p\"}\n{\"n\": 2, \"o\": \"p\"}\n{\"n\": 3}\n{\"n\": 4, \"o\": \"q\"}\n");
  EXPECT_EQ(StatesOf(filled.out),
            (std::map<std::string, int>{{"1 done", 1}, {"2 failed", 1}, {"3 failed", 1}, {"4 done", 1}}));
  EXPECT_NE(filled.out.find("{{o}}: the data have no such value"), std::string::npos);
}

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

TEST_F(Batch, ShardsDoEachJobOnce) {
  for (int shard = 0; shard < 3; ++shard) {
    const std::string text = std::to_string(shard) + "/3";
    const CommandResult result = Run({"--shard", text, "--results", Path("r.{shard}.jsonl")}, Jobs(60));
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "tovkit: shard " + text + "\n");
  }
  const CommandResult merged =
      RunCommand({"batch", "--merge", Path("r.0.jsonl"), Path("r.1.jsonl"), Path("r.2.jsonl")});
  EXPECT_EQ(merged.status, 0);
  EXPECT_EQ(LinesOf(merged.out).size(), 60u);
  EXPECT_EQ(StatesOf(merged.out).size(), 60u);
  EXPECT_EQ(FilesBelow(Out()).size(), 60u);
}

TEST_F(Batch, AutoReadsTheScheduler) {
  const Environment slurm = {{"SLURM_ARRAY_TASK_ID", "5"},
                             {"SLURM_ARRAY_TASK_MIN", "3"},
                             {"SLURM_ARRAY_TASK_MAX", "5"},
                             {"SLURM_ARRAY_TASK_STEP", "2"},
                             {"SLURM_ARRAY_TASK_COUNT", "2"}};
  const CommandResult result = Run({"--shard", "auto"}, Jobs(10), slurm);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "tovkit: shard 1/2\n");
  const CommandResult none = Run({"--shard", "auto"}, Jobs(10));
  EXPECT_EQ(none.status, 2);
  EXPECT_NE(none.err.find("--shard: no task of an array"), std::string::npos);
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
  EXPECT_EQ(result.err,
            "tovkit: 2 of 2002 jobs failed, " + std::to_string(count["skipped"]) + " were not begun\n");
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

// The failure is met long before its turn to be printed comes.
TEST_F(Batch, FailFastStopsInOrderToo) {
  std::string jobs = R"({"id": "slow", "draw": {"Content": "x"}, "size": "6000x6000", "out": "slow.bmp"})";
  jobs += "\n{}\n" + Jobs(4000);
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

TEST_F(Batch, TheColorsOfWebPages) {
  const CommandResult result =
      Run({}, R"({"draw": {"Content": "x"}, "size": "40x20", "background": "#fff", "out": "a/42.png"})");
  EXPECT_EQ(result.status, 0) << result.out;
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

TEST_F(Batch, Usage) {
  const std::vector<std::vector<std::string>> wrong = {
      {"-j", "0"},    {"--timeout", "0"}, {"--timeout", "x"}, {"--memory", "1M"},
      {"--resume"},   {"--data", "x"},    {"--shard", "1"},   {"--template", "x"},
      {"one", "two"}, {"--merge"},        {"--recycle", "-1"}};
  for (const auto& arguments : wrong) EXPECT_EQ(Run(arguments, "").status, 2) << arguments[0];
  EXPECT_EQ(Run({}, "").status, 0) << "no jobs are all done";
  EXPECT_EQ(Run({Path("none")}, "").err, "tovkit: " + Path("none") + ": No such file or directory\n");
}

TEST_F(Batch, ProgressTellsTheSum) {
  const CommandResult result = Run({"--progress"}, Jobs(5) + "x\n");
  EXPECT_EQ(result.err.find("tovkit: 6 jobs, "), 0u) << result.err;
  EXPECT_NE(result.err.find("/s, 1 failed\n"), std::string::npos);
}

TEST_F(Batch, SchemasFitJobsAndResults) {
  const CommandResult result =
      RunCommand({"batch", TOVKIT_SOURCE_DIR "/examples/labels.jsonl", "--directory", Out(), "--report"});
  std::ofstream(Path("results")) << result.out
                                 << Run({}, "x\n{\"hit\": {\"path\": \"M0 0\", \"points\": []}}\n").out;
  std::ofstream(Path("bad"))
      << R"({"draw": {"Content": "x"}})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "/x.png"})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "a/../x.png"})"
         "\n"
      << R"({"draw": {"Content": "x"}, "out": "x.png", "other": 1})"
         "\n"
      << R"({"image": "a.png", "out": "x.png", "steps": [{"turn": 1}]})"
         "\n"
      << R"({"image": "a.png", "out": "y.png", "steps": [{"resize": "9x9", "filter": "x"}]})"
         "\n"
      << R"({"hit": {"points": []}})"
         "\n";
  EXPECT_EQ(LinesOf(Run({}, ContentsOfPath(Path("bad"))).out).size(), 7u);
  for (const std::string& line : LinesOf(Run({}, ContentsOfPath(Path("bad"))).out)) {
    EXPECT_EQ(Member(line, "kind"), "input") << line;
  }
  std::ofstream(Path("check.py")) << R"(import json, sys, jsonschema
folder, jobs, results, bad = sys.argv[1:]
def validator(name):
    return jsonschema.Draft202012Validator(json.load(open(f"{folder}/{name}.schema.json")))
job, result = validator("job"), validator("result")
for line in open(jobs): job.validate(json.loads(line))
for line in open(results): result.validate(json.loads(line))
for line in open(bad): assert not job.is_valid(json.loads(line)), line
)";
  const std::string line = "/usr/bin/python3 '" + Path("check.py") +
                           "' '" TOVKIT_SOURCE_DIR "/share/tovkit' '" TOVKIT_SOURCE_DIR
                           "/examples/labels.jsonl' '" +
                           Path("results") + "' '" + Path("bad") + "'";
  EXPECT_EQ(std::system(line.c_str()), 0);
}

}  // namespace
