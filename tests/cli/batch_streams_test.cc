// SPDX-License-Identifier: MIT
// Streams and disks that take nothing: closed, full, read-only, or not read by anybody.
#include "batch_support.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <utility>
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

// A small pipe that nobody reads before its end.
class UnreadPipe {
 public:
  UnreadPipe() {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    fcntl(ends_[1], F_SETPIPE_SZ, 4096);
  }
  ~UnreadPipe() {
    Close();
    close(ends_[0]);
  }
  UnreadPipe(const UnreadPipe&) = delete;
  UnreadPipe& operator=(const UnreadPipe&) = delete;

  int writer() const { return ends_[1]; }

  // All that its writers send until their end.
  std::string ReadAll() {
    Close();
    std::string text;
    char piece[4096];
    for (ssize_t length = 0; (length = read(ends_[0], piece, sizeof piece)) > 0;)
      text.append(piece, static_cast<std::size_t>(length));
    return text;
  }

 private:
  void Close() {
    if (ends_[1] >= 0) close(std::exchange(ends_[1], -1));
  }

  int ends_[2] = {-1, -1};
};

// Waits until there are far more outputs than the pipe and the workers hold; not for long, as a batch that
// waits for its reader never gets there.
void AwaitOutput(const std::string& file) {
  for (int turn = 0; turn < 5000 && !fs::exists(file); ++turn) poll(nullptr, 0, 1);
}

TEST_F(Batch, SignalsReachABatchWhoseResultsNobodyReads) {
  std::ofstream(Path("jobs")) << Jobs(6000);
  const UnreadPipe results;
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t child =
      StartCommand({"batch", Path("jobs"), "--directory", Out(), "-j2"}, null, results.writer(), null);
  AwaitOutput(Out() + "/0/1500.png");
  kill(child, SIGTERM);
  kill(child, SIGINT);
  int status = 0;
  waitpid(child, &status, 0);
  close(null);
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 75);
}

TEST_F(Batch, OneSignalLosesNoResultThatIsReadLate) {
  std::ofstream(Path("jobs")) << Jobs(6000);
  UnreadPipe results;
  std::FILE* const err = std::tmpfile();
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  const pid_t child =
      StartCommand({"batch", Path("jobs"), "--directory", Out(), "-j2"}, null, results.writer(), fileno(err));
  close(null);
  AwaitOutput(Out() + "/0/1500.png");
  kill(child, SIGTERM);
  const std::map<std::string, int> states = StatesOf(results.ReadAll());
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 75);
  EXPECT_EQ(ContentsOf(err), "tovkit: interrupted with jobs left to do\n");
  std::fclose(err);
  EXPECT_LT(states.size(), 6000u);
  EXPECT_EQ(states.size(), FilesBelow(Out()).size());
  for (const auto& [state, count] : states) EXPECT_EQ(count, 1) << state;
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

// As when the results go to a program that has seen enough.
TEST_F(Batch, AReaderThatGoesAway) {
  std::ofstream(Path("jobs")) << Jobs(2000);
  const batch::Orphanage orphanage;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  std::FILE* const err = std::tmpfile();
  const pid_t child = StartCommand({"batch", Path("jobs"), "--directory", Out()}, 0, ends[1], fileno(err));
  close(ends[1]);
  char byte = 0;
  EXPECT_EQ(read(ends[0], &byte, 1), 1);
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WIFEXITED(status) ? WEXITSTATUS(status) : -1, 1);
  EXPECT_EQ(ContentsOf(err), "tovkit: cannot write standard output: Broken pipe\n");
  std::fclose(err);
  EXPECT_TRUE(batch::Orphanage::AwaitEmpty()) << "a process is left";
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

TEST_F(Batch, AFullDiskOfResults) {
  if (std::system("unshare -m true 2>/dev/null") != 0) GTEST_SKIP() << "no mounts here";
  std::ofstream(Path("jobs")) << Jobs(400);
  fs::create_directory(Path("disk"));
  fs::create_directory(Path("once"));
  ASSERT_EQ(RunCommand({"batch", Path("jobs"), "--directory", Path("once")}).status, 0);
  // There is room for some results, and then for all.
  const std::string batch = "'" TOVKIT_COMMAND "' batch '" + Path("jobs") + "' --directory '" + Out() +
                            "' --results '" + Path("disk/r.jsonl") + "' --resume -j2 ";
  std::ofstream(Path("script")) << "mount -t tmpfs -o size=64k none '" << Path("disk") << "' || exit 9\n"
                                << batch << "2>'" << Path("err") << "' && exit 8\ncp '"
                                << Path("disk/r.jsonl") << "' '" << Path("first")
                                << "'\nmount -o remount,size=1m '" << Path("disk") << "' || exit 9\n"
                                << batch << "|| exit 7\ncp '" << Path("disk/r.jsonl") << "' '" << Path("last")
                                << "'\n";
  EXPECT_EQ(WEXITSTATUS(std::system(("unshare -m sh '" + Path("script") + "'").c_str())), 0);
  EXPECT_EQ(ContentsOfPath(Path("err")),
            "tovkit: " + Path("disk/r.jsonl") + ": cannot write: No space left on device\n");
  const std::string first = ContentsOfPath(Path("first"));
  const std::string last = ContentsOfPath(Path("last"));
  EXPECT_GT(LinesOf(first).size(), 10u);
  EXPECT_EQ(first.back(), '\n') << "no line is cut";
  EXPECT_EQ(last.substr(0, first.size()), first);
  const std::map<std::string, int> states = StatesOf(last);
  EXPECT_EQ(states.size(), 400u);
  for (const auto& [state, count] : states) EXPECT_EQ(count, 1) << state;
  EXPECT_EQ(FilesBelow(Out()), FilesBelow(Path("once")));
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
