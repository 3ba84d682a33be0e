// SPDX-License-Identifier: MIT
// The least and the greatest that every option of a number, a size or a time takes, and what lies beyond.
// With --help nothing is run, yet what is wrong is told all the same.
#include "run_command.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace {

struct Range {
  std::string command;
  std::string option;
  std::vector<std::string> taken;
  std::vector<std::string> refused;
};

const std::vector<Range>& Ranges() {
  static const std::vector<Range> ranges = [] {
    std::vector<Range> all = {
        {"base64", "--wrap", {"0", "1073741824"}, {"-1", "1073741825", "1.5"}},
        {"draw", "--font-size", {"1", "10000"}, {"0", "10001", "12.5"}},
        {"draw", "--effort", {"1", "9"}, {"0", "10"}},
        {"draw", "--limit", {"0", "1000000"}, {"-1", "1000001"}},
        {"draw", "--dpi", {"1", "4800"}, {"much"}},  // the command looks at the range, not its parser
        {"hit", "--tolerance", {"0", "-1", "1e30"}, {"far"}},
        {"hit", "--size", {"1", "8192"}, {"0", "8193"}},
        {"image", "--quality", {"1", "100"}, {"0", "101"}},
        {"image", "--effort", {"1", "9"}, {"0", "10"}},
        {"image", "--frame", {"1", "1073741824"}, {"0", "1073741825"}},
        {"json", "--indent", {"0", "16"}, {"-1", "17"}},
        {"monitor", "--max-mem", {"0", "2147483647"}, {"-1", "1.5"}},
        {"monitor", "--interval", {"0", "1s", "2m"}, {"-1s", "1ms", "soon"}},
        {"pages", "--count", {"0", "100000000"}, {"-1", "100000001"}},
        {"pages", "--base", {"-2147483648", "2147483647"}, {"2147483648", "one"}},
        {"run", "--timeout", {"0", "1", "2147483647ms"}, {"-1", "2147483648ms", "soon"}},
        {"run", "--kill-after", {"0", "1ms"}, {"-1", "never"}},
        {"serve", "--max-body", {"1", "1G"}, {"0", "1073741825"}},
        {"serve", "--max-pixels", {"1", "500000000"}, {"0", "500000001"}},
        {"serve", "--max-connections", {"1", "100000"}, {"0", "100001"}},
        {"serve", "--queue", {"1", "100000"}, {"0", "100001"}},
        {"serve", "--client-time", {"1ms"}, {"0"}},
        {"serve", "--cache", {"0", "1G"}, {"-1", "much"}},
    };
    for (const std::string command : {"batch", "serve", "worker"}) {
      all.push_back({command, "--jobs", {"1", "1024"}, {"0", "1025"}});
      all.push_back({command, "--timeout", {"1ms", "2147483s"}, {"0", "-1", "soon"}});
      all.push_back({command, "--memory", {"0", "64M", "67108864"}, {"1", "67108863", "-1", "much"}});
      all.push_back({command, "--recycle", {"0", "1000000"}, {"-1", "1.5"}});
    }
    // Only where the command has them.
    if (RunCommand({"worker", "--help"}).status == 0) {
      all.push_back({"submit", "--patience", {"0", "1ms"}, {"-1", "soon"}});
      all.push_back({"worker", "--prefetch", {"1", "65535"}, {"0", "65536"}});
      all.push_back({"worker", "--idle-exit", {"1ms"}, {"0"}});
      all.push_back({"worker", "--max-inline", {"1", "128M"}, {"0", "134217729"}});
      all.push_back({"worker", "--max-message", {"1K", "256M"}, {"1023", "268435457"}});
    } else {
      all.erase(std::remove_if(all.begin(), all.end(),
                               [](const Range& range) { return range.command == "worker"; }),
                all.end());
    }
    return all;
  }();
  return ranges;
}

TEST(OptionRanges, TheEndsAreTakenAndWhatIsBeyondIsNot) {
  for (const Range& range : Ranges()) {
    for (const std::string& value : range.taken) {
      const CommandResult result = RunCommand({range.command, range.option + "=" + value, "--help"});
      EXPECT_EQ(result.status, 0) << range.command << " " << range.option << " " << value << ": "
                                  << result.err;
    }
    for (const std::string& value : range.refused) {
      const CommandResult result = RunCommand({range.command, range.option + "=" + value, "--help"});
      EXPECT_EQ(result.status, 2) << range.command << " " << range.option << " " << value;
      EXPECT_EQ(result.out, "") << range.command << " " << range.option << " " << value;
      EXPECT_NE(result.err.find(range.option), std::string::npos) << result.err;
    }
  }
}

// The long names of the options of numbers, by what a command's help says.
std::vector<std::string> OptionsOfNumbers(const std::string& command) {
  std::vector<std::string> options;
  std::istringstream help(RunCommand({command, "--help"}).out);
  for (std::string line; std::getline(help, line);) {
    std::istringstream words(line);
    std::string name, type;
    words >> name >> type;
    const std::size_t dashes = name.find("--");
    if (dashes == std::string::npos) continue;
    for (const char* const number : {"N", "INT", "NUMBER", "FLOAT", "SIZE", "TIME", "POINTS"}) {
      if (type == number) options.push_back(name.substr(dashes));
    }
  }
  return options;
}

TEST(OptionRanges, EveryOptionOfANumberIsTried) {
  std::map<std::string, std::vector<std::string>> tried;
  for (const Range& range : Ranges()) tried[range.command].push_back(range.option);
  std::istringstream help(RunCommand({"--help"}).out);
  std::size_t commands = 0;
  bool isList = false;
  for (std::string line; std::getline(help, line);) {
    if (isList && line.size() > 2 && line[2] != ' ') {
      std::istringstream words(line);
      std::string command;
      words >> command;
      std::vector<std::string> found = OptionsOfNumbers(command);
      std::sort(found.begin(), found.end());
      std::sort(tried[command].begin(), tried[command].end());
      EXPECT_EQ(found, tried[command]) << command;
      ++commands;
    }
    if (line == "Subcommands:") isList = true;
  }
  EXPECT_GE(commands, 16U);
}

}  // namespace
