// SPDX-License-Identifier: MIT
// What a batch shows while it runs, on a terminal and elsewhere.
#include "batch_progress.h"
#include "terminal.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

namespace {

TEST(BatchProgress, FiguresTellTheRateAndOnlyThenWhatWasSkipped) {
  EXPECT_EQ(cli::BatchFigures({7, 2, 0}, 2), "7 jobs, 3.5/s, 2 failed");
  EXPECT_EQ(cli::BatchFigures({8, 0, 1}, 4), "8 jobs, 2.0/s, 0 failed, 1 skipped");
  EXPECT_EQ(cli::BatchFigures({0, 0, 0}, 0), "0 jobs, 0.0/s, 0 failed");
  EXPECT_EQ(cli::BatchFigures({3, 0, 0}, 0), "3 jobs, 3000.0/s, 0 failed") << "no less than a millisecond";
}

TEST(BatchProgress, TheTimeLeftFollowsFromTheShare) {
  EXPECT_EQ(cli::TimeLeft(10, 0), "");
  EXPECT_EQ(cli::TimeLeft(10, 1), ", 0:00 left");
  EXPECT_EQ(cli::TimeLeft(10, 0.5), ", 0:10 left");
  EXPECT_EQ(cli::TimeLeft(13, 0.125), ", 1:31 left");
  EXPECT_EQ(cli::TimeLeft(3599, 0.5), ", 59:59 left");
  EXPECT_EQ(cli::TimeLeft(3600, 0.5), ", 1:00:00 left");
  EXPECT_EQ(cli::TimeLeft(7262, 0.5), ", 2:01:02 left");
  EXPECT_EQ(cli::TimeLeft(10861, 0.5), ", 3:01:01 left");
  EXPECT_EQ(cli::TimeLeft(7199, 0.5), ", 1:59:59 left");
  EXPECT_EQ(cli::TimeLeft(36661, 0.5), ", 10:11:01 left");
  EXPECT_EQ(cli::TimeLeft(1e300, 1e-9), ", 277777:46:40 left") << "no more than a billion seconds";
}

TEST(BatchProgress, TheBarHas24Places) {
  EXPECT_EQ(cli::BatchBar(0, false), "[" + std::string(24, '.') + "] ");
  EXPECT_EQ(cli::BatchBar(1, false), "[" + std::string(24, '#') + "] ");
  EXPECT_EQ(cli::BatchBar(0.5, false), "[" + std::string(12, '#') + std::string(12, '.') + "] ");
  EXPECT_EQ(cli::BatchBar(0.25, true),
            "[\033[32m" + std::string(6, '#') + "\033[0m" + std::string(18, '.') + "] ");
}

// What a process shows whose standard error is a terminal, up to and including the end.
using IsEnd = std::function<bool(const std::string& shown)>;
std::string Shown(const std::function<void()>& show, const IsEnd& isEnd) {
  Terminal terminal;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("NO_COLOR", "1", 1);
    dup2(terminal.theirs, STDERR_FILENO);
    show();
    std::fflush(stderr);
    _exit(0);
  }
  terminal.HangUp();
  std::string shown;
  for (char c = 0; !isEnd(shown) && read(terminal.ours, &c, 1) == 1;) shown += c;
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return shown;
}

IsEnd Behind(const std::string& end) {
  return [end](const std::string& shown) { return shown.find(end) != std::string::npos; };
}

// When the second bar begins.
bool IsSecond(const std::string& shown) { return std::count(shown.begin(), shown.end(), '\r') == 2; }

// Asks again and again; what is shown is due only after a pause.
[[noreturn]] void ShowForever(cli::BatchProgress& progress) {
  for (;;) progress.Show();
}

TEST(BatchProgress, OnATerminalThereIsABarAndTheTimeLeft) {
  const auto shown = [](std::uint64_t size, std::uint64_t offset) {
    return Shown(
        [=] {
          cli::BatchProgress progress(true, size, [offset] { return offset; });
          progress.Count(true);
          progress.Count(false);
          progress.CountSkipped();
          ShowForever(progress);
        },
        IsSecond);
  };
  const std::string half = shown(8, 4);
  EXPECT_EQ(half.rfind("\r\033[K[############............] 3 jobs, ", 0), 0u) << half;
  EXPECT_NE(half.find("/s, 1 failed, 1 skipped, 0:0"), std::string::npos) << half;
  EXPECT_NE(half.find(" left\r"), std::string::npos) << half;
  EXPECT_EQ(shown(8, 20).rfind("\r\033[K[########################] 3 jobs, ", 0), 0u);
  EXPECT_NE(shown(8, 20).find("skipped, 0:00 left\r"), std::string::npos);
  EXPECT_EQ(shown(8, 0).rfind("\r\033[K[........................] 3 jobs, ", 0), 0u);
  EXPECT_NE(shown(8, 0).find("1 skipped\r"), std::string::npos) << "no time without a share";
  EXPECT_EQ(shown(0, 4).rfind("\r\033[K3 jobs, ", 0), 0u) << "jobs of unknown size have no bar";
  EXPECT_NE(shown(0, 4).find("1 skipped\r"), std::string::npos) << "and no time";
}

// Shows until the bar is there; how far the work is, is asked for nothing else.
std::string ShownAndThen(const std::function<void(cli::BatchProgress&)>& then, const std::string& end) {
  return Shown(
      [&then] {
        bool asked = false;
        {
          cli::BatchProgress progress(true, 8, [&asked] {
            asked = true;
            return std::uint64_t{2};
          });
          progress.Count(false);
          while (!asked) progress.Show();
          then(progress);
        }
        std::fputs("end", stderr);
      },
      Behind(end));
}

TEST(BatchProgress, TheBarGivesWayToTheSum) {
  const std::string sum = ShownAndThen([](cli::BatchProgress& progress) { progress.End(); }, "end");
  EXPECT_NE(sum.find(" left\r\033[Ktovkit: 1 jobs, "), std::string::npos) << sum;
  EXPECT_EQ(sum.substr(sum.find("tovkit")).find('\033'), std::string::npos) << sum;
  EXPECT_NE(sum.find(" 0 failed\r\nend"), std::string::npos) << sum;
}

TEST(BatchProgress, TheBarIsTakenAwayInAnyCase) {
  const std::string left = ShownAndThen([](cli::BatchProgress&) {}, "end");
  EXPECT_NE(left.find(" left\r\033[Kend"), std::string::npos) << left;
}

TEST(BatchProgress, NothingIsShownTooEarlyOrWhenNothingIsWanted) {
  const std::string shown = Shown(
      [] {
        cli::BatchProgress early(true, 8, [] { return std::uint64_t{2}; });
        early.Show();
        cli::BatchProgress unwanted(false, 8, [] { return std::uint64_t{2}; });
        // Longer than the pause between two bars.
        const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(150);
        while (std::chrono::steady_clock::now() < until) unwanted.Show();
        unwanted.End();
        std::fputs("end", stderr);
      },
      Behind("end"));
  EXPECT_EQ(shown, "end");
}

}  // namespace
