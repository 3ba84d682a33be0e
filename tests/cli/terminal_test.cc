// SPDX-License-Identifier: MIT
// What a person sees on a terminal: the bar of long work, and the caret below an error.
#include "terminal.h"
#include "progress.h"
#include "run_command.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// What comes from the terminal up to and including `end`.
std::string ShownUpTo(const Terminal& terminal, const std::string& end) {
  std::string shown;
  for (char c = 0; shown.find(end) == std::string::npos && read(terminal.ours, &c, 1) == 1;) shown += c;
  return shown;
}

// The first bar of work of which so many steps are done. The process that shows it is stopped then.
std::string BarAt(int done, int total, const char* noColor) {
  Terminal terminal;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    setenv("NO_COLOR", noColor, 1);
    dup2(terminal.theirs, STDERR_FILENO);
    cli::Progress progress("work", total);
    progress.Advance(done);
    for (;;) progress.Advance(0);
  }
  const std::string shown = ShownUpTo(terminal, "%");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return shown;
}

TEST(TerminalOutput, TheBarIsAsLongAsTheWorkThatIsDone) {
  const std::string on = "\033[32m", off = "\033[0m";
  EXPECT_EQ(BarAt(3, 8, ""), "\rwork [" + on + std::string(15, '#') + off + std::string(25, '.') + "]  37%");
  EXPECT_EQ(BarAt(3, 8, "1"), "\rwork [" + std::string(15, '#') + std::string(25, '.') + "]  37%");
  EXPECT_EQ(BarAt(0, 8, "1"), "\rwork [" + std::string(40, '.') + "]   0%");
  EXPECT_EQ(BarAt(8, 8, "1"), "\rwork [" + std::string(40, '#') + "] 100%");
}

TEST(TerminalOutput, TheCaretBelowAnErrorIsRedUnlessNoColorIsWanted) {
  for (const bool color : {true, false}) {
    Terminal terminal;
    std::FILE* const in = std::tmpfile();
    std::fputs("[1 x]", in);
    std::fflush(in);
    rewind(in);
    const pid_t child =
        StartCommand({"json"}, fileno(in), STDOUT_FILENO, terminal.theirs, {{"NO_COLOR", color ? "" : "1"}});
    terminal.HangUp();
    std::string shown = ShownUpTo(terminal, "^");
    shown += ShownUpTo(terminal, "\n");
    int status = 0;
    waitpid(child, &status, 0);
    std::fclose(in);
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_EQ(shown, "tovkit: standard input:1:4: a comma or ] is expected\r\n  [1 x]\r\n     " +
                         std::string(color ? "\033[31m^\033[0m\r\n" : "^\r\n"));
  }
}

}  // namespace
