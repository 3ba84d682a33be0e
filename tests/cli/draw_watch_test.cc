// SPDX-License-Identifier: MIT
// tovkit draw --watch: a page that follows its files.
#include "image_support.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::string Line(const std::string& content) { return R"({"Content": ")" + content + "\"}"; }

// A command that watches, and what it says, line by line.
class Watcher {
 public:
  explicit Watcher(const std::vector<std::string>& arguments) {
    EXPECT_EQ(pipe2(ends_, O_CLOEXEC), 0);
    const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
    child_ = StartCommand(arguments, none, none, ends_[1]);
    close(none);
    close(ends_[1]);
  }
  ~Watcher() {
    End();
    close(ends_[0]);
  }
  Watcher(const Watcher&) = delete;
  Watcher& operator=(const Watcher&) = delete;

  // The next line that holds `part`. Others before it are passed over; a minute without any is a failure.
  bool Says(const std::string& part) {
    for (std::string line; NextLine(line);) {
      if (line.find(part) != std::string::npos) return true;
    }
    ADD_FAILURE() << "never said " << part;
    return false;
  }

  // The signal that ended it, or -1.
  int End() {
    if (child_ <= 0) return -1;
    kill(child_, SIGINT);
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = 0;
    return WIFSIGNALED(status) ? WTERMSIG(status) : -1;
  }

  bool Runs() const {
    int status = 0;
    return waitpid(child_, &status, WNOHANG) == 0;
  }

 private:
  bool NextLine(std::string& line) {
    for (;;) {
      if (const std::size_t end = said_.find('\n'); end != std::string::npos) {
        line = said_.substr(0, end);
        said_.erase(0, end + 1);
        return true;
      }
      pollfd entry = {ends_[0], POLLIN, 0};
      if (poll(&entry, 1, 60000) <= 0) return false;
      char piece[4096];
      const ssize_t length = read(ends_[0], piece, sizeof piece);
      if (length <= 0) return false;
      said_.append(piece, static_cast<std::size_t>(length));
    }
  }

  int ends_[2] = {-1, -1};
  pid_t child_ = 0;
  std::string said_;
};

class DrawWatch : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return scratch_.path() + "/" + name; }
  void Save(const std::string& name, const std::string& text) const { std::ofstream(Path(name)) << text; }
  // As editors do.
  void Replace(const std::string& name, const std::string& text) const {
    Save(name + "~", text);
    std::filesystem::rename(Path(name + "~"), Path(name));
  }
  // What the output would be without the watch.
  std::string Expected(const std::string& text) const {
    EXPECT_EQ(RunCommand({"draw", "-o", Path("expected.png")}, text).status, 0);
    std::string bytes = image::ReadFile(Path("expected.png"));
    return bytes;
  }
  std::string Out() const { return image::ReadFile(Path("out.png")); }

  ScratchDir scratch_;
};

