// SPDX-License-Identifier: MIT
// The bar and the lines of a batch, by a clock of the test's own.
#include "batch_progress.h"

#include "terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

using cli::BatchProgress;
using std::chrono::milliseconds;
using std::chrono::seconds;

// Standard error is another descriptor for as long as the object lives.
class RedirectedError {
 public:
  explicit RedirectedError(int fd) : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    std::fflush(stderr);
    dup2(fd, STDERR_FILENO);
  }
  ~RedirectedError() {
    std::fflush(stderr);
    dup2(kept_, STDERR_FILENO);
    close(kept_);
  }
  RedirectedError(const RedirectedError&) = delete;
  RedirectedError& operator=(const RedirectedError&) = delete;

 private:
  int kept_;
};

// What has come by now.
std::string Take(int fd) {
  std::string text;
  char piece[4096];
  for (pollfd in = {fd, POLLIN, 0}; poll(&in, 1, 0) == 1 && (in.revents & POLLIN) != 0;) {
    const ssize_t length = read(fd, piece, sizeof piece);
    if (length <= 0) break;
    text.append(piece, static_cast<std::size_t>(length));
  }
  return text;
}

TEST(BatchFigures, FiguresTellTheRateAndOnlyThenWhatWasSkipped) {
  EXPECT_EQ(cli::BatchFigures({7, 2, 0}, 2), "7 jobs, 3.5/s, 2 failed");
  EXPECT_EQ(cli::BatchFigures({8, 0, 1}, 4), "8 jobs, 2.0/s, 0 failed, 1 skipped");
  EXPECT_EQ(cli::BatchFigures({0, 0, 0}, 0), "0 jobs, 0.0/s, 0 failed");
  EXPECT_EQ(cli::BatchFigures({3, 0, 0}, 0), "3 jobs, 3000.0/s, 0 failed") << "no less than a millisecond";
}

