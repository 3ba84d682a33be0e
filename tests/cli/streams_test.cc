// SPDX-License-Identifier: MIT
// Standard input and output in the place of files, for every subcommand; and what happens on a terminal.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "run_command.h"
#include "scratch_dir.h"
#include "terminal.h"

namespace {

using Arguments = std::vector<std::string>;

const std::string kLine = R"({"Content": "HH"})";
const std::string kPath = "M0 0 H10 V10 H0 Z";

Arguments With(Arguments arguments, const Arguments& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

std::string Contents(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Each maker of pictures with its input.
struct Maker {
  Arguments arguments;  // all but where to
  std::string option;
  std::string input;
  bool makesPages;
};

std::vector<Maker> Makers() {
  const std::string picture = RunCommand({"hit", "--map", "-", "--format", "png", "--size", "30"}, kPath).out;
  return {{{"draw"}, "-o", kLine, true},
          {{"image"}, "-o", picture, false},
          {{"hit", "--size", "30"}, "--map", kPath, false}};
}

TEST(Streams, EveryFormatGoesToStandardOutputAsItGoesToAFile) {
  const ScratchDir scratch;
  for (const Maker& maker : Makers()) {
    for (const std::string format : {"png", "jpg", "tif", "webp", "jp2", "bmp", "pdf", "svg"}) {
      if (!maker.makesPages && (format == "pdf" || format == "svg")) continue;
      const Environment fixed = {{"SOURCE_DATE_EPOCH", "0"}};
      const std::string file = scratch.path() + "/" + maker.arguments[0] + "." + format;
      const CommandResult filed = RunCommand(With(maker.arguments, {maker.option, file}), maker.input, fixed);
      EXPECT_EQ(filed.status, 0) << file << filed.err;
      const CommandResult piped =
          RunCommand(With(maker.arguments, {maker.option, "-", "--format", format}), maker.input, fixed);
      EXPECT_EQ(piped.status, 0) << file << piped.err;
      EXPECT_EQ(piped.err, "");
      EXPECT_FALSE(piped.out.empty());
      EXPECT_TRUE(piped.out == Contents(file)) << file;
    }
  }
}

// Waits until a process can do nothing more by itself: it waits, or has ended.
void AwaitSilence(pid_t pid) {
  std::string state = "R";
  while (state == "R") {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string line((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    state = line.substr(line.rfind(')') + 2, 1);
    std::this_thread::yield();
  }
}

TEST(Streams, AStopInTheMiddleOfAWriteLosesNothing) {
  const std::string whole = RunCommand({"pages", "1-100000", "--count", "100000"}).out;
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    dup2(ends[1], STDOUT_FILENO);
    close(ends[0]);
    close(ends[1]);
    execl(TOVKIT_COMMAND, "tovkit", "pages", "1-100000", "--count", "100000", nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::string text;
  std::string block(4096, '\0');
  int status = 0;
  for (ssize_t count = 0; (count = read(ends[0], block.data(), block.size())) > 0;) {
    text.append(block, 0, static_cast<std::size_t>(count));
    if (text.size() > 20000) continue;
    AwaitSilence(pid);
    ASSERT_EQ(kill(pid, SIGSTOP), 0);
    ASSERT_EQ(waitpid(pid, &status, WUNTRACED), pid);
    ASSERT_TRUE(WIFSTOPPED(status));
    ASSERT_EQ(kill(pid, SIGCONT), 0);
  }
  close(ends[0]);
  ASSERT_EQ(waitpid(pid, &status, 0), pid);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(text.size(), whole.size());
  EXPECT_TRUE(text == whole);
}

TEST(Streams, StandardOutputNeedsAFormat) {
  for (const Maker& maker : Makers()) {
    const CommandResult result = RunCommand(With(maker.arguments, {maker.option, "-"}), maker.input);
    EXPECT_EQ(result.status, 2) << maker.arguments[0];
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err.rfind("tovkit: standard output needs --format; the formats are png, jpg, ", 0), 0U)
        << result.err;
    const CommandResult wrong =
        RunCommand(With(maker.arguments, {maker.option, "-", "--format", "gif"}), maker.input);
    EXPECT_EQ(wrong.status, 2);
    EXPECT_EQ(wrong.err.rfind("tovkit: --format: GIF can be read but not written; the formats are ", 0), 0U)
        << wrong.err;
  }
}

TEST(Streams, AFormatThatIsNamedCountsMoreThanTheExtension) {
  const ScratchDir scratch;
  for (const Maker& maker : Makers()) {
    const std::string file = scratch.path() + "/picture.jpg";
    EXPECT_EQ(RunCommand(With(maker.arguments, {maker.option, file, "--format", "PNG"}), maker.input).status,
              0);
    EXPECT_EQ(Contents(file).substr(1, 3), "PNG") << maker.arguments[0];
  }
}

TEST(Streams, AFailedJobWritesNothingToStandardOutput) {
  const CommandResult broken = RunCommand({"image", "-o", "-", "--format", "png"}, "no picture");
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out, "");
  EXPECT_EQ(broken.err, "tovkit: standard input: not a picture of a known format\n");
  const CommandResult both = RunCommand({"image", "--info", "-o", "-", "--format", "png"}, "");
  EXPECT_EQ(both.status, 2);
  EXPECT_EQ(both.out, "");
}

TEST(Streams, AFullStandardOutputIsReported) {
  const int full = open("/dev/full", O_WRONLY);
  for (const Maker& maker : Makers()) {
    std::FILE* const in = std::tmpfile();
    std::FILE* const err = std::tmpfile();
    std::fwrite(maker.input.data(), 1, maker.input.size(), in);
    std::rewind(in);
    const pid_t child = StartCommand(With(maker.arguments, {maker.option, "-", "--format", "bmp"}),
                                     fileno(in), full, fileno(err));
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 1) << maker.arguments[0];
    EXPECT_EQ(ContentsOf(err), "tovkit: cannot write standard output\n");
    std::fclose(in);
    std::fclose(err);
  }
  close(full);
}

TEST(Streams, InputIsStandardInputWhenNoFileIsNamed) {
  EXPECT_EQ(RunCommand({"base64"}, "foo").out, "Zm9v\n");
  EXPECT_EQ(RunCommand({"json"}, "[ 1 ]").out, "[1]\n");
  EXPECT_EQ(RunCommand({"json", "--get", "0"}, "[ 1 ]").out, "uint 1\n");
  EXPECT_EQ(RunCommand({"hit", "--point", "0,5"}, kPath).out, "hit\n");
  EXPECT_EQ(RunCommand({"image", "--info"}, Makers()[1].input).out.substr(0, 12), "format: PNG\n");
  EXPECT_EQ(RunCommand({"draw", "-o", "-", "--format", "svg"}, kLine).status, 0);
}

// Runs the command with a terminal as one of its descriptors.
CommandResult OnTerminal(const Arguments& arguments, int which) {
  Terminal terminal;
  // A command that waits for input gets its end.
  EXPECT_EQ(write(terminal.ours, "\4\4", 2), 2);
  std::FILE* const in = std::tmpfile();
  std::FILE* const out = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  std::fwrite(kPath.data(), 1, kPath.size(), in);
  std::rewind(in);
  const pid_t child = StartCommand(arguments, which == STDIN_FILENO ? terminal.theirs : fileno(in),
                                   which == STDOUT_FILENO ? terminal.theirs : fileno(out), fileno(err));
  int status = 0;
  waitpid(child, &status, 0);
  CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, ContentsOf(out), ContentsOf(err)};
  for (std::FILE* file : {in, out, err}) std::fclose(file);
  return result;
}

TEST(Streams, NoSubcommandWaitsSilentlyOnATerminal) {
  const Arguments commands[] = {{"base64"},
                                {"base64", "-d"},
                                {"json"},
                                {"hit", "--point", "1,1"},
                                {"image", "--info"},
                                {"draw", "-o", "x.png"},
                                {"shm", "write", "x"}};
  for (const Arguments& command : commands) {
    const CommandResult result = OnTerminal(command, STDIN_FILENO);
    EXPECT_EQ(result.status, 2) << command[0];
    EXPECT_EQ(result.err.rfind("tovkit: no file is named, and standard input is a terminal\n", 0), 0U)
        << result.err;
  }
  EXPECT_EQ(OnTerminal({"base64", "-"}, STDIN_FILENO).status, 0) << "a terminal that is asked for is read";
}

TEST(Streams, NoPictureIsWrittenToATerminal) {
  const std::string place = " is a terminal, which is no place for a picture\n";
  const CommandResult standard = OnTerminal({"hit", "--map", "-", "--format", "png"}, STDOUT_FILENO);
  EXPECT_EQ(standard.status, 2);
  EXPECT_EQ(standard.err.rfind("tovkit: standard output" + place, 0), 0U) << standard.err;
  const CommandResult named = OnTerminal({"hit", "--map", "/dev/stdout", "--format", "png"}, STDOUT_FILENO);
  EXPECT_EQ(named.status, 2);
  EXPECT_EQ(named.err.rfind("tovkit: /dev/stdout" + place, 0), 0U) << named.err;
  for (const Arguments& command :
       {Arguments{"draw", "-", "-o", "-", "--format", "svg"}, {"image", "-", "-o", "-", "--format", "bmp"}}) {
    EXPECT_EQ(OnTerminal(command, STDOUT_FILENO).status, 2) << command[0];
  }
}

}  // namespace