TEST_F(DrawWatch, EveryWayOfChangingAFileIsSeen) {
  Save("a.json", Line("first"));
  Watcher watcher({"draw", "--watch", Path("a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("out.png drawn"));
  EXPECT_EQ(Out(), Expected(Line("first")));

  Save("a.json", Line("written over"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("written over")));

  Replace("a.json", Line("replaced"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("replaced")));

  std::filesystem::remove(Path("a.json"));
  ASSERT_TRUE(watcher.Says("No such file"));
  EXPECT_EQ(Out(), Expected(Line("replaced"))) << "the last good page is kept";

  Save("a.json", Line("back again"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("back again")));
  EXPECT_EQ(watcher.End(), SIGINT);
}

TEST_F(DrawWatch, ErrorsAreShownAndTheLastGoodPageIsKept) {
  Save("a.json", Line("good"));
  Watcher watcher({"draw", "--watch", Path("a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("drawn"));
  const std::string good = Out();
  Save("a.json", R"({"Content": "half)");
  ASSERT_TRUE(watcher.Says("a.json:1:"));
  EXPECT_EQ(Out(), good);
  Save("a.json", R"({"Content": ""})");
  ASSERT_TRUE(watcher.Says("no text to draw"));
  EXPECT_EQ(Out(), good);
  Save("a.json", Line("whole"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("whole")));
}

TEST_F(DrawWatch, AFileThatIsNotYetThereIsWaitedFor) {
  Watcher watcher({"draw", "--watch", Path("deep/er/a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("No such file"));
  std::filesystem::create_directories(Path("deep/er"));
  Save("deep/er/a.json", Line("here"));
  ASSERT_TRUE(watcher.Says("drawn"));
  std::filesystem::rename(Path("deep"), Path("elsewhere"));
  ASSERT_TRUE(watcher.Says("No such file"));
  std::filesystem::create_directories(Path("other/er"));
  Save("other/er/a.json", Line("another folder"));
  std::filesystem::rename(Path("other"), Path("deep"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("another folder")));
}

TEST_F(DrawWatch, BothEndsOfALinkAreWatched) {
  std::filesystem::create_directories(Path("one"));
  std::filesystem::create_directories(Path("two"));
  Save("one/a.json", Line("one"));
  Save("two/a.json", Line("two"));
  std::filesystem::create_symlink("one/a.json", Path("link.json"));
  Watcher watcher({"draw", "--watch", Path("link.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("drawn"));
  Save("one/a.json", Line("one changed"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("one changed")));
  std::filesystem::create_symlink("two/a.json", Path("next"));
  std::filesystem::rename(Path("next"), Path("link.json"));
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(Out(), Expected(Line("two")));
}

TEST_F(DrawWatch, ThePictureBelowIsWatchedToo) {
  Save("a.json", Line("over"));
  const auto save = [this](int width) {
    std::ofstream(Path("under.png"), std::ios::binary)
        << image::Encode(image::MakePicture(width, 60, 24), kCoreImagePng);
  };
  save(100);
  Watcher watcher({"draw", "--watch", Path("a.json"), "--over", Path("under.png"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("drawn"));
  save(150);
  ASSERT_TRUE(watcher.Says("drawn"));
  EXPECT_EQ(image::Decode(Out())->GetWidth(), 150);
}

// Nothing but the watched file counts, and what the command writes itself least of all: it would never rest.
TEST_F(DrawWatch, OtherFilesAreNothingToIt) {
  Save("a.json", Line("one"));
  Watcher watcher({"draw", "--watch", Path("a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("drawn"));
  const auto drawn = std::filesystem::last_write_time(Path("out.png"));
  for (int i = 0; i < 50; ++i) Save("b.json", Line(std::to_string(i)));
  Replace("a.jsonx", Line("x"));
  const auto until = std::chrono::steady_clock::now() + 300ms;
  while (std::chrono::steady_clock::now() < until) {
    ASSERT_EQ(std::filesystem::last_write_time(Path("out.png")), drawn);
    poll(nullptr, 0, 10);
  }
  EXPECT_TRUE(watcher.Runs());
}

// A thousand changes a second, good ones and halves, for two seconds: the end is the last page.
TEST_F(DrawWatch, AStormOfChangesEndsInTheLastPage) {
  Save("a.json", Line("calm"));
  Watcher watcher({"draw", "--watch", Path("a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("drawn"));
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 2000; ++i) {
    const std::string text = Line(std::string(static_cast<std::size_t>(i % 40) + 1, 'x'));
    switch (i % 4) {
      case 0:
        Replace("a.json", text);
        break;
      case 1:
        Save("a.json", text.substr(0, text.size() / 2));
        break;
      case 2:
        std::filesystem::remove(Path("a.json"));
        break;
      default:
        Save("a.json", text);
    }
    while (std::chrono::steady_clock::now() < start + i * 1ms) poll(nullptr, 0, 1);
  }
  Replace("a.json", Line("after the storm"));
  const std::string last = Expected(Line("after the storm"));
  const auto until = std::chrono::steady_clock::now() + 60s;
  while (Out() != last && std::chrono::steady_clock::now() < until) poll(nullptr, 0, 10);
  EXPECT_EQ(Out(), last);
  EXPECT_TRUE(watcher.Runs());
}

TEST_F(DrawWatch, APipeThatTakesTheFilesPlaceHoldsNothingUp) {
  Save("a.json", Line("one"));
  Watcher watcher({"draw", "--watch", Path("a.json"), "-o", Path("out.png")});
  ASSERT_TRUE(watcher.Says("out.png drawn"));
  const std::string page = Out();
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  std::filesystem::rename(Path("pipe"), Path("a.json"));
  EXPECT_TRUE(watcher.Says("a.json is a pipe"));
  EXPECT_EQ(Out(), page);
  Replace("a.json", Line("two"));
  EXPECT_TRUE(watcher.Says("out.png drawn"));
  EXPECT_EQ(Out(), Expected(Line("two")));
}

TEST_F(DrawWatch, WhatCannotBeWatchedIsRefused) {
  Save("a.json", Line("x"));
  Save("a.png", "");
  const auto expect = [](std::vector<std::string> arguments, const std::string& part) {
    arguments.insert(arguments.begin(), {"draw", "--watch"});
    const CommandResult result = RunCommand(arguments, Line("x"));
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_NE(result.err.find(part), std::string::npos) << result.err;
  };
  expect({"-o", Path("out.png")}, "--watch: standard input does not change");
  expect({"--text", "x", "-o", Path("out.png")}, "--watch: there is no file to watch");
  expect({Path("a.json"), "-o", "-", "--format", "png"}, "--watch: standard output takes the page only once");
  expect({"--text", "x", "--over", Path("a.png"), "-o", Path("a.png")}, "is read and written");
  expect({Path("a.json"), "-o", Path("out.xyz")}, "is no format");
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  std::filesystem::create_symlink("pipe", Path("link"));
  for (const char* pipe : {"pipe", "link"}) {
    expect({Path(pipe), "-o", Path("out.png")},
           std::string(pipe) + " is a pipe, which can be read only once");
  }
  expect({Path("a.json"), "--font", Path("pipe"), "-o", Path("out.png")}, "pipe is a pipe");
  expect({Path("a.json"), "--over", Path("pipe"), "-o", Path("out.png")}, "pipe is a pipe");
  expect({Path(""), "-o", Path("out.png")}, " is a folder");
  expect({"/dev/null", "-o", Path("out.png")}, "/dev/null is no regular file");
}

}  // namespace