TEST(BatchFigures, TheTimeLeftFollowsFromTheShare) {
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

TEST(BatchFigures, TheBarHas24Places) {
  EXPECT_EQ(cli::BatchBar(0, false), "[" + std::string(24, '.') + "] ");
  EXPECT_EQ(cli::BatchBar(1, false), "[" + std::string(24, '#') + "] ");
  EXPECT_EQ(cli::BatchBar(0.5, false), "[" + std::string(12, '#') + std::string(12, '.') + "] ");
  EXPECT_EQ(cli::BatchBar(0.25, true),
            "[\033[32m" + std::string(6, '#') + "\033[0m" + std::string(18, '.') + "] ");
}

class BatchProgressTest : public testing::Test {
 protected:
  BatchProgressTest() { unsetenv("NO_COLOR"); }
  ~BatchProgressTest() override { unsetenv("NO_COLOR"); }

  BatchProgress& Begin(std::uint64_t size) {
    return progress_.emplace(
        true, size, [this] { return offset_; }, [this] { return now_; });
  }

  void SetColumns(int columns) const {
    winsize size = {};
    size.ws_col = static_cast<unsigned short>(columns);
    size.ws_row = 24;
    ASSERT_EQ(ioctl(terminal_.ours, TIOCSWINSZ, &size), 0);
  }

  Terminal terminal_;
  BatchProgress::Clock::time_point now_{seconds(1000)};
  std::uint64_t offset_ = 0;
  std::optional<BatchProgress> progress_;
};

TEST_F(BatchProgressTest, ABarOnATerminal) {
  const RedirectedError redirected(terminal_.theirs);
  BatchProgress& progress = Begin(1000);
  progress.Count(false);
  now_ += milliseconds(99);
  progress.Show();
  EXPECT_EQ(Take(terminal_.ours), "") << "too early";
  for (int i = 0; i < 6; ++i) progress.Count(i == 0);
  progress.CountSkipped();
  offset_ = 250;
  now_ += milliseconds(1901);
  progress.Show();
  EXPECT_EQ(
      Take(terminal_.ours),
      "\r\033[K[\033[32m######\033[0m..................] 8 jobs, 4.0/s, 1 failed, 1 skipped, 0:06 left");
  progress.Show();
  EXPECT_EQ(Take(terminal_.ours), "") << "within a tenth of a second";
  offset_ = 1000;
  now_ += seconds(2);
  progress.Show();
  EXPECT_EQ(
      Take(terminal_.ours),
      "\r\033[K[\033[32m########################\033[0m] 8 jobs, 2.0/s, 1 failed, 1 skipped, 0:00 left");
  progress.End();
  progress_.reset();
  EXPECT_EQ(Take(terminal_.ours), "\r\033[Ktovkit: 8 jobs, 2.0/s, 1 failed, 1 skipped\r\n");
}

TEST_F(BatchProgressTest, WithoutColorsWhereTheyAreNotWanted) {
  setenv("NO_COLOR", "1", 1);
  const RedirectedError redirected(terminal_.theirs);
  BatchProgress& progress = Begin(1000);
  offset_ = 500;
  now_ += seconds(7200);
  progress.Show();
  EXPECT_EQ(Take(terminal_.ours), "\r\033[K[############............] 0 jobs, 0.0/s, 0 failed, 2:00:00 left");
  progress_.reset();
  EXPECT_EQ(Take(terminal_.ours), "\r\033[K") << "an error takes its place";
}

TEST_F(BatchProgressTest, ABarIsNoWiderThanTheTerminalIsAtTheMoment) {
  setenv("NO_COLOR", "1", 1);
  const RedirectedError redirected(terminal_.theirs);
  BatchProgress& progress = Begin(1000);
  offset_ = 500;
  const std::string figures = "0 jobs, 0.0/s, 0 failed, 0:01 left";
  const std::string bar = "[############............] ";
  const auto shown = [&](int columns, int turn) {
    SetColumns(columns);
    now_ = BatchProgress::Clock::time_point(seconds(1001)) + milliseconds(100 * turn);
    progress.Show();
    return Take(terminal_.ours);
  };
  const int whole = static_cast<int>(bar.size() + figures.size()) + 1;
  EXPECT_EQ(shown(whole, 0), "\r\033[K" + bar + figures);
  EXPECT_EQ(shown(whole - 1, 1), "\r\033[K" + figures) << "the window was made smaller";
  EXPECT_EQ(shown(11, 2), "\r\033[K" + figures.substr(0, 10));
  EXPECT_EQ(shown(1, 3), "\r\033[K");
  EXPECT_EQ(shown(0, 4), "\r\033[K" + bar + figures) << "nobody knows the columns";
}

TEST_F(BatchProgressTest, JobsOfAPipeHaveNoBar) {
  const RedirectedError redirected(terminal_.theirs);
  BatchProgress& progress = Begin(0);
  now_ += seconds(1);
  progress.Show();
  EXPECT_EQ(Take(terminal_.ours), "\r\033[K0 jobs, 0.0/s, 0 failed");
}

TEST_F(BatchProgressTest, ALineEveryTenSecondsWhereThereIsNoTerminal) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  {
    const RedirectedError redirected(ends[1]);
    BatchProgress& progress = Begin(1000);
    progress.Count(false);
    offset_ = 500;
    int lines = 0;
    for (int tenths = 1; tenths <= 350; ++tenths) {
      now_ += milliseconds(100);
      progress.Show();
      const std::string text = Take(ends[0]);
      EXPECT_EQ(!text.empty(), tenths % 100 == 0) << tenths;
      if (tenths == 100) {
        EXPECT_EQ(text, "tovkit: 1 jobs, 0.1/s, 0 failed, 0:10 left\n");
      }
      lines += text.empty() ? 0 : 1;
    }
    EXPECT_EQ(lines, 3);
    progress.End();
    EXPECT_EQ(Take(ends[0]), "tovkit: 1 jobs, 0.0/s, 0 failed\n");
  }
  close(ends[0]);
  close(ends[1]);
}

TEST_F(BatchProgressTest, ReadersThatAreSlowHoldNothingUp) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
  const std::string filling(4096, 'x');
  while (write(ends[1], filling.data(), filling.size()) > 0) continue;
  fcntl(ends[1], F_SETFL, 0);
  {
    const RedirectedError redirected(ends[1]);
    BatchProgress& progress = Begin(1000);
    now_ += seconds(10);
    progress.Show();
    const std::string before = Take(ends[0]);
    EXPECT_EQ(std::count(before.begin(), before.end(), 'x'), static_cast<std::ptrdiff_t>(before.size()));
    progress.Show();
    EXPECT_EQ(Take(ends[0]), "tovkit: 0 jobs, 0.0/s, 0 failed\n") << "as soon as there is room";
  }
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
