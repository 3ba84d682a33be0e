// SPDX-License-Identifier: MIT
// The numbers of every option at its limits, and what is said beyond them.
#include "run_command.h"
#include "scratch_dir.h"

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

// The parser's own words, which name the value and the limits.
void ExpectOutOfRange(const Arguments& arguments, const std::string& most, const std::string& input) {
  const CommandResult result = RunCommand(arguments, input);
  const std::string& option = arguments[arguments.size() - 2];
  EXPECT_EQ(result.status, 2) << option;
  EXPECT_EQ(result.out, "") << option;
  EXPECT_EQ(result.err.rfind("tovkit: " + option + ": Value " + arguments.back() + " not in range", 0), 0u)
      << result.err;
  EXPECT_NE(result.err.find(most), std::string::npos) << result.err;
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

TEST(Limits, SidesOfAPage) {
  const std::string line = R"({"Content": "x"})";
  const auto draw = [](const std::string& format, const std::string& size) {
    return Arguments{"draw", "-o", "-", "--format", format, "--size", size, "--quiet"};
  };
  EXPECT_EQ(RunCommand(draw("bmp", "32767x1"), line).status, 0);
  EXPECT_EQ(RunCommand(draw("bmp", "1x32767"), line).status, 0);
  ExpectFailure(draw("bmp", "32768x2"),
                "standard output: a page of 32768 x 2 is too large; sides go up to 32767", line);
  ExpectFailure(draw("bmp", "2x32767.5"),
                "standard output: a page of 2 x 32768 is too large; sides go up to 32767", line);
  for (const std::string format : {"pdf", "svg"}) {
    EXPECT_EQ(RunCommand(draw(format, "19200x19200"), line).status, 0);
    ExpectFailure(draw(format, "19201x1"),
                  "standard output: a page of 19201 x 1 is too large; sides go up to 19200", line);
    ExpectFailure(draw(format, "1x19200.5"),
                  "standard output: a page of 1 x 19200.5 is too large; sides go up to 19200", line);
  }
}

TEST(Limits, SizeOfAMap) {
  const auto map = [](const std::string& size) {
    return Arguments{"hit", "-", "--map", "-", "--format", "png", "--size", size};
  };
  const std::string path = "M0 0L9 9";
  ExpectOutOfRange(map("0"), "8192", path);
  ExpectOutOfRange(map("8193"), "8192", path);
  ExpectFailure(map("8192"), "standard input: the path is empty");
  EXPECT_EQ(RunCommand(map("1"), path).status, 0);
}

TEST(Limits, NumbersOfAPicture) {
  const std::string picture =
      RunCommand({"hit", "--map", "-", "--format", "png", "--size", "9"}, "M0 0L9 9").out;
  const auto image = [](const std::string& option, const std::string& value) {
    return Arguments{"image", "-o", "-", "--format", "jpg", option, value};
  };
  EXPECT_EQ(RunCommand(image("--quality", "1"), picture).status, 0);
  EXPECT_EQ(RunCommand(image("--quality", "100"), picture).status, 0);
  ExpectOutOfRange(image("--quality", "0"), "100", picture);
  ExpectOutOfRange(image("--quality", "101"), "100", picture);
  EXPECT_EQ(RunCommand(image("--frame", "1"), picture).status, 0);
  ExpectOutOfRange(image("--frame", "0"), "1073741824", picture);
  ExpectFailure(image("--frame", "1073741824"), "standard input: no frame 1073741824, the last is 1",
                picture);
  ExpectOutOfRange(image("--frame", "1073741825"), "1073741824", picture);
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
