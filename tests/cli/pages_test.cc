#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "run_command.h"

namespace {

TEST(PagesCommand, PrintsOneIndexALine) {
  struct Row {
    std::vector<std::string> arguments;
    const char* out;
  };
  const Row kTable[] = {
      {{"all", "--count", "3"}, "0\n1\n2\n"},
      {{"", "--count", "2"}, "0\n1\n"},
      {{"1,3,5-7", "--count", "10"}, "0\n2\n4\n5\n6\n"},
      {{"1,3,5-7", "--count", "10", "--zero-based"}, "1\n3\n5\n6\n7\n"},
      {{"odd", "--count", "5", "--base", "10"}, "10\n12\n14\n"},
      {{"even", "--count", "5", "--base", "-1"}, "0\n2\n"},
      {{"all", "--count", "2", "--base", "10"}, "0\n1\n"},
      {{"3,2", "--count", "10"}, "2\n"},
      {{"nothing", "--count", "10"}, ""},
      {{"all", "--count", "0"}, ""},
      {{"1-2147483647", "--count", "2"}, "0\n1\n"},
      {{"--count", "5", "--", "-2"}, ""},
  };
  for (const Row& row : kTable) {
    std::vector<std::string> arguments{"pages"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 0) << row.arguments[0];
    EXPECT_EQ(result.out, row.out) << row.arguments[0];
    EXPECT_EQ(result.err, "") << row.arguments[0];
  }
}

TEST(PagesCommand, WrongUse) {
  const std::vector<std::vector<std::string>> kTable = {
      {"pages"},
      {"pages", "all"},
      {"pages", "--count", "3"},
      {"pages", "all", "--count", "-1"},
      {"pages", "all", "--count", "100000001"},
      {"pages", "all", "--count", "99999999999999999999"},
      {"pages", "all", "--count", "x"},
      {"pages", "all", "--count", "3", "--base", "2147483648"},
      {"pages", "all", "more", "--count", "3"},
  };
  for (const auto& arguments : kTable) {
    const CommandResult result = RunCommand(arguments);
    EXPECT_EQ(result.status, 2) << arguments.back();
    EXPECT_EQ(result.out, "") << arguments.back();
    EXPECT_EQ(result.err.rfind("tovkit: ", 0), 0U) << result.err;
  }
}

}  // namespace
