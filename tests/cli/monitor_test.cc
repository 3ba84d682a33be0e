// SPDX-License-Identifier: MIT
#include "image_support.h"
#include "printed.h"
#include "run_command.h"
#include "scratch_dir.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

// A process of a known name that waits until it is killed.
class Sleeper {
 public:
  explicit Sleeper(const char* name) {
    int named[2];
    EXPECT_EQ(pipe(named), 0);
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_NAME, name);
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(named[0]);
      close(named[1]);
      for (;;) pause();
    }
    close(named[1]);
    char byte = 0;
    EXPECT_EQ(read(named[0], &byte, 1), 0) << "the name is set once the pipe is closed";
    close(named[0]);
  }
  ~Sleeper() {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  pid_t pid() const { return pid_; }

 private:
  pid_t pid_;
};

// The command's lines until it has printed `count` of them; then it is interrupted.
std::string LinesOfMonitor(const std::vector<std::string>& arguments, int count,
                           std::size_t* openDirectories) {
  int out[2];
  EXPECT_EQ(pipe(out), 0);
  const pid_t child = StartCommand(arguments, STDIN_FILENO, out[1], STDERR_FILENO);
  close(out[1]);
  std::string lines;
  for (char c = 0; count > 0 && read(out[0], &c, 1) == 1;) {
    lines += c;
    if (c == '\n') --count;
  }
  *openDirectories = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(child) + "/fd")) {
    *openDirectories += std::filesystem::read_symlink(entry.path()) == "/proc";
  }
  kill(child, SIGINT);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT);
  close(out[0]);
  return lines;
}

TEST(MonitorCommand, WatchesAProcessByIdUntilInterrupted) {
  const Sleeper sleeper("tovkit-mon-id");
  std::size_t openDirectories = 0;
  const std::string lines =
      LinesOfMonitor({"monitor", std::to_string(sleeper.pid()), "--max-mem", "1"}, 2, &openDirectories);
  const std::string start = "proc:tovkit-mon-id,pId:" + std::to_string(sleeper.pid()) + ",mem:";
  EXPECT_EQ(lines.rfind(start, 0), 0u) << lines;
  EXPECT_NE(lines.find(" greater than max_mem:1\n"), std::string::npos) << lines;
  EXPECT_NE(lines.find(",1 second memery add 0kb\n"), std::string::npos) << lines;
  EXPECT_EQ(openDirectories, 1u) << "one scan";
}

TEST(MonitorCommand, WatchesEveryProcessOfAName) {
  const Sleeper first("tovkit-mon-name");
  const Sleeper second("tovkit-mon-name");
  std::size_t openDirectories = 0;
  const std::string lines =
      LinesOfMonitor({"monitor", "tovkit-mon-name", "--interval", "0", "--max-mem", "1", "--key", "VmSize"},
                     2, &openDirectories);
  for (const Sleeper* sleeper : {&first, &second}) {
    EXPECT_NE(lines.find("pId:" + std::to_string(sleeper->pid()) + ","), std::string::npos) << lines;
  }
  EXPECT_EQ(lines.find("memery"), std::string::npos) << lines;
}

// The process's lines of each pass are out, not in a buffer, when the command goes to sleep for a second.
TEST(MonitorCommand, PrintsWhatItSawBeforeItSleeps) {
  const Sleeper sleeper("tovkit-mon-pass");
  for (const char* target : {"tovkit-mon-pass", "by id"}) {
    const bool named = *target == 't';
    const CommandResult result =
        RunCommand({"monitor", named ? target : std::to_string(sleeper.pid()), "--max-mem", "1"}, "",
                   {{"LD_PRELOAD", TOVKIT_SLEEP_LOG},
                    {"ASAN_OPTIONS", "verify_asan_link_order=0:fast_unwind_on_malloc=0"}});
    EXPECT_EQ(result.status, 0) << result.err;
    std::string rest = result.out;
    for (int pass = 0; pass < 3; ++pass) {
      const std::size_t sleep = rest.find("sleep 1\n");
      ASSERT_NE(sleep, std::string::npos) << pass << " of\n" << result.out;
      const std::string lines = rest.substr(0, sleep);
      EXPECT_EQ(lines.rfind("proc:tovkit-mon-pass,pId:" + std::to_string(sleeper.pid()) + ",mem:", 0), 0u)
          << lines;
      EXPECT_NE(lines.find(" greater than max_mem:1\n"), std::string::npos) << lines;
      rest.erase(0, sleep + 8);
    }
    EXPECT_EQ(rest, "");
  }
}

TEST(MonitorCommand, AnIntervalTakesAUnit) {
  const Sleeper sleeper("tovkit-mon-unit");
  std::size_t openDirectories = 0;
  // More than a minute has passed since the epoch, so the first pass prints.
  for (const auto& [text, said] : {std::pair("1s", ",1 second"), std::pair("1000ms", ",1 second"),
                                   std::pair("1m", ",60 second"), std::pair("60", ",60 second")}) {
    const std::string lines =
        LinesOfMonitor({"monitor", std::to_string(sleeper.pid()), "--interval", text}, 1, &openDirectories);
    EXPECT_NE(lines.find(said), std::string::npos) << lines;
  }
}

