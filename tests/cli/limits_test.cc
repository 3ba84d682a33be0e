// SPDX-License-Identifier: MIT
// The numbers of every option at its limits, and what is said beyond them.
#include "run_command.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

const std::string kTry = "\nTry 'tovkit --help' or 'tovkit SUBCOMMAND --help'.\n";

void ExpectUsage(const Arguments& arguments, const std::string& what, const std::string& input = "") {
  const CommandResult result = RunCommand(arguments, input);
  EXPECT_EQ(result.status, 2) << what;
  EXPECT_EQ(result.out, "") << what;
  EXPECT_EQ(result.err, "tovkit: " + what + kTry);
}

// A command line that is right, of a job that fails.
void ExpectFailure(const Arguments& arguments, const std::string& what, const std::string& input = "") {
  const CommandResult result = RunCommand(arguments, input);
  EXPECT_EQ(result.status, 1) << what;
  EXPECT_EQ(result.out, "") << what;
  EXPECT_EQ(result.err, "tovkit: " + what + "\n");
}

TEST(Limits, DpiOfAPage) {
  const std::string line = R"({"Content": "x"})";
  for (const std::string dpi : {"1", "4800"}) {
    const Arguments draw = {"draw", "-o", "-", "--format", "bmp", "--size", "2x1", "--dpi", dpi};
    const CommandResult result = RunCommand(draw, line);
    EXPECT_EQ(result.status, 0) << result.err;
    // Bytes 18 to 25 of a BMP are its width and height.
    const auto sideAt = [&result](std::size_t at) {
      return static_cast<unsigned char>(result.out[at]) +
             256 * static_cast<unsigned char>(result.out[at + 1]);
    };
    EXPECT_EQ(sideAt(18), dpi == "1" ? 1 : 100);
    EXPECT_EQ(sideAt(22), dpi == "1" ? 1 : 50);
  }
  for (const std::string dpi : {"0.99", "0", "-1", "4800.5", "4801", "nan", "inf"}) {
    ExpectUsage({"draw", "-o", "-", "--format", "bmp", "--dpi=" + dpi},
                "--dpi: '" + dpi + "' is not in the range 1 to 4800", line);
  }
}

TEST(Limits, SizesOfASegment) {
  ExpectUsage({"shm", "create", "tovkit-test-limits", "0"}, "SIZE: '0' is not from 1 to 4294967295 bytes");
  ExpectUsage({"shm", "create", "tovkit-test-limits", "4G"}, "SIZE: '4G' is not from 1 to 4294967295 bytes");
  ExpectUsage({"shm", "create", "tovkit-test-limits", "1T"},
              "SIZE: '1T' is no size such as 4096, 64K, 64M or 1G");
}

TEST(Limits, KeyOfAMonitor) {
  const Arguments monitor = {"monitor", "tovkit test: no such process"};
  const auto with = [&monitor](const std::string& option, const std::string& value) {
    Arguments arguments = monitor;
    arguments.insert(arguments.end(), {option, value});
    return arguments;
  };
  const std::string none = monitor[1] + ": no such process";
  ExpectFailure(with("--key", "k"), none);
  ExpectFailure(with("--key", std::string(255, 'k')), none);
  ExpectUsage(with("--key", ""), "--key: the key has 1 to 255 bytes");
  ExpectUsage(with("--key", std::string(256, 'k')), "--key: the key has 1 to 255 bytes");
  ExpectFailure(with("--max-mem", "0"), none);
  ExpectFailure(with("--interval", "0"), none);
  ExpectFailure(with("--interval", "2147483s"), none);
  ExpectUsage(with("--interval", "2147484s"), "--interval: '2147484s' is longer than 24 days");
  ExpectUsage(with("--interval", "1001ms"), "--interval: '1001ms' is not a number of whole seconds");
  ExpectUsage(with("--interval", "999ms"), "--interval: '999ms' is not a number of whole seconds");
}

}  // namespace
