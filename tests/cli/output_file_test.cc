// SPDX-License-Identifier: MIT
// Output files: whole or as they were, with nothing left beside them, whatever ends the command.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"

namespace {

using Clock = std::chrono::steady_clock;
using Names = std::vector<std::string>;

constexpr std::chrono::seconds kLongest{20};  // on a slow machine fewer moments are tried

// Two pictures, told apart by their bytes, are the old and the new output.
const char kOldText[] = R"({"Content": "old", "Font": {"FontSize": 12}})";
const char kNewText[] = R"({"Content": "new and longer", "Font": {"FontSize": 40}})";

void Save(const std::string& path, const std::string& text) { std::ofstream(path) << text; }

std::string Contents(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

Names Listing(const std::string& directory) {
  Names names;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    names.push_back(entry.path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The command as it is, or on a file system where every file has a name.
Environment WithFaults(bool nameless, int signal = 0) {
  Environment environment = {{"LD_PRELOAD", TOVKIT_RENAME_FAULT},
                             {"ASAN_OPTIONS", "verify_asan_link_order=0"}};
  if (!nameless) environment.emplace_back("NO_TMPFILE", "1");
  if (signal != 0) environment.emplace_back("RENAME_SIGNAL", std::to_string(signal));
  return environment;
}

// A folder with an output in it, and the two pictures that the output may be.
class Outputs : public testing::TestWithParam<bool> {
 protected:
  Outputs() {
    Save(texts_.path() + "/old.json", kOldText);
    Save(texts_.path() + "/new.json", kNewText);
    EXPECT_EQ(RunCommand(Draw("old.json", texts_.path() + "/old.bmp")).status, 0);
    EXPECT_EQ(RunCommand(Draw("new.json", texts_.path() + "/new.bmp")).status, 0);
    old_ = Contents(texts_.path() + "/old.bmp");
    new_ = Contents(texts_.path() + "/new.bmp");
    EXPECT_NE(old_, new_);
    EXPECT_FALSE(old_.empty());
  }

  Names Draw(const std::string& text, const std::string& to) const {
    return {"draw", texts_.path() + "/" + text, "-o", to};
  }

  pid_t Start(const std::string& text, const std::string& to, const Environment& environment) const {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    const pid_t command = StartCommand(Draw(text, to), null, null, null, environment);
    close(null);
    return command;
  }

  // The wait status of the command that draws the new picture.
  int StatusOf(const std::string& to, int signal) const {
    int status = 0;
    waitpid(Start("new.json", to, WithFaults(GetParam(), signal)), &status, 0);
    return status;
  }

  bool IsOldOrNew(const std::string& path) const {
    const std::string now = Contents(path);
    return now == old_ || now == new_;
  }

  const ScratchDir texts_;
  const ScratchDir folder_;
  const std::string out_ = folder_.path() + "/out.bmp";
  std::string old_, new_;
};

INSTANTIATE_TEST_SUITE_P(, Outputs, testing::Bool(), [](const testing::TestParamInfo<bool>& nameless) {
  return nameless.param ? "WhereFilesNeedNoName" : "WhereEveryFileHasAName";
});

TEST_P(Outputs, ASignalJustBeforeTheRenameLeavesNothing) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGQUIT, SIGABRT}) {
    Save(out_, "before");
    const int status = StatusOf(out_, signal);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal) << signal << " gives " << status;
    EXPECT_EQ(Listing(folder_.path()), Names{"out.bmp"}) << signal;
    EXPECT_EQ(Contents(out_), "before") << signal;
  }
}

// Libraries beneath the command have threads of their own, which take the signals that the one at work holds
// back.
TEST_P(Outputs, ASignalToAnotherThreadWhileTheFileIsCreatedLeavesNothing) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    Save(out_, "before");
    Environment environment = WithFaults(GetParam());
    environment.emplace_back("CREATE_SIGNAL", std::to_string(signal));
    const pid_t command = Start("new.json", out_, environment);
    int status = 0;
    waitpid(command, &status, 0);
    if (GetParam()) {
      EXPECT_EQ(status, 0) << "no file has a name, so that no signal comes";
    } else {
      EXPECT_TRUE((WIFSIGNALED(status) && WTERMSIG(status) == signal) || status == 0) << status;
    }
    EXPECT_TRUE(Contents(out_) == "before" || Contents(out_) == new_) << signal;
    EXPECT_EQ(Listing(folder_.path()), Names{"out.bmp"}) << signal;
  }
}