// Pixels of this color in a picture.
int CountOf(const CoreDib& picture, std::uint32_t argb, int end) {
  int count = 0;
  for (int y = 0; y < picture.GetHeight(); ++y) {
    for (int x = 0; x < end; ++x) count += picture.GetArgb(x, y) == argb;
  }
  return count;
}

// Pixels of the limit's red, be it of its edge: how a line meets the pixels is the rasterizer's.
int CountOfLimit(const CoreDib& picture, int end) {
  int count = 0;
  for (int y = 0; y < picture.GetHeight(); ++y) {
    for (int x = 0; x < end; ++x) {
      const std::uint32_t argb = picture.GetArgb(x, y);
      const int red = static_cast<int>(argb >> 16 & 0xFF), green = static_cast<int>(argb >> 8 & 0xFF);
      count += green == static_cast<int>(argb & 0xFF) && red - green > 48;
    }
  }
  return count;
}

constexpr std::uint32_t kFirstLine = 0xFF0072B2;
constexpr int kPlotEnd = 750;  // behind it stand the names

TEST(MonitorCommand, PlotDrawsWhatWasSeenWhenASignalEndsIt) {
  const Sleeper sleeper("tovkit-mon-plot");
  const ScratchDir dir;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    const std::string file = dir.path() + "/plot" + std::to_string(signal) + ".png";
    int out[2];
    ASSERT_EQ(pipe(out), 0);
    const pid_t child = StartCommand({"monitor", "tovkit-mon-plot", "--plot", file, "--max-mem", "1"},
                                     STDIN_FILENO, out[1], STDERR_FILENO);
    close(out[1]);
    char c = 0;
    EXPECT_EQ(read(out[0], &c, 1), 1) << "it prints its lines, too";
    EXPECT_FALSE(std::filesystem::exists(file)) << "nothing before the end";
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << signal;
    close(out[0]);
    const auto picture = image::Decode(image::ReadFile(file));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->GetWidth(), 960);
    EXPECT_GT(CountOf(*picture, kFirstLine, 960), 20) << "the line and its name's mark";
    EXPECT_GT(CountOf(*picture, kFirstLine, kPlotEnd), 0) << "the line";
    EXPECT_GT(CountOfLimit(*picture, kPlotEnd), 100) << "the limit";
  }
}

// The axes, the units and the names, as text that a PDF has.
TEST(MonitorCommand, PlotEndsWithTheProcessesAndNamesThem) {
  const ScratchDir dir;
  const std::string file = dir.path() + "/plot.pdf";
  pid_t child = 0;
  std::string name;
  {
    const Sleeper sleeper("tovkit-mon-end");
    name = "tovkit-mon-end (" + std::to_string(sleeper.pid()) + ")";
    const int none = open("/dev/null", O_RDWR | O_CLOEXEC);
    int out[2];
    ASSERT_EQ(pipe(out), 0);
    child = StartCommand({"monitor", "tovkit-mon-end", "--plot", file}, none, out[1], none);
    close(out[1]);
    char c = 0;
    EXPECT_EQ(read(out[0], &c, 1), 1);
    close(out[0]);
    close(none);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  const std::string text = Printed("pdftotext " + file + " -");
  for (const std::string& part : {std::string("VmRSS of one process"), name, std::string("time in s")}) {
    EXPECT_NE(text.find(part), std::string::npos) << part << "\n" << text;
  }
  EXPECT_TRUE(text.find("kB") != std::string::npos || text.find("MB") != std::string::npos) << text;
  const std::string fonts = Printed("pdffonts " + file);
  for (const char* const style : {"Italic", "Oblique", "Bold"}) {
    EXPECT_EQ(fonts.find(style), std::string::npos) << fonts;
  }
}

TEST(MonitorCommand, PlotRefusesWhatCannotBeWrittenAtOnce) {
  const Sleeper sleeper("tovkit-mon-ref");
  const auto refuse = [](const std::string& file) {
    return RunCommand({"monitor", "tovkit-mon-ref", "--plot", file});
  };
  EXPECT_EQ(refuse("-").status, 2);
  EXPECT_EQ(refuse("plot.xyz").status, 2);
  EXPECT_EQ(refuse("/no/such/folder/plot.png").status, 1);
}

TEST(MonitorCommand, UnknownProcessesFail) {
  for (const char* target : {"tovkit-no-such", "999999999", "99999999999999999999"}) {
    const CommandResult result = RunCommand({"monitor", target});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, std::string("tovkit: ") + target + ": no such process\n");
  }
}

