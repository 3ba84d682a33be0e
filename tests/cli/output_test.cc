// SPDX-License-Identifier: MIT
// Standard output that cannot be written, for every subcommand that writes little and much.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "local_text.h"
#include "run_command.h"

namespace {

const std::string kLost = "tovkit: cannot write standard output\n";

// Runs the command with `out` as its standard output and `input` as its standard input.
CommandResult RunInto(int out, const std::vector<std::string>& arguments, const std::string& input) {
  std::FILE* const in = std::tmpfile();
  std::FILE* const err = std::tmpfile();
  std::fwrite(input.data(), 1, input.size(), in);
  std::fflush(in);
  lseek(fileno(in), 0, SEEK_SET);
  const pid_t child = StartCommand(arguments, fileno(in), out, fileno(err));
  int status = 0;
  waitpid(child, &status, 0);
  CommandResult result{WIFEXITED(status) ? WEXITSTATUS(status) : -1, "", ContentsOf(err)};
  std::fclose(in);
  std::fclose(err);
  return result;
}

TEST(StandardOutput, AFullDeviceFailsWithOneLine) {
  const struct {
    std::vector<std::string> arguments;
    std::string input;
  } rows[] = {{{"base64"}, "foo"},
              {{"base64"}, std::string(200000, 'x')},
              {{"base64", "-d"}, "Zm9v"},
              {{"base64", "-d"}, std::string(200000, 'x')},
              {{"pages", "all", "--count", "3"}, ""},
              {{"pages", "all", "--count", "100000"}, ""},
              {{"path", "/"}, ""},
              {{"path", "--json", "/"}, ""},
              {{"info"}, ""}};
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  for (const auto& row : rows) {
    const CommandResult result = RunInto(full, row.arguments, row.input);
    EXPECT_EQ(result.status, 1) << row.arguments[0];
    EXPECT_EQ(result.err, kLost) << row.arguments[0];
  }
  close(full);
}

TEST(StandardOutput, AnotherTroubleIsToldInstead) {
  const int full = open("/dev/full", O_WRONLY);
  ASSERT_GE(full, 0);
  const CommandResult result = RunInto(full, {"base64", "-d"}, "Zg!");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "tovkit: standard input: not Base64 from character 3 on, white space not counted\n");
  close(full);
}

TEST(StandardOutput, AReadOnlyOneFails) {
  const int readOnly = open("/dev/null", O_RDONLY);
  ASSERT_GE(readOnly, 0);
  const CommandResult result = RunInto(readOnly, {"pages", "all", "--count", "3"}, "");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, kLost);
  close(readOnly);
}

TEST(StandardError, AFileNameCannotForgeALineNorSteerATerminal) {
  if (!LocalTextIsUtf8()) GTEST_SKIP() << "local text is no UTF-8 here";
  const CommandResult result = RunCommand({"base64",
                                           "a\ntovkit: \x1b[31m\xC2\x9B"
                                           "1m\xff"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err,
            "tovkit: a\\ntovkit: \\x1b[31m\\u009b1m\\xff: cannot open: No such file or directory\n");
}

}  // namespace