TEST_P(Outputs, ASignalThatTheCallerIgnoresStaysIgnored) {
  const auto before = std::signal(SIGHUP, SIG_IGN);
  Save(out_, "before");
  const int status = StatusOf(out_, SIGHUP);
  std::signal(SIGHUP, before);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(Contents(out_), new_);
}

TEST_P(Outputs, WhatAKilledRunLeavesIsRemovedByTheNextToTheSameOutput) {
  Save(out_, "before");
  int status = StatusOf(out_, SIGKILL);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
  EXPECT_EQ(Contents(out_), "before");
  ASSERT_EQ(Listing(folder_.path()).size(), 2U) << "the moment was not met";

  EXPECT_EQ(RunCommand(Draw("old.json", folder_.path() + "/another.bmp")).status, 0);
  EXPECT_EQ(Listing(folder_.path()).size(), 3U) << "another output's";

  EXPECT_EQ(RunCommand(Draw("new.json", out_), "", WithFaults(GetParam())).status, 0);
  EXPECT_EQ(Listing(folder_.path()), (Names{"another.bmp", "out.bmp"}));
  EXPECT_EQ(Contents(out_), new_);
}

TEST_P(Outputs, WhatALiveRunWritesIsLeftToIt) {
  Save(out_, "before");
  const pid_t first = Start("new.json", out_, WithFaults(GetParam(), SIGSTOP));
  int status = 0;
  ASSERT_EQ(waitpid(first, &status, WUNTRACED), first);
  ASSERT_TRUE(WIFSTOPPED(status));
  const Names during = Listing(folder_.path());
  ASSERT_EQ(during.size(), 2U) << "the moment was not met";

  EXPECT_EQ(RunCommand(Draw("old.json", out_)).status, 0);
  EXPECT_EQ(Contents(out_), old_);
  EXPECT_EQ(Listing(folder_.path()), during);

  kill(first, SIGCONT);
  waitpid(first, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(Contents(out_), new_);
  EXPECT_EQ(Listing(folder_.path()), Names{"out.bmp"});
}

// A file under a name of ours, but not one that a killed run can have left there.
TEST_P(Outputs, FilesOfTheUserAreLeftAlone) {
  Save(out_, "before");
  ASSERT_TRUE(WIFSIGNALED(StatusOf(out_, SIGKILL)));
  Names names = Listing(folder_.path());
  ASSERT_EQ(names.size(), 2U);
  names.erase(std::find(names.begin(), names.end(), "out.bmp"));
  const std::string taken = folder_.path() + "/" + names[0];
  std::filesystem::remove(taken);

  const struct {
    const char* condition;
    void (*make)(const std::string&);
  } users[] = {
      {"a folder", [](const std::string& path) { std::filesystem::create_directory(path); }},
      {"a link", [](const std::string& path) { std::filesystem::create_symlink("out.bmp", path); }},
      {"a pipe", [](const std::string& path) { EXPECT_EQ(mkfifo(path.c_str(), 0600), 0); }},
  };
  for (const auto& user : users) {
    user.make(taken);
    EXPECT_EQ(RunCommand(Draw("new.json", out_), "", WithFaults(GetParam())).status, 0) << user.condition;
    EXPECT_EQ(Contents(out_), new_) << user.condition;
    EXPECT_NE(std::filesystem::symlink_status(taken).type(), std::filesystem::file_type::not_found)
        << user.condition;
    std::filesystem::remove(taken);
  }
  for (const char* name : {"/.tovkit.abcdef", "/.tovkit-", "/.tovkit-0123456789abcdef-0", "/.tovkit-mine"}) {
    Save(folder_.path() + name, "mine");
    EXPECT_EQ(RunCommand(Draw("new.json", out_)).status, 0) << name;
    EXPECT_EQ(Contents(folder_.path() + name), "mine");
    std::filesystem::remove(folder_.path() + name);
  }
}

TEST_P(Outputs, ModesAndLinksAreKept) {
  Save(out_, "before");
  std::filesystem::create_symlink("out.bmp", folder_.path() + "/link.bmp");
  for (const mode_t mode : {0644u, 0600u, 0666u, 0751u, 0444u, 0200u}) {
    chmod(out_.c_str(), mode);
    EXPECT_EQ(RunCommand(Draw("new.json", folder_.path() + "/link.bmp"), "", WithFaults(GetParam())).status,
              0);
    struct stat info {};
    ASSERT_EQ(stat(out_.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777u, mode);
    EXPECT_TRUE(std::filesystem::is_symlink(folder_.path() + "/link.bmp"));
  }
  const mode_t mask = umask(027);
  EXPECT_EQ(RunCommand(Draw("new.json", folder_.path() + "/fresh.bmp"), "", WithFaults(GetParam())).status,
            0);
  umask(mask);
  struct stat info {};
  ASSERT_EQ(stat((folder_.path() + "/fresh.bmp").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 07777u, 0640u);
  EXPECT_EQ(Listing(folder_.path()), (Names{"fresh.bmp", "link.bmp", "out.bmp"}));
}

TEST_P(Outputs, ALongNameAndAFolderThatIsNotThere) {
  const std::string name = std::string(251, 'n') + ".bmp";
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(RunCommand(Draw("new.json", folder_.path() + "/" + name), "", WithFaults(GetParam())).status,
              0);
    EXPECT_EQ(Listing(folder_.path()), Names{name});
  }
  const CommandResult result =
      RunCommand(Draw("new.json", folder_.path() + "/none/x.bmp"), "", WithFaults(GetParam()));
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "tovkit: " + folder_.path() + "/none/x.bmp: cannot create the file: No such file or directory\n");
}

// Many runs, ended at any moment of theirs: the output is the old or the new one, or not there where it was
// new, and nothing is beside it. What a kill leaves is gone after one more run.
TEST_P(Outputs, AnEndAtAnyMomentLeavesNoLitter) {
  const auto before = Clock::now();
  ASSERT_EQ(RunCommand(Draw("new.json", out_), "", WithFaults(GetParam())).status, 0);
  const auto took = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - before);
  std::mt19937 random(20240);  // NOLINT: the same moments each time, as far as the machine goes
  std::uniform_int_distribution<long> moment(0, took.count() * 5 / 4);
  for (int round = 0; round < 30 && (round < 3 || Clock::now() - before < kLongest); ++round) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE, SIGKILL}) {
      const bool existed = round % 3 != 0;
      std::filesystem::remove(out_);
      if (existed) Save(out_, old_);
      const pid_t command = Start("new.json", out_, WithFaults(GetParam()));
      std::this_thread::sleep_for(std::chrono::microseconds(moment(random)));
      kill(command, signal);
      int status = 0;
      waitpid(command, &status, 0);
      if (WIFEXITED(status)) {
        EXPECT_EQ(WEXITSTATUS(status), 0);
        EXPECT_EQ(Contents(out_), new_);
      } else {
        EXPECT_EQ(WTERMSIG(status), signal);
      }
      const bool exists = std::filesystem::exists(out_);
      EXPECT_TRUE(exists ? IsOldOrNew(out_) : !existed) << signal;
      if (signal == SIGKILL) {
        EXPECT_EQ(RunCommand(Draw("new.json", out_), "", WithFaults(GetParam())).status, 0);
        ASSERT_EQ(Listing(folder_.path()), Names{"out.bmp"});
      } else {
        ASSERT_EQ(Listing(folder_.path()), exists ? Names{"out.bmp"} : Names{}) << signal;
      }
    }
  }
}

}  // namespace