TEST(MonitorCommand, BadUsageIsToldApart) {
  const std::string longKey(256, 'k');
  const std::vector<std::string> bad[] = {{"monitor"},
                                          {"monitor", "1", "--max-mem", "-1"},
                                          {"monitor", "1", "--interval", "x"},
                                          {"monitor", "1", "--interval", "500ms"},
                                          {"monitor", "1", "--interval", "-1"},
                                          {"monitor", "1", "--key", ""},
                                          {"monitor", "1", "--key", longKey}};
  for (const auto& arguments : bad) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST(PsCommand, ListsEveryProcessOrTheNamedOnes) {
  const Sleeper sleeper("tovkit-ps-test");
  const std::string pid = std::to_string(sleeper.pid());
  const CommandResult all = RunCommand({"ps"});
  EXPECT_EQ(all.status, 0) << all.err;
  EXPECT_EQ(all.out.rfind("       PID       RSS/kB  NAME\n", 0), 0u);
  EXPECT_NE(all.out.find(" " + pid + " "), std::string::npos);
  EXPECT_NE(all.out.find("         1 "), std::string::npos);

  const CommandResult named = RunCommand({"ps", "tovkit-ps-test"});
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(std::count(named.out.begin(), named.out.end(), '\n'), 2) << named.out;
  EXPECT_NE(named.out.find("  tovkit-ps-test\n"), std::string::npos);
}

TEST(PsCommand, PrintsJson) {
  const Sleeper plain("tovkit-ps-json"), quoted("a\"b\\c\xE5\xAE\x8B\xFF");
  const CommandResult named = RunCommand({"ps", "tovkit-ps-json", "--json"});
  EXPECT_EQ(named.status, 0);
  EXPECT_EQ(named.err, "");
  const std::string start = "[\n  {\"pid\": " + std::to_string(plain.pid()) + ", \"rssKb\": ";
  ASSERT_EQ(named.out.rfind(start, 0), 0u) << named.out;
  const std::size_t end = named.out.find_first_not_of("0123456789", start.size());
  EXPECT_GT(end, start.size());
  EXPECT_EQ(named.out.substr(end), ", \"name\": \"tovkit-ps-json\"}\n]\n");

  const CommandResult all = RunCommand({"ps", "--json"}, "", {{"LC_ALL", "C.UTF-8"}});
  EXPECT_EQ(all.out.front(), '[');
  EXPECT_NE(all.out.find("{\"pid\": " + std::to_string(quoted.pid()) + ","), std::string::npos);
  EXPECT_NE(all.out.find("\"name\": \"a\\\"b\\\\"), std::string::npos) << all.out;
  EXPECT_EQ(RunCommand({"ps", "tovkit-no-such", "--json"}).status, 1);
}

// The column of the table, top to bottom.
std::vector<std::string> Column(const std::string& table, int column) {
  std::vector<std::string> cells;
  std::istringstream lines(table);
  std::string line;
  std::getline(lines, line);
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string word;
    for (int i = 0; i <= column; ++i) words >> word;
    cells.push_back(word);
  }
  return cells;
}

TEST(PsCommand, SortOrdersTheLines) {
  const Sleeper first("tovkit-sort-b");
  const Sleeper second("tovkit-sort-a");
  const auto numbers = [](const std::vector<std::string>& texts) {
    std::vector<long> values;
    for (const std::string& text : texts) values.push_back(std::stol(text));
    return values;
  };
  const std::vector<long> pids = numbers(Column(RunCommand({"ps", "--sort", "pid"}).out, 0));
  EXPECT_GT(pids.size(), 2u);
  EXPECT_TRUE(std::is_sorted(pids.begin(), pids.end()));
  const std::vector<long> memory = numbers(Column(RunCommand({"ps", "--sort", "memory"}).out, 1));
  EXPECT_TRUE(std::is_sorted(memory.rbegin(), memory.rend()));
  const std::vector<std::string> names = Column(RunCommand({"ps", "--sort", "name"}).out, 2);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
  const std::string json = RunCommand({"ps", "--sort", "name", "--json"}).out;
  EXPECT_LT(json.find("tovkit-sort-a"), json.find("tovkit-sort-b"));
  EXPECT_EQ(RunCommand({"ps", "--sort", "size"}).status, 2);
}

TEST(PsCommand, ProcessesThatAreAlikeStayInTheirOrder) {
  const Sleeper first("tovkit-sort-c");
  const Sleeper second("tovkit-sort-c");
  const Sleeper third("tovkit-sort-c");
  const std::vector<std::string> unsorted = Column(RunCommand({"ps", "tovkit-sort-c"}).out, 0);
  ASSERT_EQ(unsorted.size(), 3u);
  EXPECT_EQ(Column(RunCommand({"ps", "tovkit-sort-c", "--sort", "name"}).out, 0), unsorted);
}

TEST(PsCommand, UnknownNameFails) {
  const CommandResult result = RunCommand({"ps", "tovkit-no-such"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: tovkit-no-such: no such process\n");
}

TEST(PsCommand, ControlCharactersDoNotReachTheTerminal) {
  const Sleeper sleeper("tovkit\x1b[31mred");
  const CommandResult result = RunCommand({"ps"});
  EXPECT_NE(result.out.find("tovkit\\x1b[31mred\n"), std::string::npos);
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

}  // namespace
